// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_incr_add.h"

#include <cstring>

#include "incr_fixture.h"
#include "tcamv6_leftovers.h"

using ::testing::ElementsAre;

namespace {

class tcamv6_incr_add_test : public incr_test {
 protected:
  // The engine's function itself.
  int32_t add(const std::string &text) {
    const tcamv6_prefix record = record_of(text);
    slot = {};
    return add_record(state, &record);
  }

  int32_t add_record(tcamv6_state *to, const tcamv6_prefix *record) {
    const tcamv6_update_rules compatible = {};
    return tcamv6_status_of(tcamv6_incr_add_prefix(to, &compatible, record, &slot, &changed));
  }

  size_t code_length(const std::string &prefix) const { return code(prefix).size(); }

  // A stored prefix that was taken out of use, but still has its records: its tag is gone, its mark cleared.
  tm_util_trie_node *make_unused(const std::string &prefix, bool created) {
    tm_util_trie_node *node = stored(prefix);
    tcamv6_anc_data *its = data(prefix);
    its->bits = static_cast<uint16_t>(created ? its->bits | TCAMV6_ANC_CREATED : its->bits & ~TCAMV6_ANC_CREATED);
    node->tag = 0;
    return node;
  }

  // Compressed keys of max_cmpr_len bits for what is stored now: nothing fits below it any more.
  void end_the_room_at(const std::string &prefix) { state->max_cmpr_len = cmpr_node(prefix)->len; }

  tcamv6_cmpr_pref slot = {};
  int32_t changed = 99;
};

constexpr auto info = &tcamv6_debug_flags_t::info;
constexpr auto error = &tcamv6_debug_flags_t::error;
constexpr auto trace = &tcamv6_debug_flags_t::trace;

}  // namespace

TEST_F(tcamv6_incr_add_test, null_state_or_prefix_is_refused) {
  compress("2001:db8::/32");
  const tcamv6_prefix record = record_of("::/8");
  only({info});
  EXPECT_EQ(add_record(nullptr, &record), -22);
  EXPECT_EQ(changed, 0);
  changed = 99;
  EXPECT_EQ(add_record(state, nullptr), -22);
  EXPECT_EQ(changed, 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Bad arguments", "tcamv6_incr_add_prefix: Bad arguments"));
}

// ---- case a

TEST_F(tcamv6_incr_add_test, existing_prefix_answers_17_and_its_counters_grow) {
  compress("2001:db8::/32*3");
  only({trace});
  EXPECT_EQ(add("2001:db8::/32*5@2"), -17);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 8);
  EXPECT_EQ(stored("2001:db8::/32")->aux2, 2);
  EXPECT_EQ(changed, 0) << "it was no anchor and is none";
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Starting statep PTR, prefix PTR, length 32",
                                   "tcamv6_incr_add_prefix: case a, prefix PTR already exists "));
}

TEST_F(tcamv6_incr_add_test, existing_prefix_reports_a_change_only_when_its_anchor_state_flips) {
  compress("2001:db8::/32*3@3");
  EXPECT_EQ(add("2001:db8::/32*2@2"), -17);
  EXPECT_EQ(changed, 0);
  EXPECT_EQ(add("2001:db8::/32*1"), -17);
  EXPECT_EQ(changed, 1);
  EXPECT_EQ(add("2001:db8::/32*1@2"), -17);
  EXPECT_EQ(changed, 1) << "its counters are equal again";
  EXPECT_EQ(stored("2001:db8::/32")->aux1, stored("2001:db8::/32")->aux2);
  run("-2001:db8::/32*7@7");
}

TEST_F(tcamv6_incr_add_test, counters_grow_modulo_65536) {
  compress("2001:db8::/32*65535");
  EXPECT_EQ(add("2001:db8::/32*131074"), -17);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 1);
}

