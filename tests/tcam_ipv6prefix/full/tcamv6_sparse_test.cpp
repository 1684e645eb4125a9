// SPDX-License-Identifier: Apache-2.0
// Depth limits of compressed nodes, and the chains that push them down, on tries built by hand.
#include "tcamv6_sparse.h"

#include "tcamv6_fixture.h"

namespace {

constexpr int32_t max_len = 32;

class tcamv6_sparse_test : public tcamv6_test {
 protected:
  // A node of the ancestor tree whose compressed node must end up at this depth.
  static tm_n_ary_node *anc_at(int32_t depth, tm_util_trie_node **cmpr_node, bool is_dummy = false) {
    tm_n_ary_node *node = new_anc(static_cast<uint32_t>(depth) + 1, is_dummy);
    tcamv6_anc_set_lim(data_of(node), max_len - depth);
    *cmpr_node = new_trie_node(7);
    data_of(node)->cmpr_node = tm_idx(*cmpr_node);
    return node;
  }

  static void link(tm_util_trie_node *parent, uint32_t bit, tm_util_trie_node *child) {
    (bit != 0 ? parent->right : parent->left) = tm_idx(child);
  }

  static int depth_of(const tm_util_trie_node *node) { return tm_ptr<tcamv6_cmpr_data>(node->data)->max_depth; }
  static bool ends(const tm_util_trie_node *node) { return tm_ptr<tcamv6_cmpr_data>(node->data)->ends == 1; }

  // Bits of the way from one node down to another; "?" when it is not below.
  static std::string way(const tm_util_trie_node *from, const tm_util_trie_node *to) {
    if (from == nullptr) {
      return "?";
    }
    if (from == to) {
      return "";
    }
    for (uint32_t bit = 0; bit < 2; ++bit) {
      const std::string rest = way(tm_trie_child(from, bit), to);
      if (rest != "?") {
        return std::to_string(bit) + rest;
      }
    }
    return "?";
  }

  int32_t sparse() { return tcamv6_make_sparse_cmpr_trie(root, max_len); }

  // root at `p`, an inner node below it on side 0, two leaves below that at r0 and r1.
  void inner_above(int32_t p, int32_t r0, int32_t r1, bool dummy_1 = false) {
    root = anc_at(p, &top);
    tm_n_ary_node *a = anc_at(r0, &leaf_0);
    tm_n_ary_node *b = anc_at(r1, &leaf_1, dummy_1);
    adopt(root, {a, b});
    inner = new_trie_node();
    link(top, 0, inner);
    link(inner, 0, leaf_0);
    link(inner, 1, leaf_1);
  }

  tm_n_ary_node *root = nullptr;
  tm_util_trie_node *top = nullptr;
  tm_util_trie_node *inner = nullptr;
  tm_util_trie_node *leaf_0 = nullptr;
  tm_util_trie_node *leaf_1 = nullptr;
};

// The limit above a child as a quotient of real numbers: raised when the share is more than a millionth of a bit.
int32_t limit_by_quotient(int32_t r, int32_t d, int32_t p) {
  const int32_t t = (r - p) * d;
  const float q = static_cast<float>(t) / static_cast<float>(d + 1);
  const int32_t raised = static_cast<double>(q) > 1e-06 ? 1 : 0;
  const int32_t limit = t / (d + 1) + p + raised;
  return limit < r - 1 ? limit : r - 1;
}

}  // namespace

TEST(tcamv6_limit_above_child_test, integers_give_what_the_quotient_gives_for_all_that_can_occur) {
  size_t compared = 0;
  for (int32_t d = 0; d <= 128; ++d) {
    for (int32_t r = -128; r <= 128; ++r) {
      for (int32_t p = -128; p <= 128; ++p) {
        ASSERT_EQ(tcamv6_limit_above_child(r, d, p), limit_by_quotient(r, d, p)) << r << " " << d << " " << p;
        ++compared;
      }
    }
  }
  EXPECT_EQ(compared, 129u * 257u * 257u);
}

