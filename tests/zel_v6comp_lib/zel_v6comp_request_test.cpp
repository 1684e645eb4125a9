// SPDX-License-Identifier: Apache-2.0
// Requests: refusals in their order, results in theirs, what a failure leaves, instances apart from one another.
#include "zel_v6comp_fixture.h"

namespace {

const std::string function = "zel_v6comp_prefix_compress_prefixes: ";

class zel_v6comp_request_test : public zel_v6comp_test {
 protected:
  static uint64_t refusals_so_far() {
    uint64_t refused = test_host::heap().refused;
    for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
      refused += gbl_chunk_info[type].failed;
    }
    return refused;
  }
};

// Nothing started yet.
class zel_v6comp_request_before_start_test : public zel_v6comp_test {
 protected:
  void start() override {}
};

}  // namespace

// -- results

TEST_F(zel_v6comp_request_test, zero_prefixes_give_the_default_and_one_result_pair) {
  const answer a = ask({});
  ASSERT_EQ(a.status, 0u);
  ASSERT_EQ(a.prefs.size(), 1u);
  EXPECT_EQ(a.prefs[0].flags_tag, 1u << TM_PREFIX_TAG_SHIFT);
  EXPECT_EQ(a.prefs[0].own_node, 1u);
  EXPECT_EQ(a.prefs[0].length, 0);
  EXPECT_EQ(address_text(a.addrs[0].bytes), "::");
  EXPECT_EQ(zel_v6comp_instance(0, 0)->n_prefs, 1u);
}

TEST_F(zel_v6comp_request_test, result_prefixes_come_in_tag_order_and_addresses_in_list_order) {
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32", "fe80::/10", "2001:db8:1::/48"});
  const answer a = ask(records);
  ASSERT_EQ(a.status, 0u);
  ASSERT_EQ(a.prefs.size(), 5u) << "three, one anchor, the default";
  tcamv6_state *state = zel_v6comp_instance(0, 0);
  const std::vector<std::string> by_tag = {"2001:db8::/32", "fe80::/10", "2001:db8:1::/48", "2001:db8::/32", "::/0"};
  const std::vector<std::string> by_list = {"2001:db8:1::/48", "2001:db8::/32", "2001:db8::/32", "fe80::/10", "::/0"};
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(tm_prefix_tag(a.prefs[i].flags_tag), i + 1);
    tcamv6_cmpr_pref pref = {};
    tcamv6_cmpr_addr addr = {};
    const tcamv6_prefix asked = record_of(by_tag[i]);
    ASSERT_EQ(tcamv6_lookup_prefix(state, &asked, &pref, &addr), TM_OK);
    EXPECT_EQ(pref.length, a.prefs[i].length) << by_tag[i];
    EXPECT_EQ(std::memcmp(pref.key, a.prefs[i].key, 16), 0) << by_tag[i];
    const tcamv6_prefix listed = record_of(by_list[i]);
    ASSERT_EQ(tcamv6_lookup_prefix(state, &listed, &pref, &addr), TM_OK);
    EXPECT_EQ(std::memcmp(&addr, &a.addrs[i], 16), 0) << by_list[i];
  }
}

TEST_F(zel_v6comp_request_test, own_node_goes_to_the_first_of_equal_list_entries) {
  const answer a = ask(records_of({"2001:db8::/32", "2001:db8:1::/48"}));
  ASSERT_EQ(a.status, 0u);
  EXPECT_EQ(a.prefs[0].own_node, 0u) << "the anchor of the /48 stands before it in the list";
  EXPECT_EQ(a.prefs[2].own_node, 1u);
}

TEST_F(zel_v6comp_request_test, full_request_leaves_changed_untouched) {
  EXPECT_EQ(ask(records_of({"2001:db8::/32"})).changed, 77u);
}

