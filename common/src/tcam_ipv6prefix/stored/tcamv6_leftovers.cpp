// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_leftovers.h"

#include <string.h>

#include "tcamv6_cmpr_places.h"
#include "tm_journal.h"
#include "tm_key.h"

namespace {

struct left_path {
  tm_util_trie_node *root;
  uint8_t key[TM_KEY_BYTES];
  int32_t end;  // depth of its deepest node
  int32_t top;  // depth of its first node
};

// One addition fails per batch, and the undo of a batch can fail in its turn; deeper nesting than this has never been
// seen. A path that finds no place is given back at once.
constexpr uint32_t most_paths = 64;
left_path paths[most_paths];
uint32_t n_paths = 0;

void release_path(const left_path *path) {
  tm_util_trie_node *chain[TM_KEY_BITS + 1];
  int32_t depth = 0;
  chain[0] = path->root;
  while (depth < path->end) {
    tm_util_trie_node *child = tm_trie_child(chain[depth], tm_key_bit(path->key, depth));
    if (child == nullptr) {
      break;
    }
    chain[++depth] = child;
  }
  for (; depth >= path->top && depth > 0; --depth) {
    tm_util_trie_node *node = chain[depth];
    if (!tm_trie_is_leaf(node) || node->owners != 0) {
      return;
    }
    tcamv6_cut_cmpr_child(path->root, chain[depth - 1], tm_key_bit(path->key, depth - 1));
    if (node->data != TM_CHUNK_IDX_NULL) {
      tm_chunk_free(TM_V6_ORIG_DATA, tm_ptr<void>(node->data));
    }
    tm_chunk_free(TM_V6_TRIE_NODE, node);
  }
}

void abandon_node(tm_util_trie_node *node) {
  tm_chunk_abandon(TM_V6_ORIG_DATA, tm_ptr<void>(node->data));
  tm_chunk_abandon(TM_V6_TRIE_NODE, node);
}

// A compressed node that some ancestor-tree node owns, and what hangs below it up to the next owned nodes.
void abandon_owned(tm_util_trie_node *node) {
  if (node == nullptr) {
    return;
  }
  tm_util_trie_node *left = tm_trie_child(node, 0);
  tm_util_trie_node *right = tm_trie_child(node, 1);
  abandon_node(node);
  tcamv6_abandon_unowned(left);
  tcamv6_abandon_unowned(right);
}

}  // namespace

void tcamv6_reclaim_leftovers() {
  while (n_paths > 0) {
    release_path(&paths[--n_paths]);
  }
  tm_chunk_release_abandoned();
}

void tcamv6_forget_leftovers() {
  n_paths = 0;
  tm_chunk_forget_abandoned();
}

void tcamv6_remember_path(tm_util_trie_node *cmpr_root, const tm_trie_grown *path) {
  if (tm_journal_is_open || path->end == nullptr) {
    return;
  }
  left_path left = {cmpr_root, {}, path->end->len, path->top->len};
  memcpy(left.key, path->end->key, sizeof left.key);
  if (n_paths == most_paths) {
    release_path(&left);
    return;
  }
  paths[n_paths++] = left;
}

void tcamv6_abandon_trie(tm_util_trie_node *node) {
  if (node == nullptr) {
    return;
  }
  tcamv6_abandon_trie(tm_trie_child(node, 0));
  tcamv6_abandon_trie(tm_trie_child(node, 1));
  abandon_node(node);
}

// An owned node is reached through its own ancestor-tree node only, so each is abandoned once. Its count of owners
// stays readable afterwards: the chain of abandoned elements uses the first 8 bytes.
void tcamv6_abandon_unowned(tm_util_trie_node *node) {
  if (node != nullptr && node->owners == 0) {
    abandon_owned(node);
  }
}

void tcamv6_abandon_anc_tree(tm_n_ary_node *node) {
  if (node == nullptr) {
    return;
  }
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr;) {
    tm_n_ary_node *next = tcamv6_anc_next(child);
    tcamv6_abandon_anc_tree(child);
    child = next;
  }
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (data != nullptr) {
    abandon_owned(tcamv6_cmpr_node(data));
    tm_chunk_abandon(TM_V6_ANC_DATA, data);
  }
  tm_chunk_abandon(TM_V6_ANC_TREE, node);
}
