// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_incr.h"

#include <cstring>

#include "incr_fixture.h"
#include "tcamv6_state_internal.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class tcamv6_incr_test : public incr_test {
 protected:
  static std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
      text += line + '\n';
    }
    return text;
  }

  // A table on which every addition of the network 2001:db9::/32 finds room.
  void compress_small() { compress("2001:db8::/32 2001:db8:1::/48"); }

  static std::string key_bits(const tcamv6_cmpr_pref &pref) { return bits_of_key(pref.key, pref.length); }
};

constexpr auto info = &tcamv6_debug_flags_t::info;
constexpr auto error = &tcamv6_debug_flags_t::error;
constexpr auto trace = &tcamv6_debug_flags_t::trace;
constexpr auto stats = &tcamv6_debug_flags_t::stats;
constexpr auto result_word = &tcamv6_debug_flags_t::result;

}  // namespace

// ---- arguments

TEST_F(tcamv6_incr_test, null_state_is_refused_under_the_info_word_and_only_changed_is_written) {
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  const tcamv6_prefix record = record_of("::/8");
  uint32_t pending = 7;
  uint32_t changed = 7;
  uint32_t rows = 7;
  only({info, error, trace});
  EXPECT_EQ(tcamv6_incr_compress(nullptr, 1, &record, &pref, &addr, &pending, &changed, &rows), -22);
  EXPECT_EQ(changed, 0u);
  EXPECT_EQ(pending, 7u);
  EXPECT_EQ(rows, 7u);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: Starting handle PTR, n_prefs 1, inp_prefs PTR, cmpr_prefs "
                                   "PTR, cmpr_addrs PTR, ",
                                   "tcamv6_incr_compress: Bad arguments", "tcamv6_incr_compress: Complete -22"));
  only({error});
  EXPECT_EQ(tcamv6_incr_compress(nullptr, 1, &record, &pref, &addr, &pending, &changed, &rows), -22);
  EXPECT_THAT(lines(), ElementsAre());
}

TEST_F(tcamv6_incr_test, null_state_prints_the_statistics_of_the_end_point_only) {
  uint32_t word = 0;
  only({stats});
  tcamv6_incr_compress(nullptr, 0, nullptr, nullptr, nullptr, &word, &word, &word);
  const std::vector<std::string> printed = lines();
  ASSERT_EQ(printed.size(), 9u);
  EXPECT_EQ(printed[0], "End point chunk information --");
}

// ---- an empty batch

TEST_F(tcamv6_incr_test, empty_batch_only_walks_the_table_and_sets_pending) {
  compress("2001:db8::/32 2001:db8:1::/48");
  const std::vector<uint8_t> before = image_of(state);
  const batch_answer answer = run("");
  EXPECT_EQ(answer.result, 0);
  EXPECT_EQ(answer.pending, 1u);
  EXPECT_EQ(answer.changed, 0u);
  EXPECT_EQ(answer.walk_result, 3u);
  EXPECT_EQ(image_of(state), before);
}

TEST_F(tcamv6_incr_test, empty_batch_without_its_0_bytes_fails_with_12_and_cleans_nothing_up) {
  compress_small();
  only({info, error});
  test_host::fail_heap_allocation(1);
  const batch_answer answer = run("");
  EXPECT_EQ(answer.result, -12);
  EXPECT_EQ(answer.pending, 0u);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: malloc(0 bytes) failed for extra ops"));
}

// ---- what a batch answers

TEST_F(tcamv6_incr_test, absent_delete_leaves_its_record_as_it_came_and_the_batch_goes_on) {
  compress_small();
  std::vector<tcamv6_prefix> batch = records_of("-2001:db8:2::/48*7 -2001:db8:0:8000::/49 +2001:db9::/32");
  batch[0].reserved[1] = 0x5C;
  batch[0].operation = 77;
  const batch_answer answer = run(batch);
  EXPECT_EQ(answer.result, 0);
  EXPECT_EQ(std::memcmp(&answer.prefs[0], &batch[0], sizeof batch[0]), 0);
  EXPECT_EQ(std::memcmp(&answer.prefs[1], &batch[1], sizeof batch[1]), 0);
  EXPECT_EQ(key_bits(answer.prefs[2]), code("2001:db9::/32"));
  EXPECT_EQ(state->n_prefs, 4u);
}

