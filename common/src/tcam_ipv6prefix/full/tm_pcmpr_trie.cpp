// SPDX-License-Identifier: Apache-2.0
// tm_pcmpr_trie.cpp - folding a binary trie into edges, and reading edge counts and directions from it.
//
// A stop node is one that holds a prefix or has both children; an edge runs from stop node to stop node and
// carries the bits between them. One child side of each prefix node is the extend side: below it one edge
// more is kept than the prefixes need, so that the code of the prefix's own addresses finds a free place.
// An edge on that side is split one bit above its stop node, or, when it has one bit only, lengthened by
// an extension node, whose edge stands for no key bit.
#include "tm_pcmpr_trie.h"

#include <string.h>

#include "tm_chunk_internal.h"
#include "tm_debug.h"
#include "tm_key.h"
#include "tm_pcmpr_trie_internal.h"
#include "tm_trie_internal.h"

namespace {

// Which child side of a prefix node keeps room for one edge more.
enum extend_side { EXTEND_NONE = 0, EXTEND_CHILD_0 = 1, EXTEND_CHILD_1 = 2 };

tcamv6_pcmpr_data *edges_of(const tm_util_trie_node *node) { return tm_ptr<tcamv6_pcmpr_data>(node->data); }

uint8_t *edge_bits(tcamv6_pcmpr_data *edges, uint32_t side) { return side != 0 ? edges->path1 : edges->path0; }

uint8_t *edge_len(tcamv6_pcmpr_data *edges, uint32_t side) { return side != 0 ? &edges->len1 : &edges->len0; }

// The rule of the root differs from that of all other nodes: there two branching children choose side 1.
extend_side extend_side_of_root(const tm_util_trie_node *root) {
  if (root->tag == 0) {
    return EXTEND_NONE;
  }
  const bool only_child_1 =
      tm_util_trie_pcmpr_is_branch(tm_trie_child(root, 1)) && !tm_util_trie_pcmpr_is_branch(tm_trie_child(root, 0));
  return only_child_1 ? EXTEND_CHILD_0 : EXTEND_CHILD_1;
}

extend_side extend_side_of(const tm_util_trie_node *node) {
  if (node->tag == 0) {
    return EXTEND_NONE;
  }
  if (!tm_util_trie_pcmpr_is_branch(tm_trie_child(node, 1))) {
    return EXTEND_CHILD_1;
  }
  if (tm_util_trie_pcmpr_is_branch(tm_trie_child(node, 0))) {
    return node->len % 2 != 0 ? EXTEND_CHILD_1 : EXTEND_CHILD_0;
  }
  return EXTEND_CHILD_0;
}

int32_t fold_edge(tm_util_trie_node *node, tm_util_trie_node *cmpr_node, uint8_t *edge, uint8_t *edge_len, bool extend);

// Fold both child sides of a trie node below its path-compressed node.
int32_t fold_children(const tm_util_trie_node *node, tm_util_trie_node *cmpr_node, extend_side side) {
  for (uint32_t bit = 0; bit < 2; ++bit) {
    tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child == nullptr) {
      continue;
    }
    tm_util_trie_node *cmpr_child;
    int32_t result = tm_util_trie_pcmpr_node_new(&cmpr_child);
    if (result != TM_OK) {
      return result;
    }
    (bit != 0 ? cmpr_node->right : cmpr_node->left) = tm_idx(cmpr_child);
    tcamv6_pcmpr_data *edges = edges_of(cmpr_node);
    tm_key_put_bit(edge_bits(edges, bit), 0, bit != 0);
    *edge_len(edges, bit) = 1;
    result = fold_edge(child, cmpr_child, edge_bits(edges, bit), edge_len(edges, bit),
                       side == (bit != 0 ? EXTEND_CHILD_1 : EXTEND_CHILD_0));
    if (result != TM_OK) {
      return result;
    }
  }
  return TM_OK;
}

void set_longest(tm_util_trie_node *cmpr_node) {
  edges_of(cmpr_node)->longest = static_cast<uint8_t>(tm_util_calculate_longest_pathlen(cmpr_node));
}

// Make a node an extension node. Returns its new child, null when none can be made.
tm_util_trie_node *add_extension(tm_util_trie_node *cmpr_node) {
  tm_util_trie_node *below;
  if (tm_util_trie_pcmpr_node_new(&below) != TM_OK) {
    return nullptr;
  }
  tcamv6_pcmpr_data *edges = edges_of(cmpr_node);
  cmpr_node->left = tm_idx(below);
  tm_key_put_bit(edges->path0, 0, false);
  edges->len0 = 1;
  edges->extension = 1;
  edges->longest = 1;
  return below;
}