TEST_F(zel_v6comp_request_test, changed_may_be_null) {
  const request_bytes request(0, 0, records_of({"2001:db8::/32"}));
  for (int round = 0; round < 2; ++round) {  // in full, then as a batch
    tcamv6_cmpr_pref *prefs = nullptr;
    tcamv6_cmpr_addr *addrs = nullptr;
    EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(request.get(), &prefs, &addrs, nullptr), 0u);
    zel_v6comp_free_compr_result(prefs, addrs);
  }
}

TEST_F(zel_v6comp_request_test, second_request_is_a_batch) {
  ASSERT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u);
  const answer batch = ask(records_of({"fe80::/10"}));
  ASSERT_EQ(batch.status, 0u);
  EXPECT_EQ(batch.prefs.size(), 1u) << "no default entry";
  EXPECT_NE(batch.changed, 77u);
  EXPECT_EQ(zel_v6comp_instance(0, 0)->n_prefs, 3u);
}

TEST_F(zel_v6comp_request_test, compress_without_results_brings_the_instance_up_to_date_and_keeps_no_block) {
  const request_bytes request(0, 1, records_of({"2001:db8::/32"}));
  const test_host::heap_counts before = test_host::heap();
  set_words(1, 0, 0);
  ASSERT_EQ(zel_v6comp_prefix_compress(request.get()), 0u);
  EXPECT_EQ(plain_log_lines().front(), function + "Starting pref_infp <ptr>");
  EXPECT_EQ(plain_log_lines().back(), "zel_v6comp_prefix_compress: Complete 0");
  EXPECT_EQ(test_host::heap().blocks, before.blocks);
  EXPECT_EQ(tcamv6_init_opt_done(zel_v6comp_instance(0, 1)), TM_OK);
}

TEST_F(zel_v6comp_request_test, compress_without_results_reports_a_failure_and_keeps_no_block) {
  const request_bytes request(0, 0, nested_records(65));
  const test_host::heap_counts before = test_host::heap();
  set_words(0, 0, 1);
  EXPECT_EQ(zel_v6comp_prefix_compress(request.get()), 75u);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{function + "optimized_compress() failed -75",
                                      "zel_v6comp_prefix_compress: zel_v6comp_prefix_compress_prefixes() failed 75"}));
  EXPECT_EQ(test_host::heap().blocks, before.blocks);
  EXPECT_EQ(zel_v6comp_prefix_compress(nullptr), 12u);
}

TEST_F(zel_v6comp_request_test, free_of_results_skips_null_arrays) {
  zel_v6comp_free_compr_result(nullptr, nullptr);
  zel_v6comp_free_compr_result(static_cast<tcamv6_cmpr_pref *>(zel_malloc_named(1, 40)), nullptr);
  zel_v6comp_free_compr_result(nullptr, static_cast<tcamv6_cmpr_addr *>(zel_malloc_named(1, 16)));
  EXPECT_EQ(test_host::heap().blocks, 1u);
}

// -- refusals

TEST_F(zel_v6comp_request_test, null_request_is_12_and_silent) {
  tcamv6_debug_flags = {1, 1, 1, 1, 1, 1};
  auto *prefs = reinterpret_cast<tcamv6_cmpr_pref *>(this);
  auto *addrs = reinterpret_cast<tcamv6_cmpr_addr *>(this);
  uint32_t changed = 5;
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(nullptr, &prefs, &addrs, &changed), 12u);
  EXPECT_TRUE(test_host::log_calls().empty());
  EXPECT_EQ(changed, 5u);
}

