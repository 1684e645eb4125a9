// SPDX-License-Identifier: Apache-2.0
// The two operations that shape compressed tries: keys from shape, and growing new paths.
#include <memory>

#include "tm_trie_internal.h"
#include "trie_twin.h"

namespace {

class tm_trie_paths_test : public utils_test {
 protected:
  void SetUp() override {
    utils_test::SetUp();
    root = new_trie_root();
  }

  tm_util_trie_node *at(const std::string &path) {
    return tm_util_trie_lookup(root, key_from_bits(path).data(), static_cast<int32_t>(path.size()), 0);
  }

  tm_util_trie_node *insert(const std::string &path, uint32_t tag = 0) {
    tm_util_trie_node *node = tm_util_trie_insert(root, key_from_bits(path).data(), static_cast<int32_t>(path.size()));
    node->tag = tag;
    return node;
  }

  size_t nodes_out() const { return test_host::pool_used("TM_V6_TRIE_NODE"); }

  tm_util_trie_node *root = nullptr;
};

// A shape with keys written by the wording of make_printable, on buffers of characters.
struct printable_twin {
  std::unique_ptr<printable_twin> child[2];
  std::string key = std::string(128, '?');
  int32_t len = -1;

  void add(const std::string &path) {
    printable_twin *node = this;
    for (const char bit : path) {
      auto &next = node->child[bit - '0'];
      if (next == nullptr) {
        next = std::make_unique<printable_twin>();
      }
      node = next.get();
    }
  }

  void write(std::string &buffer, int32_t length) {
    const auto copied = static_cast<size_t>((length + 7) / 8 * 8);
    key = buffer.substr(0, copied) + std::string(128 - copied, '0');
    len = length;
    printable_twin *node = this;
    while ((node->child[0] != nullptr) != (node->child[1] != nullptr)) {
      const int side = node->child[1] != nullptr ? 1 : 0;
      buffer[static_cast<size_t>(length)] = static_cast<char>('0' + side);
      node = node->child[side].get();
      node->key = buffer;
      node->len = ++length;
    }
    for (int side = 1; side >= 0; --side) {
      if (node->child[side] != nullptr) {
        buffer[static_cast<size_t>(length)] = static_cast<char>('0' + side);
        node->child[side]->write(buffer, length + 1);
      }
    }
  }
};

void expect_same(const tm_util_trie_node *node, const printable_twin &twin, const std::string &path) {
  ASSERT_EQ(node->len, twin.len) << path;
  ASSERT_EQ(bits_of(node->key, 128), twin.key) << path;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    const tm_util_trie_node *child = child_of(node, bit);
    ASSERT_EQ(child != nullptr, twin.child[bit] != nullptr) << path;
    if (child != nullptr) {
      expect_same(child, *twin.child[bit], path + static_cast<char>('0' + bit));
    }
  }
}

void expect_keys_spell_paths(const tm_util_trie_node *node, const std::string &path) {
  ASSERT_EQ(node->len, path.size());
  ASSERT_EQ(bits_of(node->key, node->len), path);
  for (uint32_t bit = 0; bit < 2; ++bit) {
    if (const tm_util_trie_node *child = child_of(node, bit)) {
      expect_keys_spell_paths(child, path + static_cast<char>('0' + bit));
    }
  }
}

void scramble(tm_util_trie_node *node) {
  std::memset(node->key, 0xEE, sizeof node->key);
  node->len = 999;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    if (tm_util_trie_node *child = child_of(node, bit)) {
      scramble(child);
    }
  }
}

}  // namespace

TEST_F(tm_trie_paths_test, make_printable_rewrites_keys_and_lengths_from_the_shape) {
  insert("0110");
  insert("011111");
  insert("1");
  scramble(root);
  guarded_key buffer(test_key{});
  EXPECT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 0, 0), 0);
  expect_keys_spell_paths(root, "");
}

TEST_F(tm_trie_paths_test, make_printable_of_null_is_no_error_and_too_deep_a_length_is) {
  guarded_key buffer(key_of("2001:db8::1"));
  EXPECT_EQ(tm_util_trie_make_printable(nullptr, buffer.bytes(), 0, 0), 0);
  EXPECT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 129, 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 128, 0), 0);
  EXPECT_EQ(root->len, 128);
  EXPECT_EQ(std::memcmp(root->key, key_of("2001:db8::1").data(), 16), 0);
}

TEST_F(tm_trie_paths_test, make_printable_ignores_its_flag_and_takes_the_path_above_from_the_buffer) {
  insert("01");
  for (const int32_t flag : {0, 1, 77}) {
    scramble(root);
    guarded_key buffer(key_from_bits("110"));
    EXPECT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 3, flag), 0);
    EXPECT_EQ(root->len, 3);
    EXPECT_EQ(bits_of(root->key, 3), "110");
    const tm_util_trie_node *leaf = right_of(left_of(root));
    EXPECT_EQ(leaf->len, 5);
    EXPECT_EQ(bits_of(leaf->key, 5), "11001");
  }
}

