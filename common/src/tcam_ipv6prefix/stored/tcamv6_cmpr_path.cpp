// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_cmpr_path.h"

#include "tcamv6_cmpr_places.h"
#include "tm_journal.h"
#include "tm_key.h"

namespace {

bool ends_tail(const tm_util_trie_node *node) {
  return tm_trie_has_both_children(node) || node->tag != 0 || node->owners != 0;
}

// The deepest node above `node` at which its tail ends; where the way begins when there is none.
tm_util_trie_node *find_cut(tm_util_trie_node *from, const tm_util_trie_node *node) {
  tm_util_trie_node *cut = from;
  tm_util_trie_node *at = from;
  for (int32_t bit = from->len; at != nullptr && bit < node->len; ++bit) {
    if (ends_tail(at)) {
      cut = at;
    }
    at = tm_trie_child(at, tm_key_bit(node->key, bit));
  }
  return cut;
}

// Count a subtree's nodes. Returns false when one of them is owned.
bool count_unowned(const tm_util_trie_node *node, size_t *count) {
  if (node == nullptr) {
    return true;
  }
  ++*count;
  return node->owners == 0 && count_unowned(tm_trie_child(node, 0), count) &&
         count_unowned(tm_trie_child(node, 1), count);
}

}  // namespace

void tcamv6_own_cmpr_node(tcamv6_anc_data *data, tm_util_trie_node *node) {
  tm_edit(&data->cmpr_node, tm_idx(node));
  tm_edit(&node->owners, node->owners + 1);
}

void tcamv6_disown_cmpr_node(const tcamv6_anc_data *data) {
  tm_util_trie_node *node = tcamv6_cmpr_node(data);
  tm_edit(&node->owners, node->owners - 1);
}

tm_util_trie_node *tcamv6_grow_cmpr_path(tm_util_trie_node *node, int32_t n, uint32_t tag, tm_trie_grown *path) {
  tm_util_trie_node *end = tcamv6_extend_cmpr_path(node, n, path);
  if (end != nullptr) {
    end->tag = tag;
  }
  return end;
}

int32_t tcamv6_release_cmpr_path(tm_util_trie_node *from, const tm_util_trie_node *node) {
  constexpr const char *function = "tcamv6_release_cmpr_path";
  tm_util_trie_node *cut = find_cut(from, node);
  const uint32_t side = tm_key_bit(node->key, cut->len);
  tm_util_trie_node *tail = tm_trie_child(cut, side);
  size_t n_nodes = 0;
  if (!count_unowned(tail, &n_nodes)) {
    return TM_EEXIST;
  }
  // Paths that could not go before can hang here, more than a record is allotted.
  const int32_t reserved = tm_journal_reserve_releases(function, 2 * n_nodes);
  if (reserved != TM_OK) {
    return reserved;
  }
  tcamv6_cut_cmpr_child(from, cut, side);
  tm_util_trie_free(tail, 1, TM_V6_ORIG_DATA);
  return TM_OK;
}