TEST_F(zel_v6comp_request_test, count_65534_is_accepted_and_65535_is_22) {
  pools_of larger(uint64_t{1} << 20);
  gbl_state_block *first = gbl_state;
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  zel_free_named(first);
  std::vector<tcamv6_prefix> records = sibling_records(65534, 32);
  records.push_back(record_of("fe80::/10"));
  set_words(0, 0, 1);
  EXPECT_EQ(ask(records).status, 22u);
  EXPECT_EQ(plain_log_lines(),
            std::vector<std::string>{function + "Number of prefix 65535 greater than maximum possible 65534"});
  EXPECT_EQ(test_host::pool_elements_granted(), 0u);
  records.pop_back();
  const answer a = ask(records);
  EXPECT_EQ(a.status, 0u);
  EXPECT_EQ(a.prefs.size(), 65535u);
  EXPECT_EQ(zel_v6comp_instance(0, 0)->n_prefs, 65535u);
}

TEST_F(zel_v6comp_request_test, count_is_compared_unsigned_and_before_all_else) {
  request_bytes request(-1, 99, {});
  request.set_count(0xFFFFFFFF);
  set_words(1, 1, 1);
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(request.get(), nullptr, nullptr, nullptr), 22u);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{function + "Starting pref_infp <ptr>",
                                      function + "Number of prefix 4294967295 greater than maximum possible 65534"}));
}

TEST_F(zel_v6comp_request_test, refusals_are_22_under_the_error_word_touch_nothing_and_clear_the_outputs) {
  const std::vector<tcamv6_prefix> good = records_of({"2001:db8::/32"});
  std::vector<tcamv6_prefix> too_long = good;
  too_long[0].length = 129;
  const struct {
    int32_t processor, instance;
    std::vector<tcamv6_prefix> records;
  } cases[] = {{-1, 0, good}, {4, 0, good},     {0, -1, good},
               {0, 2, good},  {0, 0, too_long}, {INT32_MIN, INT32_MAX, good}};
  const uint64_t granted = test_host::heap().allocations;
  for (const auto &one : cases) {
    const request_bytes request(one.processor, one.instance, one.records);
    auto *prefs = reinterpret_cast<tcamv6_cmpr_pref *>(this);
    auto *addrs = reinterpret_cast<tcamv6_cmpr_addr *>(this);
    uint32_t changed = 5;
    test_host::clear_log();
    set_words(1, 0, 1);
    EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(request.get(), &prefs, &addrs, &changed), 22u);
    EXPECT_EQ(prefs, nullptr);
    EXPECT_EQ(addrs, nullptr);
    EXPECT_EQ(changed, 5u);
    EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{function + "Starting pref_infp <ptr>",
                                                           "TM_PROCESSING " + function + "Bad arguments"}));
    test_host::clear_log();
    set_words(0, 1, 0);
    EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(request.get(), &prefs, &addrs, &changed), 22u);
    EXPECT_TRUE(test_host::log_calls().empty());
  }
  EXPECT_EQ(test_host::heap().allocations, granted);
}

TEST_F(zel_v6comp_request_test, processing_lines_are_three_calls) {
  const request_bytes request(9, 9, {});
  set_words(0, 0, 1);
  zel_v6comp_prefix_compress_prefixes(request.get(), nullptr, nullptr, nullptr);
  EXPECT_EQ(test_host::log_calls(), (std::vector<std::string>{"\nTM_PROCESSING ", function + "Bad arguments", "\n"}));
}

TEST_F(zel_v6comp_request_test, null_outputs_are_refused) {
  const request_bytes request(0, 0, records_of({"2001:db8::/32"}));
  auto *prefs = reinterpret_cast<tcamv6_cmpr_pref *>(this);
  auto *addrs = reinterpret_cast<tcamv6_cmpr_addr *>(this);
  uint32_t changed = 0;
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(request.get(), nullptr, &addrs, &changed), 22u);
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(request.get(), &prefs, nullptr, &changed), 22u);
  EXPECT_EQ(prefs, nullptr);
  EXPECT_EQ(addrs, nullptr);
  EXPECT_EQ(tcamv6_init_opt_done(zel_v6comp_instance(0, 0)), TM_ENOENT);
}