TEST_F(tcamv6_incr_test, delete_of_a_bare_path_node_is_a_delete_of_an_absent_prefix) {
  compress_small();
  only({error});
  EXPECT_EQ(run("-2001:db8::/40 -2001:dba::/32").result, 0);
  EXPECT_THAT(lines(),
              ElementsAre("tcamv6_incr_compress: Prefix does not exist (node PTR, len 40)",
                          "Unable to Find prefix in original trie 2001:0db8:0000:0000:0000:0000:0000:0000 / 40",
                          "tcamv6_incr_compress: Prefix does not exist (node PTR, len -1)",
                          "Unable to Find prefix in original trie 2001:0dba:0000:0000:0000:0000:0000:0000 / 32"));
  EXPECT_EQ(state->n_prefs, 3u);
}

TEST_F(tcamv6_incr_test, present_prefix_is_added_without_failure_and_not_counted_again) {
  compress_small();
  const batch_answer answer = run("+2001:db8::/32*4");
  EXPECT_EQ(answer.result, 0);
  EXPECT_EQ(answer.changed, 0u) << "its anchor state is the same";
  EXPECT_EQ(state->n_prefs, 3u);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 5);
  EXPECT_EQ(key_bits(answer.prefs[0]), code("2001:db8::/32"));
  EXPECT_EQ(answer.prefs[0].own_node, 0u);
}

TEST_F(tcamv6_incr_test, changed_tells_additions_and_flips_of_the_anchor_state) {
  compress("2001:db8::/32*2@2 2001:db9::/32");
  batch_answer answer = run("+2001:db8::/32");
  EXPECT_EQ(answer.changed, 1u) << "an anchor has become a prefix";
  EXPECT_EQ(answer.prefs[0].own_node, 1u);
  answer = run("-2001:db8::/32");
  EXPECT_EQ(answer.changed, 1u) << "and an anchor again";
  EXPECT_EQ(answer.prefs[0].own_node, 1u);
  answer = run("-2001:db8::/32*2@2");
  EXPECT_EQ(answer.changed, 0u) << "an anchor leaves unnoticed";
  EXPECT_EQ(answer.prefs[0].own_node, 0u);
  EXPECT_EQ(stored("2001:db8::/32"), nullptr);
  answer = run("+2001:db8::/32*2@2");
  EXPECT_EQ(answer.changed, 1u) << "every addition counts, an anchor's too";
  EXPECT_EQ(answer.prefs[0].own_node, 0u) << "but as its own change it does not";
  answer = run("-2001:db9::/32*1 +2001:db9::/32");
  EXPECT_EQ(answer.changed, 1u);
}

TEST_F(tcamv6_incr_test, deleted_prefix_is_answered_with_the_key_it_had_and_its_handle) {
  compress_small();
  const tcamv6_prefix record = record_of("2001:db8:1::/48");
  ASSERT_EQ(tcamv6_prefix_handle_attach(state, &record, 0xCAFE), 0);
  const std::string had = code("2001:db8:1::/48");
  const batch_answer answer = run("-2001:db8:1::/48");
  EXPECT_EQ(key_bits(answer.prefs[0]), had);
  EXPECT_EQ(answer.prefs[0].reference, 0xCAFEu);
  EXPECT_EQ(answer.prefs[0].flags_tag & 1u, 0u);
  const tcamv6_cmpr_addr zero = {};
  EXPECT_EQ(std::memcmp(&answer.addrs[0], &zero, sizeof zero), 0) << "deletes have no address";
  EXPECT_EQ(state->n_prefs, 2u);
}

TEST_F(tcamv6_incr_test, added_prefix_is_answered_with_the_flags_of_its_record) {
  compress_small();
  std::vector<tcamv6_prefix> batch = records_of("+2001:db9::/32");
  batch[0].flags_tag = 0x00123457;
  batch[0].reference = 9;
  batch[0].operation = 8;
  const batch_answer answer = run(batch);
  EXPECT_EQ(answer.prefs[0].flags_tag, 0x00123457u);
  EXPECT_EQ(answer.prefs[0].reference, 9u);
  EXPECT_EQ(answer.prefs[0].operation, 8u);
  EXPECT_EQ(answer.prefs[0].own_node, 1u);
  EXPECT_EQ(stored("2001:db9::/32")->tag, 0x123u);
}

