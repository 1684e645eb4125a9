// SPDX-License-Identifier: Apache-2.0
// Reading the path-compressed trie: lookup, edge counts, directions; and hanging a path into another trie.
#include "pcmpr_fixture.h"
#include "tm_trie_internal.h"

namespace {

class tm_pcmpr_lookup_test : public pcmpr_test {};

}  // namespace

// -- lookup

TEST_F(tm_pcmpr_lookup_test, lookup_of_a_key_that_ends_inside_an_edge_finds_the_node_above_it) {
  store({"0010", "0011000"});
  fold();
  int32_t count = -1;
  EXPECT_EQ(look_up(root, "00", 0, 0, nullptr, &count), root);
  EXPECT_EQ(count, 0);
  const tm_util_trie_node *branch = look_up(root, "001", 0, 0, nullptr, &count);
  EXPECT_EQ(branch, left_of(root));
  EXPECT_EQ(count, 1);
  EXPECT_EQ(look_up(root, "00110", 0, 0, nullptr, &count), branch);
  EXPECT_EQ(count, 1);
}

TEST_F(tm_pcmpr_lookup_test, lookup_that_leaves_the_trie_finds_nothing) {
  store({"0010", "0011000"});
  fold();
  int32_t count = -1;
  for (const char *key : {"1", "01", "0000", "00101", "0011001", "00110000"}) {
    EXPECT_EQ(look_up(root, key, 0, 0, nullptr, &count), nullptr) << key;
  }
}

TEST_F(tm_pcmpr_lookup_test, lookup_along_a_side_without_a_child_finds_nothing) {
  // The bits of an absent edge are never set; whatever they hold must not matter.
  store({"", "0"});
  for (const int fill : {0x00, 0xFF}) {
    fold();
    std::memset(const_cast<uint8_t *>(pcmpr_data_of(root)->path1), fill, 16);
    int32_t count = -1;
    for (const size_t n : {1u, 2u, 20u, 128u}) {
      EXPECT_EQ(look_up(root, std::string(n, '1'), 0, 0, nullptr, &count), nullptr) << n;
    }
    tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
  }
  root = nullptr;
}

TEST_F(tm_pcmpr_lookup_test, lookup_from_the_keys_end_is_the_node_itself_and_beyond_it_nothing) {
  store({"0010", "0011000"});
  fold();
  int32_t count = 99;
  EXPECT_EQ(look_up(root, "001", 3, 0, nullptr, &count), root);
  EXPECT_EQ(count, 0);
  count = 99;
  EXPECT_EQ(look_up(root, "001", 4, 0, nullptr, &count), nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(look_up(nullptr, "001", 0, 0, nullptr, &count), nullptr);
  EXPECT_EQ(look_up(nullptr, "001", 3, 0, nullptr, &count), nullptr);
}

TEST_F(tm_pcmpr_lookup_test, lookup_needs_key_count_and_a_buffer_to_record_in) {
  store({"", "0010"});
  fold();
  const test_key key = key_from_bits("0010");
  test_key bits{};
  int32_t count = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(root, nullptr, 4, 0, 0, nullptr, &count), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(root, key.data(), 4, 0, 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(root, key.data(), 4, 0, 1, nullptr, &count), nullptr);
  const tm_util_trie_node *node = tm_util_trie_pcmpr_lookup_internal(root, key.data(), 4, 0, 1, bits.data(), &count);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->tag, 2u);
}

TEST_F(tm_pcmpr_lookup_test, lookup_counts_an_extension_as_an_edge_that_consumes_no_key_bit) {
  store({"", "0", "1"});
  fold();
  int32_t count = 0;
  test_key bits = key_of("ffff::");
  const tm_util_trie_node *node = look_up(root, "1", 0, 1, bits.data(), &count);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->tag, 3u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(bits_of(bits.data(), 2), "10");
}

TEST_F(tm_pcmpr_lookup_test, lookup_at_a_node_without_data_is_fatal) {
  store({"0", "1"});
  fold();
  int32_t count = 0;
  root->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(look_up(root, "0", 0, 0, nullptr, &count), "\ntm_util_trie_pcmpr_lookup_internal: node_data is NULL");
}

