// SPDX-License-Identifier: Apache-2.0
// tcamv6_siblings.h - the children of an ancestor-tree node: a chain that is linked both ways.
//
// The order of a chain shows in results, so it never changes but by these functions. A child's data keeps the handle of
// the sibling before it, the last one's for the first child, and `sibling_order`, a number that grows along the chain:
// children that are found by other ways than the chain are put in its order by it. Numbers that have met a limit of
// their type repeat; otherwise they grow strictly. A node is linked and unlinked at the same cost wherever it stands,
// which counts under a default prefix with tens of thousands of children.
#ifndef TCAMV6_SIBLINGS_H
#define TCAMV6_SIBLINGS_H

#include "tcamv6_anc_tree.h"

// Number of a node's children, the dummy included. Cost: O(children).
uint32_t tcamv6_count_children(const tm_n_ary_node *parent);

// Put a new child before all others of its parent.
void tcamv6_push_child(tm_n_ary_node *parent, tm_n_ary_node *child);

// Put a child that is in no chain behind all others of its parent.
void tcamv6_append_child(tm_n_ary_node *parent, tm_n_ary_node *child);

// Take a child out of its parent's chain. Returns 0; -22 the parent has no child; -2 the chain does not lead to it.
int32_t tcamv6_unlink_child(tm_n_ary_node *parent, tm_n_ary_node *child);

// Reserve the notes of a journalled move of all children of a node. Returns 0 or -12.
int32_t tcamv6_reserve_moving(const tm_n_ary_node *source);

// Move all children of the source behind those of the destination. Costs a write for each unless their numbers happen
// to follow: see tcamv6_reserve_moving.
void tcamv6_move_children(tm_n_ary_node *destination, tm_n_ary_node *source);

#endif