TEST_F(tcamv6_incr_test, address_of_a_prefix_with_longer_ones_below_is_its_dummys) {
  compress("2001:db8::/32");
  const batch_answer answer = run("+2001:db8:1::/48 +2001:db8::/32");
  const std::string dummy = dummy_code("2001:db8::/32");
  ASSERT_NE(dummy, "none");
  EXPECT_EQ(bits_of_key(answer.addrs[1].bytes, static_cast<int>(dummy.size())), dummy);
  const std::string leaf = code("2001:db8:1::/48");
  EXPECT_EQ(bits_of_key(answer.addrs[0].bytes, 128), leaf + std::string(128 - leaf.size(), '0'));
}

TEST_F(tcamv6_incr_test, walk_result_counts_prefixes_but_not_anchors) {
  compress("2001:db8::/32*2@2 2001:db8:1::/48");
  EXPECT_EQ(run("").walk_result, 2u);
  EXPECT_EQ(run("+2001:db8:2::/48").walk_result, 3u);
  EXPECT_EQ(run("+2001:db8::/32").walk_result, 4u);
  EXPECT_EQ(run("-2001:db8:1::/48").walk_result, 3u);
}

TEST_F(tcamv6_incr_test, walk_result_is_the_same_when_the_whole_tree_is_walked) {
  // With the trace word on every node is visited; else a count may be trusted.
  std::mt19937 random(5);
  int accepted = 0;
  for (int round = 0; round < 200; ++round) {
    compress("2001:db8::/32 2001:db8:100::/40*2@2 2001:db8:200::/40");
    std::string batch;
    for (int i = 0; i < 6; ++i) {
      batch += (random() % 2 == 0 ? " +2001:db8:" : " -2001:db8:") + std::to_string(random() % 4) + "00::/" +
               std::to_string(38 + random() % 4) + "*" + std::to_string(random() % 3) + "@" +
               std::to_string(random() % 3);
    }
    const batch_answer answer = run(batch);
    if (answer.result != 0) {
      continue;
    }
    ++accepted;
    test_host::keep_log(false);
    tcamv6_debug_flags.trace = 1;
    EXPECT_EQ(run("").walk_result, answer.walk_result) << batch;
    tcamv6_debug_flags.trace = 0;
    test_host::keep_log(true);
  }
  EXPECT_GT(accepted, 50);
}

// ---- weights

TEST_F(tcamv6_incr_test, weights_that_add_up_to_65536_make_a_prefix_look_like_an_anchor) {
  ASSERT_EQ(request("+2001:db8::/32*65536 +2001:db9::/32"), 0u);
  ASSERT_NE(stored("2001:db8::/32"), nullptr);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 0);
  EXPECT_EQ(run("").walk_result, 2u) << "::/0 and the other one";
  EXPECT_EQ(request("-2001:db8::/32*65536"), 22u) << "a delete is compared before it is cut to 16 bits";
  EXPECT_EQ(request("-2001:db8::/32*0"), 0u) << "weight 0 takes nothing, and the count of 0 takes the prefix";
  EXPECT_EQ(stored("2001:db8::/32"), nullptr);
}

TEST_F(tcamv6_incr_test, anchor_can_outweigh_the_prefix_and_wrap) {
  ASSERT_EQ(request("+2001:db8:1::/48*65535 +2001:db8::/32"), 0u);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 0);
  EXPECT_EQ(stored("2001:db8::/32")->aux2, 65535);
  EXPECT_EQ(request("-2001:db8::/32"), 22u) << "all of its weight is gone";
}

// ---- extra operations of the batch before

TEST_F(tcamv6_incr_test, extra_operations_that_nobody_released_are_released_with_a_message) {
  compress_small();
  uint32_t word = 0;
  ASSERT_EQ(tcamv6_incr_compress(state, 0, nullptr, nullptr, nullptr, &word, &word, &word), 0);
  const size_t blocks = test_host::heap().blocks;
  only({info});
  ASSERT_EQ(tcamv6_incr_compress(state, 0, nullptr, nullptr, nullptr, &word, &word, &word), 0);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: memory for previous extra ops[] not freed"));
  EXPECT_EQ(test_host::heap().blocks, blocks);
}

