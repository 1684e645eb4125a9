// SPDX-License-Identifier: Apache-2.0
// tcamv6_new_level.h - a new level while it is being made, and the place of its key.
#ifndef TCAMV6_NEW_LEVEL_H
#define TCAMV6_NEW_LEVEL_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_rules.h"
#include "tcamv6_state.h"

// A child of the parent that the new prefix contains.
struct tcamv6_adopted_child {
  tm_n_ary_node *node;
  int32_t order;
};

struct tcamv6_new_level {
  tcamv6_state *state;
  const tcamv6_update_rules *rules;
  const tcamv6_prefix *prefix;
  int32_t max_cmpr_len;
  tm_util_trie_node *trie_node;  // E: where the prefix will live
  const tm_util_trie_node *enclosing[TCAMV6_MAX_PREF_LEN + 1];
  size_t n_enclosing;
  tm_n_ary_node *parent;  // of the last of these
  tcamv6_anc_data *parent_data;
  tcamv6_adopted_child *adopted;  // in the order of the parent's chain
  size_t n_adopted;
  tm_util_trie_node *cmpr_node;  // N
  tm_n_ary_node *dummy;
  tm_util_trie_node *dummy_end;
  tm_trie_grown dummy_path;
  tm_n_ary_node *anc_node;
  tcamv6_orig_data *orig;
};

// Does the new prefix contain a child of its parent? False for the dummy.
bool tcamv6_level_contains(const tcamv6_new_level *level, const tcamv6_anc_data *child);

// The root of the compressed trie; null when it has none.
tm_util_trie_node *tcamv6_level_cmpr_root(const tcamv6_new_level *level);

// Find N for a level whose adopted children are known. Returns 0; -2 when there is no common ancestor, or the place is
// refused (reported); -14.
int32_t tcamv6_find_level_place(tcamv6_new_level *level);

#endif
