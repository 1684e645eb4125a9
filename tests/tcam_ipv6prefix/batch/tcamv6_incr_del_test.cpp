// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_incr_del.h"

#include <unistd.h>

#include <algorithm>

#include "incr_fixture.h"
#include "tcamv6_siblings.h"

using ::testing::ElementsAre;

namespace {

class tcamv6_incr_del_test : public incr_test {
 protected:
  // The engine's function itself.
  int32_t del(const std::string &text) {
    const tcamv6_prefix record = record_of("-" + text);
    changed = 99;
    remaining = 77;
    return tcamv6_incr_del_prefix(state, &rules, &record, nullptr, &changed, &remaining);
  }

  tcamv6_update_rules rules = {};  // compatible
  int32_t changed = 99;
  uint32_t remaining = 77;
};

constexpr auto info = &tcamv6_debug_flags_t::info;
constexpr auto error = &tcamv6_debug_flags_t::error;
constexpr auto trace = &tcamv6_debug_flags_t::trace;

}  // namespace

TEST_F(tcamv6_incr_del_test, null_prefix_is_refused_without_a_message) {
  compress("2001:db8::/32");
  only({info, error});
  EXPECT_EQ(tcamv6_incr_del_prefix(state, &rules, nullptr, nullptr, &changed, &remaining), -22);
  EXPECT_EQ(changed, 0);
  EXPECT_EQ(remaining, 77u);
  EXPECT_THAT(lines(), ElementsAre());
}

// ---- counting

TEST_F(tcamv6_incr_del_test, prefix_added_twice_stays_after_one_delete_and_goes_with_the_second) {
  compress("2001:db8::/32 2001:db8::/32 2001:db9::/32");
  EXPECT_EQ(del("2001:db8::/32"), 0);
  EXPECT_EQ(remaining, 77u);
  EXPECT_EQ(changed, 0);
  ASSERT_NE(stored("2001:db8::/32"), nullptr);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 1);
  EXPECT_EQ(del("2001:db8::/32"), 0);
  EXPECT_EQ(remaining, 0u);
  EXPECT_EQ(stored("2001:db8::/32"), nullptr);
}

TEST_F(tcamv6_incr_del_test, more_weight_than_stored_is_refused_and_changes_nothing) {
  compress("2001:db8::/32*5@2 2001:db9::/32");
  const std::vector<uint8_t> before = image_of(state);
  only({error});
  EXPECT_EQ(del("2001:db8::/32*6@1"), -22);
  EXPECT_EQ(changed, 0);
  EXPECT_EQ(remaining, 77u);
  EXPECT_EQ(image_of(state), before);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: requested node count 6 is more than existing 5 refs len:32 "
                                   "p_len:32 dummy_ref_ct:2 data:1"));
  EXPECT_EQ(del("2001:db8::/32*4294967295"), -22) << "the comparison is unsigned";
}

TEST_F(tcamv6_incr_del_test, change_is_reported_when_the_anchor_state_flips) {
  compress("2001:db8::/32*5@3");
  EXPECT_EQ(del("2001:db8::/32*2"), 0);
  EXPECT_EQ(changed, 1) << "only anchors hold it now";
  EXPECT_EQ(del("2001:db8::/32*1@1"), 0);
  EXPECT_EQ(changed, 0);
  EXPECT_EQ(del("2001:db8::/32*1"), 0);
  EXPECT_EQ(changed, 1) << "counters of 1 and 2 differ";
}

TEST_F(tcamv6_incr_del_test, default_prefix_is_never_removed_and_its_counter_becomes_1) {
  compress("2001:db8::/32");
  EXPECT_EQ(del("::/0"), 0);
  EXPECT_EQ(stored("::/0")->aux1, 1);
  EXPECT_EQ(remaining, 77u);
  ASSERT_EQ(run("+::/0*4").result, 0);
  EXPECT_EQ(del("::/0*2"), 0);
  EXPECT_EQ(stored("::/0")->aux1, 3);
  EXPECT_EQ(del("::/0*3"), 0);
  EXPECT_EQ(stored("::/0")->aux1, 1);
  EXPECT_EQ(state->n_prefs, 2u);
}

TEST_F(tcamv6_incr_del_test, absent_prefix_answers_2) {
  compress("2001:db8::/32");
  only({error});
  EXPECT_EQ(del("2001:db8:1::/48"), -2);
  EXPECT_EQ(del("2001::/16"), -2) << "a bare path node is no prefix";
  EXPECT_EQ(changed, 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: Prefix does not exist",
                                   "tcamv6_incr_del_prefix: Prefix does not exist"));
}

