// SPDX-License-Identifier: Apache-2.0
// The build of a plan: what becomes Delete, Update and Insert, and what the check before it does.
#include <chrono>
#include <numeric>

#include "tm_incr_update_fixture.h"

namespace {

using testing::Test;
using u32s = std::vector<uint32_t>;
using ints = std::vector<int>;

TEST_F(tm_incr_update, an_empty_table_deletes_every_used_slot_and_inserts_nothing) {
  put(0, {0x20, 0x01}, 16, 1, TM_INCR_IN_HW);
  put(1, {0x30}, 8, 2, TM_INCR_UPDATE);
  list->n_insert = 5;
  EXPECT_EQ(tm_build_incremental_update_prefixes_list(list.get(), nullptr, nullptr, nullptr, 0, 2, &corrupted, 0), 0);
  EXPECT_EQ(states(3), (u32s{2, 2, 0}));
  EXPECT_EQ(list->count, 2u);
  EXPECT_EQ(list->n_insert, 0u);
  EXPECT_EQ(corrupted, 0u);
}

TEST_F(tm_incr_update, an_unchanged_table_changes_no_state_and_appends_nothing) {
  put(0, {0x20, 0x01}, 16, 1, TM_INCR_IN_HW);
  put(1, {0x30}, 8, 2, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x30}, 8, 2);
  table.add({0x20, 0x01}, 16, 1);
  build(table, 2);
  EXPECT_EQ(states(3), (u32s{1, 1, 0}));
  EXPECT_EQ(list->n_insert, 0u);
}

TEST_F(tm_incr_update, force_updates_every_matched_slot_even_when_its_address_is_unchanged) {
  put(0, {0x20, 0x01}, 16, 1, TM_INCR_IN_HW);
  put(1, {0x30}, 8, 2, TM_INCR_IN_HW);
  put(2, {0x40}, 8, 3, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x30}, 8, 2);
  table.add({0x20, 0x01}, 16, 1);
  build(table, 3, true);
  EXPECT_EQ(states(4), (u32s{4, 4, 2, 0}));
}

TEST_F(tm_incr_update, a_changed_address_is_taken_over_and_the_slot_becomes_update) {
  put(0, {0x20, 0x01}, 16, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x20, 0x01}, 16, 9);
  build(table, 1);
  EXPECT_EQ(states(1), (u32s{4}));
  EXPECT_EQ(list->entries[0].cmpr_addr[0], 9);
}

TEST_F(tm_incr_update, only_seven_bytes_of_the_address_are_compared_and_taken_over_but_eight_are_inserted) {
  put(0, {0x20}, 8, 1, TM_INCR_IN_HW);
  put(1, {0x30}, 8, 2, TM_INCR_IN_HW);
  list->entries[0].cmpr_addr[7] = 0x55;
  list->entries[1].cmpr_addr[7] = 0x66;
  plan_table table;
  table.add({0x20}, 8, 1);
  table.add({0x30}, 8, 3);
  table.add({0x40}, 8, 4);
  for (tcamv6_cmpr_addr &addr : table.cmpr_addrs) {
    addr.bytes[7] = 0xAA;
    addr.bytes[8] = 0xBB;
  }
  std::memset(list->entries[2].reserved, 0xEE, 3);
  build(table, 2);
  EXPECT_EQ(states(3), (u32s{1, 4, 3}));
  EXPECT_EQ(list->entries[0].cmpr_addr[7], 0x55);
  EXPECT_EQ(list->entries[1].cmpr_addr[7], 0x66);
  EXPECT_EQ(list->entries[2].cmpr_addr[7], 0xAA);
  EXPECT_EQ(list->entries[2].reserved[0], 0xEE) << "the bytes behind the address are not written";
}

TEST_F(tm_incr_update, new_records_are_appended_in_their_order_and_the_count_stays) {
  put(0, {0x20, 0x01}, 16, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x40}, 8, 4);
  table.add({0x20, 0x01}, 16, 1);
  table.add({0x30, 0x01, 0x02}, 24, 5);
  build(table, 1);
  EXPECT_EQ(list->count, 1u);
  EXPECT_EQ(list->n_insert, 2u);
  EXPECT_EQ(states(4), (u32s{1, 3, 3, 0}));
  EXPECT_EQ(lengths(3), (ints{16, 8, 24}));
}

TEST_F(tm_incr_update, a_record_that_stands_twice_is_appended_twice) {
  plan_table table;
  table.add({0x40}, 8, 4);
  table.add({0x40}, 8, 5);
  build(table, 0);
  EXPECT_EQ(list->n_insert, 2u);
  EXPECT_EQ(list->entries[0].cmpr_addr[0], 4);
  EXPECT_EQ(list->entries[1].cmpr_addr[0], 5);
}

TEST_F(tm_incr_update, of_equal_records_the_first_whose_address_differs_is_taken_over) {
  put(0, {0x40}, 8, 4, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x40}, 8, 4);
  table.add({0x40}, 8, 4);
  table.add({0x40}, 8, 6);
  table.add({0x40}, 8, 7);
  build(table, 1);
  EXPECT_EQ(states(1), (u32s{4}));
  EXPECT_EQ(list->entries[0].cmpr_addr[0], 6);
}

