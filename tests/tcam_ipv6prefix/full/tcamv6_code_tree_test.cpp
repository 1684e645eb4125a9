// SPDX-License-Identifier: Apache-2.0
// The min-max code tree over one node's children.
#include "tcamv6_code_tree.h"

#include "tcamv6_fixture.h"

namespace {

class tcamv6_code_tree_test : public tcamv6_test {
 protected:
  void SetUp() override {
    tcamv6_test::SetUp();
    parent = new_anc(1);
    top = new_trie_node(1);
  }

  // Children of these costs, each with a compressed node tagged by its place from 100.
  void give_children(const std::vector<uint8_t> &costs) {
    children.clear();
    for (const uint8_t cost : costs) {
      tm_n_ary_node *child = new_anc(static_cast<uint32_t>(children.size()) + 100, false, cost);
      tm_util_trie_node *node = new_trie_node(tcamv6_anc_tag(data_of(child)));
      node->owners = 1;
      data_of(child)->cmpr_node = tm_idx(node);
      children.push_back(child);
    }
    adopt(parent, children);
  }

  // The code of each child, by following the tree from the top; "" when it is not there.
  std::vector<std::string> codes() const {
    std::vector<std::string> result(children.size());
    collect(top, "", &result);
    return result;
  }

  static void collect(const tm_util_trie_node *node, const std::string &code, std::vector<std::string> *result) {
    if (node == nullptr) {
      return;
    }
    if (node->tag >= 100) {
      (*result)[node->tag - 100] = code;
    }
    collect(tm_trie_child(node, 0), code + "0", result);
    collect(tm_trie_child(node, 1), code + "1", result);
  }

  int cost() const { return data_of(parent)->cost; }

  tm_n_ary_node *parent = nullptr;
  tm_util_trie_node *top = nullptr;
  std::vector<tm_n_ary_node *> children;
};

}  // namespace

TEST_F(tcamv6_code_tree_test, three_leaves_cost_2_and_get_one_code_of_one_bit_and_two_of_two) {
  give_children({0, 0, 0});
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(cost(), 2);
  std::vector<std::string> sorted = codes();
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, (std::vector<std::string>{"00", "01", "1"}));
}

TEST_F(tcamv6_code_tree_test, costs_3_and_0_cost_4_and_the_lighter_gets_1) {
  for (const std::vector<uint8_t> &costs : {std::vector<uint8_t>{3, 0}, std::vector<uint8_t>{0, 3}}) {
    give_children(costs);
    ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
    EXPECT_EQ(cost(), 4);
    for (size_t i = 0; i < 2; ++i) {
      EXPECT_EQ(codes()[i], costs[i] == 0 ? "1" : "0");
    }
  }
}

TEST_F(tcamv6_code_tree_test, lone_child_costs_one_bit_more_than_itself_and_gets_0) {
  give_children({7});
  top->right = 99;
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(cost(), 8);
  EXPECT_EQ(top->right, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(codes(), std::vector<std::string>{"0"});
}

TEST_F(tcamv6_code_tree_test, joint_weighs_the_larger_plus_one_never_the_sum) {
  give_children({4, 4, 4, 4});
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(cost(), 6);
  give_children({1, 2, 3, 4, 5});
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 1), TM_OK);
  EXPECT_EQ(cost(), 6) << "1 and 2 to 3, 3 and 3 to 4, 4 and 4 to 5, 5 and 5 to 6";
}

TEST_F(tcamv6_code_tree_test, joints_put_the_lighter_on_0_and_the_last_two_are_mirrored) {
  give_children({0, 1, 2, 9});  // 0 and 1 join to 2; it and 2 join to 3; 9 stays
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(cost(), 10);
  const std::vector<std::string> found = codes();
  EXPECT_EQ(found[3], "0") << "the heavier of the last two";
  EXPECT_EQ(found[0].size(), 3u);
  EXPECT_EQ(found[0].substr(0, 2), found[1].substr(0, 2));
  EXPECT_EQ(found[0].back(), '0');
  EXPECT_EQ(found[1].back(), '1');
  EXPECT_EQ(found[2].size(), 2u);
  EXPECT_EQ(found[2][0], '1');
}