TEST_F(tcamv6_incr_del_test, trie_without_any_prefix_above_answers_14) {
  compress("2001:db8::/32");
  tm_util_trie_node *root = tm_trie_node(state->orig_root);
  const uint32_t tag = root->tag;
  root->tag = 0;
  only({error});
  EXPECT_EQ(del("2001:db9::/32"), -14);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: Lookup on original trie failed for pref len 32"));
  root->tag = tag;
}

// ---- leaves

TEST_F(tcamv6_incr_del_test, deleted_leaf_gives_back_all_that_its_addition_took) {
  compress("2001:db8::/32 2001:db8:1::/48");
  const uint32_t before = allocated();
  const std::vector<uint8_t> image = image_of(state);
  ASSERT_EQ(run("+2001:db8:2::/48").result, 0);
  EXPECT_GT(allocated(), before);
  only({trace});
  ASSERT_EQ(del("2001:db8:2::/48"), 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: Starting statep PTR, prefix PTR, length 48",
                                   "tcamv6_incr_del_prefix: Complete 0"));
  --state->n_prefs;
  --tags_so_far;
  EXPECT_EQ(allocated(), before);
  EXPECT_EQ(image_of(state), image);
}

TEST_F(tcamv6_incr_del_test, deleted_leaf_leaves_its_parents_dummy) {
  compress("2001:db8::/32");
  const uint32_t before = allocated();
  ASSERT_EQ(run("+2001:db8:1::/48 -2001:db8:1::/48").result, 0);
  EXPECT_THAT(children("2001:db8::/32"), ElementsAre("dummy"));
  EXPECT_EQ(allocated(), before + 2 + 32) << "a node, its data, and a path from 32 to 64 bits";
}

TEST_F(tcamv6_incr_del_test, deleted_leaf_takes_the_dummy_of_its_former_longer_prefixes_along) {
  compress("2001:db8::/32 2001:db9::/32");
  const uint32_t before = allocated();
  const std::string kept = code("2001:db9::/32");
  ASSERT_EQ(run("+2001:dba::/32 +2001:dba:1::/48 -2001:dba:1::/48").result, 0);
  ASSERT_THAT(children("2001:dba::/32"), ElementsAre("dummy"));
  ASSERT_EQ(run("-2001:dba::/32").result, 0);
  EXPECT_EQ(allocated(), before);
  EXPECT_EQ(code("2001:db9::/32"), kept);
}

// ---- inner prefixes

TEST_F(tcamv6_incr_del_test, deleted_inner_prefix_hands_its_children_to_its_enclosing_one) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:1:1::/64 2001:db8:1:2::/64 2001:db8:2::/48");
  const std::string codes[] = {code("2001:db8:1:1::/64"), code("2001:db8:1:2::/64"), code("2001:db8:2::/48")};
  const std::string inner = code("2001:db8:1::/48");
  const std::string inner_dummy = dummy_code("2001:db8:1::/48");
  std::vector<std::string> expected;
  for (const std::string &child : children("2001:db8::/32")) {
    if (child != "2001:db8:1::/48") {
      expected.push_back(child);
    }
  }
  for (const std::string &child : children("2001:db8:1::/48")) {
    if (child != "dummy") {
      expected.push_back(child);
    }
  }
  EXPECT_EQ(del("2001:db8:1::/48"), 0);
  EXPECT_EQ(remaining, 0u);
  --state->n_prefs;
  EXPECT_EQ(children("2001:db8::/32"), expected) << "at the end of its list";
  EXPECT_EQ(code("2001:db8:1:1::/64"), codes[0]);
  EXPECT_EQ(code("2001:db8:1:2::/64"), codes[1]);
  EXPECT_EQ(code("2001:db8:2::/48"), codes[2]);
  EXPECT_EQ(cmpr_at(inner_dummy), nullptr) << "the dummy's path is gone";
  ASSERT_NE(cmpr_at(inner), nullptr) << "the node stays as a path node";
  EXPECT_EQ(cmpr_at(inner)->tag, 0u);
  EXPECT_EQ(cmpr_at(inner)->owners, 0u);
  EXPECT_EQ(stored("2001:db8:1::/48"), nullptr);
}

