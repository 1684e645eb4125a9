// SPDX-License-Identifier: Apache-2.0
// What a host does with a plan: find a run, confirm it, reorder, print.
#include "tm_incr_update_fixture.h"

namespace {

using u32s = std::vector<uint32_t>;
using ints = std::vector<int>;
using lines = std::vector<std::string>;

struct run {
  uint32_t found, first, last;
  bool operator==(const run &) const = default;
};

std::ostream &operator<<(std::ostream &out, const run &r) {
  return out << "{" << r.found << ", " << r.first << ", " << r.last << "}";
}

run find(tm_incr_update_list *list, uint32_t first_index, uint32_t state, uint32_t limit) {
  run r = {77, 77, 77};
  EXPECT_EQ(tm_build_incremental_update_hw_requests_find_entries(list, first_index, &r.first, &r.last, &r.found, state,
                                                                 limit),
            0);
  return r;
}

// -- find

TEST_F(tm_incr_update, a_run_is_cut_at_the_limit) {
  put_states({3, 3, 3, 1});
  EXPECT_EQ(find(list.get(), 0, 3, 2), (run{1, 0, 1}));
  EXPECT_EQ(find(list.get(), 2, 3, 2), (run{1, 2, 2}));
}

TEST_F(tm_incr_update, a_run_ends_at_another_state_or_at_the_last_used_slot) {
  put_states({1, 3, 3, 1, 3, 3});
  EXPECT_EQ(find(list.get(), 0, 3, 100), (run{1, 1, 2}));
  EXPECT_EQ(find(list.get(), 3, 3, 100), (run{1, 4, 5}));
}

TEST_F(tm_incr_update, a_found_run_has_one_slot_even_for_limit_0) {
  put_states({1, 3, 3});
  EXPECT_EQ(find(list.get(), 0, 3, 0), (run{1, 1, 1}));
}

TEST_F(tm_incr_update, without_a_run_last_is_the_last_used_slot) {
  put_states({1, 1, 1});
  EXPECT_EQ(find(list.get(), 0, 3, 5), (run{0, 0, 2}));
}

TEST_F(tm_incr_update, a_search_from_behind_the_used_slots_ends_before_its_start) {
  put_states({3, 3});
  EXPECT_EQ(find(list.get(), 2, 3, 5), (run{0, 0, 1}));
  EXPECT_EQ(find(list.get(), 9, 3, 5), (run{0, 0, 8}));
}

TEST_F(tm_incr_update, a_search_in_an_empty_list_wraps_last_before_slot_0) {
  EXPECT_EQ(find(list.get(), 0, 3, 5), (run{0, 0, 0xFFFFFFFF}));
}

TEST_F(tm_incr_update, a_free_slot_among_the_used_ones_can_be_searched) {
  put_states({1, 0, 0, 1});
  EXPECT_EQ(find(list.get(), 0, 0, 5), (run{1, 1, 2}));
}

TEST_F(tm_incr_update, a_search_prints_two_lines_under_result_hw) {
  put_states({1, 4, 1});
  tcamv6_debug_flags.result_hw = 1;
  find(list.get(), 0, 4, 7);
  find(list.get(), 1, 9, 7);
  EXPECT_EQ(test_host::log_text(),
            "tm_build_incremental_update_hw_requests_find_entries: first_index 0 limit 7 Update\n"
            "tm_build_incremental_update_hw_requests_find_entries: found Y first 1 last 1\n"
            "tm_build_incremental_update_hw_requests_find_entries: first_index 1 limit 7 Unknown\n"
            "tm_build_incremental_update_hw_requests_find_entries: found N first 0 last 2\n");
  EXPECT_EQ(test_host::log_calls().size(), 8u) << "each line and each line end is a call of its own";
}

// -- confirm

TEST_F(tm_incr_update, a_confirmed_delete_frees_only_as_many_slots_as_asked) {
  put_states({2, 1, 2});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 1, TM_INCR_DELETE), 0);
  EXPECT_EQ(states(3), (u32s{0, 1, 2}));
}

TEST_F(tm_incr_update, slots_of_other_states_are_passed_over_and_not_counted) {
  put_states({1, 3, 4, 3, 3});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 2, TM_INCR_INSERT), 0);
  EXPECT_EQ(states(5), (u32s{1, 1, 4, 1, 3}));
}

TEST_F(tm_incr_update, a_confirmed_update_is_in_hardware) {
  put_states({4, 4});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 1, 1, TM_INCR_UPDATE), 0);
  EXPECT_EQ(states(2), (u32s{4, 1}));
}

