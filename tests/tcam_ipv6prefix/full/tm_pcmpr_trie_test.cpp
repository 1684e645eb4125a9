// SPDX-License-Identifier: Apache-2.0
// Nodes of the path-compressed trie and its generation.
#include "tm_pcmpr_trie_internal.h"

#include "pcmpr_fixture.h"
#include "tm_trie_internal.h"

namespace {

class tm_pcmpr_trie_test : public pcmpr_test {};

void expect_zero_keys(const tm_util_trie_node *node) {
  if (node != nullptr) {
    EXPECT_EQ(node->len, 0);
    EXPECT_EQ(bits_of(node->key, 128), std::string(128, '0'));
    expect_zero_keys(tm_trie_child(node, 0));
    expect_zero_keys(tm_trie_child(node, 1));
  }
}

}  // namespace

// -- nodes

TEST_F(tm_pcmpr_trie_test, new_node_has_its_data_and_nothing_else) {
  tm_util_trie_node *node = nullptr;
  ASSERT_EQ(tm_util_trie_pcmpr_node_new(&node), 0);
  EXPECT_EQ(node->left | node->right | node->tag | node->len, 0u);
  EXPECT_EQ(bits_of(node->key, 128), std::string(128, '0'));
  const tcamv6_pcmpr_data *data = pcmpr_data_of(node);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->len0 | data->len1 | data->longest, 0);
  EXPECT_EQ(data->extension, 0u);
}

TEST_F(tm_pcmpr_trie_test, new_node_needs_an_output_and_keeps_nothing_when_refused) {
  EXPECT_EQ(tm_util_trie_pcmpr_node_new(nullptr), TM_EINVAL);
  const size_t before = nodes_out();
  for (uint64_t k = 1; k <= 2; ++k) {
    tm_util_trie_node *node = nullptr;
    test_host::fail_pool_element(k);
    EXPECT_EQ(tm_util_trie_pcmpr_node_new(&node), TM_ENOMEM);
    EXPECT_EQ(nodes_out(), before);
    EXPECT_EQ(data_out(), 0u);
  }
}

TEST_F(tm_pcmpr_trie_test, branch_is_a_tagged_node_or_one_with_both_children) {
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(nullptr));
  tm_util_trie_node node{};
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(&node));
  node.left = 8;
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(&node));
  node.right = 8;
  EXPECT_TRUE(tm_util_trie_pcmpr_is_branch(&node));
  node.left = 0;
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(&node));
  node.tag = 1;
  EXPECT_TRUE(tm_util_trie_pcmpr_is_branch(&node));
}

TEST_F(tm_pcmpr_trie_test, longest_path_is_counted_on_8_bits) {
  tm_util_trie_node *node = nullptr;
  tm_util_trie_node *left = nullptr;
  tm_util_trie_node *right = nullptr;
  for (tm_util_trie_node **made : {&node, &left, &right}) {
    ASSERT_EQ(tm_util_trie_pcmpr_node_new(made), 0);
  }
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 0);
  node->left = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, left);
  auto *left_data = const_cast<tcamv6_pcmpr_data *>(pcmpr_data_of(left));
  auto *right_data = const_cast<tcamv6_pcmpr_data *>(pcmpr_data_of(right));
  left_data->longest = 200;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 201);
  node->right = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, right);
  right_data->longest = 254;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 255);
  right_data->longest = 255;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 201) << "255 + 1 is 0 on 8 bits";
  left->data = TM_CHUNK_IDX_NULL;
  right_data->longest = 7;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 8) << "a child without data does not count";
  right->data = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 0);
  EXPECT_FATAL(tm_util_calculate_longest_pathlen(nullptr), "\ntm_util_calculate_longest_pathlen: root is NULL");
}

// -- generation

