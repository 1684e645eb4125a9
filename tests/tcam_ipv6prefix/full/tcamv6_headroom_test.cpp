// SPDX-License-Identifier: Apache-2.0
// Sharing the bits under a limit, on path-compressed tries built by hand: every P, L and w as wanted.
#include "tcamv6_headroom.h"

#include "tcamv6_fixture.h"
#include "tm_pcmpr_trie_internal.h"

namespace {

const std::string walk = "tcamv6_opt_tree_for_updates: ";

class tcamv6_headroom_test : public tcamv6_test {
 protected:
  void SetUp() override {
    tcamv6_test::SetUp();
    trie = new_trie({"::/0"});
    root = new_anc(1, false, 6);
    data_of(root)->orig = tm_idx(trie);
    data_of(root)->ht = 2;
    ASSERT_EQ(tm_util_trie_pcmpr_node_new(&pcmpr), TM_OK);
    state->pcmpr_root = tm_idx(pcmpr);
    state->orig_root = tm_idx(trie);
    state->anc_root = tm_idx(root);
  }

  static tcamv6_pcmpr_data *edges_of(tm_util_trie_node *node) { return tm_ptr<tcamv6_pcmpr_data>(node->data); }

  // A child at the end of `path` edges of one 0 bit each, with a branch of `longest` edges below it.
  tm_n_ary_node *child(uint32_t path, uint8_t longest, uint8_t cost) {
    tm_util_trie_node *node = pcmpr;
    for (uint32_t i = 0; i < path; ++i) {
      tm_util_trie_node *next = nullptr;
      EXPECT_EQ(tm_util_trie_pcmpr_node_new(&next), TM_OK);
      edges_of(node)->len0 = 1;
      edges_of(node)->path0[0] = 0;
      node->left = tm_idx(next);
      node = next;
    }
    edges_of(node)->longest = longest;
    return anc_of("::/" + std::to_string(path), cost, node);
  }

  // A full-length child at the end of one edge of 128 1 bits.
  tm_n_ary_node *full_length_child(uint8_t cost) {
    tm_util_trie_node *end = nullptr;
    EXPECT_EQ(tm_util_trie_pcmpr_node_new(&end), TM_OK);
    edges_of(pcmpr)->len1 = 128;
    std::memset(edges_of(pcmpr)->path1, 0xFF, 16);
    pcmpr->right = tm_idx(end);
    return anc_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128", cost, end);
  }

  tm_n_ary_node *anc_of(const std::string &text, uint8_t cost, tm_util_trie_node *pcmpr_node) {
    const tcamv6_prefix record = record_of(text);
    tm_util_trie_node *orig = tm_util_trie_insert(trie, record.address, record.length);
    orig->tag = 2;
    tm_n_ary_node *node = new_anc(2, false, cost);
    data_of(node)->orig = tm_idx(orig);
    if (pcmpr_node != nullptr) {
      pcmpr_node->tag = 2;
    }
    return node;
  }

  int32_t share(int32_t limit) { return tcamv6_opt_tree_for_updates(state, root, limit); }
  static int limit_of(const tm_n_ary_node *node) { return tcamv6_anc_lim(data_of(node)); }
  static bool uses_pcmpr(const tm_n_ary_node *node) { return tcamv6_anc_uses_pcmpr(data_of(node)); }

  tm_util_trie_node *trie = nullptr;
  tm_util_trie_node *pcmpr = nullptr;
  tm_n_ary_node *root = nullptr;
};

}  // namespace

TEST_F(tcamv6_headroom_test, root_alone_gets_the_limit_and_keeps_the_branching) {
  ASSERT_EQ(share(64), TM_OK);
  EXPECT_EQ(limit_of(root), 64);
  EXPECT_TRUE(uses_pcmpr(root));
}

TEST_F(tcamv6_headroom_test, limit_is_kept_in_9_bits) {
  ASSERT_EQ(share(512 + 64), TM_OK);
  EXPECT_EQ(limit_of(root), 64);
}

TEST_F(tcamv6_headroom_test, dummy_and_full_length_children_get_limit_0_and_leave_the_root_its_branching) {
  tm_n_ary_node *full = full_length_child(0);
  tm_n_ary_node *dummy = new_anc(1, true);
  tcamv6_anc_set_uses_pcmpr(data_of(dummy), true);
  tcamv6_anc_set_lim(data_of(dummy), 9);
  tcamv6_anc_set_lim(data_of(full), 9);
  adopt(root, {full, dummy});
  only_info();
  ASSERT_EQ(share(64), TM_OK);
  EXPECT_TRUE(uses_pcmpr(root));
  EXPECT_FALSE(uses_pcmpr(dummy));
  EXPECT_EQ(limit_of(dummy), 0);
  EXPECT_TRUE(uses_pcmpr(full));
  EXPECT_EQ(limit_of(full), 0);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   walk + "Path to child 1",
                                   walk + "formula 1 root(cost:6,ht:2,lim:64) path to child 1 longest child branch 0 "
                                          "child(cost:0,ht:0,lim:0)",
                                   walk + "formula 0 root(cost:6,ht:2,lim:64) child(cost:0,ht:0,lim:0) extension",
                               }));
}

