// SPDX-License-Identifier: Apache-2.0
// tm_trie_internal.h - links and growing paths of tries, for the library itself.
#ifndef TM_TRIE_INTERNAL_H
#define TM_TRIE_INTERNAL_H

#include "tm_chunk_internal.h"
#include "tm_trie.h"

inline tm_util_trie_node *tm_trie_node(tm_chunk_idx idx) { return tm_ptr<tm_util_trie_node>(idx); }

inline tm_util_trie_node *tm_trie_child(const tm_util_trie_node *node, uint32_t bit) {
  return tm_trie_node(bit != 0 ? node->right : node->left);
}

inline bool tm_trie_is_leaf(const tm_util_trie_node *node) {
  return node->left == TM_CHUNK_IDX_NULL && node->right == TM_CHUNK_IDX_NULL;
}

inline bool tm_trie_has_both_children(const tm_util_trie_node *node) {
  return node->left != TM_CHUNK_IDX_NULL && node->right != TM_CHUNK_IDX_NULL;
}

// Link a child (or none) under a stored node, through the journal of a safe batch.
void tm_trie_link_child(tm_util_trie_node *node, uint32_t bit, tm_util_trie_node *child);

// Make the missing child of a node; null when no element is left.
tm_util_trie_node *tm_trie_make_child(tm_util_trie_node *node, uint32_t bit);

// A chain of nodes made by one call, also by one that failed for want of memory: its first and its deepest node,
// both null when none was made.
typedef struct tm_trie_grown {
  tm_util_trie_node *top;
  tm_util_trie_node *end;
} tm_trie_grown;

// tm_util_trie_insert, telling what it made.
tm_util_trie_node *tm_trie_insert_path(tm_util_trie_node *root, const uint8_t *key, int32_t len, tm_trie_grown *grown);

// The same from a node that lies on the key's path: the way down to it is saved.
tm_util_trie_node *tm_trie_insert_below(tm_util_trie_node *node, const uint8_t *key, int32_t len, tm_trie_grown *grown);

// Grow a chain of n levels (1 or more) from a node that lacks a child: the right one if that alone is missing, then
// left ones. Returns its end; null when no element is left.
tm_util_trie_node *tm_trie_grow_chain(tm_util_trie_node *node, int32_t n, tm_trie_grown *grown);

#endif
