// SPDX-License-Identifier: Apache-2.0
// Nodes, insertion, lookup, search by tag and release.
#include "tm_trie_internal.h"

#include "trie_fixture.h"

namespace {

class tm_trie_test : public trie_test {};

}  // namespace

// -- tm_util_trie_node_initialize

TEST_F(tm_trie_test, initialize_without_a_parent_clears_the_node) {
  tm_util_trie_node node;
  std::memset(&node, 0xFF, sizeof node);
  tm_util_trie_node_initialize(&node, nullptr, 1);
  EXPECT_EQ(node.left, 0u);
  EXPECT_EQ(node.right, 0u);
  EXPECT_EQ(node.data, 0u);
  EXPECT_EQ(node.tag, 0u);
  EXPECT_EQ(node.aux1, 0u);
  EXPECT_EQ(node.aux2, 0u);
  EXPECT_EQ(node.len, 0u);
  EXPECT_EQ(node.owners, 0u);
  EXPECT_EQ(std::memcmp(node.key, test_key{}.data(), 16), 0);
}

TEST_F(tm_trie_test, initialize_gives_a_child_its_parents_key_and_one_more_bit) {
  for (int32_t len = 0; len < 128; ++len) {
    tm_util_trie_node parent{};
    parent.len = static_cast<uint16_t>(len);
    test_key key = key_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
    std::memcpy(parent.key, key.data(), 16);
    for (const int32_t left : {0, 1, -3}) {
      tm_util_trie_node child;
      std::memset(&child, 0xFF, sizeof child);
      tm_util_trie_node_initialize(&child, &parent, left);
      put_bit(key, len, left == 0);
      EXPECT_EQ(std::memcmp(child.key, key.data(), 16), 0) << len;
      EXPECT_EQ(child.len, len + 1);
      EXPECT_EQ(child.left | child.right | child.data | child.tag | child.aux1 | child.aux2, 0u);
    }
    EXPECT_EQ(parent.len, len);
  }
}

TEST_F(tm_trie_test, initialize_below_depth_128_writes_no_bit_outside_the_key) {
  for (const int32_t len : {128, 129, 65535}) {
    tm_util_trie_node parent{};
    parent.len = static_cast<uint16_t>(len);
    tm_util_trie_node child{};
    tm_util_trie_node_initialize(&child, &parent, 0);
    EXPECT_EQ(std::memcmp(child.key, parent.key, 16), 0);
    EXPECT_EQ(child.owners, 0u);
    EXPECT_EQ(child.data, 0u);
    EXPECT_EQ(child.len, static_cast<uint16_t>(len + 1));
  }
}

// -- insert and lookup

TEST_F(tm_trie_test, insert_with_length_zero_returns_the_root_unchanged) {
  root->tag = 5;
  const tm_util_trie_node before = *root;
  EXPECT_EQ(insert("ffff::", 0), root);
  EXPECT_EQ(std::memcmp(root, &before, sizeof before), 0);
  EXPECT_EQ(nodes_out(), 1u);
}

TEST_F(tm_trie_test, insert_of_2001_db8_slash_32_creates_32_nodes) {
  const tm_util_trie_node *node = insert("2001:db8::", 32);
  EXPECT_EQ(nodes_out(), 1u + 32u);
  EXPECT_EQ(node->len, 32);
  EXPECT_EQ(std::memcmp(node->key, key_of("2001:db8::").data(), 16), 0);
  EXPECT_EQ(node->tag, 0u);
  EXPECT_EQ(node->data, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(node->aux1, 0u);
  EXPECT_EQ(node->aux2, 0u);
}

TEST_F(tm_trie_test, insert_keeps_no_bit_of_the_key_beyond_its_length) {
  const tm_util_trie_node *node = insert("2001:db8:ffff:ffff::", 35);
  EXPECT_EQ(std::memcmp(node->key, key_of("2001:db8:e000::").data(), 16), 0);
}

TEST_F(tm_trie_test, insert_of_a_stored_key_returns_its_node) {
  tm_util_trie_node *node = insert("2001:db8::", 48, 9);
  EXPECT_EQ(insert("2001:db8::", 48), node);
  EXPECT_EQ(node->tag, 9u);
  EXPECT_EQ(nodes_out(), 49u);
}

TEST_F(tm_trie_test, insert_reaches_bit_127_on_both_sides) {
  const tm_util_trie_node *zero = insert("2001:db8::", 128);
  const tm_util_trie_node *one = insert("2001:db8::1", 128);
  EXPECT_EQ(nodes_out(), 1u + 129u);
  EXPECT_EQ(zero->len, 128);
  EXPECT_EQ(one->len, 128);
  EXPECT_EQ(one->key[15], 1);
  EXPECT_EQ(zero->key[15], 0);
}

TEST_F(tm_trie_test, insert_refused_at_any_node_keeps_those_made_so_far_and_can_be_repeated) {
  const test_key key = key_of("f00::");
  for (uint64_t k = 1; k <= 12; ++k) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    insert("::", 4);
    test_host::fail_pool_element(k);
    tm_trie_grown grown{root, root};
    const tm_util_trie_node *node = tm_trie_insert_path(root, key.data(), 12, &grown);
    EXPECT_EQ(node != nullptr, k > 8);
    const size_t made = std::min<size_t>(k - 1, 8);
    EXPECT_EQ(nodes_out(), 5 + made);
    const auto depth = static_cast<int32_t>(4 + made);
    EXPECT_EQ(grown.top, made == 0 ? nullptr : tm_util_trie_lookup(root, key.data(), 5, 0));
    EXPECT_EQ(grown.end, made == 0 ? nullptr : tm_util_trie_lookup(root, key.data(), depth, 0));
    EXPECT_TRUE(grown.end == nullptr || tm_trie_is_leaf(grown.end));

    test_host::fail_pool_element(0);
    node = insert("f00::", 12);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->len, 12);
    EXPECT_EQ(nodes_out(), 5u + 8u);
  }
}