TEST_F(tcamv6_incr_del_test, deleting_everything_leaves_the_default_prefix_and_its_dummy_only) {
  const std::string all =
      "2001:db8::/32 2001:db8:1::/48 2001:db8:1:1::/64 2001:db8:1:2::/64 2001:db8:2::/48 2001:db9::/32";
  std::vector<tcamv6_prefix> order = records_of(all);
  std::mt19937 random(8);
  for (int round = 0; round < 50; ++round) {
    compress(all);
    std::shuffle(order.begin(), order.end(), random);
    for (tcamv6_prefix record : order) {
      record.flags_tag = 0;
      ASSERT_EQ(run(std::vector<tcamv6_prefix>{record}).result, 0);
    }
    EXPECT_THAT(children("::/0"), ElementsAre("dummy"));
    EXPECT_EQ(state->n_prefs, 1u);
    EXPECT_TRUE(tm_trie_is_leaf(tm_trie_node(state->orig_root)));
  }
}

// ---- compressed nodes that two prefixes own

namespace {

// Both /44 and /36 own one compressed node of 33 bits.
constexpr const char *shared_table = "2001:db8::/32";
constexpr const char *longer = "2001:db8:8800::/44";
constexpr const char *shorter = "2001:db8:8000::/36";

}  // namespace

TEST_F(tcamv6_incr_del_test, shared_node_stays_when_the_longer_prefix_goes) {
  compress(shared_table);
  ASSERT_EQ(run(std::string("+") + longer).result, 0);
  ASSERT_EQ(run(std::string("+") + shorter).result, 0);
  const std::string key = code(shorter);
  const std::string dummy = dummy_code(shorter);
  ASSERT_EQ(run(std::string("-") + longer).result, 0);
  EXPECT_EQ(code(shorter), key);
  EXPECT_EQ(dummy_code(shorter), dummy);
  EXPECT_EQ(cmpr_node(shorter)->owners, 1u);
  EXPECT_EQ(cmpr_node(shorter)->tag, 0u) << "the tag is cleared in compatible mode";
  ASSERT_EQ(run(std::string("-") + shorter).result, 0);
  EXPECT_EQ(cmpr_at(key), nullptr);
}

TEST_F(tcamv6_incr_del_test, shared_node_stays_when_the_shorter_prefix_goes) {
  compress(shared_table);
  ASSERT_EQ(run(std::string("+") + longer).result, 0);
  ASSERT_EQ(run(std::string("+") + shorter).result, 0);
  const std::string key = code(longer);
  const std::string dummy = dummy_code(shorter);
  ASSERT_EQ(run(std::string("-") + shorter).result, 0);
  EXPECT_EQ(code(longer), key);
  EXPECT_EQ(cmpr_node(longer)->owners, 1u);
  EXPECT_EQ(cmpr_at(dummy), nullptr) << "the dummy's path hung from the shared node and is gone";
  ASSERT_EQ(run(std::string("-") + longer).result, 0);
  EXPECT_EQ(cmpr_at(key), nullptr);
}

TEST_F(tcamv6_incr_del_test, leaf_on_a_shared_node_gives_its_dummys_path_up) {
  compress(shared_table);
  ASSERT_EQ(run(std::string("+") + longer).result, 0);
  ASSERT_EQ(run("+2001:db8:8801::/64 -2001:db8:8801::/64").result, 0);
  const std::string dummy = dummy_code(longer);
  ASSERT_NE(dummy, "none");
  ASSERT_EQ(run(std::string("+") + shorter).result, 0);
  ASSERT_EQ(code(longer), code(shorter));
  ASSERT_NE(dummy_code(shorter), dummy);
  const std::string kept_dummy = dummy_code(shorter);
  ASSERT_EQ(run(std::string("-") + longer).result, 0);
  EXPECT_EQ(cmpr_at(dummy), nullptr);
  EXPECT_NE(cmpr_at(kept_dummy), nullptr);
  ASSERT_EQ(run(std::string("-") + shorter).result, 0);
}

// ---- broken links