TEST_F(tcamv6_headroom_test, limit_20_path_3_branch_5_cost_4_gives_16) {
  tm_n_ary_node *h = child(3, 5, 4);
  adopt(root, {h});
  only_info();
  ASSERT_EQ(share(20), TM_OK);
  EXPECT_EQ(limit_of(h), 16) << "17 - 12 / 7";
  EXPECT_TRUE(uses_pcmpr(root));
  EXPECT_TRUE(uses_pcmpr(h));
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{walk + "Path to child 3", walk + "formula 2 root(cost:6,ht:2,lim:20) path to "
                                                                       "child 3 longest child branch 5 "
                                                                       "child(cost:4,ht:0,lim:16)"}));
}

TEST_F(tcamv6_headroom_test, limit_10_path_3_branch_8_cost_4_gives_4_warns_and_takes_the_branching_away) {
  tm_n_ary_node *h = child(3, 8, 4);
  adopt(root, {h});
  only_error();
  ASSERT_EQ(share(10), TM_OK);
  EXPECT_EQ(limit_of(h), 4);
  EXPECT_FALSE(uses_pcmpr(root));
  EXPECT_TRUE(uses_pcmpr(h));
  EXPECT_EQ(plain_log_lines(),
            std::vector<std::string>{walk + "WARNING: Path length from the root to a child (3) to its furthest leaf "
                                            "(8) exceeds the root limit (10)"});
}

TEST_F(tcamv6_headroom_test, limit_8_path_3_branch_5_cost_4_gives_5) {
  tm_n_ary_node *h = child(3, 5, 4);
  adopt(root, {h});
  only_error();
  ASSERT_EQ(share(8), TM_OK);
  EXPECT_EQ(limit_of(h), 5);
  EXPECT_TRUE(uses_pcmpr(root)) << "8 is not less than 3 + 5";
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tcamv6_headroom_test, limit_5_path_1_cost_6_ends_with_minus_14_and_names_6_and_5) {
  tm_n_ary_node *h = child(1, 0, 6);
  adopt(root, {h});
  only_error();
  EXPECT_EQ(share(5), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{walk + "ERROR: Child limit (6) exceeds the root limit (5)"});
  EXPECT_TRUE(uses_pcmpr(root)) << "the pass ends before the warnings";
}

TEST_F(tcamv6_headroom_test, child_limit_equal_to_the_roots_is_refused_too) {
  tm_n_ary_node *h = child(1, 0, 5);
  adopt(root, {h});
  EXPECT_EQ(share(5), TM_EFAULT);
  EXPECT_TRUE(was_logged(walk + "ERROR: Child limit (5) exceeds the root limit (5)"));
}

TEST_F(tcamv6_headroom_test, cost_beyond_the_limit_warns_and_takes_the_branching_away) {
  tm_n_ary_node *h = child(3, 1, 8);
  adopt(root, {h});
  only_error();
  ASSERT_EQ(share(10), TM_OK);
  EXPECT_EQ(limit_of(h), 8);
  EXPECT_FALSE(uses_pcmpr(root));
  EXPECT_EQ(plain_log_lines(),
            std::vector<std::string>{walk + "WARNING: Path length from the root to a child (3) plus its bit cost (8) "
                                            "exceeds the root limit (10)"});
}

TEST_F(tcamv6_headroom_test, both_warnings_print_in_their_order) {
  tm_n_ary_node *h = child(3, 9, 8);
  adopt(root, {h});
  only_error();
  ASSERT_EQ(share(10), TM_OK);
  const std::vector<std::string> lines = plain_log_lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("to its furthest leaf (9)"), std::string::npos);
  EXPECT_NE(lines[1].find("plus its bit cost (8)"), std::string::npos);
}

TEST_F(tcamv6_headroom_test, cost_wins_where_the_share_is_smaller) {
  tm_n_ary_node *h = child(3, 0, 16);
  adopt(root, {h});
  ASSERT_EQ(share(20), TM_OK);
  EXPECT_EQ(limit_of(h), 16) << "17 - 17 / 2 is 9";
  EXPECT_TRUE(uses_pcmpr(root));
}