TEST_F(tm_pcmpr_lookup_test, lookup_agrees_with_the_twin_for_stored_and_foreign_keys) {
  dice random(94);
  for (int round = 0; round < 60; ++round) {
    drop();
    store({""});
    store_random(random, 1 + random.below(40), round % 2 == 0 ? 12 : 128);
    fold();
    const auto twin = pcmpr_twin::of(trie);
    for (int i = 0; i < 400; ++i) {
      std::string key = prefixes[random.below(static_cast<uint32_t>(prefixes.size()))];
      if (random.chance(2)) {
        key += random_path(random, static_cast<uint32_t>(128 - key.size()));
      }
      if (random.chance(2)) {
        key.resize(random.below(static_cast<uint32_t>(key.size()) + 1));
      }
      const auto start = random.chance(3) ? random.below(static_cast<uint32_t>(key.size()) + 2) : 0;
      const pcmpr_twin::walk expected = twin->follow(key, start);
      guarded_key bits(test_key{});
      int32_t count = -1;
      const tm_util_trie_node *node =
          look_up(root, key, static_cast<int32_t>(start), random.chance(2) ? 1 : 0, bits.bytes(), &count);
      ASSERT_EQ(node != nullptr, expected.node != nullptr) << key << " from " << start;
      if (node != nullptr) {
        ASSERT_EQ(node->tag, expected.node->tag);
        ASSERT_EQ(pcmpr_data_of(node)->longest, expected.node->longest);
        ASSERT_EQ(count, expected.directions.size()) << key << " from " << start;
      }
    }
  }
}

TEST_F(tm_pcmpr_lookup_test, lookup_of_128_levels_fills_the_bits_and_writes_none_beyond) {
  std::vector<std::string> nested;
  for (size_t n = 1; n <= 128; ++n) {
    nested.push_back(std::string(n, '1'));
  }
  store(nested);
  fold();
  guarded_key bits(test_key{});
  int32_t count = 0;
  const tm_util_trie_node *node = look_up(root, nested.back(), 0, 1, bits.bytes(), &count);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->tag, 128u);
  EXPECT_EQ(count, pcmpr_twin::of(trie)->follow(nested.back(), 0).directions.size());
}

// -- length and path between two prefixes

TEST_F(tm_pcmpr_lookup_test, len_from_a_prefix_to_itself_is_zero_edges) {
  dice random(95);
  store({""});
  store_random(random, 30, 128);
  fold();
  for (const std::string &prefix : prefixes) {
    EXPECT_EQ(edges(prefix, prefix), 0) << prefix;
    EXPECT_EQ(way(prefix, prefix), "") << prefix;
  }
}

TEST_F(tm_pcmpr_lookup_test, len_with_the_first_key_not_a_prefix_of_the_second_is_refused) {
  store({"", "0010", "00101", "0011", "11111111", "111111110"});
  fold();
  EXPECT_EQ(edges("0010", "0011"), TM_EINVAL);
  EXPECT_EQ(edges("00101", "0010"), TM_EINVAL) << "the longer one first";
  EXPECT_EQ(edges("11111110", "111111110"), TM_EINVAL) << "a whole byte differs";
  EXPECT_EQ(edges("0010", "0110"), TM_EINVAL);
  EXPECT_EQ(way("0010", "0011"), "error");
  EXPECT_EQ(way("00101", "0010"), "error");
  EXPECT_GT(edges("0010", "00101"), 0);
}