TEST_F(tcamv6_sparse_test, limit_20_of_32_bits_gives_depth_12) {
  root = anc_at(12, &top);
  ASSERT_EQ(tcamv6_anc_lim(data_of(root)), 20);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(top), 12);
  EXPECT_FALSE(ends(top));
}

TEST_F(tcamv6_sparse_test, flags_of_the_limits_word_drop_out) {
  root = anc_at(12, &top);
  data_of(root)->bits |= TCAMV6_ANC_USE_PCMPR | 0xF000;
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(top), 12);
}

TEST_F(tcamv6_sparse_test, bit_of_the_limit_worth_256_drops_out_too) {
  root = anc_at(12, &top);
  tcamv6_anc_set_lim(data_of(root), 256 + 20);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(top), 12);
}

TEST_F(tcamv6_sparse_test, depth_is_a_signed_8_bit_value_and_a_negative_one_ends_the_pass) {
  root = anc_at(0, &top);
  tcamv6_anc_set_lim(data_of(root), max_len + 5);
  EXPECT_EQ(sparse(), -5);
  EXPECT_EQ(depth_of(top), -5);
}

TEST_F(tcamv6_sparse_test, node_of_a_dummy_is_marked_as_an_end) {
  root = anc_at(0, &top);
  tm_n_ary_node *dummy = anc_at(9, &leaf_0, true);
  adopt(root, {dummy});
  link(top, 1, leaf_0);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_TRUE(ends(leaf_0));
  EXPECT_FALSE(ends(top));
  EXPECT_EQ(way(top, leaf_0), "111111111");
}

TEST_F(tcamv6_sparse_test, inner_node_one_below_a_prefix_at_4_over_a_child_at_10_sits_at_8) {
  inner_above(4, 10, 20);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(inner), 8);
  EXPECT_EQ(way(top, inner), "0000");
  EXPECT_EQ(way(inner, leaf_0), "00");
  EXPECT_EQ(way(inner, leaf_1), "111111111111");
}

TEST_F(tcamv6_sparse_test, inner_node_takes_the_smaller_wish_of_its_two_children) {
  inner_above(4, 20, 10);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(inner), 8);
}

TEST_F(tcamv6_sparse_test, wish_never_comes_closer_than_one_level_to_the_child) {
  inner_above(4, 6, 20);  // (6 - 4) / 2 + 4 + 1 = 6, but the child itself is at 6
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(inner), 5);
}

TEST_F(tcamv6_sparse_test, fraction_is_cut_before_it_is_raised) {
  inner_above(0, 5, 20);  // 5 / 2 = 2, raised to 3
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(inner), 3);
}

TEST_F(tcamv6_sparse_test, inner_node_directly_above_a_dummy_stays_one_below_its_prefix) {
  inner_above(4, 20, 30, true);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(inner), 5);
}

TEST_F(tcamv6_sparse_test, second_inner_node_counts_its_depth_from_the_prefix) {
  inner_above(4, 20, 20);
  auto *lower = new_trie_node();
  link(inner, 0, lower);
  link(lower, 0, leaf_0);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(lower), 15) << "(20 - 4) * 2 / 3 + 4 + 1";
  EXPECT_EQ(depth_of(inner), 10) << "(15 - 4) / 2 + 4 + 1, below (20 - 4) / 2 + 4 + 1";
}

TEST_F(tcamv6_sparse_test, prefix_node_keeps_its_own_depth_whatever_its_children_return) {
  root = anc_at(0, &top);
  tm_n_ary_node *middle = anc_at(3, &inner);
  tm_n_ary_node *leaf = anc_at(30, &leaf_0);
  adopt(root, {middle});
  adopt(middle, {leaf});
  link(top, 0, inner);
  link(inner, 1, leaf_0);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(inner), 3);
  EXPECT_EQ(way(top, inner), "000");
  EXPECT_EQ(way(inner, leaf_0), std::string(27, '1'));
}

TEST_F(tcamv6_sparse_test, nodes_below_a_prefix_node_count_from_it_with_depth_1) {
  root = anc_at(0, &top);
  tm_n_ary_node *middle = anc_at(4, &inner);
  tm_n_ary_node *leaf = anc_at(10, &leaf_0);
  adopt(root, {middle});
  adopt(middle, {leaf});
  auto *code = new_trie_node();
  link(top, 0, inner);
  link(inner, 1, code);
  link(code, 0, leaf_0);
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(depth_of(code), 8);
}