TEST_F(tm_incr_update, of_equal_records_force_takes_the_first) {
  put(0, {0x40}, 8, 4, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x40}, 8, 4);
  table.add({0x40}, 8, 6);
  build(table, 1, true);
  EXPECT_EQ(states(1), (u32s{4}));
  EXPECT_EQ(list->entries[0].cmpr_addr[0], 4);
}

TEST_F(tm_incr_update, prefixes_that_differ_only_in_the_high_bits_of_the_partial_byte_are_equal) {
  put(0, {0x20}, 4, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x30}, 4, 2);
  build(table, 1);
  EXPECT_EQ(states(2), (u32s{4, 0}));
  EXPECT_EQ(list->entries[0].prefix[0], 0x20) << "the slot keeps its own bits";
}

TEST_F(tm_incr_update, prefixes_that_differ_only_in_the_low_bits_of_the_partial_byte_are_not_equal) {
  put(0, {0x20}, 4, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x21}, 4, 1);
  build(table, 1);
  EXPECT_EQ(states(3), (u32s{2, 3, 0}));
}

TEST_F(tm_incr_update, bits_behind_the_partial_byte_do_not_count) {
  put(0, {0x20, 0x01, 0xFF}, 12, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x20, 0x01, 0x00}, 12, 1);
  build(table, 1);
  EXPECT_EQ(states(2), (u32s{1, 0}));
}

TEST_F(tm_incr_update, a_pending_update_stays_when_the_address_agrees) {
  put(0, {0x20}, 8, 1, TM_INCR_UPDATE);
  plan_table table;
  table.add({0x20}, 8, 1);
  build(table, 1);
  EXPECT_EQ(states(1), (u32s{4}));
}

TEST_F(tm_incr_update, the_check_drops_unconfirmed_inserts_and_keeps_unconfirmed_deletes) {
  put(0, {0x10}, 8, 1, TM_INCR_INSERT);
  put(1, {0x20}, 8, 2, TM_INCR_DELETE);
  put(2, {0x30}, 8, 3, TM_INCR_UPDATE);
  put(3, {0x40}, 8, 4, 7);
  list->count = 1;
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 3, &corrupted);
  EXPECT_EQ(corrupted, 0u);
  EXPECT_EQ(list->count, 3u);
  EXPECT_EQ(states(4), (u32s{1, 4, 7, 0}));
  EXPECT_EQ(first_bytes(4), (ints{0x20, 0x30, 0x40, 0x10}));
}

TEST_F(tm_incr_update, the_check_finds_used_slots_up_to_the_last_one) {
  put(31999, {0x20}, 8, 2, TM_INCR_IN_HW);
  put(15000, {0x10}, 8, 2, TM_INCR_IN_HW);
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 2, &corrupted);
  EXPECT_EQ(corrupted, 0u);
  EXPECT_EQ(states(3), (u32s{1, 1, 0}));
  EXPECT_EQ(first_bytes(2), (ints{0x10, 0x20}));
}

TEST_F(tm_incr_update, after_a_size_mismatch_one_default_entry_is_left_and_the_flag_is_1) {
  put(0, {0x10}, 8, 1, TM_INCR_IN_HW);
  std::memset(&list->entries[31999], 0xFF, sizeof(list->entries[0]));
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 1, &corrupted);
  EXPECT_EQ(corrupted, 1u);
  EXPECT_EQ(list->count, 1u);
  EXPECT_EQ(list->n_insert, 0u);
  auto expected = std::make_unique<tm_incr_update_list>();
  expected->entries[0].state = TM_INCR_IN_HW;
  EXPECT_EQ(std::memcmp(list->entries, expected->entries, sizeof(list->entries)), 0);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tm_incr_update, a_build_after_a_size_mismatch_plans_against_the_default_entry) {
  put(0, {0x10}, 8, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x20}, 8, 2);
  table.add({}, 0, 3);
  build(table, 7);
  EXPECT_EQ(corrupted, 1u);
  EXPECT_EQ(states(3), (u32s{4, 3, 0}));
  EXPECT_EQ(list->entries[0].cmpr_addr[0], 3);
}

TEST_F(tm_incr_update, the_run_sort_sorts_each_run_of_equal_length) {
  const std::initializer_list<uint8_t> keys[] = {{0x40}, {0x30}, {0x20}, {0x12}, {0x11}};
  for (uint32_t i = 0; i < 5; ++i) {
    put(i, keys[i], i < 3 ? 8 : 16, 0, TM_INCR_IN_HW);
  }
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 5, &corrupted);
  EXPECT_EQ(lengths(5), (ints{16, 16, 8, 8, 8}));
  EXPECT_EQ(first_bytes(5), (ints{0x11, 0x12, 0x20, 0x30, 0x40}));
}

TEST_F(tm_incr_update, after_a_run_of_one_slot_the_last_slot_of_the_next_run_stays_unsorted) {
  put(0, {0x50}, 48, 0, TM_INCR_IN_HW);
  put(1, {0x40}, 32, 0, TM_INCR_IN_HW);
  put(2, {0x30}, 32, 0, TM_INCR_IN_HW);
  put(3, {0x20}, 32, 0, TM_INCR_IN_HW);
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 4, &corrupted);
  EXPECT_EQ(first_bytes(4), (ints{0x50, 0x30, 0x40, 0x20}));
}

