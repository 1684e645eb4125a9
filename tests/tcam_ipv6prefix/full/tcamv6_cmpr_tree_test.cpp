// SPDX-License-Identifier: Apache-2.0
// Costing and building the compressed trie.
#include "tcamv6_cmpr_tree.h"

#include <functional>

#include "tcamv6_fixture.h"
#include "tcamv6_headroom.h"
#include "tcamv6_pcmpr_walk.h"
#include "tm_key.h"
#include "tm_pcmpr_trie.h"

namespace {

const std::string driver = "tcamv6_compress_prefix_tree: ";

class tcamv6_cmpr_tree_test : public tcamv6_test {
 protected:
  void load(const std::vector<std::string> &texts) {
    trie = new_trie(texts);
    uint8_t key[16] = {};
    ASSERT_EQ(tm_util_trie_make_printable(trie, key, 0, 128), TM_OK);
    state->orig_root = tm_idx(trie);
  }

  int32_t pass(int32_t cost_only) { return tcamv6_compress_prefix_tree(state, trie, &cmpr_root, &anc_root, cost_only); }

  static std::string code(const tm_util_trie_node *top, const tm_util_trie_node *end) {
    if (top == nullptr || top == end) {
      return top == nullptr ? "?" : "";
    }
    for (uint32_t bit = 0; bit < 2; ++bit) {
      const std::string rest = code(tm_trie_child(top, bit), end);
      if (rest != "?") {
        return std::to_string(bit) + rest;
      }
    }
    return "?";
  }

  std::string code_of(const tm_n_ary_node *node) const { return code(cmpr_root, tcamv6_cmpr_node(data_of(node))); }

  void TearDown() override {
    state->cmpr_root = tm_idx(cmpr_root);
    tcamv6_test::TearDown();
  }

  tm_util_trie_node *trie = nullptr;
  tm_util_trie_node *cmpr_root = nullptr;
  tm_n_ary_node *anc_root = nullptr;
};

}  // namespace

TEST_F(tcamv6_cmpr_tree_test, default_alone_needs_0_bits_and_its_node_is_the_compressed_root) {
  load({"::/0"});
  EXPECT_EQ(pass(1), 0);
  EXPECT_EQ(cmpr_root, nullptr);
  ASSERT_EQ(pass(0), 0);
  ASSERT_NE(cmpr_root, nullptr);
  EXPECT_EQ(cmpr_root, tcamv6_cmpr_node(data_of(anc_root)));
  EXPECT_TRUE(tm_trie_is_leaf(cmpr_root));
  EXPECT_EQ(cmpr_root->tag, 1u);
}

TEST_F(tcamv6_cmpr_tree_test, default_and_one_prefix_below_need_1_bit) {
  load({"::/0", "2001:db8:1:2::/64"});
  EXPECT_EQ(pass(1), 1);
  ASSERT_EQ(pass(0), 1);
  const std::vector<tm_n_ary_node *> children = children_of(anc_root);
  ASSERT_EQ(children.size(), 2u);
  EXPECT_EQ(data_of(children[0])->cost, 0);
  EXPECT_EQ(data_of(children[1])->cost, 0);
  EXPECT_EQ(code_of(children[0]).size(), 1u);
  EXPECT_EQ(code_of(children[1]).size(), 1u);
  EXPECT_NE(code_of(children[0]), code_of(children[1]));
}

TEST_F(tcamv6_cmpr_tree_test, each_nested_prefix_needs_one_bit_more) {
  for (const int n : {2, 3, 10, 63}) {
    std::vector<std::string> texts = {"::/0"};
    for (int i = 1; i < n; ++i) {
      texts.push_back("::/" + std::to_string(2 * i));
    }
    load(texts);
    EXPECT_EQ(pass(1), n - 1) << n;
    ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
    state = new_state();
  }
}

TEST_F(tcamv6_cmpr_tree_test, cost_only_builds_the_trees_once_and_no_compressed_node) {
  load({"::/0", "2001:db8::/32", "2001:db8::/48"});
  const uint32_t nodes = allocated(TM_V6_TRIE_NODE);
  ASSERT_EQ(pass(1), 2);
  EXPECT_EQ(state->trees_built, 1);
  EXPECT_EQ(state->anc_root, tm_idx(anc_root));
  EXPECT_EQ(allocated(TM_V6_TRIE_NODE) - nodes, allocated(TM_V6_PCMPR_DATA)) << "the path-compressed trie alone";
  EXPECT_EQ(tcamv6_cmpr_node(data_of(anc_root)), nullptr);
}