TEST_F(tm_trie_test, insert_of_a_stored_key_tells_that_nothing_was_made) {
  insert("2001:db8::", 32);
  tm_trie_grown grown{root, root};
  EXPECT_NE(tm_trie_insert_path(root, key_of("2001:db8::").data(), 32, &grown), nullptr);
  EXPECT_EQ(grown.top, nullptr);
  EXPECT_EQ(grown.end, nullptr);
}

TEST_F(tm_trie_test, exported_insert_refused_gives_null) {
  test_host::fail_pool_element(3);
  EXPECT_EQ(insert("2001:db8::", 32), nullptr);
  EXPECT_EQ(nodes_out(), 3u);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tm_trie_test, lookup_mode_1_for_a_slash_48_returns_the_slash_32_above_it) {
  insert("2001:db8:1::", 48);
  insert("2001:db8::", 16, 1);
  const tm_util_trie_node *slash_32 = insert("2001:db8::", 32, 2);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("2001:db8:1::").data(), 48, 1), slash_32);
}

TEST_F(tm_trie_test, lookup_mode_0_returns_null_when_the_path_stops_at_depth_40) {
  insert("2001:db8::", 16, 1);
  insert("2001:db8:100::", 40, 2);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("2001:db8:100::").data(), 48, 0), nullptr);
  ASSERT_NE(tm_util_trie_lookup(root, key_of("2001:db8:100::").data(), 40, 0), nullptr);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("2001:db8:100::").data(), 48, 1)->len, 40);
}

TEST_F(tm_trie_test, lookup_follows_one_bit_past_the_prefix_without_letting_it_count) {
  tm_util_trie_node *at = insert("2001:db8::", 32, 1);
  const test_key ones = key_of("2001:db8:8000::");
  const test_key zeros = key_of("2001:db8::");
  for (const char *below : {"", "2001:db8:8000::", "2001:db8::"}) {
    if (*below != '\0') {
      insert(below, 33, 7);
    }
    for (const int32_t mode : {0, 1}) {
      EXPECT_EQ(tm_util_trie_lookup(root, ones.data(), 32, mode), at) << "the tag at depth 33 is out of reach";
      EXPECT_EQ(tm_util_trie_lookup(root, zeros.data(), 32, mode), at);
    }
  }
}

TEST_F(tm_trie_test, lookup_of_length_128_never_fetches_a_seventeenth_byte) {
  const guarded_key ones(key_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
  tm_util_trie_node *leaf = tm_util_trie_insert(root, ones.bytes(), 128);
  leaf->tag = 3;
  for (const int32_t mode : {0, 1}) {
    EXPECT_EQ(tm_util_trie_lookup(root, ones.bytes(), 128, mode), leaf);
  }
  leaf->tag = 0;
  EXPECT_EQ(tm_util_trie_lookup(root, ones.bytes(), 128, 0), leaf);
  EXPECT_EQ(tm_util_trie_lookup(root, ones.bytes(), 128, 1), nullptr);
}

TEST_F(tm_trie_test, nothing_is_deeper_than_128_bits) {
  const guarded_key key(key_of("2001:db8::1"));
  tm_util_trie_node *node = tm_util_trie_insert(root, key.bytes(), 128);
  node->tag = 7;
  const auto before = nodes_out();
  for (const int32_t len : {129, 255, INT32_MAX}) {
    EXPECT_EQ(tm_util_trie_lookup(root, key.bytes(), len, 1), node) << "the deepest stored prefix";
    EXPECT_EQ(tm_util_trie_lookup(root, key.bytes(), len, 0), nullptr);
    EXPECT_EQ(tm_util_trie_insert(root, key.bytes(), len), nullptr);
  }
  EXPECT_EQ(nodes_out(), before);
}

TEST_F(tm_trie_test, lookup_of_length_zero_sees_the_root_alone) {
  insert("8000::", 1, 4);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("8000::").data(), 0, 0), root);
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("8000::").data(), 0, 1), nullptr);
  root->tag = 1;
  EXPECT_EQ(tm_util_trie_lookup(root, key_of("8000::").data(), 0, 1), root);
}