TEST_F(tm_incr_update, two_runs_of_one_slot_leave_two_slots_unsorted) {
  put(0, {0x60}, 64, 0, TM_INCR_IN_HW);
  put(1, {0x50}, 48, 0, TM_INCR_IN_HW);
  put(2, {0x40}, 32, 0, TM_INCR_IN_HW);
  put(3, {0x30}, 32, 0, TM_INCR_IN_HW);
  put(4, {0x20}, 32, 0, TM_INCR_IN_HW);
  put(5, {0x10}, 32, 0, TM_INCR_IN_HW);
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 6, &corrupted);
  EXPECT_EQ(first_bytes(6), (ints{0x60, 0x50, 0x30, 0x40, 0x20, 0x10}));
}

TEST_F(tm_incr_update, slots_that_compare_equal_keep_their_order) {
  for (uint8_t i = 0; i < 6; ++i) {
    put(i, {static_cast<uint8_t>(0x10 * (6 - i))}, 4, i, TM_INCR_IN_HW);
  }
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 6, &corrupted);
  EXPECT_EQ(first_bytes(6), (ints{0x60, 0x50, 0x40, 0x30, 0x20, 0x10}));
}

TEST_F(tm_incr_update, free_slots_keep_their_order_and_contents_behind_the_used_ones) {
  put(0, {0x01}, 8, 0, TM_INCR_INVALID);
  put(1, {0x02}, 8, 0, TM_INCR_INVALID);
  put(2, {0x03}, 8, 0, TM_INCR_IN_HW);
  put(3, {0x04}, 8, 0, TM_INCR_INVALID);
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 1, &corrupted);
  EXPECT_EQ(first_bytes(4), (ints{3, 1, 2, 4}));
}

// -- no quadratic step: a build of this size compares pair by pair for many seconds

using clock = std::chrono::steady_clock;

double seconds_since(clock::time_point start) { return std::chrono::duration<double>(clock::now() - start).count(); }

void set_u32(uint8_t *bytes, uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
  }
}

plan_table wide_table(uint32_t n) {
  plan_table table;
  for (uint32_t i = 0; i < n; ++i) {
    table.add({}, 64, static_cast<uint8_t>(i));
    set_u32(table.prefixes.back().address + 4, i * 2654435761u);
  }
  return table;
}

TEST_F(tm_incr_update, a_full_list_against_as_many_records_is_planned_in_a_moment) {
  plan_table table = wide_table(32000);
  build(table, 0);
  ASSERT_EQ(list->n_insert, 32000u);
  tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 0, 32000, 0);
  ASSERT_EQ(tm_clear_pending_state(list.get(), 0, 32000, TM_INCR_INSERT), 0);
  for (uint32_t i = 0; i < 32000; i += 2) {
    table.cmpr_addrs[i].bytes[3] = 1;
  }
  const auto start = clock::now();
  build(table, 32000);
  EXPECT_LT(seconds_since(start), 1.0);
  EXPECT_EQ(list->count, 32000u);
  EXPECT_EQ(list->n_insert, 0u);
  const u32s now = states(32000);
  EXPECT_EQ(std::count(now.begin(), now.end(), 4u), 16000);
  EXPECT_EQ(std::count(now.begin(), now.end(), 1u), 16000);
}

TEST_F(tm_incr_update, as_many_equal_slots_and_records_as_there_can_be_are_planned_in_a_moment) {
  for (tm_incr_update_entry &slot : list->entries) {
    slot.state = TM_INCR_IN_HW;
  }
  plan_table table;
  for (uint32_t i = 0; i < 65534; ++i) {
    table.add({}, 0, 0);
  }
  table.cmpr_addrs.back().bytes[6] = 5;
  const auto start = clock::now();
  build(table, 32000);
  EXPECT_LT(seconds_since(start), 1.0);
  EXPECT_EQ(corrupted, 0u);
  for (const tm_incr_update_entry &slot : list->entries) {
    ASSERT_EQ(slot.state, 4u);
    ASSERT_EQ(slot.cmpr_addr[6], 5);
  }
}

TEST_F(tm_incr_update, the_largest_table_against_a_full_list_is_planned_in_a_moment) {
  const plan_table table = wide_table(65534);
  for (uint32_t i = 0; i < 32000; ++i) {
    tm_incr_update_entry &slot = list->entries[i];
    slot.length = 64;
    std::memcpy(slot.prefix, table.prefixes[65533 - i].address, 16);
    slot.cmpr_addr[0] = table.cmpr_addrs[65533 - i].bytes[0];
    slot.state = TM_INCR_IN_HW;
  }
  const auto start = clock::now();
  build(table, 32000);
  EXPECT_LT(seconds_since(start), 1.0);
  const u32s now = states(32000);
  EXPECT_EQ(std::count(now.begin(), now.end(), 1u), 32000);
}

}  // namespace
