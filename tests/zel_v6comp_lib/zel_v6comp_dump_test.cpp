// SPDX-License-Identifier: Apache-2.0
// An instance's table as a sorted, printed update list.
#include "zel_v6comp_fixture.h"

namespace {

const std::string function = "zel_v6comp_sort_and_dump_prefix: ";

class zel_v6comp_dump_test : public zel_v6comp_test {
 protected:
  uint32_t dump(int32_t processor = 0, int32_t instance = 0) {
    return zel_v6comp_sort_and_dump_prefix(processor, instance, &count, &list);
  }

  uint32_t count = 99;
  tm_incr_update_entry *list = nullptr;
};

// Room for tables of real size.
class zel_v6comp_dump_large_test : public zel_v6comp_dump_test {
 protected:
  pools_of pools{uint64_t{1} << 20};
};

class zel_v6comp_dump_before_start_test : public zel_v6comp_dump_test {
 protected:
  void start() override {}
};

std::string hex(const uint8_t *bytes, size_t n) {
  std::string text;
  for (size_t i = 0; i < n; ++i) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", bytes[i]);
    text += two;
  }
  return text;
}

}  // namespace

TEST_F(zel_v6comp_dump_test, instance_that_was_never_compressed_is_0_with_count_0_and_says_so) {
  tcamv6_debug_flags.info = 1;
  EXPECT_EQ(dump(), 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(test_host::log_calls(),
            (std::vector<std::string>{"\nTM_PROCESSING ",
                                      function + "failed to get number of prefixes in table 0 (got 0)", "\n"}));
  test_host::clear_log();
  tcamv6_debug_flags.info = 0;
  EXPECT_EQ(dump(), 0u);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(zel_v6comp_dump_test, rows_are_sorted_longest_first_with_state_insert) {
  ASSERT_EQ(ask(records_of({"fe80::/10", "2001:db8:1::/48", "2001:db8:2:3::/64", "2001:db8::/32"})).status, 0u);
  ASSERT_EQ(dump(), 0u);
  ASSERT_EQ(count, 5u);
  tcamv6_state *state = zel_v6comp_instance(0, 0);
  ASSERT_EQ(list, state->entries);
  EXPECT_EQ(state->count, 5u);
  const char *const expected[] = {"2001:db8:2:3::/64", "2001:db8:1::/48", "2001:db8::/32", "fe80::/10", "::/0"};
  for (uint32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(masked_text(list[i].prefix, list[i].length), expected[i]);
    EXPECT_EQ(list[i].state, static_cast<uint32_t>(TM_INCR_INSERT));
    const tcamv6_prefix prefix = record_of(expected[i]);
    tcamv6_cmpr_pref pref = {};
    tcamv6_cmpr_addr addr = {};
    ASSERT_EQ(tcamv6_lookup_prefix(state, &prefix, &pref, &addr), TM_OK);
    EXPECT_EQ(std::memcmp(list[i].cmpr_addr, addr.bytes, 8), 0) << expected[i];
  }
}

TEST_F(zel_v6comp_dump_test, anchors_only_prefixes_have_no_row) {
  ASSERT_EQ(ask(records_of({"2001:db8::1/128"})).status, 0u);
  ASSERT_EQ(dump(), 0u);
  EXPECT_EQ(count, 2u);
}

TEST_F(zel_v6comp_dump_test, list_is_printed_under_the_hardware_word) {
  ASSERT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u);
  tcamv6_debug_flags = {0, 0, 0, 0, 0, 1};
  ASSERT_EQ(dump(), 0u);
  const std::vector<std::string> lines = plain_log_lines();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[0], "tm_show_incremental_update_prefixes: starts");
  EXPECT_EQ(lines[1], "Insert: Original 20010db8:00000000:00000000:00000000 / 32");
  EXPECT_EQ(lines[3], "Insert: Original 00000000:00000000:00000000:00000000 / 0");
  EXPECT_EQ(lines[5], "tm_show_incremental_update_prefixes: ends");
}

TEST_F(zel_v6comp_dump_test, each_refused_table_is_12_and_the_others_are_given_back) {
  ASSERT_EQ(ask(records_of({"2001:db8:1::/48"})).status, 0u);
  tcamv6_debug_flags = {0, 0, 1, 0, 0, 0};
  for (uint64_t k = 1; k <= 3; ++k) {
    test_host::clear_log();
    test_host::fail_heap_allocation(k);
    EXPECT_EQ(dump(), 12u);
    EXPECT_EQ(plain_log_lines(), std::vector<std::string>{function + "failed to calloc table for 3 prefixes"});
    EXPECT_EQ(test_host::heap().blocks, 1u);
  }
  EXPECT_EQ(dump(), 0u);
  EXPECT_EQ(test_host::heap().blocks, 1u);
}

TEST_F(zel_v6comp_dump_test, walk_that_fails_is_reported_and_positive) {
  ASSERT_EQ(ask(records_of({"2001:db8::/32", "fe80::/10"})).status, 0u);
  tcamv6_state *state = zel_v6comp_instance(0, 0);
  state->n_prefs = 1;
  tcamv6_debug_flags = {0, 1, 0, 0, 0, 0};
  EXPECT_EQ(dump(), 22u) << "the second child finds no room";
  EXPECT_EQ(plain_log_lines()[plain_log_lines().size() - 2], "tcamv6_dump_cmpr_tbl: internal table dump failed -22");
  EXPECT_EQ(plain_log_lines().back(), "TM_PROCESSING " + function + "failed to retrieve compression table -22");
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(test_host::heap().blocks, 1u);
  state->n_prefs = 3;
}

