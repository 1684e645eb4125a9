// SPDX-License-Identifier: Apache-2.0
// Walks along keys, and what is cut by them: traces, ancestors, trailing paths.
#include "trie_fixture.h"

namespace {

class tm_trie_walk_test : public trie_test {};

}  // namespace

// -- trace path

TEST_F(tm_trie_walk_test, tracepath_without_bits_returns_the_root_even_in_the_modes) {
  insert("8000::", 4, 1);
  const test_key key = key_of("8000::");
  for (const int32_t mode : {0, 1, 2}) {
    EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 0, mode, mode), root);
    EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 3, 3, mode, mode), root);
    EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 5, 2, mode, mode), root);
  }
}

TEST_F(tm_trie_walk_test, tracepath_without_root_or_key_is_fatal) {
  const test_key key{};
  EXPECT_FATAL(tm_util_trie_tracepath(nullptr, key.data(), 0, 4, 0, 0), "\ntm_util_trie_tracepath: root is NULL");
  EXPECT_FATAL(tm_util_trie_tracepath(root, nullptr, 0, 4, 0, 0), "\ntm_util_trie_tracepath: path is NULL");
  EXPECT_FATAL(tm_util_trie_tracepath(nullptr, nullptr, 4, 4, 0, 0), "\ntm_util_trie_tracepath: root is NULL");
  EXPECT_FATAL(tm_util_trie_tracepath(root, nullptr, 4, 4, 0, 0), "\ntm_util_trie_tracepath: path is NULL");
}

TEST_F(tm_trie_walk_test, tracepath_never_remembers_the_node_at_the_end_depth) {
  tm_util_trie_node *end = insert("8000::", 4, 1);
  tm_util_trie_node *above = insert("8000::", 2, 2);
  const test_key key = key_of("8000::");
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 4, 0, 1), above);
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 4, 0, 0), end);
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 5, 0, 0), nullptr) << "the path ends early";
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 5, 0, 1), end);
}

TEST_F(tm_trie_walk_test, tracepath_mode_2_decides_the_result_without_remembering) {
  insert("8000::", 3, 1);
  insert("8000::", 8, 2);
  insert("a000::", 3, 3);
  const test_key key = key_of("8000::");
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 8, 2, 0), root);
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 8, 0, 2), root);
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 8, 2, 1)->len, 3);
  EXPECT_EQ(tm_util_trie_tracepath(root, key.data(), 0, 8, 1, 2)->len, 2);
}

TEST_F(tm_trie_walk_test, tracepath_agrees_with_the_twin_from_any_node_in_all_modes) {
  dice random(72);
  for (int round = 0; round < 10; ++round) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    trie_twin twin;
    for (uint32_t step = 1; step <= 50; ++step) {
      const std::string path = random_path(random);
      twin.insert(path);
      insert(path)->tag = twin.nodes[path] = random.chance(3) ? 0 : step;
    }
    for (int i = 0; i < 3000; ++i) {
      const std::string path = random_path(random);
      const std::string from =
          path.substr(0, random.chance(2) ? 0 : random.below(static_cast<uint32_t>(path.size()) + 1));
      const guarded_key key(key_from_bits(path));
      const auto s = static_cast<int32_t>(from.size());
      tm_util_trie_node *start = tm_util_trie_lookup(root, key.bytes(), s, 0);
      if (start == nullptr) {
        continue;
      }
      const auto branch_mode = static_cast<int32_t>(random.below(3));
      const auto tag_mode = static_cast<int32_t>(random.below(3));
      const trie_twin::found expected = twin.trace(from, path.substr(from.size()), branch_mode, tag_mode);
      const tm_util_trie_node *node =
          tm_util_trie_tracepath(start, key.bytes(), s, static_cast<int32_t>(path.size()), branch_mode, tag_mode);
      ASSERT_EQ(node != nullptr, expected.has_value());
      ASSERT_TRUE(node == nullptr || path_of(node) == *expected)
          << from << " to " << path << " modes " << branch_mode << tag_mode;
    }
  }
}

// -- keys of nodes

TEST_F(tm_trie_walk_test, left_path_reads_the_keys_bit) {
  tm_util_trie_node node{};
  const test_key key = key_of("8000::1");
  std::memcpy(node.key, key.data(), 16);
  for (int32_t i = 0; i < 128; ++i) {
    EXPECT_EQ(is_trie_left_path(&node, i), i == 0 || i == 127 ? 0 : 1) << i;
  }
}

