// SPDX-License-Identifier: Apache-2.0
// pcmpr_fixture.h - a trie of prefixes and its path-compressed view for each test.
#ifndef PCMPR_FIXTURE_H
#define PCMPR_FIXTURE_H

#include "pcmpr_twin.h"
#include "trie_twin.h"

// A path-compressed trie of prefixes given as bit strings; tags are their places in the list, from 1.
class pcmpr_test : public utils_test {
 protected:
  void SetUp() override {
    utils_test::SetUp();
    trie = new_trie_root();
  }

  void store(const std::vector<std::string> &paths) {
    for (const std::string &path : paths) {
      tm_util_trie_node *node =
          tm_util_trie_insert(trie, key_from_bits(path).data(), static_cast<int32_t>(path.size()));
      node->tag = ++last_tag;
      prefixes.push_back(path);
    }
  }

  void fold() { ASSERT_EQ(tm_util_trie_pcmpr_gen(trie, &root), 0); }

  void drop() {
    tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
    root = nullptr;
    tm_util_trie_free(trie, 0, 0);
    trie = new_trie_root();
    prefixes.clear();
    last_tag = 0;
  }

  static tm_util_trie_node *look_up(tm_util_trie_node *from, const std::string &key, int32_t start, int32_t record,
                                    uint8_t *bits, int32_t *count) {
    const guarded_key bytes(key_from_bits(key));
    return tm_util_trie_pcmpr_lookup_internal(from, bytes.bytes(), static_cast<int32_t>(key.size()), start, record,
                                              bits, count);
  }

  int32_t edges(const std::string &a, const std::string &b, int8_t *longest = nullptr) const {
    const guarded_key ka(key_from_bits(a));
    const guarded_key kb(key_from_bits(b));
    return tm_util_trie_pcmpr_len(root, ka.bytes(), static_cast<int32_t>(a.size()), kb.bytes(),
                                  static_cast<int32_t>(b.size()), longest);
  }

  // The directions between two prefixes as text, or "error".
  std::string way(const std::string &a, const std::string &b) const {
    const guarded_key ka(key_from_bits(a));
    const guarded_key kb(key_from_bits(b));
    guarded_key bits(test_key{});
    int32_t count = -1;
    const int32_t result = tm_util_trie_pcmpr_getpath(root, ka.bytes(), static_cast<int32_t>(a.size()), kb.bytes(),
                                                      static_cast<int32_t>(b.size()), bits.bytes(), &count);
    if (result != 0) {
      EXPECT_EQ(result, TM_EINVAL);
      return "error";
    }
    return bits_of(bits.bytes(), count);
  }

  void store_random(dice &random, uint32_t n, uint32_t longest) {
    std::vector<std::string> paths;
    for (uint32_t i = 0; i < n; ++i) {
      std::string path = random_path(random, longest);
      if (random.chance(2) && !prefixes.empty()) {
        path = prefixes[random.below(static_cast<uint32_t>(prefixes.size()))] + path;
        path.resize(std::min<size_t>(path.size(), longest));
      }
      store({path});
    }
  }

  size_t nodes_out() const { return test_host::pool_used("TM_V6_TRIE_NODE"); }
  size_t data_out() const { return test_host::pool_used("TM_V6_PCMPR_DATA"); }

  tm_util_trie_node *trie = nullptr;
  tm_util_trie_node *root = nullptr;
  std::vector<std::string> prefixes;
  uint32_t last_tag = 0;
};

#endif