TEST_F(tcamv6_cmpr_tree_test, second_call_keeps_the_ancestor_tree_and_makes_all_compressed_nodes) {
  load({"::/0", "2001:db8::/32", "2001:db8::/48"});
  ASSERT_EQ(pass(1), 2);
  tm_n_ary_node *const first_root = anc_root;
  const uint32_t anc_nodes = allocated(TM_V6_ANC_TREE);
  const uint32_t pcmpr_data = allocated(TM_V6_PCMPR_DATA);
  const uint32_t nodes = allocated(TM_V6_TRIE_NODE);
  ASSERT_EQ(pass(0), 2);
  EXPECT_EQ(anc_root, first_root);
  EXPECT_EQ(allocated(TM_V6_ANC_TREE), anc_nodes);
  EXPECT_EQ(allocated(TM_V6_PCMPR_DATA), pcmpr_data);
  EXPECT_EQ(allocated(TM_V6_TRIE_NODE), nodes + anc_nodes) << "no inner code node: no level has three children";
}

TEST_F(tcamv6_cmpr_tree_test, compressed_node_carries_the_tag_of_its_prefix) {
  load({"::/0", "2001:db8::/32", "2001:db8::/48"});
  ASSERT_EQ(pass(0), 2);
  for (const tm_n_ary_node *child : children_of(anc_root)) {
    EXPECT_EQ(tcamv6_cmpr_node(data_of(child))->tag, tcamv6_anc_tag(data_of(child)));
  }
}

TEST_F(tcamv6_cmpr_tree_test, marked_node_is_coded_by_the_path_compressed_trie_and_its_dummy_gets_a_free_place) {
  load({"::/0", "2001:db8::/32", "2001:db8::/33", "2001:db8:8000::/33", "fe80::/10"});
  ASSERT_EQ(pass(1), 3);
  ASSERT_EQ(tcamv6_opt_tree_for_updates(state, anc_root, 64), TM_OK);
  ASSERT_TRUE(tcamv6_anc_uses_pcmpr(data_of(anc_root)));
  only_info();
  ASSERT_EQ(pass(0), 3) << "the cost stays that of the tight code";
  const std::vector<tm_n_ary_node *> children = children_of(anc_root);
  ASSERT_EQ(children.size(), 3u);
  EXPECT_EQ(code_of(children[0])[0], '1') << "fe80::/10";
  EXPECT_EQ(code_of(children[1])[0], '0') << "2001:db8::/32";
  const tcamv6_anc_data *dummy = data_of(children[2]);
  ASSERT_TRUE(tcamv6_anc_is_dummy(dummy));
  EXPECT_EQ(tcamv6_cmpr_node(dummy)->tag, 2u) << "the mark of a dummy's path";
  EXPECT_NE(code_of(children[2]), "?");
  EXPECT_TRUE(was_logged("tcamv6_gen_pcmpr_subtrie: Add extend path of 64 nodes for dummy. root 64 child 0"));
  EXPECT_TRUE(was_logged("tcamv6_gen_pcmpr_subtrie: Add extend path of 1 nodes for root idx <ptr> child idx 0x<ptr>"));
}