TEST_F(tm_trie_paths_test, make_printable_leaves_what_the_buffer_held_beyond_each_length) {
  dice random(81);
  for (int round = 0; round < 60; ++round) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    printable_twin twin;
    for (uint32_t n = 1 + random.below(20); n > 0; --n) {
      const std::string path = random_path(random);
      insert(path);
      twin.add(path);
    }
    scramble(root);
    const test_key start = key_from_bits(random_path(random));
    guarded_key buffer(start);
    std::string twin_buffer = bits_of(start.data(), 128);
    ASSERT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 0, 0), 0);
    twin.write(twin_buffer, 0);
    expect_same(root, twin, "");
    ASSERT_EQ(bits_of(buffer.bytes(), 128), twin_buffer);
  }
}

TEST_F(tm_trie_paths_test, make_printable_of_a_chain_deeper_than_128_is_refused_within_the_key) {
  tm_util_trie_node *node = root;
  for (int i = 0; i < 130; ++i) {
    auto *child = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    tm_util_trie_node_initialize(child, nullptr, 0);
    node->right = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, child);
    node = child;
  }
  guarded_key buffer(test_key{});
  EXPECT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 0, 0), TM_EINVAL);
  for (node = root; node != nullptr; node = right_of(node)) {
    EXPECT_EQ(node->owners, 0u);
  }
}

TEST_F(tm_trie_paths_test, make_printable_reports_a_branch_deeper_than_128_and_stops_there) {
  tm_util_trie_node *deepest = insert(std::string(127, '1') + '1');
  for (uint32_t side = 0; side < 2; ++side) {
    auto *child = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    tm_util_trie_node_initialize(child, nullptr, 0);
    (side != 0 ? deepest->right : deepest->left) = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, child);
  }
  guarded_key buffer(test_key{});
  EXPECT_EQ(tm_util_trie_make_printable(root, buffer.bytes(), 0, 0), TM_EINVAL);
  EXPECT_EQ(deepest->owners, 0u);
}

// -- tm_util_trie_gen_extending_path

TEST_F(tm_trie_paths_test, extending_path_needs_a_node_and_a_level) {
  EXPECT_EQ(tm_util_trie_gen_extending_path(nullptr, 3, 1), nullptr);
  EXPECT_EQ(tm_util_trie_gen_extending_path(root, 0, 1), nullptr);
  EXPECT_EQ(nodes_out(), 1u);
}

TEST_F(tm_trie_paths_test, extending_path_takes_left_first_then_right) {
  tm_util_trie_node *left = tm_util_trie_gen_extending_path(root, 1, 0);
  ASSERT_NE(left, nullptr);
  EXPECT_EQ(left_of(root), left);
  tm_util_trie_node *right = tm_util_trie_gen_extending_path(root, 1, 0);
  ASSERT_NE(right, nullptr);
  EXPECT_EQ(right_of(root), right);
  EXPECT_EQ(bits_of(right->key, right->len), "1");
  EXPECT_EQ(right->tag, 0u);
  EXPECT_EQ(right->data, TM_CHUNK_IDX_NULL);
}

TEST_F(tm_trie_paths_test, extending_path_creates_left_beside_an_only_right_child) {
  insert("1");
  tm_util_trie_node *made = tm_util_trie_gen_extending_path(root, 5, 0);
  EXPECT_EQ(made, left_of(root));
  EXPECT_EQ(nodes_out(), 3u) << "without the chain flag one node is made";
}

TEST_F(tm_trie_paths_test, extending_path_with_the_chain_flag_grows_left_children_to_the_full_depth) {
  insert("101");
  insert("100");
  tm_util_trie_node *above = at("101");
  const tm_util_trie_node *made = tm_util_trie_gen_extending_path(above, 5, 1);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->len, 8);
  EXPECT_EQ(bits_of(made->key, 8), "10100000");
  EXPECT_TRUE(tm_trie_is_leaf(made));
}

TEST_F(tm_trie_paths_test, extending_path_from_two_untagged_children_with_even_n_tries_the_right_side_first) {
  insert("0");
  insert("1");
  const tm_util_trie_node *made = tm_util_trie_gen_extending_path(root, 2, 0);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(bits_of(made->key, made->len), "10");
}

TEST_F(tm_trie_paths_test, extending_path_with_odd_n_tries_the_left_side_first) {
  insert("0");
  insert("1");
  const tm_util_trie_node *made = tm_util_trie_gen_extending_path(root, 3, 0);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(bits_of(made->key, made->len), "00");
}

TEST_F(tm_trie_paths_test, extending_path_skips_tagged_children) {
  insert("0", 1);
  insert("1");
  EXPECT_EQ(bits_of(tm_util_trie_gen_extending_path(root, 3, 0)->key, 2), "10");
  at("1")->tag = 2;
  EXPECT_EQ(tm_util_trie_gen_extending_path(root, 3, 0), nullptr);
  EXPECT_EQ(tm_util_trie_gen_extending_path(root, 2, 0), nullptr);
}

TEST_F(tm_trie_paths_test, extending_path_is_null_when_the_levels_end_in_a_full_trie) {
  for (const char *path : {"00", "01", "10", "11"}) {
    insert(path);
  }
  EXPECT_EQ(tm_util_trie_gen_extending_path(root, 2, 1), nullptr);
  EXPECT_EQ(nodes_out(), 7u);
  EXPECT_NE(tm_util_trie_gen_extending_path(root, 3, 1), nullptr);
}