TEST_F(zel_v6comp_request_test, length_128_is_accepted_and_a_long_record_anywhere_refused) {
  EXPECT_EQ(ask(records_of({"2001:db8::1/128"})).status, 0u);
  std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32", "2001:db8::/33"});
  records[1].length = 255;
  EXPECT_EQ(ask(records, 0, 1).status, 22u);
  EXPECT_EQ(tcamv6_init_opt_done(zel_v6comp_instance(0, 1)), TM_ENOENT);
}

TEST_F(zel_v6comp_request_before_start_test, request_is_22) {
  EXPECT_EQ(ask(records_of({"2001:db8::/32"})).status, 22u);
  EXPECT_EQ(test_host::heap().allocations, 0u);
}

TEST_F(zel_v6comp_request_before_start_test, instance_outside_the_counts_is_22) {
  ASSERT_EQ(zel_v6comp_init_global_state(1, 2), 0u);
  EXPECT_EQ(ask({}, 1, 0).status, 0u);
  EXPECT_EQ(ask({}, 1, 1).status, 22u);
  EXPECT_EQ(ask({}, 2, 0).status, 22u);
}

TEST_F(zel_v6comp_request_test, kept_instance_is_22_until_it_is_cleared) {
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32"});
  ASSERT_EQ(ask(records).status, 0u);
  tcamv6_state *handle = zel_v6comp_instance(0, 0);
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  set_words(0, 0, 1);
  EXPECT_EQ(ask(records).status, 22u);
  EXPECT_TRUE(was_logged("TM_PROCESSING " + function + "Bad arguments"));
  EXPECT_EQ(ask(records, 0, 1).status, 0u) << "its neighbour serves";
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(ask(records).status, 0u);
  handle = zel_v6comp_instance(0, 0);
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  ASSERT_EQ(tcamv6_reset(&handle, 0), TM_OK);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(zel_v6comp_instance(0, 0)->max_cmpr_len, 64u) << "cleared with its limits, not released";
  EXPECT_EQ(ask(records).status, 0u);
}

TEST_F(zel_v6comp_request_test, refused_request_gives_nothing_back) {
  ASSERT_EQ(ask(nested_records(65)).status, 75u);
  const std::vector<uint32_t> left = allocated();
  EXPECT_EQ(ask({}, 9, 0).status, 22u);
  EXPECT_EQ(allocated(), left);
}

// -- failures

TEST_F(zel_v6comp_request_test, refused_list_is_12_with_both_messages) {
  set_words(0, 1, 0);
  test_host::fail_heap_allocation(1);
  const answer a = ask(records_of({"2001:db8::/32"}));
  EXPECT_EQ(a.status, 12u);
  EXPECT_FALSE(a.has_prefs || a.has_addrs);
  EXPECT_EQ(plain_log_lines()[plain_log_lines().size() - 2], "tcamv6_build_prefix_list: malloc(80 bytes) failed");
  EXPECT_EQ(plain_log_lines().back(), "TM_PROCESSING " + function + "failed to build prefix list");
}

TEST_F(zel_v6comp_request_test, refused_results_are_12_and_the_first_array_stays_with_the_caller) {
  set_words(0, 1, 0);
  test_host::fail_heap_allocation(2);
  answer a = ask(records_of({"2001:db8::/32"}));
  EXPECT_EQ(a.status, 12u);
  EXPECT_FALSE(a.has_prefs || a.has_addrs);
  EXPECT_EQ(plain_log_lines().back(), "TM_PROCESSING " + function + "calloc(80 bytes) failed");
  EXPECT_EQ(test_host::last_heap_tag(), 1u);
  test_host::fail_heap_allocation(3);
  a = ask(records_of({"2001:db8::/32"}));
  EXPECT_EQ(a.status, 12u);
  EXPECT_TRUE(a.has_prefs);
  EXPECT_FALSE(a.has_addrs);
  EXPECT_EQ(plain_log_lines().back(), "TM_PROCESSING " + function + "calloc(32 bytes) failed");
  EXPECT_EQ(test_host::heap().blocks, 1u);
}