TEST_F(tcamv6_incr_del_test, parent_without_children_answers_14) {
  compress("2001:db8::/32 2001:db9::/32");
  only({info});
  // A batch would go on to undo; the function itself leaves the tag cleared and the counters taken.
  tm_n_ary_node *parent = anc_node("::/0");
  tm_util_trie_node *node = stored("2001:db8::/32");
  const tm_chunk_idx first = parent->child;
  const uint32_t tag = node->tag;
  parent->child = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(del("2001:db8::/32"), -14);
  EXPECT_EQ(changed, 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: Error - parent has NULL child pointer"));
  parent->child = first;
  node->tag = tag;
}

TEST_F(tcamv6_incr_del_test, node_that_its_parent_does_not_list_answers_2) {
  compress("2001:db8::/32 2001:db9::/32");
  only({error});
  tm_n_ary_node *parent = anc_node("::/0");
  tm_n_ary_node *listed = anc_node("2001:db9::/32");
  tm_util_trie_node *node = stored("2001:db8::/32");
  const tm_n_ary_node *its_node = anc_node("2001:db8::/32");
  const tm_chunk_idx first = parent->child;
  const uint32_t tag = node->tag;
  // A chain in which another stands in its place.
  ASSERT_EQ(first, tm_idx(listed));
  tm_n_ary_node other = {};
  const tm_chunk_idx second = listed->sibling;
  ASSERT_EQ(second, tm_idx(its_node));
  listed->sibling = tm_idx(&other);
  EXPECT_EQ(del("2001:db8::/32"), -2);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: failed to delete child from parent's child list -2"));
  listed->sibling = second;
  node->tag = tag;
  EXPECT_EQ(anc_node("2001:db8::/32"), its_node);
}

TEST_F(tcamv6_incr_del_test, inner_prefix_that_does_not_list_its_dummy_answers_2) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db9::/32");
  tm_n_ary_node *node = anc_node("2001:db8::/32");
  tm_n_ary_node *dummy = tcamv6_anc_node(data("2001:db8::/32")->dummy);
  EXPECT_EXIT(
      {
        only({error});
        tcamv6_unlink_child(node, dummy);
        const int32_t result = del("2001:db8::/32");
        const std::vector<std::string> printed = lines();
        _exit(result == -2 && printed.size() == 1 &&
                      printed[0] == "tcamv6_incr_del_prefix: failed to delete dummy for node to delete -2"
                  ? 0
                  : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(tcamv6_incr_del_test, broken_links_end_the_process) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db9::/32");
  const std::string leaf = "2001:db8:1::/48";
  const std::string inner = "2001:db8::/32";
  tcamv6_orig_data *leaf_orig = tm_ptr<tcamv6_orig_data>(stored(leaf)->data);
  EXPECT_FATAL(
      {
        stored(leaf)->data = 0;
        del(leaf);
      },
      "\ntcamv6_incr_del_prefix: orig_trie_data is NULL");
  EXPECT_FATAL(
      {
        leaf_orig->anc_node_idx = 0;
        del(leaf);
      },
      "\ntcamv6_incr_del_prefix: anc_node is NULL");
  EXPECT_FATAL(
      {
        anc_node(leaf)->data = 0;
        del(leaf);
      },
      "\ntcamv6_incr_del_prefix: anc_data is NULL");
  EXPECT_FATAL(
      {
        tm_trie_node(state->orig_root)->tag = 0;
        stored(inner)->tag = 5;
        del(inner);
      },
      "\ntcamv6_incr_del_prefix: bmp_trie_node is NULL");
  EXPECT_FATAL(
      {
        stored(inner)->data = 0;
        del(leaf);
      },
      "\ntcamv6_incr_del_prefix: orig_trie_data is NULL");
  EXPECT_FATAL(
      {
        tm_ptr<tcamv6_orig_data>(stored(inner)->data)->anc_node_idx = 0;
        del(leaf);
      },
      "\ntcamv6_incr_del_prefix: anc_parent is NULL");
  EXPECT_FATAL(
      {
        anc_node(inner)->data = 0;
        del(leaf);
      },
      "\ntcamv6_incr_del_prefix: anc_parent_data is NULL");
  EXPECT_FATAL(
      {
        data(inner)->dummy = 0;
        del(inner);
      },
      "\ntcamv6_incr_del_prefix: dummy is NULL");
  EXPECT_FATAL(
      {
        tcamv6_anc_node(data(inner)->dummy)->data = 0;
        del(inner);
      },
      "\ntcamv6_incr_del_prefix: dummy_nary is NULL");
  EXPECT_FATAL(
      {
        tcamv6_anc_data_of(tcamv6_anc_node(data(inner)->dummy))->cmpr_node = 0;
        del(inner);
      },
      "\ntcamv6_incr_del_prefix: dummy_cmpr is NULL");
}