TEST_F(tcamv6_incr_test, batch_without_extra_operations_memory_is_refused_before_anything_is_touched) {
  compress_small();
  const std::vector<uint8_t> before = image_of(state);
  only({info, error});
  test_host::fail_heap_allocation(1);
  const batch_answer answer = run("+2001:db9::/32 +2001:dba::/32");
  EXPECT_EQ(answer.result, -12);
  EXPECT_EQ(answer.pending, 0u);
  EXPECT_EQ(image_of(state), before);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: malloc(160 bytes) failed for extra ops"));
}

// ---- refusals

TEST_F(tcamv6_incr_test, failure_at_index_0_cleans_up_without_a_word) {
  compress_small();
  const std::vector<uint8_t> before = image_of(state);
  only({error, trace});
  EXPECT_EQ(run("-::/0*9 +2001:db9::/32").result, -22);
  EXPECT_THAT(lines(), ::testing::Not(::testing::Contains(HasSubstr("fail_cleanup"))));
  EXPECT_EQ(image_of(state), before);
}

TEST_F(tcamv6_incr_test, refused_additions_are_numbered_0_th_1_st_2_nd_3_rd_11_st_12_nd_13_rd) {
  const std::pair<int, const char *> ordinals[] = {{0, "0-th"},   {1, "1-st"},   {2, "2-nd"},   {3, "3-rd"},
                                                   {4, "4-th"},   {9, "9-th"},   {10, "10-th"}, {11, "11-st"},
                                                   {12, "12-nd"}, {13, "13-rd"}, {21, "21-st"}, {111, "111-st"}};
  for (const auto &[index, ordinal] : ordinals) {
    compress("2001:db8::/32 2001:db8:8000::/33");
    state->max_cmpr_len = cmpr_node("2001:db8::/32")->len;
    std::string batch;
    for (int i = 0; i < index; ++i) {
      batch += "+2001:db8::/32 ";
    }
    only({error});
    EXPECT_EQ(run(batch + "+2001:db8::/33").result, -28);
    const std::vector<std::string> printed = lines();
    ASSERT_GE(printed.size(), 2u);
    EXPECT_EQ(printed[0], "tcamv6_incr_add_prefix: No extending path for new prefix ext_bit 0");
    EXPECT_EQ(printed[1], std::string("tcamv6_incr_compress: Incremental Compression failed on the ") + ordinal +
                              " new prefix (code -28): 2001:0db8:0000:0000:0000:0000:0000:0000 / 33. "
                              "Recompression and brief disruption may occur.");
  }
}

TEST_F(tcamv6_incr_test, refused_delete_names_its_index_and_the_result) {
  compress_small();
  only({error});
  EXPECT_EQ(run("+2001:db8::/32 -2001:db8:1::/48*2").result, -22);
  EXPECT_THAT(lines(), ::testing::Contains("tcamv6_incr_compress: Unable to delete 1-th prefix -22"));
}

TEST_F(tcamv6_incr_test, undo_takes_additions_back_from_the_last_and_then_adds_deletes_from_the_first) {
  compress("2001:db8::/32 2001:dbc::/32 2001:dbd::/32");
  only({result_word});
  EXPECT_EQ(run("+2001:db9::/32 -2001:dbc::/32 +2001:dba::/32 -2001:dbd::/32 -::/0*9").result, -22);
  std::vector<std::string> order;
  for (const std::string &line : lines()) {
    if (line.find("tcamv6_incr_compress ") == 0) {
      order.push_back(line.substr(26, 4));
    }
  }
  EXPECT_THAT(order, ElementsAre("0db9", "0dbc", "0dba", "0dbd", "0000",  // the batch
                                 "0dba", "0db9", "0dbc", "0dbd"));        // its undo
  EXPECT_EQ(state->n_prefs, 4u);
}

TEST_F(tcamv6_incr_test, failed_batch_leaves_its_extra_operations_with_the_count_of_the_undo) {
  compress_small();
  const std::vector<tcamv6_prefix> batch = records_of("+2001:db9::/32 +2001:dba::/32 -::/0*9");
  std::vector<tcamv6_cmpr_pref> prefs(3);
  std::vector<tcamv6_cmpr_addr> addrs(3);
  uint32_t pending = 0;
  uint32_t changed = 0;
  uint32_t rows = 99;
  EXPECT_EQ(tcamv6_incr_compress(state, 3, batch.data(), prefs.data(), addrs.data(), &pending, &changed, &rows), -22);
  EXPECT_EQ(pending, 1u);
  EXPECT_EQ(changed, 1u);
  EXPECT_EQ(rows, 99u);
  EXPECT_NE(state->extra_ops, nullptr);
  EXPECT_EQ(state->extra_op_count, 2u) << "the undo was the last batch";
}