TEST_F(zel_v6comp_request_test, failed_compression_hands_both_arrays_back) {
  set_words(0, 0, 1);
  const answer a = ask(nested_records(65));
  EXPECT_EQ(a.status, 75u);
  EXPECT_TRUE(a.has_prefs && a.has_addrs);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{function + "optimized_compress() failed -75"});
}

TEST_F(zel_v6comp_request_test, failed_batch_is_reported_and_positive) {
  ASSERT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u);
  set_words(0, 0, 1);
  const answer a = ask({record_of("2001:db8::/32", 9, 0)});  // more weight than is stored
  EXPECT_EQ(a.status, 22u);
  EXPECT_EQ(plain_log_lines().back(), function + "incremental_compress() failed -22");
}

TEST_F(zel_v6comp_request_test, chain_of_64_fits_and_65_is_75_through_a_request_too) {
  EXPECT_EQ(ask(nested_records(64)).status, 0u);
  EXPECT_EQ(ask(nested_records(65), 1, 0).status, 75u);
}

TEST_F(zel_v6comp_request_test, request_after_a_failed_one_runs_in_full_and_succeeds) {
  const std::vector<tcamv6_prefix> good = records_of({"2001:db8::/32", "2001:db8:1::/48"});
  ASSERT_EQ(ask(nested_records(65)).status, 75u);
  EXPECT_EQ(tcamv6_init_opt_done(zel_v6comp_instance(0, 0)), TM_ENOENT);
  const answer after = ask(good);
  EXPECT_EQ(after.status, 0u);
  EXPECT_EQ(after.prefs.size(), 4u);
  const std::vector<uint32_t> once = allocated();
  EXPECT_TRUE(same_results(after, ask(good, 3, 1)));
  reset_all();
  ASSERT_EQ(ask(good).status, 0u);
  EXPECT_EQ(allocated(), once) << "the failure left nothing behind";
}

TEST_F(zel_v6comp_request_test, table_too_large_for_the_pools_does_not_poison_them) {
  const std::vector<tcamv6_prefix> large = sibling_records(20000, 64);
  const std::vector<tcamv6_prefix> good = records_of({"2001:db8::/32", "2001:db8:1::/48"});
  for (int round = 0; round < 20; ++round) {
    ASSERT_EQ(ask(large, round % 4, 0).status, 12u);
    ASSERT_EQ(ask(good, round % 4, 1).status, 0u) << "of another instance";
    ASSERT_EQ(zel_v6comp_reset_instance(round % 4, 1), 0u);
    ASSERT_EQ(allocated(), std::vector<uint32_t>(TM_CHUNK_TYPES, 0)) << round;
  }
}

TEST_F(zel_v6comp_request_test, every_refused_allocation_leaves_the_next_request_whole) {
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32", "2001:db8:1::/48", "fe80::1/128"});
  const answer expected = ask(records, 3, 1);
  ASSERT_EQ(expected.status, 0u);
  for (const bool pool : {false, true}) {
    uint64_t refusals = 0;
    uint64_t seen = 1;
    for (uint64_t k = 1; seen != 0; ++k) {
      const uint64_t before = refusals_so_far();
      pool ? test_host::fail_pool_element(k) : test_host::fail_heap_allocation(k);
      const answer a = ask(records);
      test_host::fail_pool_element(0);
      test_host::fail_heap_allocation(0);
      seen = refusals_so_far() - before;
      refusals += seen;
      if (a.status != 0) {
        ASSERT_EQ(a.status, 12u);
        ASSERT_TRUE(same_results(ask(records), expected)) << k;
      } else {
        ASSERT_TRUE(same_results(a, expected)) << k << ": a refused scratch block may cost time only";
      }
      ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    }
    EXPECT_GT(refusals, pool ? 200u : 8u);
  }
}

