// SPDX-License-Identifier: Apache-2.0
/* tm_heap.h - binary min-heap on a signed key, in the caller's array.
 *
 * Element i has the children 2i + 1 and 2i + 2. The order in which equal keys leave the heap decides
 * compressed codes, so the three operations are exactly what they are, insert's rule included.
 */
#ifndef TM_HEAP_H
#define TM_HEAP_H

#include "tm_api.h"

TM_API_BEGIN

/** An element of a heap. */
typedef struct tm_util_heap_elem {
  int32_t key;       /* what is compared */
  uint32_t key_high; /* travels with the element, never compared */
  uint64_t value;    /* the caller's */
} tm_util_heap_elem;

TM_ASSERT_SIZE(tm_util_heap_elem, 16);
TM_ASSERT_OFFSET(tm_util_heap_elem, value, 8);

/** Build a min-heap in place.
 *  @param count   elements, at least 1
 *  @return 0; -22 array is null or count is 0
 *  Cost: O(count). Does not allocate. */
TM_API int32_t tm_util_heap_heapify(tm_util_heap_elem *array, uint32_t count);

/** Take the minimum out.
 *  @param count   decremented
 *  @return 0; -22 a pointer is null or the heap is empty: nothing is read or written
 *  Cost: O(log count). Does not allocate. */
TM_API int32_t tm_util_heap_delmin(tm_util_heap_elem *array, uint32_t *count, tm_util_heap_elem *result);

/** Add an element. It climbs past its parent when the parent's key is not smaller, and further only while
 *  the next ancestor's key is not smaller than the key that was just moved down under it: the array may
 *  end up not being a heap. Codes depend on this rule.
 *  @param array   room for *count + 1 elements
 *  @param count   incremented
 *  @return 0; -22 a pointer is null, or *count is 2^32 - 1 already
 *  Cost: O(log count). Does not allocate. */
TM_API int32_t tm_util_heap_insert(tm_util_heap_elem *array, uint32_t *count, const tm_util_heap_elem *element);

TM_API_END

#endif
