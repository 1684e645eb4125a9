// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_safe.h"

#include "incr_fixture.h"
#include "tcamv6_state_internal.h"

using ::testing::ElementsAre;

namespace {

class tcamv6_safe_test : public incr_test {
 protected:
  void SetUp() override {
    incr_test::SetUp();
    zel_v6comp_set_safe_updates(1);
  }

  uint32_t weight(const std::string &prefix) const { return stored(prefix) == nullptr ? 0 : stored(prefix)->aux1; }
  uint32_t anchors(const std::string &prefix) const { return stored(prefix) == nullptr ? 0 : stored(prefix)->aux2; }
};

constexpr auto info = &tcamv6_debug_flags_t::info;
constexpr auto error = &tcamv6_debug_flags_t::error;
constexpr auto trace = &tcamv6_debug_flags_t::trace;

const std::string warning =
    "tcav6_incr_add_pref_newlvl: WARNING: Specified prefix cannot be inserted incrementally. Reoptimize.";

}  // namespace

TEST_F(tcamv6_safe_test, switch_answers_0_or_1) {
  zel_v6comp_set_safe_updates(0);
  EXPECT_EQ(zel_v6comp_safe_updates(), 0u);
  zel_v6comp_set_safe_updates(77);
  EXPECT_EQ(zel_v6comp_safe_updates(), 1u);
}

TEST_F(tcamv6_safe_test, switch_survives_a_second_initialisation_and_a_reset) {
  compress("2001:db8::/32");
  zel_v6comp_reset_instance(0, 0);
  EXPECT_EQ(zel_v6comp_safe_updates(), 1u);
}

TEST_F(tcamv6_safe_test, switching_off_again_leaves_nothing_behind) {
  // The same history, one time with the switch turned on and off between the batches.
  std::vector<table_row_text> tables[2];
  for (const bool touched : {false, true}) {
    zel_v6comp_reset_instance(0, 0);
    tags_so_far = 0;
    zel_v6comp_set_safe_updates(0);
    ASSERT_EQ(request("+2001:db8::/32 +2001:db8:1::/48"), 0u);
    for (const char *batch : {"+2001:db8:2::/48", "+2001:db8:2:1::/64 -2001:db8:1::/48", "-2001:db8:2::/48*2",
                              "+2001:db8:8000::/33", "-2001:dbb:1::/48"}) {
      if (touched) {
        zel_v6comp_set_safe_updates(1);
        request("-::/0*9");
        zel_v6comp_set_safe_updates(0);
      }
      request(batch);
    }
    tables[touched] = table_of(state);
  }
  EXPECT_EQ(tables[0], tables[1]);
}

// ---- right places only

TEST_F(tcamv6_safe_test, level_on_a_node_that_another_prefix_owns_is_refused) {
  compress("2001:db8::/32");
  ASSERT_EQ(run("+2001:db8:8800::/44").result, 0);
  const std::vector<uint8_t> before = image_of(state);
  only({info, error});
  EXPECT_EQ(run("+2001:db8:8000::/36").result, -2);
  EXPECT_THAT(lines(), ElementsAre(warning,
                                   "tcamv6_incr_compress: Incremental Compression failed on the 0-th new prefix "
                                   "(code -2): 2001:0db8:8000:0000:0000:0000:0000:0000 / 36. Recompression and brief "
                                   "disruption may occur."));
  EXPECT_EQ(image_of(state), before);
  zel_v6comp_set_safe_updates(0);
  EXPECT_EQ(run("+2001:db8:8000::/36").result, 0) << "in compatible mode it is accepted, on the longer one's key";
  EXPECT_EQ(code("2001:db8:8000::/36"), code("2001:db8:8800::/44"));
}

TEST_F(tcamv6_safe_test, level_on_its_enclosing_prefixs_own_key_is_refused) {
  // Keys in order of arrival, not of address: between the enclosing key and those of /40s that lie apart is no place.
  const std::string table = "2001:db8::/32";
  const std::string arrivals = "+2001:db8:4000::/40 +2001:db8:c000::/40 +2001:db8:4100::/40";
  compress(table);
  ASSERT_EQ(run(arrivals).result, 0);
  const std::vector<uint8_t> before = image_of(state);
  only({info});
  EXPECT_EQ(run("+2001:db8:4000::/34").result, -2);
  EXPECT_THAT(lines(), ElementsAre(warning));
  EXPECT_EQ(image_of(state), before);
  zel_v6comp_set_safe_updates(0);
  ASSERT_EQ(run("+2001:db8:4000::/34").result, 0);
  EXPECT_EQ(code("2001:db8:4000::/34"), code("2001:db8::/32")) << "in compatible mode both get one key";
}