TEST_F(tcamv6_sparse_test, child_one_deeper_needs_no_chain_and_a_gap_of_3_gets_3_nodes_on_its_side) {
  for (const uint32_t bit : {0u, 1u}) {
    root = anc_at(0, &top);
    tm_n_ary_node *close = anc_at(1, &leaf_0);
    tm_n_ary_node *far = anc_at(4, &leaf_1);
    adopt(root, {close, far});
    link(top, bit, leaf_0);
    link(top, 1 - bit, leaf_1);
    const uint32_t before = allocated(TM_V6_TRIE_NODE);
    ASSERT_EQ(sparse(), TM_OK);
    EXPECT_EQ(allocated(TM_V6_TRIE_NODE), before + 3);
    EXPECT_EQ(tm_trie_child(top, bit), leaf_0);
    EXPECT_EQ(way(top, leaf_1), std::string(4, bit != 0 ? '0' : '1'));
    const tm_util_trie_node *link_node = tm_trie_child(top, 1 - bit);
    EXPECT_EQ(link_node->len, 1) << "initialised from its parent";
    EXPECT_EQ(link_node->tag, 0u);
    EXPECT_EQ(key_bits(link_node->key, 1), bit != 0 ? "0" : "1");
  }
}

TEST_F(tcamv6_sparse_test, node_not_deeper_than_its_parent_ends_the_pass_with_minus_14) {
  for (const int32_t child_depth : {6, 5}) {
    root = anc_at(6, &top);
    tm_n_ary_node *child = anc_at(child_depth, &leaf_0);
    adopt(root, {child});
    link(top, 0, leaf_0);
    test_host::clear_log();
    only_error();
    EXPECT_EQ(sparse(), TM_EFAULT);
    EXPECT_EQ(plain_log_lines(),
              std::vector<std::string>{"tcamv6_extend_subtrie_paths: ERROR: compressed trie limits are inconsistent. "
                                       "Node depth " +
                                       std::to_string(child_depth) + ", parent's 6"});
  }
}

TEST_F(tcamv6_sparse_test, null_tree_gives_0_and_a_root_without_data_minus_14) {
  only_info();
  EXPECT_EQ(tcamv6_make_sparse_cmpr_trie(nullptr, max_len), TM_OK);
  EXPECT_TRUE(test_host::log_calls().empty());
  tm_n_ary_node bare = {};
  EXPECT_EQ(tcamv6_make_sparse_cmpr_trie(&bare, max_len), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_make_sparse_cmpr_trie: anc_node has NULL data"});
}

TEST_F(tcamv6_sparse_test, child_without_data_is_minus_14_under_the_error_word) {
  root = anc_at(0, &top);
  tm_n_ary_node *child = anc_at(4, &leaf_0);
  adopt(root, {child});
  link(top, 0, leaf_0);
  child->data = TM_CHUNK_IDX_NULL;
  only_error();
  EXPECT_EQ(sparse(), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(),
            std::vector<std::string>{"tcamv6_set_cmpr_trie_prefix_node_limits: anc_node data is NULL"});
}

TEST_F(tcamv6_sparse_test, prefix_without_a_compressed_node_is_minus_14_under_the_info_word) {
  root = anc_at(4, &top);
  data_of(root)->cmpr_node = TM_CHUNK_IDX_NULL;
  only_info();
  EXPECT_EQ(sparse(), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_set_cmpr_trie_prefix_node_limits: No compressed prefix "
                                                        "for anc_node 5"});
}

TEST_F(tcamv6_sparse_test, leaf_without_a_limit_is_minus_14_under_the_error_word) {
  root = anc_at(0, &top);
  link(top, 0, new_trie_node());
  only_error();
  EXPECT_EQ(sparse(), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_set_cmpr_trie_node_limits: maximum prefix length not "
                                                        "known for leaf cmpr_node"});
}

