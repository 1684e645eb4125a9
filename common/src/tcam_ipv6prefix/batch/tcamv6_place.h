// SPDX-License-Identifier: Apache-2.0
// tcamv6_place.h - where in its parent's block the code of a prefix goes, when nothing is moved.
#ifndef TCAMV6_PLACE_H
#define TCAMV6_PLACE_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_code.h"
#include "tcamv6_departure.h"
#include "tcamv6_state.h"

// A prefix that needs a place, and the stored prefix around it. It may be stored itself, and be looking for another.
struct tcamv6_spot {
  int32_t most;                     // bits of a compressed address
  const tm_util_trie_node *parent;  // of the trie of uncompressed prefixes; its code is placed
  const uint8_t *key;
  int32_t length;
  tcamv6_departure from;  // below the parent
};

// What a place has to meet beyond being free.
struct tcamv6_place_wish {
  int32_t deepest;           // it is no deeper, for the sake of what comes along; or tcamv6_any_depth
  const tcamv6_code *avoid;  // it lies outside this one; null = anywhere
  bool nearest = false;      // it is the nearest free one, whatever the neighbours
};

enum : int32_t { tcamv6_any_depth = -1 };

// Find a place for a prefix that nothing of its own holds in place: beside its neighbours, else the nearest free one.
// Returns false when no free place meets the wish.
bool tcamv6_place_leaf(const tcamv6_spot *spot, const tcamv6_place_wish *wish, tcamv6_code *found);

// Find a place above the codes of some of the parent's children, with nothing else in it and room for the prefix's own
// address. `trie_node` is the prefix's node, and the children are the shortest prefixes below it.
// Returns false when there is none.
bool tcamv6_place_level(const tcamv6_spot *spot, const tm_util_trie_node *trie_node, tm_n_ary_node *const *children,
                        size_t n, tcamv6_code *found);

// Find the shallowest free code strictly below a node and outside `avoid` (null: anywhere). Costs a walk over the
// nodes above the result that no prefix owns. Returns false when there is none.
bool tcamv6_free_below(const tm_util_trie_node *top, int32_t most, const tcamv6_code *avoid, tcamv6_code *found);

// Find an address below a code whose node may not exist yet: the code continued with zeros if that is free. `from` is a
// node on the way to it; the root does, but from there the way leads through nodes that no cache holds, and additions
// to a table of 160,000 prefixes take 6 % longer.
bool tcamv6_free_address(const tm_util_trie_node *from, tcamv6_code code, int32_t most, tcamv6_code *found);

// Common code of some placed nodes of the ancestor tree; n > 0.
tcamv6_code tcamv6_common_code(tm_n_ary_node *const *nodes, size_t n);

// The node of a code; null when it does not exist.
const tm_util_trie_node *tcamv6_node_at(const tm_util_trie_node *from, tcamv6_code code);

#endif