TEST_F(tm_trie_walk_test, is_ancestor_compares_exactly_the_first_bits_at_every_length) {
  dice random(73);
  for (int32_t len = 0; len <= 128; ++len) {
    for (int32_t other = 0; other <= 128; ++other) {
      tm_util_trie_node a{};
      tm_util_trie_node b{};
      a.len = static_cast<uint16_t>(len);
      b.len = static_cast<uint16_t>(other);
      test_key key = key_from_bits(random_path(random));
      std::memcpy(a.key, key.data(), 16);
      const int32_t differing = static_cast<int32_t>(random.below(129));
      if (differing < 128) {
        put_bit(key, differing, bit_of(key, differing) == 0);
      }
      std::memcpy(b.key, key.data(), 16);
      const bool above = len < other && differing >= len;
      ASSERT_EQ(tm_util_trie_is_ancestor(&a, &b, 1), above ? 0 : TM_ENOENT) << len << " " << other << " " << differing;
      ASSERT_EQ(tm_util_trie_is_ancestor(&a, &b, -5), above ? 0 : TM_ENOENT);
    }
  }
}

TEST_F(tm_trie_walk_test, is_ancestor_is_strict_and_refuses_null_and_flag_zero) {
  tm_util_trie_node a{};
  a.len = 8;
  EXPECT_EQ(tm_util_trie_is_ancestor(&a, &a, 1), TM_ENOENT);
  EXPECT_EQ(tm_util_trie_is_ancestor(nullptr, &a, 1), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_is_ancestor(&a, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_is_ancestor(root, &a, 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_is_ancestor(root, &a, 1), 0);
}

TEST_F(tm_trie_walk_test, common_ancestor_is_where_the_keys_part) {
  tm_util_trie_node *a = insert("2001:db8:8000::", 40);
  tm_util_trie_node *b = insert("2001:db8::", 40);
  const tm_util_trie_node *branch = tm_util_trie_common_ancestor(root, a, b, 1);
  ASSERT_NE(branch, nullptr);
  EXPECT_EQ(branch->len, 32);
  EXPECT_EQ(tm_util_trie_common_ancestor(root, b, a, 1), branch);
  EXPECT_EQ(tm_util_trie_common_ancestor(nullptr, a, b, 1), nullptr);
  EXPECT_EQ(tm_util_trie_common_ancestor(root, nullptr, b, 1), nullptr);
  EXPECT_EQ(tm_util_trie_common_ancestor(root, a, nullptr, 1), nullptr);
  EXPECT_EQ(tm_util_trie_common_ancestor(root, a, b, 0), nullptr);
}

TEST_F(tm_trie_walk_test, common_ancestor_lets_bits_after_the_shorter_prefix_take_part) {
  tm_util_trie_node *shorter = insert("2000::", 4);
  tm_util_trie_node *longer = insert("2100::", 12);
  insert("2000::", 16);
  const tm_util_trie_node *node = tm_util_trie_common_ancestor(root, shorter, longer, 1);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->len, 7) << "not limited to the shorter length of 4";
}

TEST_F(tm_trie_walk_test, common_ancestor_agrees_with_its_wording) {
  dice random(74);
  trie_twin twin;
  std::vector<tm_util_trie_node *> nodes{root};
  for (int i = 0; i < 120; ++i) {
    const std::string path = random_path(random);
    twin.insert(path);
    nodes.push_back(insert(path));
  }
  const auto any = [&] { return nodes[random.below(static_cast<uint32_t>(nodes.size()))]; };
  for (int i = 0; i < 20000; ++i) {
    tm_util_trie_node *a = any();
    tm_util_trie_node *b = any();
    const int m = std::min(a->len, b->len);
    int k = 0;
    while (k < m / 8 && a->key[k] == b->key[k]) {
      ++k;
    }
    if (k == 16) {
      continue;
    }
    const std::string ka = bits_of(a->key, 128);
    const std::string kb = bits_of(b->key, 128);
    size_t depth = static_cast<size_t>(k) * 8;
    for (int c = 0; c < 8 && ka[depth] == kb[depth]; ++c) {
      ++depth;
    }
    const std::string expected = ka.substr(0, depth);
    const tm_util_trie_node *node = tm_util_trie_common_ancestor(root, a, b, 1);
    ASSERT_EQ(node != nullptr, twin.has(expected)) << path_of(a) << " " << path_of(b);
    ASSERT_TRUE(node == nullptr || path_of(node) == expected);
  }
}

TEST_F(tm_trie_walk_test, common_ancestor_of_equal_full_length_keys_reads_no_seventeenth_byte) {
  tm_util_trie_node *leaf = insert("2001:db8::1", 128);
  tm_util_trie_node other = *leaf;
  const tm_util_trie_node *first = tm_util_trie_common_ancestor(root, leaf, &other, 1);
  other.owners = 0xFFFFFFFF;
  EXPECT_EQ(tm_util_trie_common_ancestor(root, leaf, &other, 1), first);
}

// -- free trailing path

TEST_F(tm_trie_walk_test, free_trailing_path_stops_at_the_deepest_branch_or_tag) {
  insert("2001:db8::", 32, 1);
  tm_util_trie_node *a = insert("2001:db8:8000::", 48, 2);
  tm_util_trie_node *b = insert("2001:db8:8001::", 48, 3);
  insert("2001:db8:c000::", 34, 4);
  EXPECT_EQ(tm_util_trie_free_trailing_path(root, a, 0, 0), 0);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("2001:db8:8000::").data(), 48, 0), nullptr);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("2001:db8:8001::").data(), 48, 0), b);
  EXPECT_EQ(nodes_out(), 1u + 32u + 1u + 15u + 1u);
  EXPECT_EQ(tm_util_trie_free_trailing_path(root, b, 0, 0), 0);
  EXPECT_EQ(nodes_out(), 1u + 32u + 2u) << "down to the branch at /33";
}