TEST_F(tcamv6_incr_test, failed_walk_undoes_the_whole_batch_and_an_undos_failed_walk_nothing) {
  compress_small();
  const uint32_t n_prefs = state->n_prefs;
  state->n_prefs = 1;  // far too few: every walk fails
  only({error, info});
  EXPECT_EQ(run("+2001:db9::/32 +2001:dba::/32").result, -22);
  EXPECT_EQ(joined(lines()), golden("incr_failed_walk.txt"));
  EXPECT_EQ(stored("2001:db9::/32"), nullptr);
  EXPECT_EQ(stored("2001:dba::/32"), nullptr);
  state->n_prefs = n_prefs;
  EXPECT_EQ(run("").result, 0);
}

TEST_F(tcamv6_incr_test, undo_without_memory_ends_silently_and_leaves_the_batch_applied) {
  // Three arrays are asked for; whichever is refused, the result is the batch's own.
  for (uint64_t k = 1; k <= 3; ++k) {
    compress_small();
    only({error});
    test_host::fail_heap_allocation(k + 1);  // after the batch's own extra operations
    EXPECT_EQ(run("+2001:db9::/32 -::/0*9").result, -22);
    const std::vector<std::string> printed = lines();
    EXPECT_EQ(printed.back(), "tcamv6_incr_compress_fail_cleanup starts statep PTR index 1");
    EXPECT_NE(stored("2001:db9::/32"), nullptr);
    test_host::fail_heap_allocation(0);
  }
}

TEST_F(tcamv6_incr_test, undo_without_extra_operations_memory_fails_and_says_so) {
  compress_small();
  only({error});
  test_host::fail_heap_allocation(5);
  EXPECT_EQ(run("+2001:db9::/32 -::/0*9").result, -22);
  const std::vector<std::string> printed = lines();
  ASSERT_GE(printed.size(), 2u);
  EXPECT_EQ(printed[printed.size() - 2], "tcamv6_incr_compress_fail_cleanup ends -12 total 4 prefixes");
  EXPECT_EQ(printed.back(), "tcamv6_incr_compress: tcamv6_incr_compress_fail_cleanup failed");
  EXPECT_NE(stored("2001:db9::/32"), nullptr);
}

// ---- messages and their words

TEST_F(tcamv6_incr_test, error_word_tells_the_refusal_and_its_undo) {
  compress_small();
  only({error});
  EXPECT_EQ(run("+2001:db9::/32 -2001:dba::/32 -::/0*9").result, -22);
  EXPECT_EQ(joined(lines()), golden("incr_refused_error.txt"));
}

TEST_F(tcamv6_incr_test, trace_word_follows_the_batch_through_its_undo) {
  compress("2001:db8::/32");
  only({trace});
  EXPECT_EQ(run("+2001:db9::/32 -::/0*9").result, -22);
  EXPECT_EQ(joined(lines()), golden("incr_refused_trace.txt"));
}

TEST_F(tcamv6_incr_test, undo_starts_with_two_identical_lines_when_trace_and_error_are_both_on) {
  compress_small();
  only({trace, error});
  run("+2001:db9::/32 -::/0*9");
  const std::vector<std::string> printed = lines();
  const std::string starts = "tcamv6_incr_compress_fail_cleanup starts statep PTR index 1";
  const auto first = std::find(printed.begin(), printed.end(), starts);
  ASSERT_NE(first, printed.end());
  EXPECT_EQ(*(first + 1), starts);
  EXPECT_EQ(std::count(printed.begin(), printed.end(), starts), 2);
  EXPECT_EQ(*(first + 2), "tcamv6_incr_compress_fail_cleanup : cleanup 1 prefixes total 4 prefixes");
  EXPECT_THAT(printed, ::testing::IsSupersetOf({"tcamv6_incr_compress_fail_cleanup ends 0 total 3 prefixes",
                                                "tcamv6_incr_compress_fail_cleanup ends 0"}));
}

