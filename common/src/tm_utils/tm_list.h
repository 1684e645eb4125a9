// SPDX-License-Identifier: Apache-2.0
/* tm_list.h - singly linked list of 64-bit words.
 *
 * A list is named by the address of its head pointer; an empty list is a null head. Cells come from the
 * platform heap, 16 bytes each. The data words belong to the caller.
 */
#ifndef TM_LIST_H
#define TM_LIST_H

#include "tm_api.h"

TM_API_BEGIN

/** A cell. */
typedef struct tm_util_list_node {
  uint64_t data;                  /* the caller's word */
  struct tm_util_list_node *next; /* null at the end */
} tm_util_list_node;

TM_ASSERT_SIZE(tm_util_list_node, 16);
TM_ASSERT_OFFSET(tm_util_list_node, next, 8);

/** Push a word at the head.
 *  @return 0; -22 headp is null; -12 no memory
 *  Cost: constant. Allocates one cell of 16 bytes. */
TM_API int32_t tm_util_list_insert(tm_util_list_node **headp, uint64_t data);

/** Unlink and free the first cell that holds the word.
 *  @return 0; -22 headp is null; -2 not found; both failures are printed under the error word
 *  Cost: proportional to the word's place. Does not allocate. */
TM_API int32_t tm_util_list_delete(tm_util_list_node **headp, uint64_t data);

/** Free the cell after `prev`, or the head cell when prev is null. Nothing happens where there is none.
 *  Cost: constant. Does not allocate. */
TM_API void tm_util_list_delete_next_node(tm_util_list_node **headp, tm_util_list_node *prev);

/** Take the head's word out of the list. The cell is unlinked but NOT released: the caller keeps its address if it
 *  wants to free it.
 *  @return 0; -22 a pointer is null or the list is empty
 *  Cost: constant. Does not allocate. */
TM_API int32_t tm_util_list_delhead(tm_util_list_node **headp, uint64_t *data_out);

/** Append a second list, which is shared from then on, not copied.
 *  @return 0; -22 headp is null
 *  Cost: proportional to the first list. Does not allocate. */
TM_API int32_t tm_util_list_cat(tm_util_list_node **headp, tm_util_list_node *second);

/** Copy a list, same words in the same order.
 *  @return 0; -22 headp_out is null; -12 no memory: the cells built so far stay in the result
 *  Cost: O(cells). Allocates a cell for each. */
TM_API int32_t tm_util_list_copy(const tm_util_list_node *source, tm_util_list_node **headp_out);

/** Free every cell; the head ends null.
 *  @param free_data   1 = each word is a pointer and goes to zel_free_named first
 *  Cost: O(cells). Does not allocate. */
TM_API void tm_util_list_free(tm_util_list_node **headp, int32_t free_data);

/** Sort in place, ascending and stable (insertion sort: quadratic).
 *  @param cmp   gets two data words as its pointers; a positive result means "out of order"
 *  @return 0, also for a null headp and an empty list; -22 cmp is null
 *  Cost: at most cells squared calls of cmp. Does not allocate. */
TM_API int32_t tm_util_list_sort(tm_util_list_node **headp, int (*cmp)(const void *, const void *));

TM_API_END

#endif