TEST_F(tcamv6_code_tree_test, codes_are_free_of_prefixes_and_fit_the_cost) {
  std::vector<uint8_t> costs;
  for (uint32_t i = 0; i < 100; ++i) {
    costs.push_back(static_cast<uint8_t>(i * i % 13));
  }
  give_children(costs);
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  const std::vector<std::string> found = codes();
  size_t deepest = 0;
  for (size_t i = 0; i < found.size(); ++i) {
    ASSERT_FALSE(found[i].empty()) << i;
    deepest = std::max(deepest, found[i].size() + costs[i]);
    for (size_t j = 0; j < found.size(); ++j) {
      ASSERT_TRUE(i == j || found[j].compare(0, found[i].size(), found[i]) != 0) << found[i] << ' ' << found[j];
    }
  }
  EXPECT_EQ(cost(), static_cast<int>(deepest));
}

TEST_F(tcamv6_code_tree_test, inner_nodes_hold_no_prefix_and_there_are_n_minus_2_of_them) {
  give_children({0, 0, 0, 0, 0, 0, 0});
  const uint32_t before = allocated(TM_V6_TRIE_NODE);
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(allocated(TM_V6_TRIE_NODE), before + 5);
  for (const tm_util_trie_node *inner : {tm_trie_child(top, 0), tm_trie_child(top, 1)}) {
    EXPECT_EQ(inner->tag, 0u);
    EXPECT_EQ(inner->len, 0u);
    EXPECT_EQ(inner->data, TM_CHUNK_IDX_NULL);
  }
}

TEST_F(tcamv6_code_tree_test, cost_only_takes_no_element_and_changes_nothing_but_the_cost) {
  give_children({0, 0, 0, 2});
  const uint64_t granted = test_host::pool_elements_granted();
  const tcamv6_anc_data before = *data_of(parent);
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, nullptr, 1), TM_OK);
  EXPECT_EQ(test_host::pool_elements_granted(), granted);
  tcamv6_anc_data expected = before;
  expected.cost = 3;
  EXPECT_EQ(std::memcmp(data_of(parent), &expected, sizeof expected), 0);
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(cost(), 3) << "and the same when it builds";
}

TEST_F(tcamv6_code_tree_test, cost_is_kept_in_8_bits) {
  give_children({255, 0});
  ASSERT_EQ(tcamv6_gen_huffman_tree(parent, top, 1), TM_OK);
  EXPECT_EQ(cost(), 0);
}

TEST_F(tcamv6_code_tree_test, heap_array_is_of_one_entry_per_child_and_given_back) {
  give_children({0, 0, 0});
  const test_host::heap_counts before = test_host::heap();
  only_info();
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_ENOMEM);
  EXPECT_EQ(test_host::last_heap_tag(), 0x18002Bu);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_gen_huffman_tree: malloc(48 bytes) failed"});
  EXPECT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_OK);
  EXPECT_EQ(test_host::heap().blocks, before.blocks);
}

TEST_F(tcamv6_code_tree_test, inner_node_that_cannot_be_had_is_minus_12_and_the_array_is_given_back) {
  give_children({0, 0, 0, 0, 0});
  const test_host::heap_counts before = test_host::heap();
  only_info();
  for (uint64_t k = 1; k <= 3; ++k) {
    test_host::clear_log();
    test_host::fail_pool_element(k);
    EXPECT_EQ(tcamv6_gen_huffman_tree(parent, top, 0), TM_ENOMEM) << k;
    EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_gen_huffman_tree: malloc(56 bytes) failed"});
    EXPECT_EQ(test_host::heap().blocks, before.blocks);
  }
}

TEST_F(tcamv6_code_tree_test, bad_arguments_are_refused) {
  give_children({0});
  only_info();
  EXPECT_EQ(tcamv6_gen_huffman_tree(nullptr, top, 0), TM_EINVAL);
  EXPECT_EQ(tcamv6_gen_huffman_tree(nullptr, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_gen_huffman_tree(parent, nullptr, 0), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(3, "tcamv6_gen_huffman_tree: Bad arguments"));
}

TEST_F(tcamv6_code_tree_test, result_is_traced_on_every_path) {
  give_children({0, 0, 0});
  only_trace();
  const std::string start = "tcamv6_gen_huffman_tree: Starting anc_node index <ptr>, trie_node <ptr>";
  tcamv6_gen_huffman_tree(parent, top, 0);
  tcamv6_gen_huffman_tree(nullptr, top, 0);
  test_host::fail_heap_allocation(1);
  tcamv6_gen_huffman_tree(parent, top, 0);
  test_host::fail_pool_element(1);
  tcamv6_gen_huffman_tree(parent, top, 0);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{
                start, "tcamv6_gen_huffman_tree: Complete 0", start, "tcamv6_gen_huffman_tree: Complete -22", start,
                "tcamv6_gen_huffman_tree: Complete -12", start, "tcamv6_gen_huffman_tree: Complete -12"}));
}
