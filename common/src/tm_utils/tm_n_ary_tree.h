// SPDX-License-Identifier: Apache-2.0
/* tm_n_ary_tree.h - tree nodes with any number of children, in the pool TM_V6_ANC_TREE.
 *
 * A node's children are the chain that starts at `child` and follows `sibling`; there is no parent link.
 * Payloads live in a pool whose type the caller names.
 */
#ifndef TM_N_ARY_TREE_H
#define TM_N_ARY_TREE_H

#include "tm_chunk.h"
#include "tm_list.h"

TM_API_BEGIN

/** A node; its links are none when there is nothing. */
typedef struct tm_n_ary_node {
  tm_chunk_idx sibling; /* next child of the same parent */
  tm_chunk_idx child;   /* first child */
  tm_chunk_idx data;    /* payload */
} tm_n_ary_node;

TM_ASSERT_SIZE(tm_n_ary_node, 24);
TM_ASSERT_OFFSET(tm_n_ary_node, child, 8);
TM_ASSERT_OFFSET(tm_n_ary_node, data, 16);

/** Set all three links to none; null is ignored.
 *  Cost: constant. Does not allocate. */
TM_API void tm_util_n_ary_tree_node_init(tm_n_ary_node *node);

/** Push the address of every node of the tree on a list so that, read from the head, every node follows
 *  all its descendants, later siblings first.
 *  @return 0, also for a null node; -22 headp is null; -12 no memory: the walk ends, the list keeps what it got
 *  Cost: O(nodes). Allocates a list cell for each. */
TM_API int32_t tm_util_n_ary_tree_postorder_nodelist(tm_n_ary_node *node, tm_util_list_node **headp);

/** Free the whole subtree, children first; null is ignored.
 *  @param free_data   1 = free each payload too
 *  @param data_type   the payloads' chunk type
 *  Cost: O(nodes). Does not allocate. */
TM_API void tm_util_n_ary_tree_free(tm_n_ary_node *node, int32_t free_data, uint32_t data_type);

/** Free one node, and its payload when free_data is 1. Its children are not touched.
 *  Cost: constant. Does not allocate. */
TM_API void tm_n_ary_tree_freenode(tm_n_ary_node *node, int32_t free_data, uint32_t data_type);

/** Unlink a child from its parent's chain. Nothing is freed; the child keeps its own `sibling`.
 *  @return 0; -22 a pointer is null or the parent has no child; -2 not a child of it.
 *  Cost: proportional to the child's place in the chain. Does not allocate. */
TM_API int32_t tm_n_ary_tree_delchld(tm_n_ary_node *parent, tm_n_ary_node *child);

/** Move the source's children to the end of the destination's; ignored when either is null or both are the same.
 *  Cost: proportional to the children of the destination. Does not allocate. */
TM_API void tm_merge_n_ary_chldlst(tm_n_ary_node *destination, tm_n_ary_node *source);

TM_API_END

#endif