TEST_F(tcamv6_cmpr_tree_test, children_are_visited_with_the_ways_that_getpath_finds) {
  load({"::/0", "8000::/1", "2001:db8::/32", "2001:db8::/33", "2001:db8::/34", "2001:db8:8000::/33", "2001:db8::/128",
        "2001:db8::1/128", "fe80::/10", "fe80::/12", "fe90::/12"});
  ASSERT_EQ(pass(1), 5);
  tm_util_trie_node *root = tm_trie_node(state->pcmpr_root);
  size_t prefixes = 0;
  size_t dummies = 0;
  const std::function<void(const tm_n_ary_node *)> check_below = [&](const tm_n_ary_node *parent) {
    const tm_util_trie_node *parent_orig = tm_trie_node(data_of(parent)->orig);
    std::vector<tm_n_ary_node *> visited;
    const auto visit = [&](tm_n_ary_node *child, const tcamv6_pcmpr_place *place) {
      visited.push_back(child);
      if (tcamv6_anc_is_dummy(data_of(child))) {
        EXPECT_EQ(place, nullptr);
        ++dummies;
        return TM_OK;
      }
      const tm_util_trie_node *orig = tm_trie_node(data_of(child)->orig);
      uint8_t bits[TM_KEY_BYTES] = {};
      int32_t n = 0;
      EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, parent_orig->key, parent_orig->len, orig->key, orig->len, bits, &n),
                TM_OK);
      EXPECT_NE(place, nullptr);
      if (place != nullptr) {
        uint8_t way[TM_KEY_BYTES];
        tm_key_store(way, place->way);
        EXPECT_EQ(place->node, tcamv6_pcmpr_node_of(root, data_of(child)));
        EXPECT_EQ(place->edges, n);
        EXPECT_EQ(key_bits(way, TM_KEY_BITS), key_bits(bits, TM_KEY_BITS));
      }
      ++prefixes;
      check_below(child);
      return TM_OK;
    };
    EXPECT_EQ(tcamv6_visit_children(tcamv6_pcmpr_node_of(root, data_of(parent)), parent, visit), TM_OK);
    EXPECT_EQ(visited, children_of(parent)) << "in the order of the chain";
  };
  check_below(anc_root);
  EXPECT_EQ(prefixes, 10u);
  EXPECT_EQ(dummies, 6u) << "of ::/0, 8000::/1, fe80::/10 and the first three that begin with 2001:db8::";
}

TEST_F(tcamv6_cmpr_tree_test, visit_goes_on_where_trees_disagree_and_ends_where_it_is_told_to) {
  load({"::/0", "2001:db8::/32", "fe80::/10"});
  ASSERT_GE(pass(1), 0);
  tm_util_trie_node *root = tm_trie_node(state->pcmpr_root);
  const std::vector<tm_n_ary_node *> children = children_of(anc_root);
  ASSERT_EQ(children.size(), 3u);
  std::string places;
  const auto note = [&](const tm_n_ary_node *, const tcamv6_pcmpr_place *place) {
    places += place == nullptr ? '-' : '+';
    return TM_OK;
  };
  EXPECT_EQ(tcamv6_visit_children(root, anc_root, note), TM_OK);
  EXPECT_EQ(places, "++-");
  places.clear();
  EXPECT_EQ(tcamv6_visit_children(nullptr, anc_root, note), TM_OK);
  EXPECT_EQ(places, "---") << "no trie to walk in step with";
  tcamv6_anc_set_tag(data_of(children[0]), 77 << 12);
  places.clear();
  EXPECT_EQ(tcamv6_visit_children(root, anc_root, note), TM_OK);
  EXPECT_EQ(places, "-+-") << "another prefix";
  data_of(children[0])->bits |= TCAMV6_ANC_IS_DUMMY;
  places.clear();
  EXPECT_EQ(tcamv6_visit_children(root, anc_root, note), TM_OK);
  EXPECT_EQ(places, "---") << "a dummy is passed over: the next node is that of a prefix that is not there";
  places.clear();
  const auto stop = [&](const tm_n_ary_node *child, const tcamv6_pcmpr_place *) {
    places += '.';
    return child == children[1] ? TM_EFAULT : TM_OK;
  };
  EXPECT_EQ(tcamv6_visit_children(root, anc_root, stop), TM_EFAULT);
  EXPECT_EQ(places, "..");
}

TEST_F(tcamv6_cmpr_tree_test, empty_trie_is_minus_14) {
  only_info();
  EXPECT_EQ(pass(1), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{driver + "ERROR -- empty anc_tree"});
}