TEST_F(tcamv6_safe_test, level_in_a_right_place_is_the_same_on_and_off) {
  std::string codes[2];
  for (const uint32_t safe : {0u, 1u}) {
    zel_v6comp_set_safe_updates(safe);
    zel_v6comp_reset_instance(0, 0);
    compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
    ASSERT_EQ(run("+2001:db8:1::/48").result, 0);
    codes[safe] = code("2001:db8:1::/48") + ' ' + dummy_code("2001:db8:1::/48");
  }
  EXPECT_EQ(codes[0], codes[1]);
}

TEST_F(tcamv6_safe_test, common_ancestor_is_limited_to_the_shorter_node) {
  tm_util_trie_node *root = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
  tm_util_trie_node_initialize(root, nullptr, 0);
  const auto node_at = [root](const std::string &prefix) {
    const tcamv6_prefix record = record_of(prefix);
    return tm_util_trie_insert(root, record.address, record.length);
  };
  tm_util_trie_node *shorter = node_at("8000::/3");
  tm_util_trie_node *longer = node_at("8800::/7");
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, shorter, longer), shorter);
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, longer, shorter), shorter);
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, longer, longer), longer);
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, node_at("c000::/4"), longer), node_at("8000::/1"));
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, node_at("::/4"), longer), root);
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, root, longer), root);
  EXPECT_EQ(tcamv6_safe_common_ancestor(nullptr, shorter, longer), nullptr);
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, nullptr, longer), nullptr);
  EXPECT_EQ(tcamv6_safe_common_ancestor(root, shorter, nullptr), nullptr);
  tm_util_trie_free(root, 0, 0);
}

// ---- exact rollback: its messages

TEST_F(tcamv6_safe_test, refusal_of_the_first_record_cleans_up_without_a_word) {
  compress("2001:db8::/32");
  only({error, trace});
  EXPECT_EQ(run("-::/0*9 +2001:db9::/32").result, -22);
  EXPECT_THAT(lines(), ::testing::Not(::testing::Contains(::testing::HasSubstr("cleanup"))));
}

TEST_F(tcamv6_safe_test, rollback_prints_the_lines_of_a_clean_up_with_the_counts_before_and_after) {
  compress("2001:db8::/32");
  only({error});
  EXPECT_EQ(run("+2001:db9::/32 +2001:dba::/32 -::/0*9").result, -22);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_del_prefix: requested node count 9 is more than existing 1 refs len:0 "
                                   "p_len:0 dummy_ref_ct:0 data:2",
                                   "tcamv6_incr_compress: Unable to delete 2-th prefix -22",
                                   "tcamv6_incr_compress_fail_cleanup starts statep PTR index 2",
                                   "tcamv6_incr_compress_fail_cleanup : cleanup 2 prefixes total 4 prefixes",
                                   "tcamv6_incr_compress_fail_cleanup ends 0 total 2 prefixes"));
  only({trace});
  EXPECT_EQ(run("+2001:db9::/32 -::/0*9").result, -22);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: Starting handle PTR, n_prefs 2, inp_prefs PTR, cmpr_prefs "
                                   "PTR, cmpr_addrs PTR, ",
                                   "tcamv6_incr_add_prefix: Starting statep PTR, prefix PTR, length 32",
                                   "tcamv6_incr_add_prefix: case c, add prefix PTR as a leaf, to a non-leaf node",
                                   "tcamv6_incr_add_prefix: Complete 0",
                                   "tcamv6_incr_del_prefix: Starting statep PTR, prefix PTR, length 0",
                                   "tcamv6_incr_del_prefix: Complete -22", "tcamv6_incr_compress: Complete -22",
                                   "tcamv6_incr_compress_fail_cleanup starts statep PTR index 1",
                                   "tcamv6_incr_compress_fail_cleanup ends 0"));
}