TEST_F(tm_trie_test, lookup_without_a_root_or_in_another_mode_finds_nothing) {
  insert("2001:db8::", 32, 1);
  const test_key key = key_of("2001:db8::");
  for (const int32_t len : {0, 32, 128}) {
    EXPECT_EQ(tm_util_trie_lookup(nullptr, key.data(), len, 0), nullptr);
    EXPECT_EQ(tm_util_trie_lookup(nullptr, key.data(), len, 1), nullptr);
    EXPECT_EQ(tm_util_trie_lookup(root, key.data(), len, 2), nullptr);
    EXPECT_EQ(tm_util_trie_lookup(root, key.data(), len, -1), nullptr);
  }
}

TEST_F(tm_trie_test, insert_and_lookup_agree_with_the_twin) {
  dice random(71);
  for (int round = 0; round < 12; ++round) {
    tm_util_trie_free(root, 0, 0);
    root = new_trie_root();
    trie_twin twin;
    for (uint32_t step = 1; step <= 60; ++step) {
      const std::string path = random_path(random);
      tm_util_trie_node *node = insert(path);
      ASSERT_EQ(path_of(node), path);
      twin.insert(path);
      node->tag = twin.nodes[path] = random.chance(4) ? 0 : step;
    }
    ASSERT_EQ(nodes_of(root), twin.nodes);
    ASSERT_EQ(nodes_out(), twin.nodes.size());
    for (int i = 0; i < 3000; ++i) {
      std::string path = random_path(random);
      const guarded_key key(key_from_bits(
          random.chance(2) ? path : path + random_path(random, 128 - static_cast<uint32_t>(path.size()))));
      for (const int32_t mode : {0, 1, 2}) {
        const tm_util_trie_node *node = tm_util_trie_lookup(root, key.bytes(), static_cast<int32_t>(path.size()), mode);
        const trie_twin::found expected = twin.lookup(path, mode);
        ASSERT_EQ(node != nullptr, expected.has_value()) << path << " mode " << mode;
        ASSERT_TRUE(node == nullptr || path_of(node) == *expected) << path << " mode " << mode;
      }
    }
  }
}

// -- tm_util_trie_find, tm_util_trie_free

TEST_F(tm_trie_test, find_searches_tags_as_in_a_binary_search_tree_and_compares_unsigned) {
  root->tag = 50;
  tm_util_trie_node *left = insert("::", 1, 20);
  tm_util_trie_node *right = insert("8000::", 1, 0xFFFFFFF0);
  tm_util_trie_node *left_right = insert("4000::", 2, 30);
  EXPECT_EQ(tm_util_trie_find(root, 50), root);
  EXPECT_EQ(tm_util_trie_find(root, 20), left);
  EXPECT_EQ(tm_util_trie_find(root, 30), left_right);
  EXPECT_EQ(tm_util_trie_find(root, 0xFFFFFFF0), right);
  for (const uint32_t absent : {0u, 25u, 40u, 51u, 0xFFFFFFFFu}) {
    EXPECT_EQ(tm_util_trie_find(root, absent), nullptr) << absent;
  }
  right->tag = 10;
  EXPECT_EQ(tm_util_trie_find(root, 10), nullptr) << "a tag on the wrong side is not found";
  EXPECT_EQ(tm_util_trie_find(nullptr, 50), nullptr);
}

TEST_F(tm_trie_test, free_goes_left_right_node) {
  tm_util_trie_node *l = insert("::", 1);
  tm_util_trie_node *r = insert("8000::", 1);
  tm_util_trie_node *lr = insert("4000::", 2);
  tm_util_trie_free(root, 0, 0);
  EXPECT_EQ(nodes_out(), 0u);
  EXPECT_EQ(next_nodes(4), (std::vector<void *>{root, r, l, lr}));
}

TEST_F(tm_trie_test, free_gives_payloads_back_only_when_the_flag_is_one) {
  for (const int32_t flag : {0, 1, 2}) {
    tm_util_trie_node *fresh = new_trie_root();
    for (const char *address : {"2001:db8::", "2001:db8::1", "::"}) {
      tm_util_trie_insert(fresh, key_of(address).data(), 128)->data =
          tm_chunk_ptr2idx(TM_V6_ORIG_DATA, tm_chunk_malloc(TM_V6_ORIG_DATA));
    }
    const size_t payloads = test_host::pool_used("TM_V6_ORIG_DATA");
    tm_util_trie_free(fresh, flag, TM_V6_ORIG_DATA);
    EXPECT_EQ(test_host::pool_used("TM_V6_ORIG_DATA"), payloads - (flag == 1 ? 3 : 0)) << "flag " << flag;
    EXPECT_EQ(nodes_out(), 1u);
  }
  tm_util_trie_free(nullptr, 1, TM_V6_ORIG_DATA);
}

TEST_F(tm_trie_test, free_of_a_subtree_leaves_the_rest) {
  tm_util_trie_node *sub = insert("8000::", 1);
  insert("8000::", 128);
  insert("::", 8);
  root->right = TM_CHUNK_IDX_NULL;
  tm_util_trie_free(sub, 1, TM_V6_ORIG_DATA);
  EXPECT_EQ(nodes_out(), 1u + 8u);
  EXPECT_EQ(info[TM_V6_ORIG_DATA].frees, 0u);
}