TEST_F(tm_incr_update, confirming_reaches_behind_first_plus_n) {
  put_states({1, 1, 2, 2});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 2, TM_INCR_DELETE), 0);
  EXPECT_EQ(states(4), (u32s{1, 1, 0, 0}));
}

TEST_F(tm_incr_update, confirming_states_that_are_not_pending_changes_nothing) {
  put_states({0, 1, 2, 3, 4, 7});
  for (const uint32_t state : {0u, 1u, 7u}) {
    EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 6, state), 0);
  }
  EXPECT_EQ(states(6), (u32s{0, 1, 2, 3, 4, 7}));
}

TEST_F(tm_incr_update, confirming_no_slots_succeeds_and_changes_nothing) {
  put_states({3, 3});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 0, TM_INCR_INSERT), 0);
  EXPECT_EQ(tm_clear_pending_state(list.get(), 2, 0, TM_INCR_INSERT), 0);
  EXPECT_EQ(states(2), (u32s{3, 3}));
}

TEST_F(tm_incr_update, confirming_beyond_the_count_is_refused) {
  put_states({3, 3});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 3, TM_INCR_INSERT), -22);
  EXPECT_EQ(tm_clear_pending_state(list.get(), 3, 0, TM_INCR_INSERT), -22);
  EXPECT_EQ(states(2), (u32s{3, 3}));
}

// -- reorder

TEST_F(tm_incr_update, a_reorder_adds_takes_off_and_sorts) {
  put(0, {0x10}, 8, 0, TM_INCR_INVALID);
  put(1, {0x40}, 16, 0, TM_INCR_IN_HW);
  put(2, {0x30}, 16, 0, TM_INCR_IN_HW);
  put(3, {0x50}, 48, 0, TM_INCR_IN_HW);
  put(4, {0x51}, 48, 0, TM_INCR_IN_HW);
  list->count = 3;
  // keep-count 0: the freed slot is counted in before the sort, and taken off after it
  EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 1, 1, 0), 4u);
  EXPECT_EQ(list->count, 4u);
  EXPECT_EQ(first_bytes(5), (ints{0x50, 0x51, 0x30, 0x40, 0x10}));
}

TEST_F(tm_incr_update, a_reorder_that_keeps_the_count_only_takes_off_the_freed_slots) {
  put(0, {0x10}, 8, 0, TM_INCR_INVALID);
  put(1, {0x40}, 16, 0, TM_INCR_IN_HW);
  put(2, {0x30}, 16, 0, TM_INCR_IN_HW);
  list->count = 3;
  EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 1, 1, 1), 2u);
  EXPECT_EQ(list->count, 2u);
  EXPECT_EQ(first_bytes(3), (ints{0x30, 0x40, 0x10}));
}

TEST_F(tm_incr_update, a_reorder_returns_where_the_run_sort_stopped) {
  put(0, {0x50}, 48, 0, TM_INCR_IN_HW);
  put(1, {0x40}, 32, 0, TM_INCR_IN_HW);
  put(2, {0x30}, 32, 0, TM_INCR_IN_HW);
  put(3, {0x20}, 16, 0, TM_INCR_IN_HW);
  list->count = 4;
  EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 0, 0, 1), 2u);
  EXPECT_EQ(first_bytes(4), (ints{0x50, 0x40, 0x30, 0x20}));
}

TEST_F(tm_incr_update, a_plan_can_be_driven_to_its_end) {
  put(0, {0x20, 0x01}, 16, 1, TM_INCR_IN_HW);
  put(1, {0x30}, 8, 2, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x20, 0x01}, 16, 9);
  table.add({0x20, 0x01, 0x0D}, 24, 4);
  build(table, 2);
  ASSERT_EQ(states(3), (u32s{4, 2, 3}));
  EXPECT_EQ(find(list.get(), 0, TM_INCR_DELETE, 8), (run{1, 1, 1}));
  EXPECT_EQ(tm_clear_pending_state(list.get(), 1, 1, TM_INCR_DELETE), 0);
  tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 1, list->n_insert, 0);
  // the freed slot has gone behind the inserted one, and is not counted any more
  EXPECT_EQ(list->count, 3u);
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 1, TM_INCR_INSERT), 0);
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0, 2, TM_INCR_UPDATE), 0);
  EXPECT_EQ(lengths(2), (ints{24, 16}));
  EXPECT_EQ(states(3), (u32s{1, 1, 0}));
  build(table, 2);
  EXPECT_EQ(corrupted, 0u);
  EXPECT_EQ(states(3), (u32s{1, 1, 0}));
}

// -- print

