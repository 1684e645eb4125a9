// SPDX-License-Identifier: Apache-2.0
// Nothing outside the region: full lists, counts and indexes that overflow, lengths beyond 128, null pointers.
// The list stands alone on the heap, so that the address sanitizer sees the first byte beyond it.
#include "tcamv6_state.h"
#include "tm_incr_update_fixture.h"

namespace {

using u32s = std::vector<uint32_t>;

TEST_F(tm_incr_update, a_full_list_drops_further_inserts_and_says_how_many) {
  for (uint32_t i = 0; i < 31998; ++i) {
    put(i, {static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)}, 16, 1, TM_INCR_IN_HW);
  }
  tcamv6_debug_flags.error = 1;
  plan_table table;
  for (uint8_t i = 0; i < 7; ++i) {
    table.add({0xFF, 0xFF, i}, 24, i);
  }
  build(table, 31998);
  EXPECT_EQ(list->count, 31998u);
  EXPECT_EQ(list->n_insert, 2u);
  EXPECT_EQ(list->entries[31999].state, 3u);
  EXPECT_EQ(list->entries[31999].prefix[2], 1);
  EXPECT_EQ(test_host::log_text(), "tm_build_incremental_update_prefixes_list: update list full, 5 inserts dropped\n");
}

TEST_F(tm_incr_update, more_records_than_slots_fill_the_list_to_its_end) {
  plan_table table;
  for (uint32_t i = 0; i < 65534; ++i) {
    table.add({static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)}, 16, 1);
  }
  build(table, 0);
  EXPECT_EQ(list->count, 0u);
  EXPECT_EQ(list->n_insert, 32000u);
  EXPECT_EQ(test_host::log_text(), "") << "the error word is off";
}

TEST_F(tm_incr_update, a_count_beyond_the_slots_counts_as_all_of_them) {
  for (const uint32_t count : {32001u, 0x80000000u, 0xFFFFFFFFu}) {
    list->count = count;
    list->entries[31999].state = TM_INCR_UPDATE;
    tcamv6_debug_flags.result_hw = 1;
    EXPECT_EQ(tm_show_incremental_update_prefixes(list.get()), 0);
    tcamv6_debug_flags.result_hw = 0;
    uint32_t first = 0;
    uint32_t last = 0;
    uint32_t found = 0;
    tm_build_incremental_update_hw_requests_find_entries(list.get(), 0, &first, &last, &found, 4, 0xFFFFFFFF);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(first, 31999u);
    EXPECT_EQ(last, 31999u);
    EXPECT_EQ(tm_clear_pending_state(list.get(), 31999, 1, TM_INCR_UPDATE), 0);
    EXPECT_EQ(tm_clear_pending_state(list.get(), 31999, 2, TM_INCR_UPDATE), -22);
    EXPECT_EQ(list->entries[31999].state, 1u);
  }
}

TEST_F(tm_incr_update, a_reorder_of_a_count_beyond_the_slots_sorts_all_of_them) {
  put(31999, {0x20}, 8, 0, TM_INCR_IN_HW);
  list->count = 0xFFFFFFF0;
  EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 0, 0, 1), 31999u);
  EXPECT_EQ(list->count, 0xFFFFFFF0u);
  EXPECT_EQ(list->entries[0].prefix[0], 0x20);
}

TEST_F(tm_incr_update, a_reorder_whose_count_wraps_stays_inside) {
  put(0, {0x20}, 8, 0, TM_INCR_IN_HW);
  list->count = 1;
  tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 5, 0, 1);
  EXPECT_EQ(list->count, 0xFFFFFFFCu);
  tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), 0xFFFFFFFF, 0xFFFFFFFF, 0);
  EXPECT_EQ(list->count, 0xFFFFFFFBu);
}

TEST_F(tm_incr_update, first_plus_n_does_not_wrap) {
  put_states({3, 3, 3});
  EXPECT_EQ(tm_clear_pending_state(list.get(), 1, 0xFFFFFFFF, TM_INCR_INSERT), -22);
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0xFFFFFFFF, 1, TM_INCR_INSERT), -22);
  EXPECT_EQ(tm_clear_pending_state(list.get(), 0xFFFFFFFF, 0xFFFFFFFF, TM_INCR_INSERT), -22);
  EXPECT_EQ(states(3), (u32s{3, 3, 3}));
}

TEST_F(tm_incr_update, a_search_from_the_last_index_stays_inside) {
  list->count = 0xFFFFFFFF;
  uint32_t first = 9;
  uint32_t last = 9;
  uint32_t found = 9;
  tm_build_incremental_update_hw_requests_find_entries(list.get(), 0xFFFFFFFF, &first, &last, &found, 0, 1);
  EXPECT_EQ(found, 0u);
  EXPECT_EQ(last, 0xFFFFFFFEu);
}

TEST_F(tm_incr_update, lengths_beyond_128_compare_as_they_are_and_at_most_128_bits_are_read) {
  put(31997, {0x20}, 129, 1, TM_INCR_IN_HW);
  put(31998, {0x30}, 255, 1, TM_INCR_IN_HW);
  put(31999, {0x20}, 128, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x20}, 128, 2);
  table.add({0x30}, 255, 1);
  table.add({0x30}, 254, 3);
  build(table, 3);
  EXPECT_EQ(corrupted, 0u);
  EXPECT_EQ(lengths(4), (std::vector<int>{255, 129, 128, 254}));
  EXPECT_EQ(states(5), (u32s{1, 2, 4, 3, 0}));
}