TEST_F(tm_pcmpr_trie_test, gen_needs_an_output_and_a_null_trie_gives_a_null_output) {
  EXPECT_EQ(tm_util_trie_pcmpr_gen(trie, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_gen(nullptr, nullptr), TM_EINVAL);
  root = trie;
  EXPECT_EQ(tm_util_trie_pcmpr_gen(nullptr, &root), 0);
  EXPECT_EQ(root, nullptr);
  EXPECT_EQ(data_out(), 0u);
}

TEST_F(tm_pcmpr_trie_test, gen_of_the_default_alone_is_one_node) {
  store({""});
  fold();
  EXPECT_EQ(root->tag, 1u);
  EXPECT_TRUE(tm_trie_is_leaf(root));
  EXPECT_EQ(pcmpr_data_of(root)->longest, 0);
}

TEST_F(tm_pcmpr_trie_test, gen_of_the_default_and_8000_slash_1_has_a_plain_leaf_on_path_1) {
  store({"", "1"});
  fold();
  const tcamv6_pcmpr_data *data = pcmpr_data_of(root);
  EXPECT_EQ(root->tag, 1u);
  EXPECT_EQ(left_of(root), nullptr);
  ASSERT_NE(right_of(root), nullptr);
  EXPECT_EQ(data->len1, 1);
  EXPECT_EQ(data->path1[0] & 0x80, 0x80);
  EXPECT_EQ(data->longest, 1);
  EXPECT_EQ(right_of(root)->tag, 2u);
  EXPECT_TRUE(tm_trie_is_leaf(right_of(root)));
  EXPECT_EQ(pcmpr_data_of(right_of(root))->extension, 0u);
}

TEST_F(tm_pcmpr_trie_test, gen_extends_the_right_side_of_the_default_when_both_children_branch) {
  store({"", "0", "1"});
  fold();
  EXPECT_EQ(pcmpr_data_of(left_of(root))->extension, 0u);
  EXPECT_EQ(left_of(root)->tag, 2u);
  const tm_util_trie_node *extended = right_of(root);
  EXPECT_NE(pcmpr_data_of(extended)->extension, 0u);
  EXPECT_EQ(pcmpr_data_of(extended)->longest, 1);
  EXPECT_EQ(pcmpr_data_of(extended)->len0, 1);
  EXPECT_EQ(extended->tag, 0u) << "the tag goes to the node below";
  EXPECT_EQ(left_of(extended)->tag, 3u);
  EXPECT_EQ(pcmpr_data_of(root)->longest, 2);
}

TEST_F(tm_pcmpr_trie_test, gen_chooses_the_side_by_the_parity_of_the_length_below_the_root) {
  // An odd length extends the right side of two branching children, an even one the left side.
  for (const std::string top : {"101", "1010"}) {
    drop();
    store({top, top + "0", top + "1"});
    fold();
    const tm_util_trie_node *node = right_of(root);
    ASSERT_EQ(node->tag, 1u);
    const bool odd = top.size() % 2 == 1;
    EXPECT_EQ(pcmpr_data_of(right_of(node))->extension != 0, odd) << top;
    EXPECT_EQ(pcmpr_data_of(left_of(node))->extension != 0, !odd) << top;
  }
}

TEST_F(tm_pcmpr_trie_test, gen_folds_a_chain_into_one_edge_of_127_bits_and_one_of_128) {
  store({std::string(128, '1')});
  fold();
  EXPECT_EQ(pcmpr_data_of(root)->len1, 128);
  EXPECT_EQ(bits_of(pcmpr_data_of(root)->path1, 128), std::string(128, '1'));
  EXPECT_EQ(pcmpr_data_of(root)->longest, 1);
  drop();
  store({"", std::string(128, '1')});
  fold();
  EXPECT_EQ(pcmpr_data_of(root)->len1, 127) << "the extended side ends one bit above the stop node";
  EXPECT_EQ(pcmpr_data_of(root)->longest, 2);
  const tm_util_trie_node *above = right_of(root);
  EXPECT_EQ(above->tag, 0u);
  EXPECT_EQ(pcmpr_data_of(above)->len1, 1);
  EXPECT_EQ(right_of(above)->tag, 2u);
}

TEST_F(tm_pcmpr_trie_test, key_fields_of_generated_nodes_are_zero) {
  dice random(17);
  for (int round = 0; round < 20; ++round) {
    drop();
    store({""});
    store_random(random, 30, 20);
    fold();
    expect_zero_keys(root);
    // The step by itself makes such nodes too.
    tm_util_trie_node *node = nullptr;
    ASSERT_EQ(tm_util_trie_pcmpr_node_new(&node), 0);
    test_key edge{};
    uint8_t edge_len = 0;
    ASSERT_EQ(tm_util_trie_pcmpr_gen_internal(trie, node, edge.data(), &edge_len, 1), 0);
    expect_zero_keys(node);
    tm_util_trie_free(node, 1, TM_V6_PCMPR_DATA);
  }
}

TEST_F(tm_pcmpr_trie_test, gen_agrees_with_the_twin) {
  dice random(91);
  for (int round = 0; round < 250; ++round) {
    drop();
    if (random.chance(2)) {
      store({""});
    }
    const uint32_t longest[] = {4, 8, 20, 128};
    store_random(random, 1 + random.below(40), longest[random.below(4)]);
    fold();
    expect_same(root, *pcmpr_twin::of(trie), "root");
    ASSERT_FALSE(HasFatalFailure()) << "round " << round;
  }
}

TEST_F(tm_pcmpr_trie_test, gen_agrees_with_the_twin_on_every_set_of_short_prefixes) {
  // All subsets of the 15 prefixes of at most 3 bits.
  std::vector<std::string> all;
  for (uint32_t len = 0; len <= 3; ++len) {
    for (uint32_t value = 0; value < (1u << len); ++value) {
      std::string path;
      for (uint32_t i = len; i-- > 0;) {
        path += static_cast<char>('0' + ((value >> i) & 1));
      }
      all.push_back(path);
    }
  }
  for (uint32_t subset = 1; subset < (1u << all.size()); ++subset) {
    drop();
    for (size_t i = 0; i < all.size(); ++i) {
      if (((subset >> i) & 1) != 0) {
        store({all[i]});
      }
    }
    fold();
    expect_same(root, *pcmpr_twin::of(trie), "root");
    ASSERT_FALSE(HasFatalFailure()) << "subset " << subset;
  }
}

TEST_F(tm_pcmpr_trie_test, gen_leaves_the_source_trie_alone_and_is_freed_whole) {
  dice random(92);
  store_random(random, 60, 128);
  const std::map<std::string, uint32_t> before = nodes_of(trie);
  const size_t nodes = nodes_out();
  fold();
  EXPECT_EQ(nodes_of(trie), before);
  EXPECT_EQ(nodes_out() - nodes, data_out());
  tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
  root = nullptr;
  EXPECT_EQ(nodes_out(), nodes);
  EXPECT_EQ(data_out(), 0u);
}

TEST_F(tm_pcmpr_trie_test, gen_refused_at_any_element_returns_the_error_and_what_was_built_can_be_freed) {
  dice random(93);
  store({""});
  store_random(random, 12, 40);
  const size_t nodes = nodes_out();
  uint64_t k = 1;
  for (;; ++k) {
    root = nullptr;
    test_host::fail_pool_element(k);
    const int32_t result = tm_util_trie_pcmpr_gen(trie, &root);
    test_host::fail_pool_element(0);
    tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
    root = nullptr;
    ASSERT_EQ(nodes_out(), nodes) << "element " << k;
    ASSERT_EQ(data_out(), 0u) << "element " << k;
    if (result == 0) {
      break;
    }
    ASSERT_EQ(result, TM_ENOMEM);
  }
  EXPECT_GT(k, 20u);
}

TEST_F(tm_pcmpr_trie_test, gen_internal_needs_its_new_node_edge_and_length) {
  tm_util_trie_node *node = nullptr;
  ASSERT_EQ(tm_util_trie_pcmpr_node_new(&node), 0);
  test_key edge{};
  uint8_t len = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(trie, nullptr, edge.data(), &len, 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(trie, node, nullptr, &len, 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(trie, node, edge.data(), nullptr, 0), TM_EINVAL);
}

TEST_F(tm_pcmpr_trie_test, gen_internal_without_data_is_fatal) {
  store({"0", "1"});
  tm_util_trie_node bare{};
  test_key edge{};
  uint8_t len = 0;
  EXPECT_FATAL(tm_util_trie_pcmpr_gen_internal(trie, &bare, edge.data(), &len, 0),
               "\ntm_util_trie_pcmpr_gen_internal: cmpr_path is NULL");
}
