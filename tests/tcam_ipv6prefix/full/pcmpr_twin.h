// SPDX-License-Identifier: Apache-2.0
// pcmpr_twin.h - a slow twin of the path-compressed trie: edges are strings of '0' and '1'.
//
// It folds the real binary trie by the rules of generation, each rule in its own step, and follows keys
// character by character. Nothing is shared with the library but the source trie.
#ifndef PCMPR_TWIN_H
#define PCMPR_TWIN_H

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "tm_pcmpr_trie.h"
#include "utils_fixture.h"

struct pcmpr_twin {
  uint32_t tag = 0;
  bool extension = false;
  int32_t longest = 0;
  std::string edge[2];
  std::unique_ptr<pcmpr_twin> child[2];

  static bool stops(const tm_util_trie_node *node) {
    return node != nullptr && (node->tag != 0 || (left_of(node) != nullptr && right_of(node) != nullptr));
  }

  static std::unique_ptr<pcmpr_twin> of(const tm_util_trie_node *trie) {
    auto root = std::make_unique<pcmpr_twin>();
    root->tag = trie->tag;
    int extend_side = 0;
    if (trie->tag != 0) {
      extend_side = stops(right_of(trie)) && !stops(left_of(trie)) ? 1 : 2;
    }
    root->descend(trie, extend_side);
    root->measure();
    return root;
  }

  // The node reached, and the directions of the edges on the way; none when the key leaves the trie.
  struct walk {
    const pcmpr_twin *node = nullptr;
    std::string directions;
  };

  walk follow(const std::string &key, size_t start) const {
    if (start >= key.size()) {
      return {start == key.size() ? this : nullptr, ""};
    }
    walk w{this, ""};
    for (size_t s = start; s < key.size();) {
      const int side = key[s] - '0';
      const pcmpr_twin *next = w.node->child[side].get();
      if (next == nullptr) {
        w.node = nullptr;
        return w;
      }
      const std::string &bits = w.node->edge[side];
      const std::string ahead = key.substr(s, bits.size());
      if (bits.compare(0, ahead.size(), ahead) != 0) {
        w.node = nullptr;
        return w;
      }
      if (ahead.size() < bits.size()) {
        return w;  // the key ends inside the edge
      }
      s += bits.size();
      w.node = next;
      w.directions += static_cast<char>('0' + side);
      if (next->extension) {
        w.node = next->child[0].get();
        w.directions += '0';
      }
    }
    return w;
  }

 private:
  void descend(const tm_util_trie_node *trie, int extend_side) {
    if (const tm_util_trie_node *left = left_of(trie)) {
      child[0] = std::make_unique<pcmpr_twin>();
      edge[0] = "0";
      child[0]->fold(left, edge[0], extend_side == 1);
    }
    if (const tm_util_trie_node *right = right_of(trie)) {
      child[1] = std::make_unique<pcmpr_twin>();
      edge[1] = "1";
      child[1]->fold(right, edge[1], extend_side == 2);
    }
  }

  pcmpr_twin *extend() {
    extension = true;
    edge[0] = "0";
    child[0] = std::make_unique<pcmpr_twin>();
    return child[0].get();
  }

  void fold(const tm_util_trie_node *trie, std::string &above, bool wants_room) {
    if (left_of(trie) == nullptr && right_of(trie) == nullptr) {
      pcmpr_twin *place = wants_room && trie->tag != 0 ? extend() : this;
      place->tag = trie->tag;
      measure();
      return;
    }
    // All nodes from here to the one at which the edge ends.
    std::vector<const tm_util_trie_node *> passed{trie};
    std::string bits;
    while (!stops(passed.back()) && (left_of(passed.back()) != nullptr || right_of(passed.back()) != nullptr)) {
      const bool right = right_of(passed.back()) != nullptr;
      bits += right ? '1' : '0';
      passed.push_back(right ? right_of(passed.back()) : left_of(passed.back()));
    }
    pcmpr_twin *place = this;
    if (wants_room && !bits.empty()) {
      bits.pop_back();
      passed.pop_back();
    } else if (wants_room && stops(trie)) {
      place = extend();
    }
    above += bits;
    const tm_util_trie_node *end = passed.back();
    place->tag = end->tag;
    int extend_side = 0;
    if (end->tag != 0) {
      if (!stops(right_of(end))) {
        extend_side = 2;
      } else if (!stops(left_of(end))) {
        extend_side = 1;
      } else {
        extend_side = end->len % 2 == 1 ? 2 : 1;
      }
    }
    place->descend(end, extend_side);
    place->measure();
    measure();
  }

  void measure() {
    longest = 0;
    for (const auto &next : child) {
      if (next != nullptr) {
        longest = std::max(longest, (next->longest + 1) & 0xFF);
      }
    }
  }
};

inline const tcamv6_pcmpr_data *pcmpr_data_of(const tm_util_trie_node *node) {
  return static_cast<tcamv6_pcmpr_data *>(tm_chunk_idx2ptr(TM_V6_PCMPR_DATA, node->data));
}

inline void expect_same(const tm_util_trie_node *node, const pcmpr_twin &twin, const std::string &at) {
  ASSERT_EQ(node->tag, twin.tag) << at;
  const tcamv6_pcmpr_data *data = pcmpr_data_of(node);
  ASSERT_NE(data, nullptr) << at;
  ASSERT_EQ(data->longest, twin.longest) << at;
  ASSERT_EQ(data->extension != 0, twin.extension) << at;
  ASSERT_EQ(bits_of(data->path0, data->len0), twin.edge[0]) << at;
  ASSERT_EQ(bits_of(data->path1, data->len1), twin.edge[1]) << at;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    const tm_util_trie_node *child = child_of(node, bit);
    ASSERT_EQ(child != nullptr, twin.child[bit] != nullptr) << at;
    if (child != nullptr) {
      expect_same(child, *twin.child[bit], at + " " + twin.edge[bit]);
    }
  }
}

#endif
