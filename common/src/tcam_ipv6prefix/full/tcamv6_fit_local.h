// SPDX-License-Identifier: Apache-2.0
// tcamv6_fit_local.h - the local tree of one prefix: the compressed nodes from its own one down to its children's.
#ifndef TCAMV6_FIT_LOCAL_H
#define TCAMV6_FIT_LOCAL_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// Marks of ancestor-tree nodes while a table is fitted; none is left afterwards.
enum : uint16_t {
  TCAMV6_FIT_CUT = 1 << 12,      // it has children, but was limited to its cost: the way to it or below it is too long
  TCAMV6_FIT_TREATED = 1 << 13,  // its local tree is not the documented one
  TCAMV6_FIT_OPEN = 1 << 14,     // treated, or above a treated one
  TCAMV6_FIT_MARKS = TCAMV6_FIT_CUT | TCAMV6_FIT_TREATED | TCAMV6_FIT_OPEN
};

enum class tcamv6_fit_rule { documented, relaxed };

// Give a node's children their limits, compressed nodes and codes by a rule, and the nodes between their depths. The
// node itself has its limit and its compressed node, with its depth and nothing below. Limits of children are at least
// their costs.
//   n_cut   out: children marked as cut
// Returns 0: every node is deeper than the one above it, whose depth the children's nodes keep in `len`. -14: some
// would not be, or the rule refuses; nothing is left then. -12; -22 when a child has no node in the path-compressed
// trie.
int32_t tcamv6_fit_local_tree(tcamv6_state *state, tm_n_ary_node *node, tcamv6_fit_rule rule, uint32_t *n_cut);

// Give a node's children limits, compressed nodes and codes as aligned blocks (tcamv6_fit_blocks.h), which always
// works. Returns 0 or -12.
int32_t tcamv6_fit_local_blocks(tcamv6_state *state, tm_n_ary_node *node);

// Release all compressed nodes below a node's own.
void tcamv6_fit_release_below(tm_n_ary_node *node);

// Move the open cut children of a node up their own chains, so that they get more room; no other code changes.
void tcamv6_fit_raise(const tcamv6_state *state, const tm_n_ary_node *node);

#endif