TEST_F(tcamv6_safe_test, statistics_of_the_end_point_show_a_commit_but_not_yet_a_rollback) {
  compress("2001:db8::/32 2001:dbc::/32");
  const tm_chunk_info &nodes = gbl_state->chunk_info[TM_V6_ANC_TREE];
  const uint32_t had = nodes.allocated;
  const auto allocated_at_end = [] {
    const std::vector<std::string> printed = lines();
    const std::string &line = printed.at(11);
    return static_cast<uint32_t>(std::stoul(line.substr(line.find("allocated ") + 10)));
  };
  only({&tcamv6_debug_flags_t::stats});
  ASSERT_EQ(run("-2001:dbc::/32").result, 0);
  EXPECT_EQ(allocated_at_end(), had - 1);
  ASSERT_EQ(run("+2001:dbc::/32 -::/0*9").result, -22);
  EXPECT_EQ(allocated_at_end(), had);
  EXPECT_EQ(nodes.allocated, had - 1);
}

TEST_F(tcamv6_safe_test, undo_that_would_be_refused_in_compatible_mode_restores_all) {
  // /44 leaves, its place is taken by the /36: in compatible mode it cannot come back to where it was.
  compress("2001:db8::/32 2001:db8:8800::/44 2001:db8:8800::/45");
  const std::vector<table_row_text> before = table_of(state);
  EXPECT_EQ(run("-2001:db8:8800::/44 +2001:db8:8000::/36 -::/0*9").result, -22);
  EXPECT_EQ(table_of(state), before);
}

// ---- deletes take only what was given

TEST_F(tcamv6_safe_test, delete_of_a_prefix_that_is_not_stored_takes_no_anchor) {
  ASSERT_EQ(request("+2001:db8::/32"), 0u);
  only({error});
  EXPECT_EQ(request("-2001:db8:1::/48"), 0u);
  EXPECT_THAT(lines(),
              ElementsAre("tcamv6_incr_compress: Prefix does not exist (node PTR, len -1)",
                          "Unable to Find prefix in original trie 2001:0db8:0001:0000:0000:0000:0000:0000 / 48"));
  EXPECT_EQ(weight("2001:db8::/32"), 1u);
}

TEST_F(tcamv6_safe_test, compatible_delete_of_a_prefix_that_is_not_stored_removes_another) {
  zel_v6comp_set_safe_updates(0);
  ASSERT_EQ(request("+2001:db8::/32"), 0u);
  EXPECT_EQ(request("-2001:db8:1::/48"), 0u);
  EXPECT_EQ(stored("2001:db8::/32"), nullptr) << "its anchor took the weight of the prefix";
}

TEST_F(tcamv6_safe_test, delete_of_an_anchor_is_skipped_as_absent) {
  ASSERT_EQ(request("+2001:db8:1::/48*3"), 0u);
  ASSERT_EQ(weight("2001:db8::/32"), 3u);
  only({error});
  EXPECT_EQ(request("-2001:db8::/32"), 0u);
  EXPECT_THAT(lines(),
              ElementsAre("tcamv6_incr_compress: Prefix does not exist (node PTR, len 32)",
                          "Unable to Find prefix in original trie 2001:0db8:0000:0000:0000:0000:0000:0000 / 32"));
  EXPECT_EQ(weight("2001:db8::/32"), 3u);
  EXPECT_EQ(anchors("2001:db8::/32"), 3u);
}

TEST_F(tcamv6_safe_test, delete_of_more_than_the_share_is_refused_with_the_share_in_its_message) {
  ASSERT_EQ(request("+2001:db8:1::/48*3 +2001:db8::/32*2"), 0u);
  ASSERT_EQ(weight("2001:db8::/32"), 5u);
  const std::vector<uint8_t> before = image_of(state);
  only({error});
  EXPECT_EQ(request("-2001:db8::/32*3"), 22u);
  EXPECT_EQ(lines().at(0),
            "tcamv6_incr_del_prefix: requested node count 3 is more than existing 2 refs len:32 p_len:32 "
            "dummy_ref_ct:3 data:" +
                std::to_string(stored("2001:db8::/32")->tag));
  EXPECT_EQ(image_of(state), before);
  EXPECT_EQ(request("-2001:db8::/32*2"), 0u);
  EXPECT_EQ(weight("2001:db8::/32"), 3u) << "what the anchor gave stays";
}

TEST_F(tcamv6_safe_test, addition_earlier_in_the_request_gives_share_and_a_delete_takes_it) {
  ASSERT_EQ(request("+2001:db9::/32"), 0u);
  EXPECT_EQ(request("+2001:db8:1::/48*2 -2001:db8:1::/48*2 -2001:db8:1::/48"), 0u);
  EXPECT_EQ(stored("2001:db8:1::/48"), nullptr);
  EXPECT_EQ(stored("2001:db8::/32"), nullptr) << "the third record found nothing and took no anchor";
  EXPECT_EQ(request("-2001:db8:1::/48 +2001:db8:1::/48"), 0u);
  EXPECT_EQ(weight("2001:db8:1::/48"), 1u) << "the delete came before the addition";
  EXPECT_EQ(weight("2001:db8::/32"), 1u);
}

