// SPDX-License-Identifier: Apache-2.0
// tcamv6_pcmpr_walk.h - a prefix's children, each with its place in the path-compressed trie.
//
// Children stand in their chain by descending addresses, and so do the nodes of a trie that is walked right side first.
// Both are therefore walked in step, and nobody has to look a child up or to keep its node: over all children of a
// prefix that is one visit of each node between, where look-ups from the top would cost a walk for each.
//
//        [2001:db8::/32]                         way   edges
//          0 /      \ 1         db8:ffff::/48    11    2
//          o          o         db8:2::/48       01    2
//       0 / \ 1        \ 1      db8:1::/48       00    2
//    [1::] [2::]    [ffff::]    (rest)           -
#ifndef TCAMV6_PCMPR_WALK_H
#define TCAMV6_PCMPR_WALK_H

#include "tcamv6_anc_tree.h"
#include "tm_key.h"
#include "tm_pcmpr_trie.h"

// Where a prefix stands below the nearest prefix above it.
struct tcamv6_pcmpr_place {
  const tm_util_trie_node *node;
  tm_key_number way;  // directions of the edges that lead there, the first one in the highest bit
  int32_t edges;
};

// The node of a prefix in the path-compressed trie; null when it has none there.
inline const tm_util_trie_node *tcamv6_pcmpr_node_of(tm_util_trie_node *pcmpr_root, const tcamv6_anc_data *data) {
  const tm_util_trie_node *orig = tm_trie_node(data->orig);
  int32_t edges = 0;
  return orig == nullptr ? nullptr
                         : tm_util_trie_pcmpr_lookup_internal(pcmpr_root, orig->key, orig->len, 0, 0, nullptr, &edges);
}

namespace tcamv6_pcmpr_steps {

inline bool stands_for_a_prefix(const tm_n_ary_node *node) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  return data != nullptr && !tcamv6_anc_is_dummy(data);
}

template <class Visit>
int32_t pass_dummies(tm_n_ary_node **next, Visit &visit) {
  int32_t result = TM_OK;
  while (result == TM_OK && *next != nullptr && !stands_for_a_prefix(*next)) {
    result = visit(*next, nullptr);
    *next = tcamv6_anc_next(*next);
  }
  return result;
}

// The direction of one more edge. Beyond the bits of a key there is nothing to note.
inline tm_key_number step_right(tm_key_number way, int32_t edges) {
  return edges < TM_KEY_BITS ? way | tm_key_number_bit(edges) : way;
}

template <class Visit>
int32_t walk_below(const tm_util_trie_node *top, tm_key_number way, int32_t edges, tm_n_ary_node **next, Visit &visit);

template <class Visit>
int32_t walk_node(const tm_util_trie_node *node, tm_key_number way, int32_t edges, tm_n_ary_node **next, Visit &visit) {
  if (node->tag == 0) {
    return walk_below(node, way, edges, next, visit);
  }
  const int32_t result = pass_dummies(next, visit);
  tm_n_ary_node *child = *next;
  if (result != TM_OK || child == nullptr) {
    return result;
  }
  *next = tcamv6_anc_next(child);
  const bool same = tcamv6_anc_tag(tcamv6_anc_data_of(child)) == (node->tag & TM_PREFIX_TAG_MASK);
  const tcamv6_pcmpr_place place = {node, way, edges};
  return visit(child, same ? &place : nullptr);
}

template <class Visit>
int32_t walk_below(const tm_util_trie_node *top, tm_key_number way, int32_t edges, tm_n_ary_node **next, Visit &visit) {
  const tm_util_trie_node *right = tm_trie_child(top, 1);
  const int32_t result = right == nullptr ? TM_OK : walk_node(right, step_right(way, edges), edges + 1, next, visit);
  const tm_util_trie_node *left = tm_trie_child(top, 0);
  return result != TM_OK || left == nullptr ? result : walk_node(left, way, edges + 1, next, visit);
}

}  // namespace tcamv6_pcmpr_steps

// Visit the children of an ancestor-tree node in the order of their chain.
//   pcmpr_node   the node's own node; null: no child has a place
//   visit        (tm_n_ary_node *child, const tcamv6_pcmpr_place *place) -> TM_OK to go on; anything else ends the walk
//                and is returned. The place is null for a dummy, and for a prefix that has none.
template <class Visit>
int32_t tcamv6_visit_children(const tm_util_trie_node *pcmpr_node, const tm_n_ary_node *anc_node, Visit visit) {
  tm_n_ary_node *next = tcamv6_anc_first_child(anc_node);
  int32_t result = pcmpr_node == nullptr ? TM_OK : tcamv6_pcmpr_steps::walk_below(pcmpr_node, 0, 0, &next, visit);
  while (result == TM_OK && next != nullptr) {
    result = visit(next, nullptr);
    next = tcamv6_anc_next(next);
  }
  return result;
}

#endif
