// SPDX-License-Identifier: Apache-2.0
// The containment tree: who is whose parent, dummies, heights, the made-up root.
#include "tcamv6_fixture.h"

namespace {

class tcamv6_anc_tree_test : public tcamv6_test {
 protected:
  // Build the tree of prefixes tagged 1, 2, ... in this order.
  int32_t build(const std::vector<std::string> &texts) {
    trie = new_trie(texts);
    return tcamv6_gen_anc_tree(trie, &root);
  }

  // The tree as text: "tag(children)", a dummy as "d<tag>".
  static std::string shape(const tm_n_ary_node *node) {
    const tcamv6_anc_data *data = data_of(node);
    std::string text = (tcamv6_anc_is_dummy(data) ? "d" : "") + std::to_string(tcamv6_anc_tag(data));
    std::string below;
    for (const tm_n_ary_node *child : children_of(node)) {
      below += (below.empty() ? "" : " ") + shape(child);
    }
    return below.empty() ? text : text + "(" + below + ")";
  }
  std::string shape() const { return shape(tcamv6_anc_node(root)); }

  const tm_n_ary_node *node_of(const std::string &text) const {
    const tm_util_trie_node *node = find(trie, text);
    return tcamv6_anc_node(tm_ptr<tcamv6_orig_data>(node->data)->anc_node_idx);
  }
  int height_of(const std::string &text) const { return data_of(node_of(text))->ht; }

  void TearDown() override {
    state->orig_root = tm_idx(trie);
    state->anc_root = root;
    tcamv6_test::TearDown();
  }

  tm_util_trie_node *trie = nullptr;
  tm_chunk_idx root = TM_CHUNK_IDX_NULL;
};

}  // namespace

TEST_F(tcamv6_anc_tree_test, default_present_makes_it_the_root) {
  EXPECT_EQ(build({"::/0", "2001:db8::/32"}), 1);
  EXPECT_EQ(shape(), "1(2 d1)");
  EXPECT_EQ(data_of(tcamv6_anc_node(root))->orig, tm_idx(trie));
}

TEST_F(tcamv6_anc_tree_test, table_without_default_gets_a_made_up_root_with_the_next_tag_and_no_dummy) {
  tags_so_far = 40;
  EXPECT_EQ(build({"2001:db8::/32", "fe80::/10"}), 0);
  EXPECT_EQ(tags_so_far, 41u);
  EXPECT_EQ(shape(), "41(2 1)");
  const tcamv6_anc_data *data = data_of(tcamv6_anc_node(root));
  EXPECT_EQ(data->orig, tm_idx(trie));
  EXPECT_EQ(data->dummy, TM_CHUNK_IDX_NULL);
  EXPECT_FALSE(tcamv6_anc_is_dummy(data));
  EXPECT_TRUE(tcamv6_anc_is_created(data));
  EXPECT_EQ(trie->data, TM_CHUNK_IDX_NULL) << "no orig data either";
  tags_so_far = 0;
}