TEST_F(tcamv6_safe_test, bits_beyond_the_length_make_no_other_prefix) {
  ASSERT_EQ(request("+2001:db8:1::/48"), 0u);
  EXPECT_EQ(request("-2001:db8:1:ffff::/48"), 0u);
  EXPECT_EQ(stored("2001:db8:1::/48"), nullptr);
  EXPECT_EQ(stored("2001:db8::/32"), nullptr);
}

TEST_F(tcamv6_safe_test, share_of_the_default_prefix_begins_with_the_librarys_own_entry) {
  ASSERT_EQ(request("+2001:db8::/32"), 0u);
  EXPECT_EQ(request("-::/0"), 0u);
  EXPECT_EQ(weight("::/0"), 1u);
  EXPECT_EQ(request("-::/0*2"), 22u);
  EXPECT_EQ(request("+::/0*4 -::/0*5"), 0u);
  EXPECT_EQ(weight("::/0"), 1u);
}

TEST_F(tcamv6_safe_test, record_of_weight_0_counts_as_an_anchor_and_is_treated_as_in_compatible_mode) {
  ASSERT_EQ(request("+2001:db8:1::/48*3"), 0u);
  only({error});
  EXPECT_EQ(request("-2001:db8::/32*0"), 0u);
  EXPECT_THAT(lines(), ElementsAre()) << "not skipped: it takes nothing";
  EXPECT_EQ(weight("2001:db8::/32"), 3u);
}

TEST_F(tcamv6_safe_test, share_survives_the_anchors_of_longer_prefixes_that_come_and_go) {
  ASSERT_EQ(request("+2001:db8::/32*2"), 0u);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(request("+2001:db8:1::/48*5 +2001:db8:2::/64*7"), 0u);
    EXPECT_EQ(weight("2001:db8::/32"), 14u);
    EXPECT_EQ(tcamv6_own_share(stored("2001:db8::/32")), 2);
    ASSERT_EQ(request("-2001:db8:2::/64*7 -2001:db8:1::/48*5"), 0u);
    EXPECT_EQ(weight("2001:db8::/32"), 2u);
  }
}

TEST_F(tcamv6_safe_test, refused_memory_for_the_absent_deletes_refuses_the_request_with_12) {
  ASSERT_EQ(request("+2001:db8::/32"), 0u);
  const std::vector<uint8_t> before = image_of(state);
  only({info});
  for (uint64_t k = 1; k <= 2; ++k) {
    test_host::fail_heap_allocation(k);
    EXPECT_EQ(request("-2001:db8:1::/48"), 12u);
    EXPECT_THAT(lines(), ElementsAre("TM_PROCESSING zel_v6comp_prefix_compress_prefixes: failed to build prefix list"));
    EXPECT_EQ(image_of(state), before);
  }
}

TEST_F(tcamv6_safe_test, share_is_told_right_when_weight_and_anchors_together_pass_16_bits) {
  ASSERT_EQ(request("+2001:db8::/32*65535"), 0u);
  ASSERT_EQ(request("+2001:db8:1::/48*5"), 0u);
  ASSERT_EQ(weight("2001:db8::/32"), 4u) << "65,540 in 16 bits, 5 of them the anchor's";
  EXPECT_EQ(tcamv6_own_share(stored("2001:db8::/32")), 65535);
  EXPECT_EQ(request("-2001:db8::/32*65535"), 0u);
  EXPECT_EQ(weight("2001:db8::/32"), 5u) << "the anchor's stay";
}

TEST_F(tcamv6_safe_test, delete_of_the_whole_share_leaves_none_for_a_later_one_and_its_anchors) {
  ASSERT_EQ(request("+2001:db8:1::/48*2 +2001:db8:2::/48*3"), 0u);
  ASSERT_EQ(weight("2001:db8::/32"), 5u);
  EXPECT_EQ(request("-2001:db8:1::/48*2 -2001:db8:1::/48*1"), 0u);
  EXPECT_EQ(weight("2001:db8::/32"), 3u) << "the second one finds nothing and takes nothing";
}