TEST_F(tcamv6_incr_add_test, records_out_of_use_are_taken_into_use_again) {
  compress("2001:db8::/32*3@1");
  tm_util_trie_node *node = make_unused("2001:db8::/32", false);
  tags_so_far = 700;
  EXPECT_EQ(add("2001:db8::/32*9@4"), 0);
  EXPECT_EQ(node->tag, 701u);
  EXPECT_EQ(node->aux1, 9) << "set, not added";
  EXPECT_EQ(node->aux2, 4);
  EXPECT_TRUE(tcamv6_anc_is_created(data("2001:db8::/32")));
  EXPECT_EQ(changed, 1);
}

TEST_F(tcamv6_incr_add_test, records_in_use_on_a_node_without_a_tag_are_inconsistent) {
  compress("2001:db8::/32");
  const uint32_t tag = stored("2001:db8::/32")->tag;
  const uint32_t anc_tag = tcamv6_anc_tag(data("2001:db8::/32"));
  tm_util_trie_node *node = make_unused("2001:db8::/32", true);
  only({info});
  EXPECT_EQ(add("2001:db8::/32"), -14);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Error -- original trie node is not prefix, and anc_node(" +
                                   std::to_string(anc_tag) + ") is current"));
  node->tag = tag;
}

TEST_F(tcamv6_incr_add_test, records_that_lead_nowhere_are_broken) {
  compress("2001:db8::/32");
  tm_util_trie_node *node = stored("2001:db8::/32");
  const uint32_t tag = node->tag;
  tm_chunk_idx *link = &tm_ptr<tcamv6_orig_data>(node->data)->anc_node_idx;
  const tm_chunk_idx anc = *link;
  node->tag = 0;
  *link = TM_CHUNK_IDX_NULL;
  only({info});
  EXPECT_EQ(add("2001:db8::/32"), -14);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Error - Original prefix points to NULL anc_data"));
  *link = anc;
  node->tag = tag;
}

// ---- how many bits a new prefix gets

namespace {

struct extension_case {
  const char *meaning;
  uint32_t max_cmpr_len;
  const char *chain;  // nested prefixes, each added to a leaf
  std::vector<size_t> lengths;
};

const extension_case extension_cases[] = {
    {"target 16 * 48 / 64 = 12, enclosing node of 10 bits: 2 bits",
     32,
     "::/20 ::/21 ::/22 ::/23 ::/32 ::/48",
     {5, 6, 7, 8, 10, 12}},
    {"length 4 of 40 bits: 24 * 4 / 64, rounded up", 40, "::/4", {2}},
    {"length 2 of 64 bits: 96 / 64, rounded up", 64, "::/2", {2}},
    {"length 3 of 64 bits: 144 / 64, rounded up", 64, "::/3", {3}},
    {"length 4 of 64 bits: 192 / 64, nothing to round", 64, "::/4", {3}},
    {"length 7 of 64 bits: 336 / 64, rounded up", 64, "::/7", {6}},
    {"length 8 of 40 bits: nothing to round", 40, "::/8", {3}},
    {"length 9 of 64 bits: 432 / 64, not rounded from 8 on", 64, "::/9", {6}},
    {"length 63: 48 * 63 / 64", 64, "::/63", {47}},
    {"length 64: M - 16", 64, "::/64", {48}},
    {"length 65: not yet a bit more", 64, "::/65", {48}},
    {"length 100: M - 16 and a quarter of 36", 64, "::/100", {57}},
    {"length 127", 64, "::/127", {63}},
    {"length 128 takes all bits", 64, "::/128", {64}},
    {"length 128 takes all bits that are left", 64, "::/64 ::/128", {48, 64}},
    {"length 128 below 127: all, though it is one longer", 40, "::/64 ::/127 ::/128", {24, 39, 40}},
    {"one longer than the enclosing prefix: 1 bit", 64, "::/32 ::/33", {24, 25}},
    {"one longer wins over the target", 64, "::/63 ::/64", {47, 48}},
    {"target reached already: 2 bits", 64, "::/32 ::/33 ::/34 ::/35 ::/37", {24, 25, 26, 27, 29}},
    {"target reached and 1 bit left: that one", 32, "::/126 ::/127", {31, 32}},
    {"target of 31, 31 used: the last bit", 32, "::/124 ::/126", {31, 32}},
    {"a short key: M = 20", 20, "::/8 ::/16 ::/32", {2, 4, 6}},
};

}  // namespace