TEST_F(tcamv6_sparse_test, refused_elements_are_minus_12_under_the_error_word) {
  const struct {
    uint64_t k;
    const char *pool;
    const char *line;
  } cases[] = {
      {1, "TM_V6_ORIG_DATA", "tcamv6_set_cmpr_trie_prefix_node_limits: malloc(8 bytes) failed"},
      {4, "TM_V6_ORIG_DATA", "tcamv6_set_cmpr_trie_node_limits: malloc(8 bytes) failed"},
      {1, "TM_V6_TRIE_NODE", "tcamv6_extend_subtrie_paths: malloc(56 bytes) failed"},
  };
  for (const auto &one : cases) {
    inner_above(4, 10, 20);
    test_host::clear_log();
    only_error();
    test_host::fail_pool_element(one.k, one.pool);
    EXPECT_EQ(sparse(), TM_ENOMEM) << one.line;
    EXPECT_EQ(plain_log_lines(), std::vector<std::string>{one.line});
  }
}

TEST_F(tcamv6_sparse_test, whole_log_of_one_inner_node) {
  inner_above(4, 10, 20);
  tcamv6_debug_flags = {1, 1, 1, 0, 0, 0};
  ASSERT_EQ(sparse(), TM_OK);
  EXPECT_EQ(
      plain_log_lines(),
      (std::vector<std::string>{
          "tcamv6_make_sparse_cmpr_trie: Starting anc_root <ptr>, max_cmpr_len 32",
          "tcamv6_set_cmpr_trie_prefix_node_limits: cmpr node <ptr> cmpr data <ptr> max_depth 4 anc node <ptr> anc "
          "data <ptr> (cost:0,ht:0,len:28)",
          "tcamv6_set_cmpr_trie_prefix_node_limits: cmpr node <ptr> cmpr data <ptr> max_depth 10 anc node <ptr> anc "
          "data <ptr> (cost:0,ht:0,len:22)",
          "tcamv6_set_cmpr_trie_prefix_node_limits: cmpr node <ptr> cmpr data <ptr> max_depth 20 anc node <ptr> anc "
          "data <ptr> (cost:0,ht:0,len:12)",
          "tcamv6_set_cmpr_trie_node_limits: cmpr pref_node limit 4",
          "tcamv6_set_cmpr_trie_node_limits: leaf cmpr tree idx <ptr> cmpr data index <ptr> cmpr max_depth 10",
          "tcamv6_set_cmpr_trie_node_limits: leaf cmpr tree idx <ptr> cmpr data index <ptr> cmpr max_depth 20",
          "tcamv6_set_cmpr_trie_node_limits: cmpr node <ptr> max_depth 8 (parent:4,L:8,R:13) parent->node 1",
          "tcamv6_set_cmpr_trie_node_limits: ends 8",
          "tcamv6_set_cmpr_trie_node_limits: cmpr node <ptr> max_depth 4",
          "tcamv6_set_cmpr_trie_node_limits: ends 4",
          "tcamv6_extend_subtrie_paths: cmpr node <ptr> cmpr data <ptr> depth 3 max depth 4 parent depth 0",
          "tcamv6_extend_subtrie_paths: cmpr node <ptr> cmpr data <ptr> depth 3 max depth 8 parent depth 4",
          "tcamv6_extend_subtrie_paths: cmpr node <ptr> cmpr data <ptr> depth 1 max depth 10 parent depth 8",
          "tcamv6_extend_subtrie_paths: cmpr node <ptr> cmpr data <ptr> depth 11 max depth 20 parent depth 8",
          "tcamv6_make_sparse_cmpr_trie: Complete 0",
      }));
  for (const std::vector<uint32_t> &gate : {std::vector<uint32_t>{1, 0}, std::vector<uint32_t>{0, 1}}) {
    inner_above(4, 10, 20);
    test_host::clear_log();
    tcamv6_debug_flags = {gate[0], gate[1], 0, 0, 0, 0};
    ASSERT_EQ(sparse(), TM_OK);
    EXPECT_EQ(plain_log_lines().size(), gate[0] != 0 ? 6u : 10u);
  }
}