TEST_F(tcamv6_anc_tree_test, prefix_with_nothing_below_has_no_dummy_and_height_0) {
  ASSERT_EQ(build({"::/0", "2001:db8::/32"}), 1);
  const tm_n_ary_node *leaf = node_of("2001:db8::/32");
  EXPECT_EQ(data_of(leaf)->dummy, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(leaf->child, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(data_of(leaf)->ht, 0);
}

TEST_F(tcamv6_anc_tree_test, prefix_with_one_longer_prefix_below_has_a_dummy_and_height_1) {
  ASSERT_EQ(build({"::/0", "2001:db8::/32", "2001:db8::/48"}), 2);
  const tm_n_ary_node *node = node_of("2001:db8::/32");
  EXPECT_EQ(shape(node), "2(3 d2)");
  EXPECT_EQ(data_of(node)->ht, 1);
  const std::vector<tm_n_ary_node *> children = children_of(node);
  EXPECT_EQ(data_of(node)->dummy, tm_idx(children[1]));
  const tcamv6_anc_data *dummy = data_of(children[1]);
  EXPECT_TRUE(tcamv6_anc_is_dummy(dummy));
  EXPECT_TRUE(tcamv6_anc_is_created(dummy));
  EXPECT_EQ(dummy->orig, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(dummy->dummy, TM_CHUNK_IDX_NULL);
}

TEST_F(tcamv6_anc_tree_test, children_stand_in_the_reverse_of_the_walks_order_with_the_dummy_last) {
  ASSERT_EQ(build({"::/0", "1000::/4", "3000::/4", "7000::/4", "f000::/4"}), 1);
  EXPECT_EQ(shape(), "1(5 4 3 2 d1)");
}

TEST_F(tcamv6_anc_tree_test, trie_nodes_without_prefix_are_transparent) {
  EXPECT_EQ(build({"::/0", "2000::/3", "2001:db8::/32", "2001:db8:1::/48", "3000::/4"}), 3);
  EXPECT_EQ(shape(), "1(2(5 3(4 d3) d2) d1)");
  EXPECT_EQ(height_of("::/0"), 3);
  EXPECT_EQ(height_of("2000::/3"), 2);
  EXPECT_EQ(height_of("2001:db8::/32"), 1);
  EXPECT_EQ(height_of("2001:db8:1::/48"), 0);
  EXPECT_EQ(height_of("3000::/4"), 0);
}

TEST_F(tcamv6_anc_tree_test, height_of_128_nested_prefixes_is_the_number_of_those_below) {
  std::vector<std::string> texts = {"::/0"};
  for (int length = 1; length <= 128; ++length) {
    texts.push_back("::/" + std::to_string(length));
  }
  EXPECT_EQ(build(texts), 128);
  EXPECT_EQ(height_of("::/28"), 100);
}

TEST_F(tcamv6_anc_tree_test, new_node_has_cleared_fields_and_its_two_marks) {
  for (const bool is_dummy : {false, true}) {
    tm_n_ary_node *node = nullptr;
    ASSERT_EQ(tcamv6_anc_tree_node_new(is_dummy, &node), TM_OK);
    const tcamv6_anc_data *data = data_of(node);
    EXPECT_EQ(node->sibling | node->child | data->dummy | data->handle | data->orig | data->cmpr_node, 0u);
    EXPECT_EQ(data->cost | data->ht | tcamv6_anc_lim(data) | static_cast<int>(tcamv6_anc_tag(data)), 0);
    EXPECT_EQ(tcamv6_anc_is_dummy(data), is_dummy);
    EXPECT_TRUE(tcamv6_anc_is_created(data));
    EXPECT_FALSE(tcamv6_anc_uses_pcmpr(data));
    tm_n_ary_tree_freenode(node, 1, TM_V6_ANC_DATA);
  }
}

TEST_F(tcamv6_anc_tree_test, limit_has_9_bits_beside_its_flags) {
  tcamv6_anc_data data = {};
  data.bits = 0xF000 | TCAMV6_ANC_IS_DUMMY;
  tcamv6_anc_set_lim(&data, 511);
  EXPECT_EQ(tcamv6_anc_lim(&data), 511);
  tcamv6_anc_set_lim(&data, 512 + 3);
  EXPECT_EQ(tcamv6_anc_lim(&data), 3);
  tcamv6_anc_set_uses_pcmpr(&data, true);
  EXPECT_TRUE(tcamv6_anc_uses_pcmpr(&data));
  EXPECT_EQ(data.bits, 0xF000 | TCAMV6_ANC_IS_DUMMY | TCAMV6_ANC_USE_PCMPR | 3);
  tcamv6_anc_set_uses_pcmpr(&data, false);
  EXPECT_EQ(data.bits, 0xF000 | TCAMV6_ANC_IS_DUMMY | 3);
}

TEST_F(tcamv6_anc_tree_test, every_prefix_is_found_from_its_trie_node_and_back) {
  const std::vector<std::string> texts = {"::/0", "2000::/3", "2001:db8::/32", "2001:db8:1::/48", "fe80::1/128"};
  ASSERT_EQ(build(texts), 3);
  for (const std::string &text : texts) {
    tcamv6_anc_data *data = nullptr;
    ASSERT_EQ(tcamv6_anc_data_of_prefix(find(trie, text), "test", &data), TM_OK);
    EXPECT_EQ(data->orig, tm_idx(find(trie, text))) << text;
    EXPECT_EQ(tcamv6_anc_tag(data), find(trie, text)->tag) << text;
  }
}

TEST_F(tcamv6_anc_tree_test, empty_trie_gives_0_and_leaves_the_root_null) {
  EXPECT_EQ(tcamv6_gen_anc_tree(nullptr, &root), 0);
  EXPECT_EQ(root, TM_CHUNK_IDX_NULL);
}

TEST_F(tcamv6_anc_tree_test, null_parent_address_is_refused_under_the_info_word) {
  trie = new_trie({"::/0"});
  only_info();
  EXPECT_EQ(tcamv6_gen_anc_tree(trie, nullptr), TM_EINVAL);
  EXPECT_EQ(tcamv6_gen_anc_tree(nullptr, nullptr), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>(2, "tcamv6_gen_anc_tree: Bad arguments")));
  test_host::clear_log();
  only_error();
  tcamv6_gen_anc_tree(trie, nullptr);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tcamv6_anc_tree_test, trace_names_dummies_and_roots) {
  only_trace();
  ASSERT_EQ(build({"::/0", "2001:db8::/32"}), 1);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{"tcamv6_gen_anc_tree: Parent <ptr> Dummy <ptr>",
                                                         "tcamv6_gen_anc_tree: Assign *anc_tree_root <ptr>"}));
  test_host::clear_log();
  tm_util_trie_node *other = new_trie({"2001:db8::/32"});
  tm_chunk_idx other_root = TM_CHUNK_IDX_NULL;
  ASSERT_EQ(tcamv6_gen_anc_tree(other, &other_root), 0);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_gen_anc_tree: /0 is not present"});
}