TEST_F(tcamv6_incr_add_test, new_prefix_gets_the_bits_that_its_length_and_its_enclosing_prefix_allow) {
  for (const extension_case &c : extension_cases) {
    compress("", c.max_cmpr_len);
    size_t i = 0;
    for (const tcamv6_prefix &record : records_of(c.chain)) {
      const std::string prefix = text_of(record.address, record.length);
      ASSERT_EQ(add(prefix), 0) << c.meaning << ", " << prefix;
      EXPECT_EQ(code_length(prefix), c.lengths.at(i)) << c.meaning << ", " << prefix;
      ++i;
    }
    EXPECT_EQ(i, c.lengths.size()) << c.meaning;
  }
}

TEST_F(tcamv6_incr_add_test, leaf_beside_others_gets_2_bits_where_1_would_do) {
  compress("2001:db8::/32 2001:db8:8000::/36", 64);
  ASSERT_EQ(add("2001:db8::/33"), 0);
  EXPECT_EQ(code_length("2001:db8::/33"), code_length("2001:db8::/32") + 2);
}

TEST_F(tcamv6_incr_add_test, last_bit_is_refused_when_both_sides_are_taken) {
  compress("2001:db8::/32 2001:db8:8000::/36", 64);
  const tm_util_trie_node *node = cmpr_node("2001:db8::/32");
  ASSERT_NE(node->left, TM_CHUNK_IDX_NULL);
  ASSERT_NE(node->right, TM_CHUNK_IDX_NULL);
  state->max_cmpr_len = node->len + 1u;
  only({error});
  EXPECT_EQ(add("2001:db8::/33"), -28);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: No extending path for new prefix cmpr node child is NULL",
                                   "Errored prefix: 2001:0db8:0000:0000:0000:0000:0000:0000 / 33"));
}

TEST_F(tcamv6_incr_add_test, no_bit_left_below_a_prefix_with_longer_ones_is_refused_with_28) {
  compress("2001:db8::/32 2001:db8:8000::/36");
  end_the_room_at("2001:db8::/32");
  only({error});
  EXPECT_EQ(add("2001:db8::/33"), -28);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: No extending path for new prefix ext_bit 0"));
}

// ---- case b

TEST_F(tcamv6_incr_add_test, prefix_below_a_leaf_gives_the_leaf_a_dummy_first) {
  compress("2001:db8::/32*6@2");
  const std::string leaf = code("2001:db8::/32");
  only({trace});
  EXPECT_EQ(add("2001:db8:1::/48*3"), 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Starting statep PTR, prefix PTR, length 48",
                                   "tcamv6_incr_add_prefix: case b, add prefix PTR to a leaf node PTR",
                                   "tcamv6_incr_add_prefix: Complete 0"));
  EXPECT_EQ(changed, 1);
  EXPECT_EQ(dummy_code("2001:db8::/32"), leaf + std::string(64 - leaf.size(), '0'));
  EXPECT_EQ(code("2001:db8:1::/48").substr(0, leaf.size() + 1), leaf + "1");
  EXPECT_THAT(children("2001:db8::/32"), ElementsAre("2001:db8:1::/48", "dummy"));
  EXPECT_EQ(cmpr_node("2001:db8:1::/48")->tag, 1u);
  EXPECT_EQ(cmpr_at(dummy_code("2001:db8::/32"))->tag, 2u);
  // The slot tells the host to rewrite the leaf's entry.
  EXPECT_EQ(slot.flags_tag, 1u);
  EXPECT_EQ(slot.own_node, 6u);
  EXPECT_EQ(slot.reference, stored("2001:db8::/32")->tag);
  EXPECT_EQ(slot.operation, 1u);
}

