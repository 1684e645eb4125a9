// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_cmpr_path.h"

#include "incr_fixture.h"
#include "tm_journal.h"

namespace {

// A compressed trie of its own, and ancestor-tree data that own nodes of it.
class tcamv6_cmpr_path_test : public incr_test {
 protected:
  void SetUp() override {
    incr_test::SetUp();
    root = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    tm_util_trie_node_initialize(root, nullptr, 0);
  }

  void TearDown() override {
    tm_util_trie_free(root, 1, TM_V6_ORIG_DATA);
    incr_test::TearDown();
  }

  tm_util_trie_node *make(const std::string &bits) {
    uint8_t key[16] = {};
    for (size_t i = 0; i < bits.size(); ++i) {
      key[i / 8] = static_cast<uint8_t>(key[i / 8] | ((bits[i] == '1' ? 0x80 : 0) >> (i % 8)));
    }
    return tm_util_trie_insert(root, key, static_cast<int32_t>(bits.size()));
  }

  tm_util_trie_node *at(const std::string &bits) const {
    tm_util_trie_node *node = root;
    for (size_t i = 0; node != nullptr && i < bits.size(); ++i) {
      node = tm_trie_child(node, bits[i] == '1');
    }
    return node;
  }

  static size_t nodes_out() { return test_host::pool_used("TM_V6_TRIE_NODE"); }

  tm_util_trie_node *root = nullptr;
  tcamv6_anc_data first = {};
  tcamv6_anc_data second = {};
};

}  // namespace

TEST_F(tcamv6_cmpr_path_test, node_is_owned_as_often_as_it_is_named) {
  tm_util_trie_node *node = make("0101");
  tcamv6_own_cmpr_node(&first, node);
  tcamv6_own_cmpr_node(&second, node);
  EXPECT_EQ(node->owners, 2u);
  EXPECT_EQ(tcamv6_cmpr_node(&first), node);
  tcamv6_disown_cmpr_node(&first);
  EXPECT_EQ(node->owners, 1u);
  EXPECT_EQ(tcamv6_cmpr_node(&first), node) << "the link stays";
  tcamv6_disown_cmpr_node(&second);
  EXPECT_EQ(node->owners, 0u);
}

TEST_F(tcamv6_cmpr_path_test, grown_path_is_tagged_at_its_end_and_told_whole) {
  tm_trie_grown path;
  tm_util_trie_node *end = tcamv6_grow_cmpr_path(root, 5, TCAMV6_TAG_DUMMY_PATH, &path);
  EXPECT_EQ(end, at("00000"));
  EXPECT_EQ(end->tag, 2u);
  EXPECT_EQ(at("0000")->tag, 0u);
  EXPECT_EQ(path.top, at("0"));
  EXPECT_EQ(path.end, end);
}

TEST_F(tcamv6_cmpr_path_test, path_that_runs_out_of_elements_is_told_as_far_as_it_came) {
  tm_trie_grown path;
  test_host::fail_pool_element(4);
  EXPECT_EQ(tcamv6_grow_cmpr_path(root, 5, TCAMV6_TAG_PREFIX_PATH, &path), nullptr);
  EXPECT_EQ(path.top, at("0"));
  EXPECT_EQ(path.end, at("000"));
  EXPECT_EQ(path.end->tag, 0u);
  EXPECT_EQ(tcamv6_grow_cmpr_path(root, 0, TCAMV6_TAG_PREFIX_PATH, &path), nullptr);
  EXPECT_EQ(path.top, nullptr);
}

TEST_F(tcamv6_cmpr_path_test, release_ends_below_the_deepest_branching_node) {
  make("0100");
  tm_util_trie_node *node = make("01011");
  EXPECT_EQ(tcamv6_release_cmpr_path(root, node), 0);
  EXPECT_EQ(at("0101"), nullptr);
  EXPECT_NE(at("0100"), nullptr);
}