TEST_F(zel_v6comp_dump_test, subtree_with_too_many_rows_is_14) {
  ASSERT_EQ(ask(records_of({"2001:db8::/32", "2001:db8:1::/40"})).status, 0u);
  tcamv6_state *state = zel_v6comp_instance(0, 0);
  auto *root = tm_ptr<tm_n_ary_node>(state->anc_root);
  auto *upper = tm_ptr<tm_n_ary_node>(root->child);
  auto *lower = tm_ptr<tm_n_ary_node>(upper->child);
  const tm_chunk_idx dummy = lower->sibling;
  lower->sibling = TM_CHUNK_IDX_NULL;  // without the dummy behind it the /32 counts its own row
  state->n_prefs = 1;
  tcamv6_debug_flags = {0, 1, 0, 0, 0, 0};
  EXPECT_EQ(dump(), 14u);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{"tcamv6_dump_tree_int: ERROR tree contains extra prefix",
                                      "tcamv6_dump_cmpr_tbl: internal table dump failed -14",
                                      "TM_PROCESSING " + function + "failed to retrieve compression table -14"}));
  lower->sibling = dummy;
  state->n_prefs = 3;
}

TEST_F(zel_v6comp_dump_test, instance_off_the_grid_kept_or_failed_is_22_with_count_0) {
  ASSERT_EQ(ask(nested_records(65), 2, 1).status, 75u);
  ASSERT_EQ(ask({}, 3, 0).status, 0u);
  tcamv6_state *handle = zel_v6comp_instance(3, 0);
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  const int32_t cases[][2] = {{-1, 0}, {4, 0}, {0, 2}, {2, 1}, {3, 0}};
  for (const auto &at : cases) {
    count = 99;
    test_host::clear_log();
    tcamv6_debug_flags = {0, 1, 0, 0, 0, 0};
    EXPECT_EQ(dump(at[0], at[1]), 22u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(plain_log_lines(),
              (std::vector<std::string>{
                  "tcamv6_dump_n_prefixes: Bad arguments",
                  "TM_PROCESSING " + function + "failed to get number of prefixes in table -22 (got 0)"}));
  }
  EXPECT_EQ(list, nullptr);
}

TEST_F(zel_v6comp_dump_before_start_test, no_global_state_is_22_with_count_0) {
  EXPECT_EQ(dump(), 22u);
  EXPECT_EQ(count, 0u);
}

TEST_F(zel_v6comp_dump_test, null_outputs_are_22) {
  EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, nullptr, &list), 22u);
  EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, nullptr), 22u);
  EXPECT_EQ(count, 99u);
}

TEST_F(zel_v6comp_dump_large_test, list_takes_32000_rows) {
  ASSERT_EQ(ask(sibling_records(31999, 32)).status, 0u);
  ASSERT_EQ(dump(), 0u);
  EXPECT_EQ(count, 32000u);
  EXPECT_EQ(list[0].length, 32);
  EXPECT_EQ(list[31999].length, 0);
}

TEST_F(zel_v6comp_dump_large_test, table_of_32001_rows_is_12_with_the_rows_and_leaves_the_list_alone) {
  ASSERT_EQ(ask(sibling_records(32000, 32)).status, 0u);
  tcamv6_state *state = zel_v6comp_instance(0, 0);
  state->count = 5;
  state->entries[0].length = 77;
  tcamv6_debug_flags = {0, 1, 1, 0, 0, 0};
  EXPECT_EQ(dump(), 12u);
  EXPECT_EQ(count, 32001u);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(state->count, 5u);
  EXPECT_EQ(state->entries[0].length, 77);
  EXPECT_EQ(test_host::log_calls(),
            (std::vector<std::string>{function + "32001 prefixes exceed the update list", "\n"}));
  EXPECT_EQ(test_host::heap().blocks, 1u);
}

TEST_F(zel_v6comp_dump_large_test, real_tables_come_out_as_recorded) {
  for (const std::string name : {"dc_wikimedia_144", "op_china_1641"}) {
    const std::vector<tcamv6_prefix> records = records_of(lines_of_file("examples/tables/" + name + ".txt"));
    ASSERT_EQ(ask(records).status, 0u);
    tcamv6_state *state = zel_v6comp_instance(0, 0);
    std::vector<tcamv6_prefix> orig(state->n_prefs);
    std::vector<tcamv6_cmpr_pref> cmpr(state->n_prefs);
    std::vector<tcamv6_cmpr_addr> addrs(state->n_prefs);
    uint32_t rows = 0;
    ASSERT_EQ(tcamv6_dump_cmpr_tbl(state, static_cast<int32_t>(state->n_prefs), orig.data(), cmpr.data(), addrs.data(),
                                   &rows),
              TM_OK);
    const std::vector<std::string> expected = lines_of_file("tests/golden/full_" + name + ".rows");
    ASSERT_EQ(rows, expected.size());
    for (uint32_t i = 0; i < rows; ++i) {
      ASSERT_EQ(text_of(orig[i]) + " " + hex(cmpr[i].key, 16) + "/" + std::to_string(cmpr[i].length) + " " +
                    hex(addrs[i].bytes, 8),
                expected[i]);
    }
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  }
}
