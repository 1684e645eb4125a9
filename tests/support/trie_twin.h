// SPDX-License-Identifier: Apache-2.0
// trie_twin.h - a slow, obvious twin of the binary trie: the set of paths that have a node.
//
// A node is named by its path, a string of '0' and '1'; its parent's name is one character shorter. Nothing
// is shared with the library but the meaning of the operations.
#ifndef TRIE_TWIN_H
#define TRIE_TWIN_H

#include <map>
#include <optional>
#include <string>

#include "utils_fixture.h"

class trie_twin {
 public:
  using path = std::string;
  using found = std::optional<path>;

  // tag of every node, 0 on plain path nodes
  std::map<path, uint32_t> nodes{{"", 0}};

  bool has(const path &p) const { return nodes.count(p) != 0; }
  bool branches(const path &p) const { return has(p + '0') && has(p + '1'); }
  uint32_t tag(const path &p) const { return nodes.at(p); }

  void insert(const path &p) {
    for (size_t n = 0; n <= p.size(); ++n) {
      nodes.emplace(p.substr(0, n), 0);
    }
  }

  found lookup(const path &key, int32_t mode) const {
    if (mode == 0) {
      return has(key) ? found(key) : std::nullopt;
    }
    for (size_t n = key.size() + 1; mode == 1 && n-- > 0;) {
      const path p = key.substr(0, n);
      if (has(p) && tag(p) != 0) {
        return p;
      }
    }
    return std::nullopt;
  }

  // From the node `from` along `way`, which begins below it.
  found trace(const path &from, const path &way, int32_t branch_mode, int32_t tag_mode) const {
    path remembered = from;
    path reached = from;
    const bool remembers = branch_mode != 0 || tag_mode != 0;
    for (const char bit : way) {
      if ((branch_mode == 1 && branches(reached)) || (tag_mode == 1 && tag(reached) != 0)) {
        remembered = reached;
      }
      if (!has(reached + bit)) {
        return remembers ? found(remembered) : std::nullopt;
      }
      reached += bit;
    }
    return remembers && !way.empty() ? remembered : reached;
  }

  // Cut everything at and below a path.
  void cut(const path &p) {
    for (auto node = nodes.lower_bound(p); node != nodes.end() && node->first.compare(0, p.size(), p) == 0;) {
      node = nodes.erase(node);
    }
  }

  // Number of allocations that succeed before one is refused; negative = all.
  int64_t room = -1;

  found extend(const path &p, int32_t n, bool chain) {
    if (n == 0) {
      return std::nullopt;
    }
    if (!branches(p)) {
      const path first = p + (has(p + '0') ? '1' : '0');
      if (!grow(first)) {
        return std::nullopt;
      }
      path last = first;
      for (int32_t i = 1; chain && i < n; ++i) {
        last += '0';
        if (!grow(last)) {
          return std::nullopt;
        }
      }
      return last;
    }
    const path first = p + (n % 2 == 0 ? '1' : '0');
    const path second = p + (n % 2 == 0 ? '0' : '1');
    if (tag(first) == 0) {
      if (const found made = extend(first, n - 1, chain)) {
        return made;
      }
    }
    return tag(second) == 0 ? extend(second, n - 1, chain) : std::nullopt;
  }

 private:
  bool grow(const path &p) {
    if (room == 0) {
      --room;
      return false;
    }
    --room;
    nodes.emplace(p, 0);
    return true;
  }
};

// The real trie as a map from path to tag; checks that keys and lengths agree with the paths.
inline void collect(const tm_util_trie_node *node, const std::string &path, std::map<std::string, uint32_t> &nodes) {
  nodes.emplace(path, node->tag);
  EXPECT_EQ(node->len, path.size());
  EXPECT_EQ(bits_of(node->key, node->len), path);
  EXPECT_EQ(bits_of(node->key, 128).find('1', path.size()), std::string::npos) << "bits beyond the path";
  for (uint32_t bit = 0; bit < 2; ++bit) {
    if (const tm_util_trie_node *child = child_of(node, bit)) {
      collect(child, path + static_cast<char>('0' + bit), nodes);
    }
  }
}

inline std::map<std::string, uint32_t> nodes_of(const tm_util_trie_node *root) {
  std::map<std::string, uint32_t> nodes;
  collect(root, "", nodes);
  return nodes;
}

// Random paths that share beginnings, so that nodes branch, nest and stop at every depth.
inline std::string random_path(dice &random, uint32_t longest = 128) {
  static const char *const stems[] = {"0010000000000001", "0010000000000010", "11111100", "", "0", "1"};
  std::string path = stems[random.below(6)];
  const uint32_t length = random.chance(8) ? longest : random.below(longest + 1);
  while (path.size() < length) {
    const uint32_t run = 1 + random.below(30);
    path += std::string(random.chance(3) ? 1 : run, static_cast<char>('0' + random.below(2)));
  }
  path.resize(length, '0');
  return path;
}

#endif