int32_t fold_edge(tm_util_trie_node *node, tm_util_trie_node *cmpr_node, uint8_t *edge, uint8_t *edge_len,
                  bool extend) {
  if (cmpr_node == nullptr || edge == nullptr || edge_len == nullptr) {
    return TM_EINVAL;
  }
  if (node == nullptr) {
    return TM_OK;
  }
  if (cmpr_node->data == TM_CHUNK_IDX_NULL) {
    zel_fatal("\n%s: cmpr_path is NULL", "tm_util_trie_pcmpr_gen_internal");
  }
  tm_util_trie_node *before = nullptr;  // the node above `node` on this edge
  while (!tm_trie_is_leaf(node) && !tm_util_trie_pcmpr_is_branch(node)) {
    const uint32_t bit = node->left == TM_CHUNK_IDX_NULL;
    tm_key_put_bit(edge, *edge_len, bit != 0);
    ++*edge_len;
    before = node;
    node = tm_trie_child(node, bit);
  }
  tm_util_trie_node *place = cmpr_node;
  if (extend && before != nullptr) {
    --*edge_len;
    node = before;
  } else if (extend && tm_util_trie_pcmpr_is_branch(node)) {
    place = add_extension(cmpr_node);
    if (place == nullptr) {
      return TM_ENOMEM;
    }
  }
  place->tag = node->tag;
  const int32_t result = fold_children(node, place, extend_side_of(node));
  if (result != TM_OK) {
    return result;
  }
  set_longest(place);
  if (place != cmpr_node) {
    set_longest(cmpr_node);
  }
  return TM_OK;
}

bool is_prefix_of(const uint8_t *key_a, int32_t len_a, const uint8_t *key_b, int32_t len_b) {
  return len_a >= 0 && len_a <= len_b && len_b <= TM_KEY_BITS &&
         tm_key_equal_bits(key_a, key_b, static_cast<uint32_t>(len_a));
}

}  // namespace

int32_t tm_util_trie_pcmpr_node_new(tm_util_trie_node **output) {
  if (output == nullptr) {
    return TM_EINVAL;
  }
  *output = nullptr;
  auto *node = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
  if (node == nullptr) {
    return TM_ENOMEM;
  }
  auto *edges = static_cast<tcamv6_pcmpr_data *>(tm_chunk_malloc(TM_V6_PCMPR_DATA));
  if (edges == nullptr) {
    tm_chunk_free(TM_V6_TRIE_NODE, node);
    return TM_ENOMEM;
  }
  tm_util_trie_node_initialize(node, nullptr, 0);
  node->data = tm_idx(edges);
  edges->len0 = 0;
  edges->len1 = 0;
  edges->longest = 0;
  edges->extension = 0;
  *output = node;
  return TM_OK;
}

bool tm_util_trie_pcmpr_is_branch(const tm_util_trie_node *node) {
  return node != nullptr && (node->tag != 0 || (node->left != TM_CHUNK_IDX_NULL && node->right != TM_CHUNK_IDX_NULL));
}

int32_t tm_util_trie_pcmpr_gen(tm_util_trie_node *trie_root, tm_util_trie_node **output) {
  if (output == nullptr) {
    return TM_EINVAL;
  }
  *output = nullptr;
  if (trie_root == nullptr) {
    return TM_OK;
  }
  tm_util_trie_node *cmpr_root;
  int32_t result = tm_util_trie_pcmpr_node_new(&cmpr_root);
  if (result != TM_OK) {
    return result;
  }
  *output = cmpr_root;
  cmpr_root->tag = trie_root->tag;
  result = fold_children(trie_root, cmpr_root, extend_side_of_root(trie_root));
  if (result == TM_OK) {
    set_longest(cmpr_root);
  }
  return result;
}

int32_t tm_util_trie_pcmpr_gen_internal(tm_util_trie_node *node, tm_util_trie_node *cmpr_node, uint8_t *edge,
                                        uint8_t *edge_len, int32_t extend) {
  return fold_edge(node, cmpr_node, edge, edge_len, extend != 0);
}

int32_t tm_util_calculate_longest_pathlen(const tm_util_trie_node *node) {
  TM_REQUIRE("tm_util_calculate_longest_pathlen", node != nullptr, "root is NULL");
  uint8_t longest = 0;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    const tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child != nullptr && child->data != TM_CHUNK_IDX_NULL) {
      const auto through_child = static_cast<uint8_t>(edges_of(child)->longest + 1);
      longest = through_child > longest ? through_child : longest;
    }
  }
  return longest;
}