TEST_F(tm_trie_walk_test, free_trailing_path_detaches_the_side_of_the_key_and_follows_left_before_right) {
  tm_util_trie_node *above = insert("8000::", 1, 1);
  tm_util_trie_node *mid = insert("c000::", 2);
  tm_util_trie_node *node = insert("c000::", 3);
  EXPECT_EQ(tm_util_trie_free_trailing_path(root, node, 0, 0), 0);
  EXPECT_EQ(above->right, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(nodes_out(), 2u);
  EXPECT_EQ(next_nodes(2), (std::vector<void *>{node, mid}));
}

TEST_F(tm_trie_walk_test, free_trailing_path_frees_what_hangs_below_the_node_in_one_line) {
  tm_util_trie_node *node = insert("8000::", 2);
  insert("8000::", 128);
  EXPECT_EQ(tm_util_trie_free_trailing_path(root, node, 0, 0), 0);
  EXPECT_EQ(nodes_out(), 1u);
  EXPECT_EQ(root->right, TM_CHUNK_IDX_NULL);
}

TEST_F(tm_trie_walk_test, free_trailing_path_gives_payloads_back_only_when_the_flag_is_one) {
  for (const int32_t flag : {0, 1, 2}) {
    tm_util_trie_node *node = insert("8000::", 8);
    node->data = tm_chunk_ptr2idx(TM_V6_ORIG_DATA, tm_chunk_malloc(TM_V6_ORIG_DATA));
    const size_t payloads = test_host::pool_used("TM_V6_ORIG_DATA");
    EXPECT_EQ(tm_util_trie_free_trailing_path(root, node, flag, TM_V6_ORIG_DATA), 0);
    EXPECT_EQ(test_host::pool_used("TM_V6_ORIG_DATA"), payloads - (flag == 1 ? 1 : 0));
    EXPECT_EQ(nodes_out(), 1u);
  }
}

TEST_F(tm_trie_walk_test, free_trailing_path_without_root_or_node_does_nothing) {
  tm_util_trie_node *node = insert("8000::", 8);
  EXPECT_EQ(tm_util_trie_free_trailing_path(nullptr, node, 1, TM_V6_ORIG_DATA), 0);
  EXPECT_EQ(tm_util_trie_free_trailing_path(root, nullptr, 1, TM_V6_ORIG_DATA), 0);
  EXPECT_EQ(nodes_out(), 9u);
}

TEST_F(tm_trie_walk_test, free_trailing_path_of_leaves_agrees_with_the_twin) {
  dice random(75);
  for (int round = 0; round < 40; ++round) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    trie_twin twin;
    std::vector<std::string> leaves;
    for (uint32_t i = 1; i <= 25; ++i) {
      const std::string path = random_path(random);
      twin.insert(path);
      insert(path)->tag = twin.nodes[path] = random.chance(3) ? 0 : i;
    }
    for (const auto &[path, tag] : twin.nodes) {
      if (!path.empty() && !twin.has(path + '0') && !twin.has(path + '1')) {
        leaves.push_back(path);
      }
    }
    while (!leaves.empty()) {
      const auto pick = leaves.begin() + random.below(static_cast<uint32_t>(leaves.size()));
      const std::string leaf = *pick;
      leaves.erase(pick);
      if (!twin.has(leaf)) {
        continue;
      }
      tm_util_trie_node *node =
          tm_util_trie_lookup(root, key_from_bits(leaf).data(), static_cast<int32_t>(leaf.size()), 0);
      const std::string stop = *twin.trace("", leaf, 1, 1);
      twin.cut(leaf.substr(0, stop.size() + 1));
      ASSERT_EQ(tm_util_trie_free_trailing_path(root, node, 0, 0), 0);
      ASSERT_EQ(nodes_of(root), twin.nodes);
      ASSERT_EQ(nodes_out(), twin.nodes.size());
    }
  }
}
