// SPDX-License-Identifier: Apache-2.0
// tcamv6_new_level.cpp - where the key of a new level goes (the drawing is in tcamv6_incr_newlvl.cpp).
#include "tcamv6_new_level.h"

#include <assert.h>

#include "tcamv6_safe.h"
#include "tm_debug.h"
#include "tm_key.h"

namespace {

constexpr const char *leveler = "tcav6_incr_add_pref_newlvl";

tm_util_trie_node *cmpr_node_of(const tm_n_ary_node *node) { return tcamv6_cmpr_node(tcamv6_anc_data_of(node)); }

// Common ancestor, in the compressed trie, of the adopted children's nodes; null when there is none. Folded from the
// last child on: key bits beyond the shorter node can decide, and so the order does.
tm_util_trie_node *common_code(const tcamv6_new_level *level) {
  tm_util_trie_node *cmpr_root = tcamv6_level_cmpr_root(level);
  size_t i = level->n_adopted - 1;
  tm_util_trie_node *common = cmpr_node_of(level->adopted[i].node);
  while (i-- > 0) {
    tm_util_trie_node *node = cmpr_node_of(level->adopted[i].node);
    common = level->rules->right_places ? tcamv6_safe_common_ancestor(cmpr_root, common, node)
                                        : tm_util_trie_common_ancestor(cmpr_root, common, node, 1);
  }
  return common;
}

// Is there a staying child, the parent's dummy included, whose compressed node is one of those asked for?
template <class Test>
bool any_staying(const tcamv6_new_level *level, Test test) {
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(level->parent); child != nullptr;
       child = tcamv6_anc_next(child)) {
    const tcamv6_anc_data *data = tcamv6_anc_data_of(child);
    if (!tcamv6_level_contains(level, data) && test(tcamv6_cmpr_node(data))) {
      return true;
    }
  }
  return false;
}

// Owners of the compressed nodes above one, as far as its path exists.
uint32_t owners_above(const tm_util_trie_node *cmpr_root, const tm_util_trie_node *node) {
  uint32_t owners = 0;
  const tm_util_trie_node *at = cmpr_root;
  for (int32_t depth = 0; at != nullptr && depth < node->len; ++depth) {
    owners += at->owners;
    at = tm_trie_child(at, tm_key_bit(node->key, depth));
  }
  return owners;
}

// Those of them that are enclosing prefixes.
uint32_t enclosing_above(const tcamv6_new_level *level, const tm_util_trie_node *node) {
  uint32_t count = 0;
  for (size_t i = 0; i < level->n_enclosing; ++i) {
    const tcamv6_anc_data *data = tcamv6_data_of_stored(level->enclosing[i]);
    count += data != nullptr && tm_util_trie_is_ancestor(tcamv6_cmpr_node(data), node, 1) == TM_OK;
  }
  return count;
}

// Does a staying child's node lie above another?
bool staying_above(const tcamv6_new_level *level, const tm_util_trie_node *node) {
  if (node == nullptr) {
    return false;
  }
  const auto lies_above = [&](const tm_util_trie_node *staying) {
    return tm_util_trie_is_ancestor(staying, node, 1) == TM_OK;
  };
  if (owners_above(tcamv6_level_cmpr_root(level), node) == enclosing_above(level, node)) {
    assert(!any_staying(level, lies_above));
    return false;
  }
  return any_staying(level, lies_above);
}

// Owners of the topmost owned nodes at or below a node.
uint32_t owners_below(const tm_util_trie_node *node) {
  if (node == nullptr || node->owners != 0) {
    return node == nullptr ? 0 : node->owners;
  }
  return owners_below(tm_trie_child(node, 0)) + owners_below(tm_trie_child(node, 1));
}

// Does a staying child's node lie at or below another, which all of the adopted lie below? Unless levels were added as
// written, the nodes of two prefixes nest only if these do, and what lies below an adopted child's node is its own.
bool staying_below(const tcamv6_new_level *level, const tm_util_trie_node *node) {
  const auto lies_below = [&](const tm_util_trie_node *staying) {
    return staying == node || tm_util_trie_is_ancestor(node, staying, 1) == TM_OK;
  };
  if ((level->state->marks & TCAMV6_MARK_LOOSE_LEVELS) == 0 && owners_below(node) == level->n_adopted) {
    assert(!any_staying(level, lies_below));
    return false;
  }
  return any_staying(level, lies_below);
}

int32_t refuse() {
  TM_LOG(info, "%s: WARNING: Specified prefix cannot be inserted incrementally. Reoptimize.", leveler);
  return TM_ENOENT;
}

// Safe updates: is N the new prefix's alone, above all adopted children, with no staying one at or below it?
bool is_right_place(const tcamv6_new_level *level) {
  const tm_util_trie_node *place = level->cmpr_node;
  if (place->tag != 0) {
    return false;
  }
  for (size_t i = 0; i < level->n_adopted; ++i) {
    if (tm_util_trie_is_ancestor(place, cmpr_node_of(level->adopted[i].node), 1) != TM_OK) {
      return false;
    }
  }
  return !staying_below(level, place);
}

}  // namespace

bool tcamv6_level_contains(const tcamv6_new_level *level, const tcamv6_anc_data *child) {
  return !tcamv6_anc_is_dummy(child) &&
         tm_util_trie_is_ancestor(level->trie_node, tm_trie_node(child->orig), 1) == TM_OK;
}

tm_util_trie_node *tcamv6_level_cmpr_root(const tcamv6_new_level *level) {
  const tcamv6_anc_data *root_data = tcamv6_data_of_stored(tm_trie_node(level->state->orig_root));
  return root_data == nullptr ? nullptr : tcamv6_cmpr_node(root_data);
}

int32_t tcamv6_find_level_place(tcamv6_new_level *level) {
  const tm_util_trie_node *common = common_code(level);
  if (staying_above(level, common)) {
    return refuse();
  }
  if (common == nullptr) {
    return TM_ENOENT;
  }
  tm_util_trie_node *parent_node = tcamv6_cmpr_node(level->parent_data);
  tm_util_trie_node *first = tm_util_trie_tracepath(parent_node, common->key, parent_node->len, common->len, 1, 1);
  if (first == nullptr) {
    TM_LOG(info, "%s: cmpr_pref_node NULL. Fault.", leveler);
    return TM_EFAULT;
  }
  const int32_t halfway = (common->len + first->len + 1) / 2;
  tm_util_trie_node *place = tm_util_trie_tracepath(first, common->key, first->len, halfway, 0, 0);
  level->cmpr_node = place != nullptr ? place : first;
  return level->rules->right_places && !is_right_place(level) ? refuse() : TM_OK;
}