TEST_F(tcamv6_incr_add_test, records_of_a_new_prefix_are_linked_both_ways) {
  compress("2001:db8::/32");
  tcamv6_prefix record = record_of("2001:db8:1::/48*70000@65537");
  record.flags_tag = tm_prefix_with_tag(record.flags_tag, 0x4321);
  ASSERT_EQ(add_record(state, &record), 0);
  const tm_util_trie_node *node = stored("2001:db8:1::/48");
  EXPECT_EQ(node->tag, 0x4321u);
  EXPECT_EQ(node->aux1, 70000 - 65536);
  EXPECT_EQ(node->aux2, 1);
  const tcamv6_anc_data *its = data("2001:db8:1::/48");
  EXPECT_EQ(tcamv6_anc_tag(its), 0x4321u);
  EXPECT_EQ(its->orig, tm_idx(node));
  EXPECT_EQ(its->dummy, TM_CHUNK_IDX_NULL);
  EXPECT_TRUE(tcamv6_anc_is_created(its));
  EXPECT_FALSE(tcamv6_anc_is_dummy(its));
  const tcamv6_anc_data *dummy = tcamv6_anc_data_of(tcamv6_anc_node(data("2001:db8::/32")->dummy));
  EXPECT_TRUE(tcamv6_anc_is_dummy(dummy));
  EXPECT_TRUE(tcamv6_anc_is_created(dummy));
  EXPECT_EQ(tcamv6_anc_tag(dummy), 0u);
}

TEST_F(tcamv6_incr_add_test, prefix_without_a_tag_gets_the_next_one) {
  compress("2001:db8::/32");
  tags_so_far = 500;
  ASSERT_EQ(add("2001:db8:1::/48"), 0);
  ASSERT_EQ(add("2001:db8:2::/48"), 0);
  EXPECT_EQ(stored("2001:db8:1::/48")->tag, 501u);
  EXPECT_EQ(stored("2001:db8:2::/48")->tag, 502u);
  EXPECT_EQ(tags_so_far, 502u);
}

TEST_F(tcamv6_incr_add_test, leaf_that_kept_its_dummy_is_not_given_another) {
  compress("2001:db8::/32");
  ASSERT_EQ(run("+2001:db8:1::/48 -2001:db8:1::/48").result, 0);
  const std::string dummy = dummy_code("2001:db8::/32");
  ASSERT_EQ(add("2001:db8:2::/48"), 0);
  EXPECT_EQ(dummy_code("2001:db8::/32"), dummy);
  EXPECT_THAT(children("2001:db8::/32"), ElementsAre("2001:db8:2::/48", "dummy"));
  EXPECT_EQ(slot.flags_tag, 1u) << "the extra operation is recorded all the same";
}

TEST_F(tcamv6_incr_add_test, leaf_without_room_for_a_dummy_refuses_with_28) {
  compress("2001:db8::/32 2001:db9::/32");
  end_the_room_at("2001:db8::/32");
  only({error});
  EXPECT_EQ(add("2001:db8:1::/48"), -28);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: No extending path for dummy prefix. ext_bit 0"));
  EXPECT_EQ(dummy_code("2001:db8::/32"), "none");
}

TEST_F(tcamv6_incr_add_test, leaf_with_a_dummy_and_no_bit_left_refuses_with_28) {
  compress("2001:db8::/32");
  ASSERT_EQ(run("+2001:db8:1::/48 -2001:db8:1::/48").result, 0);
  end_the_room_at("2001:db8::/32");
  only({error});
  EXPECT_EQ(add("2001:db8:1::/48"), -28) << "2 bits are asked for, -1 is what M - P leaves room for";
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: No extending path for new prefix ext_bit 0"));
}

TEST_F(tcamv6_incr_add_test, leaf_whose_paths_are_all_taken_refuses_with_28) {
  compress("2001:db8::/32");
  ASSERT_EQ(run("+2001:db8:1::/48 -2001:db8:1::/48").result, 0);
  const std::string leaf = code("2001:db8::/32");
  // Only the dummy's path is left; make both sides below the leaf's node look taken.
  tm_util_trie_node *left = cmpr_at(leaf + "0");
  tm_util_trie_node right = {};
  right.tag = 1;
  const uint32_t tag = left->tag;
  left->tag = 1;
  tm_util_trie_node *node = cmpr_at(leaf);
  ASSERT_EQ(node->right, TM_CHUNK_IDX_NULL);
  node->right = tm_idx(&right);
  only({error});
  EXPECT_EQ(add("2001:db8:1::/48"), -28);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: No extending path for new prefix cmpr node child is NULL"));
  node->right = TM_CHUNK_IDX_NULL;
  left->tag = tag;
}