TEST_F(tcamv6_headroom_test, branch_of_128_edges_or_more_reads_as_negative) {
  tm_n_ary_node *h = child(3, 200, 4);  // L = -56: 3 - 56 is a huge unsigned sum
  adopt(root, {h});
  ASSERT_EQ(share(64), TM_OK);
  EXPECT_EQ(limit_of(h), 4);
  EXPECT_FALSE(uses_pcmpr(root));
}

TEST_F(tcamv6_headroom_test, one_child_that_fails_the_tests_is_enough_to_lose_the_branching) {
  tm_n_ary_node *deep = child(3, 9, 2);
  tm_n_ary_node *full = full_length_child(0);
  adopt(root, {full, deep});
  ASSERT_EQ(share(10), TM_OK);
  EXPECT_FALSE(uses_pcmpr(root));
}

TEST_F(tcamv6_headroom_test, limits_are_handed_down) {
  tm_n_ary_node *below = child(5, 2, 1);
  tm_util_trie_node *node = pcmpr;
  for (int i = 0; i < 3; ++i) {
    node = tm_trie_child(node, 0);
  }
  edges_of(node)->longest = 5;
  tm_n_ary_node *h = anc_of("::/3", 4, node);
  adopt(root, {h});
  adopt(h, {below});
  ASSERT_EQ(share(20), TM_OK);
  EXPECT_EQ(limit_of(h), 16);
  EXPECT_EQ(limit_of(below), 11) << "14 - 12 / 4";
}

TEST_F(tcamv6_headroom_test, failure_stops_the_walk_and_limits_written_before_stay) {
  tm_n_ary_node *h = child(1, 0, 6);
  tm_n_ary_node *dummy = new_anc(1, true);
  tcamv6_anc_set_lim(data_of(dummy), 9);
  adopt(root, {h, dummy});
  EXPECT_EQ(share(5), TM_EFAULT);
  EXPECT_EQ(limit_of(root), 5);
  EXPECT_EQ(limit_of(dummy), 9) << "not reached";
}

TEST_F(tcamv6_headroom_test, prefix_without_a_node_in_the_path_compressed_trie_is_minus_22) {
  tm_n_ary_node *h = anc_of("ffff::/16", 0, nullptr);
  adopt(root, {h});
  tcamv6_debug_flags = {0, 0, 1, 0, 0, 0};
  EXPECT_EQ(share(20), TM_EINVAL);
  EXPECT_TRUE(was_logged(walk + "pcmpr_len() failed -22"));
}

TEST_F(tcamv6_headroom_test, trace_of_a_dummy_child) {
  adopt(root, {new_anc(1, true)});
  only_trace();
  ASSERT_EQ(share(20), TM_OK);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   walk + "Starting ancestor root <ptr> root_data <ptr> (cost:6,ht:2,lim:0)",
                                   walk + "root <ptr> child <ptr> child_data <ptr> is_dummy=TRUE "
                                          "root(cost:6,ht:2,lim:20) child(cost:0,ht:0)",
                                   walk + "Complete 0",
                               }));
}

TEST_F(tcamv6_headroom_test, trace_closes_every_level_with_its_result) {
  adopt(root, {child(1, 0, 6)});
  only_trace();
  ASSERT_EQ(share(5), TM_EFAULT);
  EXPECT_EQ(plain_log_lines().back(), walk + "Complete -14");
  EXPECT_NE(plain_log_lines()[1].find("is_dummy=FALSE"), std::string::npos);
}

TEST_F(tcamv6_headroom_test, missing_nodes_and_records_are_fatal) {
  EXPECT_FATAL(tcamv6_opt_tree_for_updates(state, nullptr, 20), "\n" + walk + "anc_tree_root is NULL");
  tm_n_ary_node bare = {};
  EXPECT_FATAL(tcamv6_opt_tree_for_updates(state, &bare, 20), "\n" + walk + "root_data is NULL");
  tm_n_ary_node *h = child(1, 0, 1);
  adopt(root, {h});
  const tm_chunk_idx orig = data_of(h)->orig;
  data_of(h)->orig = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(share(20), "\ntcamv6_opt_tree_for_updates child_anc NULL");
  data_of(h)->orig = orig;
  data_of(root)->orig = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(share(20), "\ntcamv6_opt_tree_for_updates root_anc NULL");
  data_of(root)->orig = tm_idx(trie);
  const tm_chunk_idx data = h->data;
  h->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(share(20), "\n" + walk + "child_data is NULL");
  h->data = data;
}