TEST_F(tm_incr_update, length_comparator_is_the_difference_of_the_bytes) {
  tm_incr_update_entry a = {};
  tm_incr_update_entry b = {};
  for (int x = 0; x < 256; ++x) {
    for (int y = 0; y < 256; ++y) {
      a.length = static_cast<uint8_t>(x);
      b.length = static_cast<uint8_t>(y);
      EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f(&a, &b), y - x);
    }
  }
}

TEST_F(tm_incr_update, lengths_beyond_128_are_planned_alike_without_an_index) {
  put(0, {0x30}, 130, 1, TM_INCR_IN_HW);
  plan_table table;
  table.add({0x30}, 130, 1);
  table.add({0x30}, 140, 1);
  test_host::fail_all_heap_allocations(true);
  build(table, 1);
  EXPECT_EQ(states(3), (u32s{1, 3, 0}));
}

TEST_F(tm_incr_update, null_pointers_are_refused_and_nothing_is_touched) {
  put_states({3, 3});
  list->n_insert = 7;
  plan_table table;
  table.add({0x20}, 8, 2);
  const auto *prefixes = table.prefixes.data();
  const auto *addrs = table.cmpr_addrs.data();
  uint32_t flag = 99;
  EXPECT_EQ(tm_build_incremental_update_prefixes_list(nullptr, prefixes, nullptr, addrs, 1, 2, &flag, 0), -22);
  EXPECT_EQ(tm_build_incremental_update_prefixes_list(list.get(), nullptr, nullptr, addrs, 1, 2, &flag, 0), -22);
  EXPECT_EQ(tm_build_incremental_update_prefixes_list(list.get(), prefixes, nullptr, nullptr, 1, 2, &flag, 0), -22);
  EXPECT_EQ(tm_build_incremental_update_prefixes_list(list.get(), prefixes, nullptr, addrs, 1, 2, nullptr, 0), -22);
  tm_prepare_incremental_update_prefixes_list_initial(nullptr, 2, &flag);
  tm_prepare_incremental_update_prefixes_list_initial(list.get(), 2, nullptr);
  EXPECT_EQ(flag, 99u);
  uint32_t x = 9;
  EXPECT_EQ(tm_build_incremental_update_hw_requests_find_entries(nullptr, 0, &x, &x, &x, 3, 1), -22);
  EXPECT_EQ(tm_build_incremental_update_hw_requests_find_entries(list.get(), 0, nullptr, &x, &x, 3, 1), -22);
  EXPECT_EQ(tm_build_incremental_update_hw_requests_find_entries(list.get(), 0, &x, nullptr, &x, 3, 1), -22);
  EXPECT_EQ(tm_build_incremental_update_hw_requests_find_entries(list.get(), 0, &x, &x, nullptr, 3, 1), -22);
  EXPECT_EQ(x, 9u);
  EXPECT_EQ(tm_clear_pending_state(nullptr, 0, 0, 3), -22);
  EXPECT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(nullptr, 1, 1, 0), 0u);
  EXPECT_EQ(tm_show_incremental_update_prefixes(nullptr), -22);
  EXPECT_EQ(states(2), (u32s{3, 3}));
  EXPECT_EQ(list->count, 2u);
  EXPECT_EQ(list->n_insert, 7u);
}

TEST_F(tm_incr_update, the_layout_is_the_one_shared_with_hosts) {
  EXPECT_EQ(sizeof(tm_incr_update_list), 1024080u);
  EXPECT_EQ(sizeof(tm_incr_update_entry), 32u);
  put(1, {0x20, 0x01}, 16, 0xC1, TM_INCR_UPDATE);
  list->count = 0x01020304;
  list->n_insert = 0x05060708;
  const auto *bytes = reinterpret_cast<const uint8_t *>(list.get());
  EXPECT_EQ(bytes[72 + 32], 0x20);
  EXPECT_EQ(bytes[72 + 32 + 16], 16);
  EXPECT_EQ(bytes[72 + 32 + 17], 0xC1);
  EXPECT_EQ(bytes[72 + 32 + 28], 4);
  EXPECT_EQ(bytes[1024072], 4);
  EXPECT_EQ(bytes[1024076], 8);
}

TEST_F(tm_incr_update, an_instance_can_be_handed_over_as_its_own_list) {
  auto state = std::make_unique<tcamv6_state>();
  state->max_pref_len = 128;
  state->n_prefs = 12345;
  state->marks = 0xABCD;
  state->n_rows = 6;
  auto *own = reinterpret_cast<tm_incr_update_list *>(state.get());
  plan_table table;
  for (uint32_t i = 0; i < 32001; ++i) {
    table.add({static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)}, 16, 1);
  }
  uint32_t flag = 9;
  EXPECT_EQ(tm_build_incremental_update_prefixes_list(own, table.prefixes.data(), nullptr, table.cmpr_addrs.data(),
                                                      table.size(), 0, &flag, 0),
            0);
  EXPECT_EQ(flag, 0u);
  EXPECT_EQ(state->count, 0u);
  EXPECT_EQ(state->n_insert, 32000u);
  EXPECT_EQ(state->entries[31999].state, 3u);
  EXPECT_EQ(state->entries[258].prefix[0], 1);
  EXPECT_EQ(state->max_pref_len, 128u);
  EXPECT_EQ(state->n_prefs, 12345u);
  EXPECT_EQ(state->marks, 0xABCDu);
  EXPECT_EQ(state->n_rows, 6u);
}

}  // namespace