TEST_F(tm_incr_update, a_list_is_printed_without_its_free_and_unknown_slots) {
  put(0, {0x20, 0x01, 0x0D, 0xB8, 0xAA}, 48, 0xC1, TM_INCR_IN_HW);
  put(1, {}, 0, 0, TM_INCR_INVALID);
  put(2, {0x20}, 8, 0xC2, TM_INCR_DELETE);
  put(3, {0x30}, 8, 0xC3, 5);
  put(4, {0x40}, 8, 0xC4, TM_INCR_INSERT);
  put(5, {}, 0, 0xC5, TM_INCR_UPDATE);
  for (uint8_t i = 0; i < 8; ++i) {
    list->entries[5].cmpr_addr[i] = static_cast<uint8_t>(0xF0 + i);
  }
  put(6, {0x60}, 8, 0xC6, TM_INCR_IN_HW);
  list->count = 6;
  tcamv6_debug_flags.result_hw = 1;
  EXPECT_EQ(tm_show_incremental_update_prefixes(list.get()), 0);
  EXPECT_EQ(test_host::log_text(),
            "tm_show_incremental_update_prefixes: starts\n"
            "In HW: Original 20010db8:aa000000:00000000:00000000 / 48\n"
            "Cmpr Addr c10000:00000000\n"
            "Delete: Original 20000000:00000000:00000000:00000000 / 8\n"
            "Cmpr Addr c20000:00000000\n"
            "Insert: Original 40000000:00000000:00000000:00000000 / 8\n"
            "Cmpr Addr c40000:00000000\n"
            "Update: Original 00000000:00000000:00000000:00000000 / 0\n"
            "Cmpr Addr f0f1f2:f3f4f5f6\n"
            "tm_show_incremental_update_prefixes: ends\n");
  EXPECT_EQ(test_host::log_calls().size(), 20u);
}

TEST_F(tm_incr_update, nothing_is_printed_while_result_hw_is_off) {
  tcamv6_debug_flags = {1, 1, 1, 1, 1, 0};
  plan_table table;
  table.add({0x40}, 8, 4);
  build(table, 3);
  EXPECT_EQ(corrupted, 1u);
  find(list.get(), 0, 3, 3);
  tm_show_incremental_update_prefixes(list.get());
  EXPECT_EQ(test_host::log_text(), "");
}

TEST_F(tm_incr_update, a_size_mismatch_prints_both_numbers_and_the_build_prints_the_list) {
  put_states({1, 1, 3});
  tcamv6_debug_flags.result_hw = 1;
  build(plan_table(), 3);
  EXPECT_EQ(test_host::log_text(),
            "tm_prepare_incremental_update_prefixes_list_initial: Sizes don't match 2 3\n"
            "tm_prepare_incremental_update_prefixes_list_initial: region corrupted\n"
            "tm_show_incremental_update_prefixes: starts\n"
            "Delete: Original 00000000:00000000:00000000:00000000 / 0\n"
            "Cmpr Addr 000000:00000000\n"
            "tm_show_incremental_update_prefixes: ends\n");
}

TEST_F(tm_incr_update, a_build_prints_the_used_slots_but_not_the_inserts_behind_the_count) {
  tcamv6_debug_flags.result_hw = 1;
  plan_table table;
  table.add({0x40}, 8, 4);
  build(table, 0);
  EXPECT_EQ(test_host::log_text(),
            "tm_show_incremental_update_prefixes: starts\n"
            "tm_show_incremental_update_prefixes: ends\n");
}

// -- orders

TEST_F(tm_incr_update, the_orders_of_slots_have_the_qsort_shape) {
  put(0, {0x20}, 48, 0, TM_INCR_IN_HW);
  put(1, {0x30}, 64, 0, TM_INCR_INVALID);
  put(2, {0x31}, 64, 0, TM_INCR_UPDATE);
  const tm_incr_update_entry *e = list->entries;
  const auto by_length = tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f;
  const auto by_state = tm_prepare_incremental_update_prefixes_list_cmp_state_f;
  const auto by_prefix = tm_prepare_incremental_update_prefixes_list_cmp_prefix_f;
  EXPECT_EQ(by_length(&e[0], &e[1]), 16);
  EXPECT_EQ(by_length(&e[1], &e[0]), -16);
  EXPECT_EQ(by_length(&e[1], &e[2]), 0);
  EXPECT_LT(by_state(&e[0], &e[1]), 0);
  EXPECT_GT(by_state(&e[1], &e[2]), 0);
  EXPECT_EQ(by_state(&e[0], &e[2]), 0);
  EXPECT_EQ(by_prefix(&e[0], &e[1]), 16);
  EXPECT_EQ(by_prefix(&e[1], &e[2]), -1);
  EXPECT_EQ(by_prefix(&e[1], &e[1]), 0);
}

}  // namespace