TEST_F(tcamv6_incr_test, result_word_tells_each_record_and_each_answer) {
  compress("2001:db8::/32*2@2");
  only({result_word});
  EXPECT_EQ(run("+2001:db8:1::/48 +2001:db8::/32*3@3 -2001:db8:1::/48 -2001:dbb::/32").result, 0);
  const std::string expected = golden("incr_result.txt");
  EXPECT_EQ(joined(lines()), expected);
}

TEST_F(tcamv6_incr_test, stats_word_frames_the_batch_with_the_pools) {
  compress("2001:db8::/32");
  only({stats});
  run("+2001:db9::/32");
  const std::vector<std::string> printed = lines();
  ASSERT_EQ(printed.size(), 18u);
  EXPECT_EQ(printed[0], "Starting point chunk information --");
  EXPECT_EQ(printed[9], "End point chunk information --");
  EXPECT_EQ(printed[1], "Chunk type 0: mallocs 0, frees 0, failed 0, allocated 0, size 0");
  const tm_chunk_info &nodes = gbl_state->chunk_info[TM_V6_ANC_TREE];
  EXPECT_EQ(printed[11], "Chunk type 1: mallocs " + std::to_string(nodes.mallocs) + ", frees " +
                             std::to_string(nodes.frees) + ", failed 0, allocated " + std::to_string(nodes.allocated) +
                             ", size 32768");
}

TEST_F(tcamv6_incr_test, accepted_batch_is_silent_under_info_and_error) {
  compress_small();
  only({info, error});
  EXPECT_EQ(run("+2001:db9::/32 -2001:db8:1::/48").result, 0);
  EXPECT_THAT(lines(), ElementsAre());
}

// ---- broken links

TEST_F(tcamv6_incr_test, prefix_without_its_node_or_data_fails_with_14) {
  for (const char *batch : {"-2001:db8:1::/48", "+2001:db8:1::/48"}) {
    compress_small();
    only({info});
    tm_n_ary_node *node = anc_node("2001:db8:1::/48");
    const tm_chunk_idx its_data = node->data;
    node->data = TM_CHUNK_IDX_NULL;
    EXPECT_EQ(run(batch).result, -14);
    EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: Error - Original prefix points to NULL anc_data"));
    node->data = its_data;
  }
}

TEST_F(tcamv6_incr_test, stored_prefix_without_its_record_ends_the_process) {
  compress_small();
  tm_util_trie_node *node = stored("2001:db8:1::/48");
  tm_chunk_idx *link = &tm_ptr<tcamv6_orig_data>(node->data)->anc_node_idx;
  EXPECT_FATAL(
      {
        node->data = TM_CHUNK_IDX_NULL;
        run("-2001:db8:1::/48");
      },
      "\ntcamv6_incr_compress: trie_data is NULL");
  EXPECT_FATAL(
      {
        node->data = TM_CHUNK_IDX_NULL;
        run("+2001:db8:1::/48");
      },
      "\ntcamv6_incr_compress: trie_data is NULL");
  EXPECT_FATAL(
      {
        *link = TM_CHUNK_IDX_NULL;
        run("-2001:db8:1::/48");
      },
      "\ntcamv6_incr_compress: trie_data->anc_node_idx is TM_CHUNK_IDX_NULL");
  EXPECT_FATAL(
      {
        *link = TM_CHUNK_IDX_NULL;
        run("+2001:db8:1::/48");
      },
      "\ntcamv6_incr_compress:  trie_data->anc_node_idx is NULL");
}

TEST_F(tcamv6_incr_test, kept_state_is_refused) {
  compress_small();
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), 0);
  only({info});
  EXPECT_EQ(run("+2001:db9::/32").result, -22);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: Bad arguments"));
}

TEST_F(tcamv6_incr_test, count_that_the_rows_use_up_before_the_root_fails_the_walk) {
  compress("2001:db8::/32 2001:db8:1::/48");
  ASSERT_EQ(run("").walk_result, 3u);
  state->n_prefs = 2;  // as many rows as come before that of ::/0
  EXPECT_EQ(run("").result, -22);
  state->n_prefs = 3;
  EXPECT_EQ(run("").result, 0);
}
