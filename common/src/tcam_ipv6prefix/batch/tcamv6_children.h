// SPDX-License-Identifier: Apache-2.0
// tcamv6_children.h - the children of a prefix by their codes, and what moving them costs.
#ifndef TCAMV6_CHILDREN_H
#define TCAMV6_CHILDREN_H

#include "tcamv6_newcomer.h"

// A child of the newcomer's parent, or, as the dummy, the parent's own address.
struct tcamv6_child {
  tcamv6_code code;
  tm_n_ary_node *node;
  bool is_adopted;
  uint32_t entries;         // stored entries that move when it does; of the address: the parent itself
  uint64_t adopted_before;  // entries of the adopted, and
  uint64_t staying_before;  // of the others, before it in the list
};

struct tcamv6_children {
  tcamv6_child *list;  // sorted by code
  size_t n;
  uint64_t adopted_entries;  // of all together
};

// Where a new level could go, and what stands in its way.
struct tcamv6_level_node {
  tcamv6_code code;
  uint64_t cost;     // entries to be moved: adopted ones outside it, and others inside
  uint64_t outside;  // the adopted ones among these
};

// Returns 0 or -12.
int32_t tcamv6_children_of(const tcamv6_newcomer *newcomer, tcamv6_children *children);
void tcamv6_children_free(tcamv6_children *children);

// The children whose codes lie at or below a code: list[first] to list[end - 1].
void tcamv6_children_at(const tcamv6_children *children, tcamv6_code code, size_t *first, size_t *end);

// Find the node above an adopted child's code and below the parent's that costs least; the one with least outside, then
// the deepest, among those that cost the same. Only nodes that come after `last` in that order: null = all.
// Returns false when there is none.
bool tcamv6_best_level_node(const tcamv6_children *children, tcamv6_code parent, const tcamv6_level_node *last,
                            tcamv6_level_node *best);

#endif
