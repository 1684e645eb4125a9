// SPDX-License-Identifier: Apache-2.0
// trie_fixture.h - a trie of its own for each test.
#ifndef TRIE_FIXTURE_H
#define TRIE_FIXTURE_H

#include "trie_twin.h"

class trie_test : public utils_test {
 protected:
  void SetUp() override {
    utils_test::SetUp();
    root = new_trie_root();
  }

  tm_util_trie_node *insert(const char *address, int32_t len, uint32_t tag = 0) {
    tm_util_trie_node *node = tm_util_trie_insert(root, key_of(address).data(), len);
    if (tag != 0) {
      node->tag = tag;
    }
    return node;
  }

  tm_util_trie_node *insert(const std::string &path) {
    const guarded_key key(key_from_bits(path));
    return tm_util_trie_insert(root, key.bytes(), static_cast<int32_t>(path.size()));
  }

  size_t nodes_out() const { return test_host::pool_used("TM_V6_TRIE_NODE"); }

  // What the pool will hand out next, last given back first.
  std::vector<void *> next_nodes(size_t n) {
    std::vector<void *> nodes;
    for (size_t i = 0; i < n; ++i) {
      nodes.push_back(tm_chunk_malloc(TM_V6_TRIE_NODE));
    }
    return nodes;
  }

  tm_util_trie_node *root = nullptr;
};

inline std::string path_of(const tm_util_trie_node *node) { return bits_of(node->key, node->len); }

#endif