TEST_F(tcamv6_cmpr_tree_test, null_outputs_are_refused) {
  load({"::/0"});
  only_info();
  EXPECT_EQ(tcamv6_compress_prefix_tree(state, trie, nullptr, &anc_root, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_compress_prefix_tree(state, trie, &cmpr_root, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(2, driver + "Bad arguments"));
}

TEST_F(tcamv6_cmpr_tree_test, failed_ancestor_tree_is_reported_with_its_error) {
  load({"::/0", "2001:db8::/32"});
  only_info();
  test_host::fail_pool_element(1, "TM_V6_ANC_TREE");
  EXPECT_EQ(pass(1), TM_ENOMEM);
  EXPECT_EQ(plain_log_lines().back(), driver + "gen_anc_tree() failed -12");
  EXPECT_EQ(state->pcmpr_root, TM_CHUNK_IDX_NULL);
}

TEST_F(tcamv6_cmpr_tree_test, failed_path_compressed_trie_is_reported_and_what_it_took_is_freed) {
  load({"::/0", "2001:db8::/32", "fe80::/10"});
  only_info();
  test_host::fail_pool_element(3, "TM_V6_PCMPR_DATA");
  EXPECT_EQ(pass(1), TM_ENOMEM);
  EXPECT_EQ(plain_log_lines().back(), driver + "trie_pcmpr_gen() failed -12");
  EXPECT_EQ(allocated(TM_V6_PCMPR_DATA), 0u);
  EXPECT_EQ(state->pcmpr_root, TM_CHUNK_IDX_NULL);
}

TEST_F(tcamv6_cmpr_tree_test, list_of_nodes_that_cannot_be_had_is_reported) {
  load({"::/0", "2001:db8::/32"});
  only_info();
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(pass(1), TM_ENOMEM);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{driver + "Failed to build postorder node list -12"});
  EXPECT_EQ(allocated(TM_V6_PCMPR_DATA), 0u);
  EXPECT_EQ(state->pcmpr_root, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(state->trees_built, 1) << "the mark is left as it is";
}

TEST_F(tcamv6_cmpr_tree_test, compressed_node_that_cannot_be_had_is_reported) {
  load({"::/0", "2001:db8::/32"});
  ASSERT_EQ(pass(1), 1);
  only_info();
  test_host::fail_pool_element(1, "TM_V6_TRIE_NODE");
  EXPECT_EQ(pass(0), TM_ENOMEM);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{driver + "malloc(56 bytes) failed"});
  EXPECT_EQ(state->pcmpr_root, TM_CHUNK_IDX_NULL);
}

TEST_F(tcamv6_cmpr_tree_test, failed_code_tree_is_reported) {
  load({"::/0", "2001:db8::/32"});
  only_info();
  test_host::fail_heap_allocation(2);
  EXPECT_EQ(pass(1), TM_ENOMEM);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{"tcamv6_gen_huffman_tree: malloc(32 bytes) failed",
                                                         driver + "failed to generate subtrie -12"}));
}

TEST_F(tcamv6_cmpr_tree_test, dummy_that_finds_no_place_is_minus_12_under_the_error_word_and_traced) {
  load({"::/0", "2001:db8::/32"});
  ASSERT_EQ(pass(1), 1);
  ASSERT_EQ(tcamv6_opt_tree_for_updates(state, anc_root, 64), TM_OK);
  tcamv6_debug_flags = {1, 1, 1, 0, 0, 0};
  test_host::fail_pool_element(4, "TM_V6_TRIE_NODE");  // three nodes of their own come first
  EXPECT_EQ(pass(0), TM_ENOMEM);
  const std::vector<std::string> lines = plain_log_lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[lines.size() - 3],
            "tcamv6_gen_pcmpr_subtrie: Failed to extend path of 64 nodes for dummy. root 64 child 0");
  EXPECT_EQ(lines[lines.size() - 2], "tcamv6_gen_pcmpr_subtrie: Complete -12");
  EXPECT_EQ(lines[lines.size() - 1], driver + "failed to generate subtrie -12");
}

TEST_F(tcamv6_cmpr_tree_test, bits_are_traced_on_success_only) {
  load({"::/0", "2001:db8::/32"});
  only_trace();
  ASSERT_EQ(pass(1), 1);
  EXPECT_EQ(plain_log_lines().front(),
            driver + "Starting state <ptr>, trie_root <ptr>, cmpr_rootp <ptr>, anc_rootp <ptr>, cost_only 1 ");
  EXPECT_EQ(plain_log_lines().back(), driver + "Complete. Bits Required: 1");
  test_host::clear_log();
  test_host::fail_heap_allocation(1);
  ASSERT_EQ(pass(1), TM_ENOMEM);
  EXPECT_EQ(plain_log_lines().size(), 1u) << "Starting alone";
}

TEST_F(tcamv6_cmpr_tree_test, ancestor_node_without_data_is_fatal) {
  load({"::/0", "2001:db8::/32"});
  ASSERT_EQ(pass(1), 1);
  tm_n_ary_node *child = children_of(anc_root)[0];
  const tm_chunk_idx data = child->data;
  child->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(pass(1), "\ntcamv6_compress_prefix_tree: anc_data is NULL");
  child->data = data;
}
