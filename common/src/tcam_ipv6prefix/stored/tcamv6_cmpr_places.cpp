// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_cmpr_places.h"

#include "tm_journal.h"
#include "tm_key.h"

namespace {

constexpr const char *searcher = "tcamv6_extend_cmpr_path";
constexpr uint16_t everything = UINT16_MAX;  // no search has so many levels

// What is known of a node with two children, from what is known of these.
uint16_t full_from_children(const tm_util_trie_node *node) {
  uint16_t full = everything;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    const tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child->tag == 0 && child->full < full) {
      full = static_cast<uint16_t>(child->full + (child->full != everything));
    }
  }
  return full;
}

// A batch can do without a mark, so memory refused for its note is no failure.
void mark(tm_util_trie_node *node) {
  const uint16_t full = full_from_children(node);
  if (full > node->full && tm_journal_reserve_edits(searcher, 1) == TM_OK) {
    tm_edit(&node->full, full);
  }
}

tm_util_trie_node *grow_here(tm_util_trie_node *node, int32_t n, tm_trie_grown *last) {
  tm_trie_grown grown;
  tm_util_trie_node *end = tm_trie_grow_chain(node, n, &grown);
  if (grown.end != nullptr) {
    *last = grown;
  }
  return end;
}

// Even levels left to go try the right side first, odd ones the left. A place that is found but not had, for want of
// an element, does not end the search, and is not taken for full: marks come from those of the nodes below.
tm_util_trie_node *extend(tm_util_trie_node *node, int32_t n, tm_trie_grown *last) {
  if (n <= node->full) {
    return nullptr;
  }
  if (!tm_trie_has_both_children(node)) {
    return grow_here(node, n, last);
  }
  const uint32_t first = n % 2 == 0;
  for (uint32_t turn = 0; turn < 2; ++turn) {
    tm_util_trie_node *child = tm_trie_child(node, turn == 0 ? first : 1 - first);
    tm_util_trie_node *end = child->tag != 0 ? nullptr : extend(child, n - 1, last);
    if (end != nullptr) {
      return end;
    }
  }
  mark(node);
  return nullptr;
}

// Forget what is known of the nodes on the way to a key, down to a depth.
void forget_marks(tm_util_trie_node *from, const uint8_t *key, int32_t depth) {
  tm_util_trie_node *node = from;
  for (int32_t bit = from->len; node != nullptr && bit <= depth; ++bit) {
    if (node->full != 0) {
      tm_edit(&node->full, 0);
    }
    node = bit < depth ? tm_trie_child(node, tm_key_bit(key, bit)) : nullptr;
  }
}

}  // namespace

tm_util_trie_node *tcamv6_extend_cmpr_path(tm_util_trie_node *node, int32_t n, tm_trie_grown *grown) {
  *grown = {};
  return node == nullptr || n <= 0 ? nullptr : extend(node, n, grown);
}

tm_util_trie_node *tcamv6_cmpr_way_to(const tm_util_trie_node *node, tm_util_trie_node *near,
                                      tm_util_trie_node *cmpr_root) {
  const bool is_above =
      near != nullptr && near->tag != 0 && near->len < node->len && tm_key_equal_bits(near->key, node->key, near->len);
  return is_above ? near : cmpr_root;
}

void tcamv6_clear_cmpr_tag(tm_util_trie_node *from, tm_util_trie_node *node) {
  tm_edit(&node->tag, 0);
  forget_marks(from, node->key, node->len - 1);
}

void tcamv6_cut_cmpr_child(tm_util_trie_node *from, tm_util_trie_node *node, uint32_t bit) {
  tm_trie_link_child(node, bit, nullptr);
  forget_marks(from, node->key, node->len);
}