TEST_F(tcamv6_cmpr_path_test, release_ends_below_the_deepest_tagged_node) {
  make("01")->tag = 1;
  EXPECT_EQ(tcamv6_release_cmpr_path(root, make("01011")), 0);
  EXPECT_NE(at("01"), nullptr);
  EXPECT_EQ(at("010"), nullptr);
}

TEST_F(tcamv6_cmpr_path_test, release_from_a_tagged_node_above_is_the_same_as_from_the_root) {
  for (const char *deeper : {"01", "0101", "010111"}) {
    tm_util_trie_node *near = make("01");
    near->tag = 1;
    tcamv6_own_cmpr_node(&first, make(deeper));
    EXPECT_EQ(tcamv6_release_cmpr_path(near, make("0101101")), 0);
    EXPECT_EQ(nodes_out(), 1 + std::string(deeper).size()) << "below " << deeper;
    tcamv6_disown_cmpr_node(&first);
    near->tag = 0;
    EXPECT_EQ(tcamv6_release_cmpr_path(root, near), 0);
    EXPECT_EQ(nodes_out(), 1u);
  }
}

TEST_F(tcamv6_cmpr_path_test, release_ends_below_the_deepest_owned_node_tagged_or_not) {
  tcamv6_own_cmpr_node(&first, make("01"));
  EXPECT_EQ(tcamv6_release_cmpr_path(root, make("01011")), 0);
  EXPECT_NE(at("01"), nullptr);
  EXPECT_EQ(at("010"), nullptr);
}

TEST_F(tcamv6_cmpr_path_test, release_without_any_end_above_goes_up_to_the_root) {
  EXPECT_EQ(tcamv6_release_cmpr_path(root, make("01011")), 0);
  EXPECT_TRUE(tm_trie_is_leaf(root));
  EXPECT_EQ(nodes_out(), 1u);
}

TEST_F(tcamv6_cmpr_path_test, owned_node_itself_is_not_released) {
  tm_util_trie_node *node = make("01011");
  tcamv6_own_cmpr_node(&first, node);
  EXPECT_EQ(tcamv6_release_cmpr_path(root, node), -17);
  EXPECT_EQ(at("01011"), node);
}

TEST_F(tcamv6_cmpr_path_test, path_above_an_owned_node_is_not_released) {
  tm_util_trie_node *node = make("010");
  tcamv6_own_cmpr_node(&first, make("01011"));
  make("0100");
  const size_t out = nodes_out();
  EXPECT_EQ(tcamv6_release_cmpr_path(root, node), -17);
  EXPECT_EQ(nodes_out(), out) << "all of it or nothing";
}

TEST_F(tcamv6_cmpr_path_test, all_that_hangs_below_the_cut_goes_with_its_data) {
  tm_util_trie_node *node = make("010");
  make("0100");
  make("01011");
  make("01010")->data = tm_idx(tm_chunk_malloc(TM_V6_ORIG_DATA));
  EXPECT_EQ(tcamv6_release_cmpr_path(root, node), 0);
  EXPECT_EQ(nodes_out(), 1u);
  EXPECT_EQ(test_host::pool_used("TM_V6_ORIG_DATA"), 0u);
}

TEST_F(tcamv6_cmpr_path_test, release_without_memory_for_its_journal_leaves_the_path) {
  for (int i = 0; i < 300; ++i) {
    std::string bits = "1";
    for (int bit = 8; bit >= 0; --bit) {
      bits += (i >> bit & 1) != 0 ? '1' : '0';
    }
    make(bits);
  }
  tm_util_trie_node *node = make("1");
  ASSERT_EQ(tm_journal_open("test"), 0);
  const size_t out = nodes_out();
  test_host::fail_all_heap_allocations(true);
  EXPECT_EQ(tcamv6_release_cmpr_path(root, node), -12);
  test_host::fail_all_heap_allocations(false);
  EXPECT_EQ(at("1"), node);
  EXPECT_EQ(tcamv6_release_cmpr_path(root, node), 0);
  EXPECT_EQ(nodes_out(), out) << "before the end of the batch nothing is given back";
  tm_journal_commit(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 1u);
}