// ---- case c

TEST_F(tcamv6_incr_add_test, leaf_below_a_prefix_with_others_goes_to_the_front_of_its_children) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48");
  const std::vector<std::string> before = children("2001:db8::/32");
  only({trace});
  EXPECT_EQ(add("2001:db8:3::/48*4@4"), 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Starting statep PTR, prefix PTR, length 48",
                                   "tcamv6_incr_add_prefix: case c, add prefix PTR as a leaf, to a non-leaf node",
                                   "tcamv6_incr_add_prefix: Complete 0"));
  EXPECT_EQ(changed, 0) << "an anchor";
  std::vector<std::string> expected = {"2001:db8:3::/48"};
  expected.insert(expected.end(), before.begin(), before.end());
  EXPECT_EQ(children("2001:db8::/32"), expected);
  EXPECT_EQ(cmpr_node("2001:db8:3::/48")->tag, 1u);
  const tcamv6_cmpr_pref none = {};
  EXPECT_EQ(std::memcmp(&slot, &none, sizeof none), 0) << "no other entry changes";
}

TEST_F(tcamv6_incr_add_test, key_of_a_new_leaf_lies_below_its_enclosing_key_and_beside_all_others) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48");
  ASSERT_EQ(run("+2001:db8:3::/48 +2001:db8:4::/48 +2001:db8:5:1::/64").result, 0);
  const std::string enclosing = code("2001:db8::/32");
  const std::vector<std::string> names = {"2001:db8:1::/48", "2001:db8:2::/48", "2001:db8:3::/48", "2001:db8:4::/48",
                                          "2001:db8:5:1::/64"};
  for (const std::string &a : names) {
    EXPECT_EQ(code(a).rfind(enclosing, 0), 0u) << a;
    for (const std::string &b : names) {
      EXPECT_TRUE(a == b || code(a).rfind(code(b), 0) != 0) << a << ' ' << b;
    }
  }
}

// ---- broken links

TEST_F(tcamv6_incr_add_test, broken_enclosing_prefix_ends_the_process) {
  compress("2001:db8::/32");
  tm_util_trie_node *node = stored("2001:db8::/32");
  tm_chunk_idx *link = &tm_ptr<tcamv6_orig_data>(node->data)->anc_node_idx;
  tm_n_ary_node *anc = anc_node("2001:db8::/32");
  tcamv6_anc_data *its = data("2001:db8::/32");
  const std::string longer = "2001:db8:1::/48";
  EXPECT_FATAL(
      {
        node->data = 0;
        add(longer);
      },
      "\ntcamv6_incr_add_prefix: trie_data is NULL");
  EXPECT_FATAL(
      {
        *link = 0;
        add(longer);
      },
      "\ntcamv6_incr_add_prefix: anc_parent is NULL");
  EXPECT_FATAL(
      {
        anc->data = 0;
        add(longer);
      },
      "\ntcamv6_incr_add_prefix: parent_data is NULL");
  EXPECT_FATAL(
      {
        its->cmpr_node = 0;
        add(longer);
      },
      "\ntcamv6_incr_add_prefix: anc_cmpr is NULL");
  EXPECT_FATAL(
      {
        its->orig = 0;
        add(longer);
      },
      "\ntcamv6_incr_add_prefix: anc_orig is NULL");
  EXPECT_FATAL(
      {
        node->len = 48;
        add(longer);
      },
      "\ntcamv6_incr_add_prefix:  bmp_trie_node->length is too big");
}

TEST_F(tcamv6_incr_add_test, trie_without_any_prefix_above_fails_with_14) {
  compress("2001:db8::/32");
  tm_util_trie_node *root = tm_trie_node(state->orig_root);
  const uint32_t tag = root->tag;
  root->tag = 0;
  only({info});
  EXPECT_EQ(add("2001:db9::/32"), -14);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_add_prefix: Lookup on original trie failed for pref len 32"));
  root->tag = tag;
}