TEST_F(tm_trie_paths_test, extending_path_below_depth_128_writes_no_bit_outside_the_key) {
  tm_util_trie_node *deepest = insert(std::string(128, '1'));
  insert(std::string(128, '1') + "")->tag = 0;
  for (int i = 0; i < 2; ++i) {
    const tm_util_trie_node *made = tm_util_trie_gen_extending_path(deepest, 1, 0);
    if (made != nullptr) {
      EXPECT_EQ(std::memcmp(made->key, deepest->key, 16), 0);
      EXPECT_EQ(made->owners, 0u);
    }
  }
}

TEST_F(tm_trie_paths_test, extending_path_agrees_with_the_twin) {
  dice random(82);
  for (int round = 0; round < 300; ++round) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    trie_twin twin;
    for (uint32_t i = random.below(8); i > 0; --i) {
      const std::string path = random_path(random, 12);
      twin.insert(path);
      insert(path, twin.nodes[path] = random.below(2));
    }
    for (int step = 0; step < 30; ++step) {
      auto start = twin.nodes.begin();
      std::advance(start, random.below(static_cast<uint32_t>(twin.nodes.size())));
      const std::string from = start->first;
      const auto n = static_cast<int32_t>(random.below(9));
      const bool chain = random.chance(2);
      const trie_twin::found expected = twin.extend(from, n, chain);
      tm_util_trie_node *made = tm_util_trie_gen_extending_path(at(from), n, chain ? 1 : 0);
      ASSERT_EQ(made != nullptr, expected.has_value()) << from << " n " << n;
      if (made != nullptr) {
        ASSERT_EQ(bits_of(made->key, made->len), *expected);
        made->tag = twin.nodes[*expected] = random.below(2);
      }
      ASSERT_EQ(nodes_of(root), twin.nodes);
    }
  }
}

// -- tm_trie_grow_chain

TEST_F(tm_trie_paths_test, chain_takes_the_missing_side_and_goes_on_left) {
  tm_trie_grown grown;
  tm_util_trie_node *end = tm_trie_grow_chain(root, 1, &grown);
  EXPECT_EQ(end, at("0"));
  EXPECT_EQ(grown.top, end);
  end = tm_trie_grow_chain(root, 3, &grown);
  EXPECT_EQ(end, at("100"));
  EXPECT_EQ(grown.top, at("1"));
  EXPECT_EQ(grown.end, end);
}

TEST_F(tm_trie_paths_test, chain_refused_at_any_node_is_kept_and_told_as_far_as_it_came) {
  for (uint64_t k = 1; k <= 7; ++k) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    insert("0");
    test_host::fail_pool_element(k);
    tm_trie_grown grown{root, root};
    const tm_util_trie_node *made = tm_trie_grow_chain(root, 6, &grown);
    EXPECT_EQ(made != nullptr, k == 7);
    EXPECT_EQ(nodes_out(), 2 + k - 1);
    EXPECT_EQ(grown.top, k == 1 ? nullptr : at("1"));
    EXPECT_EQ(grown.end, k == 1 ? nullptr : at("1" + std::string(k - 2, '0')));
    EXPECT_TRUE(grown.end == nullptr || tm_trie_is_leaf(grown.end));
  }
}

TEST_F(tm_trie_paths_test, extending_path_refused_on_one_side_agrees_with_the_twin) {
  dice random(83);
  for (int round = 0; round < 2000; ++round) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    trie_twin twin;
    for (uint32_t i = 2 + random.below(5); i > 0; --i) {
      const std::string path = random_path(random, 4);
      twin.insert(path);
      insert(path, twin.nodes[path] = random.chance(4) ? 1 : 0);
    }
    const auto n = static_cast<int32_t>(1 + random.below(8));
    const bool chain = !random.chance(3);
    const uint32_t k = 1 + random.below(4);
    twin.room = k - 1;
    test_host::fail_pool_element(k);
    const trie_twin::found expected = twin.extend("", n, chain);
    const tm_util_trie_node *made = tm_util_trie_gen_extending_path(root, n, chain ? 1 : 0);
    test_host::fail_pool_element(0);
    ASSERT_EQ(made != nullptr, expected.has_value()) << "round " << round;
    ASSERT_TRUE(made == nullptr || bits_of(made->key, made->len) == *expected);
    ASSERT_EQ(nodes_of(root), twin.nodes);
  }
}

// -- tm_trie_link_child

TEST_F(tm_trie_paths_test, link_child_sets_and_clears_either_side) {
  tm_util_trie_node *other = new_trie_root();
  tm_trie_link_child(root, 1, other);
  EXPECT_EQ(right_of(root), other);
  EXPECT_EQ(left_of(root), nullptr);
  tm_trie_link_child(root, 0, other);
  tm_trie_link_child(root, 1, nullptr);
  EXPECT_EQ(left_of(root), other);
  EXPECT_EQ(right_of(root), nullptr);
}