TEST_F(tm_pcmpr_lookup_test, len_and_path_need_their_pointers) {
  store({"", "1"});
  fold();
  const test_key a{};
  const test_key b = key_from_bits("1");
  test_key bits{};
  int32_t count = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_len(nullptr, a.data(), 0, b.data(), 1, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_len(root, nullptr, 0, b.data(), 1, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_len(root, a.data(), 0, nullptr, 1, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_len(root, a.data(), 0, b.data(), 1, nullptr), 1);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(nullptr, a.data(), 0, b.data(), 1, bits.data(), &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, nullptr, 0, b.data(), 1, bits.data(), &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, nullptr, 1, bits.data(), &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, b.data(), 1, nullptr, &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, b.data(), 1, bits.data(), nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, b.data(), 1, bits.data(), &count), 0);
  EXPECT_EQ(count, 1);
}

TEST_F(tm_pcmpr_lookup_test, len_to_a_key_outside_the_trie_is_refused_and_the_longest_left_alone) {
  store({"", "0010"});
  fold();
  int8_t longest = 77;
  EXPECT_EQ(edges("", "01", &longest), TM_EINVAL);
  EXPECT_EQ(edges("01", "011", &longest), TM_EINVAL);
  EXPECT_EQ(longest, 77);
  EXPECT_EQ(way("", "01"), "error");
  EXPECT_EQ(way("01", "011"), "error");
}

TEST_F(tm_pcmpr_lookup_test, len_path_and_longest_agree_with_the_twin_between_stored_prefixes) {
  dice random(96);
  for (int round = 0; round < 40; ++round) {
    drop();
    store({""});
    store_random(random, 1 + random.below(40), round % 2 == 0 ? 12 : 128);
    fold();
    const auto twin = pcmpr_twin::of(trie);
    for (const std::string &a : prefixes) {
      const pcmpr_twin *above = twin->follow(a, 0).node;
      ASSERT_NE(above, nullptr) << a;
      for (const std::string &b : prefixes) {
        if (b.compare(0, a.size(), a) != 0) {
          continue;
        }
        const pcmpr_twin::walk expected = above->follow(b, a.size());
        ASSERT_NE(expected.node, nullptr) << a << " to " << b;
        int8_t longest = 77;
        ASSERT_EQ(edges(a, b, &longest), expected.directions.size()) << a << " to " << b;
        ASSERT_EQ(longest, static_cast<int8_t>(expected.node->longest));
        if (expected.directions.size() <= 128) {
          ASSERT_EQ(way(a, b), expected.directions) << a << " to " << b;
        }
        ASSERT_EQ(edges(a, b), expected.directions.size());
      }
    }
  }
}

TEST_F(tm_pcmpr_lookup_test, longest_above_127_is_handed_out_as_a_negative_signed_byte) {
  std::vector<std::string> nested{""};
  for (size_t n = 1; n <= 128; ++n) {
    nested.push_back(std::string(n, '1'));
    if (n < 128) {
      nested.push_back(std::string(n, '1') + '0');
    }
  }
  store(nested);
  fold();
  const auto twin = pcmpr_twin::of(trie);
  ASSERT_GT(twin->longest, 127);
  int8_t longest = 0;
  EXPECT_EQ(edges("", "", &longest), 0);
  EXPECT_LT(longest, 0);
  EXPECT_EQ(static_cast<uint8_t>(longest), twin->longest);
}

TEST_F(tm_pcmpr_lookup_test, way_of_more_than_128_edges_writes_no_bit_outside_the_buffer) {
  // Every second level has an extension above it.
  std::vector<std::string> zigzag{""};
  std::string stem;
  for (size_t n = 1; n <= 128; ++n) {
    for (const char bit : {'0', '1'}) {
      zigzag.push_back(stem + bit);
    }
    stem += '1';
  }
  store(zigzag);
  fold();
  const pcmpr_twin::walk expected = pcmpr_twin::of(trie)->follow(stem, 0);
  ASSERT_GT(expected.directions.size(), 128u);
  const guarded_key key(key_from_bits(stem));
  guarded_key bits(test_key{});
  int32_t count = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, key.bytes(), 0, key.bytes(), 128, bits.bytes(), &count), 0);
  EXPECT_EQ(count, expected.directions.size());
  EXPECT_EQ(bits_of(bits.bytes(), 128), expected.directions.substr(0, 128));
}

// -- addpath

TEST_F(tm_pcmpr_lookup_test, addpath_with_one_bit_hangs_the_node_directly_below) {
  for (const uint32_t bit : {0u, 1u}) {
    tm_util_trie_node *end = new_trie_root();
    const test_key bits = key_from_bits(bit != 0 ? "1" : "0");
    const size_t before = nodes_out();
    EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, bits.data(), 1), 0);
    EXPECT_EQ(child_of(trie, bit), end);
    EXPECT_EQ(nodes_out(), before);
  }
}