// -- instances

TEST_F(zel_v6comp_request_test, instances_hold_tables_of_their_own) {
  std::vector<answer> answers;
  for (int32_t i = 0; i < 8; ++i) {
    answers.push_back(ask(sibling_records(10 + static_cast<uint32_t>(i), 56), i / 2, i % 2));
    ASSERT_EQ(answers.back().status, 0u);
  }
  for (int32_t i = 0; i < 8; ++i) {
    EXPECT_EQ(zel_v6comp_instance(i / 2, i % 2)->n_prefs, 10u + static_cast<uint32_t>(i) + 3u);
  }
  ASSERT_EQ(zel_v6comp_reset_instance(1, 1), 0u);
  ASSERT_EQ(ask(nested_records(65), 1, 1).status, 75u);
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  for (int32_t i = 0; i < 8; ++i) {
    const std::vector<tcamv6_prefix> records = sibling_records(10 + static_cast<uint32_t>(i), 56);
    for (size_t k = 0; k < records.size(); ++k) {
      const int32_t found = tcamv6_lookup_prefix(zel_v6comp_instance(i / 2, i % 2), &records[k], &pref, &addr);
      ASSERT_EQ(found, i == 3 ? TM_EINVAL : TM_OK);
      if (found == TM_OK) {
        const tcamv6_cmpr_pref &expected = answers[static_cast<size_t>(i)].prefs[k];
        EXPECT_EQ(std::memcmp(pref.key, expected.key, 16), 0);
        EXPECT_EQ(pref.length, expected.length);
      }
    }
  }
}

TEST_F(zel_v6comp_request_test, thousand_fills_and_resets_lose_no_element_and_no_heap_byte) {
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32", "2001:db8:1::/48", "fe80::1/128"});
  const test_host::heap_counts before = test_host::heap();
  const answer first = ask(records);
  const std::vector<uint32_t> filled = allocated();
  for (int round = 0; round < 1000; ++round) {
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    ASSERT_EQ(allocated(), std::vector<uint32_t>(TM_CHUNK_TYPES, 0)) << round;
    ASSERT_EQ(test_host::heap().bytes, before.bytes);
    ASSERT_TRUE(same_results(ask(records), first)) << round;
    ASSERT_EQ(allocated(), filled);
  }
  EXPECT_EQ(test_host::heap().blocks, before.blocks);
}

// -- the log as a whole

TEST_F(zel_v6comp_request_test, whole_log_of_a_small_table_and_its_dump) {
  const std::vector<std::string> expected = lines_of_file("tests/golden/full_small.log");
  tcamv6_debug_flags = {1, 1, 1, 1, 1, 1};
  ASSERT_EQ(ask(records_of({"2001:db8::/32", "2001:db8:1::/48", "2001:db8:1::/48", "fe80::1/128"})).status, 0u);
  uint32_t count = 0;
  tm_incr_update_entry *list = nullptr;
  ASSERT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), 0u);
  const std::vector<std::string> lines = plain_log_lines();
  for (size_t i = 0; i < std::min(lines.size(), expected.size()); ++i) {
    ASSERT_EQ(lines[i], expected[i]) << "line " << i;
  }
  EXPECT_EQ(lines.size(), expected.size());
}

TEST_F(zel_v6comp_request_test, whole_log_of_a_table_that_needs_65_bits) {
  const std::vector<std::string> expected = lines_of_file("tests/golden/full_overflow.log");
  tcamv6_debug_flags = {1, 1, 1, 1, 1, 1};
  ASSERT_EQ(ask(nested_records(65)).status, 75u);
  const std::vector<std::string> lines = plain_log_lines();
  for (size_t i = 0; i < std::min(lines.size(), expected.size()); ++i) {
    ASSERT_EQ(lines[i], expected[i]) << "line " << i;
  }
  EXPECT_EQ(lines.size(), expected.size());
}