TEST_F(tcamv6_anc_tree_test, refused_element_is_minus_12_and_reported_by_pool) {
  const struct {
    const char *pool;
    std::vector<std::string> lines;
  } cases[] = {
      {"TM_V6_ANC_TREE",
       {"tcamv6_anc_tree_node_new: malloc(24 bytes) failed", "tcamv6_gen_anc_tree: anc_tree_node_new() failed -12"}},
      {"TM_V6_ANC_DATA",
       {"tcamv6_anc_tree_node_new: malloc(48 bytes) failed", "tcamv6_gen_anc_tree: anc_tree_node_new() failed -12"}},
      {"TM_V6_ORIG_DATA", {"tcamv6_gen_anc_tree: malloc(8 bytes) failed"}},
  };
  for (const auto &one : cases) {
    tm_util_trie_node *broken = new_trie({"::/0", "2001:db8::/32"});
    tm_chunk_idx broken_root = TM_CHUNK_IDX_NULL;
    for (const bool gate : {true, false}) {
      test_host::clear_log();
      gate ? only_info() : only_error();
      test_host::fail_pool_element(1, one.pool);
      EXPECT_EQ(tcamv6_gen_anc_tree(broken, &broken_root), TM_ENOMEM) << one.pool;
      EXPECT_EQ(plain_log_lines(), gate ? one.lines : std::vector<std::string>{}) << one.pool;
    }
  }
}

TEST_F(tcamv6_anc_tree_test, made_up_root_that_cannot_be_had_is_minus_12) {
  only_info();
  trie = new_trie({"2001:db8::/32"});
  test_host::fail_pool_element(1, "TM_V6_ANC_DATA");
  EXPECT_EQ(tcamv6_gen_anc_tree(trie, &root), TM_ENOMEM);
  EXPECT_EQ(root, TM_CHUNK_IDX_NULL);
  EXPECT_TRUE(was_logged("tcamv6_gen_anc_tree: anc_tree_node_new() failed -12"));
}

TEST_F(tcamv6_anc_tree_test, what_was_built_before_a_refusal_stays) {
  trie = new_trie({"::/0", "2001:db8::/32"});
  test_host::fail_pool_element(3, "TM_V6_ANC_TREE");  // the root, its dummy, then the /32
  EXPECT_EQ(tcamv6_gen_anc_tree(trie, &root), TM_ENOMEM);
  EXPECT_EQ(shape(), "1(d1)");
}

TEST_F(tcamv6_anc_tree_test, broken_links_of_a_stored_prefix_are_fatal_or_minus_14) {
  ASSERT_EQ(build({"::/0", "2001:db8::/32"}), 1);
  tm_util_trie_node *node = find(trie, "2001:db8::/32");
  auto *orig = tm_ptr<tcamv6_orig_data>(node->data);
  tcamv6_anc_data *data = nullptr;
  tm_n_ary_node *anc = tcamv6_anc_node(orig->anc_node_idx);
  const tm_chunk_idx anc_data = anc->data;
  anc->data = TM_CHUNK_IDX_NULL;
  only_info();
  EXPECT_EQ(tcamv6_anc_data_of_prefix(node, "f", &data), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"f: Error - Original prefix points to NULL anc_data"});
  anc->data = anc_data;
  orig->anc_node_idx = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(tcamv6_anc_data_of_prefix(node, "f", &data), "\nf: trie_data->anc_node_idx is TM_CHUNK_IDX_NULL");
  orig->anc_node_idx = tm_idx(anc);
  const tm_chunk_idx orig_data = node->data;
  node->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(tcamv6_anc_data_of_prefix(node, "f", &data), "\nf: trie_data is NULL");
  node->data = orig_data;
}

TEST_F(tcamv6_anc_tree_test, address_is_the_dummys_where_there_is_one) {
  ASSERT_EQ(build({"::/0", "2001:db8::/32"}), 1);
  tcamv6_anc_data *owner = data_of(tcamv6_anc_node(root));
  tcamv6_anc_data *leaf = data_of(node_of("2001:db8::/32"));
  tm_n_ary_node *dummy = tcamv6_anc_node(owner->dummy);
  EXPECT_EQ(tcamv6_address_data(owner, "f"), data_of(dummy));
  EXPECT_EQ(tcamv6_address_data(leaf, "f"), leaf);
  const tm_chunk_idx data = dummy->data;
  dummy->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(tcamv6_address_data(owner, "f"), "\nf: anc_node_data is NULL");
  dummy->data = data;
}