tm_util_trie_node *tm_util_trie_pcmpr_lookup_internal(tm_util_trie_node *node, const uint8_t *key, int32_t key_len,
                                                      int32_t start, int32_t record, uint8_t *bits, int32_t *count) {
  if ((record == 1 && bits == nullptr) || key == nullptr || count == nullptr) {
    return nullptr;
  }
  *count = 0;
  if (start < 0 || key_len > TM_KEY_BITS) {
    return nullptr;
  }
  const tm_key_number key_number = tm_key_load(key);
  int32_t at = start;
  while (node != nullptr && at < key_len) {
    tcamv6_pcmpr_data *edges = edges_of(node);
    TM_REQUIRE("tm_util_trie_pcmpr_lookup_internal", edges != nullptr, "node_data is NULL");
    const uint32_t side = tm_key_bit(key, at);
    tm_util_trie_node *child = tm_trie_child(node, side);
    if (child == nullptr) {
      return nullptr;
    }
    const int32_t edge_bits_left = *edge_len(edges, side);
    const int32_t key_bits_left = key_len - at;
    const int32_t n = edge_bits_left < key_bits_left ? edge_bits_left : key_bits_left;
    const tm_key_number differing = (key_number << at) ^ tm_key_load(edge_bits(edges, side));
    if ((differing & tm_key_number_leading(n)) != 0) {
      return nullptr;
    }
    if (n < edge_bits_left) {
      return node;  // the key ends inside the edge
    }
    at += n;
    if (record == 1) {
      tm_key_put_bit(bits, *count, side != 0);
    }
    ++*count;
    node = child;
    if (edges_of(node) != nullptr && edges_of(node)->extension != 0) {
      if (record == 1) {
        tm_key_put_bit(bits, *count, false);
      }
      ++*count;
      node = tm_trie_child(node, 0);
    }
  }
  return at == key_len ? node : nullptr;
}

int32_t tm_util_trie_pcmpr_len(tm_util_trie_node *root, const uint8_t *key_a, int32_t len_a, const uint8_t *key_b,
                               int32_t len_b, int8_t *longest_out) {
  if (root == nullptr || key_a == nullptr || key_b == nullptr || !is_prefix_of(key_a, len_a, key_b, len_b)) {
    return TM_EINVAL;
  }
  int32_t count;
  tm_util_trie_node *node_a = tm_util_trie_pcmpr_lookup_internal(root, key_a, len_a, 0, 0, nullptr, &count);
  tm_util_trie_node *node_b = tm_util_trie_pcmpr_lookup_internal(node_a, key_b, len_b, len_a, 0, nullptr, &count);
  if (node_b == nullptr) {
    return TM_EINVAL;
  }
  if (longest_out != nullptr && node_b->data != TM_CHUNK_IDX_NULL) {
    *longest_out = static_cast<int8_t>(edges_of(node_b)->longest);
  }
  return count;
}

int32_t tm_util_trie_pcmpr_getpath(tm_util_trie_node *root, const uint8_t *key_a, int32_t len_a, const uint8_t *key_b,
                                   int32_t len_b, uint8_t *bits, int32_t *count) {
  if (root == nullptr || key_a == nullptr || key_b == nullptr || bits == nullptr || count == nullptr ||
      !is_prefix_of(key_a, len_a, key_b, len_b)) {
    return TM_EINVAL;
  }
  tm_util_trie_node *node_a = tm_util_trie_pcmpr_lookup_internal(root, key_a, len_a, 0, 0, nullptr, count);
  return tm_util_trie_pcmpr_lookup_internal(node_a, key_b, len_b, len_a, 1, bits, count) != nullptr ? TM_OK : TM_EINVAL;
}

int32_t tm_util_trie_pcmpr_addpath(tm_util_trie_node *start, tm_util_trie_node *end, const uint8_t *bits, int32_t n) {
  if (start == nullptr || bits == nullptr || n < 0 || n > TM_KEY_BITS) {
    return TM_EINVAL;
  }
  tm_util_trie_node *node = start;
  for (int32_t i = 0; i < n; ++i) {
    const uint32_t bit = tm_key_bit(bits, i);
    tm_util_trie_node *child = i == n - 1 ? end : tm_trie_child(node, bit);
    if (child == nullptr && i != n - 1) {
      child = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
      if (child == nullptr) {
        return TM_ENOMEM;
      }
      tm_util_trie_node_initialize(child, nullptr, 0);
    }
    tm_trie_link_child(node, bit, child);
    node = child;
  }
  return TM_OK;
}