TEST_F(tm_pcmpr_lookup_test, addpath_makes_the_nodes_between_without_data_and_uses_those_that_exist) {
  tm_util_trie_node *end = new_trie_root();
  tm_util_trie_node *there = new_trie_root();
  there->tag = 9;
  trie->right = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, there);
  const size_t before = nodes_out();
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, key_from_bits("1011").data(), 4), 0);
  EXPECT_EQ(nodes_out(), before + 2);
  EXPECT_EQ(data_out(), 0u);
  EXPECT_EQ(right_of(trie), there);
  EXPECT_EQ(there->tag, 9u);
  const tm_util_trie_node *second = left_of(there);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(bits_of(second->key, 128), std::string(128, '0')) << "a zeroed node";
  EXPECT_EQ(second->left | second->tag | second->len | second->data | second->aux1 | second->aux2, 0u);
  EXPECT_EQ(right_of(right_of(second)), end);
  EXPECT_EQ(left_of(trie), nullptr);
}

TEST_F(tm_pcmpr_lookup_test, addpath_replaces_what_hung_at_the_last_bit) {
  tm_util_trie_node *old = new_trie_root();
  tm_util_trie_node *end = new_trie_root();
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, old, key_from_bits("01").data(), 2), 0);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, key_from_bits("01").data(), 2), 0);
  EXPECT_EQ(right_of(left_of(trie)), end);
  EXPECT_EQ(nodes_out(), 4u) << "the old node is not released";
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, nullptr, key_from_bits("01").data(), 2), 0);
  EXPECT_EQ(right_of(left_of(trie)), nullptr);
}

TEST_F(tm_pcmpr_lookup_test, addpath_of_no_bits_does_nothing_and_null_is_refused) {
  tm_util_trie_node *end = new_trie_root();
  const test_key bits = key_from_bits("11");
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, bits.data(), 0), 0);
  EXPECT_TRUE(tm_trie_is_leaf(trie));
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(nullptr, end, bits.data(), 2), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, nullptr, 2), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(nullptr, end, bits.data(), 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, nullptr, 0), TM_EINVAL);
  EXPECT_TRUE(tm_trie_is_leaf(trie));
}

TEST_F(tm_pcmpr_lookup_test, addpath_of_128_bits_reads_no_seventeenth_byte) {
  tm_util_trie_node *end = new_trie_root();
  const guarded_key bits(key_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, bits.bytes(), 128), 0);
  const tm_util_trie_node *node = trie;
  for (int i = 0; i < 128; ++i) {
    node = right_of(node);
    ASSERT_NE(node, nullptr);
  }
  EXPECT_EQ(node, end);
}

TEST_F(tm_pcmpr_lookup_test, addpath_refused_at_any_node_keeps_those_made_so_far) {
  for (uint64_t k = 1; k <= 4; ++k) {
    tm_util_trie_free(trie, 0, 0);
    trie = new_trie_root();
    tm_util_trie_node end{};
    test_host::fail_pool_element(k);
    EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, &end, key_from_bits("10110").data(), 5), TM_ENOMEM);
    EXPECT_EQ(nodes_out(), k);
    const tm_util_trie_node *node = trie;
    for (size_t i = 0; i + 1 < k; ++i) {
      node = child_of(node, "10110"[i] == '1' ? 1 : 0);
      ASSERT_NE(node, nullptr);
    }
    EXPECT_TRUE(tm_trie_is_leaf(node));
  }
}

TEST_F(tm_pcmpr_lookup_test, addpath_of_what_getpath_gave_rebuilds_the_way) {
  dice random(97);
  for (int round = 0; round < 30; ++round) {
    drop();
    store({""});
    store_random(random, 10, 60);
    fold();
    for (const std::string &prefix : prefixes) {
      const std::string directions = way("", prefix);
      if (directions.empty()) {
        continue;
      }
      tm_util_trie_node *start = new_trie_root();
      tm_util_trie_node *end = new_trie_root();
      const auto n = static_cast<int32_t>(directions.size());
      ASSERT_EQ(tm_util_trie_pcmpr_addpath(start, end, key_from_bits(directions).data(), n), 0);
      EXPECT_EQ(tm_util_trie_tracepath(start, key_from_bits(directions).data(), 0, n, 0, 0), end);
      tm_util_trie_free(start, 0, 0);
    }
  }
}
