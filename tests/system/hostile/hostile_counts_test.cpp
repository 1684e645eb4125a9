// SPDX-License-Identifier: Apache-2.0
// Every count of the call that takes one: none, one, the slots of a list and one more, the records of a request and one
// more. Counts of two to the 31 and beyond have no records to go with them: where a count is signed they are below 0,
// elsewhere hostile_requests_test, hostile_plan_test and hostile_utils_test ask with them and with null.
#include <algorithm>
#include <memory>

#include "hostile_fixture.h"

namespace {

using namespace instance_model;

const uint32_t true_counts[] = {0, 1, 31999, 32000, 32001, 65534, 65535};

TEST(hostile_counts, sorted_insertion_finds_the_middle_of_every_array) {
  for (const uint32_t n : true_counts) {
    SCOPED_TRACE(n);
    std::vector<int32_t> array(n + 2);
    for (uint32_t i = 0; i < n; ++i) {
      array[i] = static_cast<int32_t>(2 * i);
    }
    array[n + 1] = -7;  // nothing may reach it
    const auto element = static_cast<int32_t>(n | 1u);
    const void *slot = tm_util_array_insert(&element, array.data(), static_cast<int32_t>(n), sizeof element,
                                            [](const void *a, const void *b) { return tm_util_cmp_int(a, b); });
    EXPECT_EQ(*static_cast<const int32_t *>(slot), element);
    EXPECT_TRUE(std::is_sorted(array.begin(), array.end() - 1));
    EXPECT_EQ(array[n + 1], -7);
  }
}

TEST(hostile_counts, heaps_of_every_size_give_their_elements_back_in_order) {
  for (const uint32_t n : true_counts) {
    SCOPED_TRACE(n);
    std::vector<tm_util_heap_elem> heap(n + 1);
    for (uint32_t i = 0; i < n; ++i) {
      heap[i] = {static_cast<int32_t>(n - i), 0, i};
    }
    uint32_t count = n;
    if (n != 0) {
      ASSERT_EQ(tm_util_heap_heapify(heap.data(), n), 0);
      EXPECT_EQ(heap[0].key, 1);
    }
    const tm_util_heap_elem greatest = {static_cast<int32_t>(n + 1), 0, 77};
    ASSERT_EQ(tm_util_heap_insert(heap.data(), &count, &greatest), 0);
    EXPECT_EQ(count, n + 1);
    for (int32_t next = 1; count != 0; ++next) {
      tm_util_heap_elem taken = {};
      ASSERT_EQ(tm_util_heap_delmin(heap.data(), &count, &taken), 0);
      ASSERT_EQ(taken.key, next);
    }
  }
}

TEST(hostile_counts, results_of_every_number_are_put_in_the_order_of_their_tags) {
  test_host::reset();
  for (const uint32_t n : true_counts) {
    SCOPED_TRACE(n);
    std::vector<tcamv6_cmpr_pref> prefs(n);
    for (uint32_t i = 0; i < n; ++i) {
      prefs[i].flags_tag = (n - i) << 12;
      prefs[i].length = static_cast<uint8_t>(i);
    }
    tcamv6_prepare_return_cmpr_prefs(prefs.data(), n);
    for (uint32_t i = 0; i < n; ++i) {
      ASSERT_EQ(prefs[i].flags_tag >> 12, i + 1);
      ASSERT_EQ(prefs[i].length, static_cast<uint8_t>(n - 1 - i));
    }
  }
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST(hostile_counts, a_working_list_has_one_record_more_than_its_table_or_as_many) {
  test_host::reset();
  tcamv6_debug_flags = {};
  for (const uint32_t n : true_counts) {
    for (const int32_t full : {0, 1}) {
      SCOPED_TRACE(std::to_string(n) + ' ' + std::to_string(full));
      const std::vector<tcamv6_prefix> records = sibling_records(n, 32);  // no longer than its own anchor
      tcamv6_prefix *list = nullptr;
      uint32_t count = 77;
      ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &list, n, &count, full), 0);
      EXPECT_EQ(count, n + static_cast<uint32_t>(full));
      for (uint32_t i = 0; i < n; ++i) {
        ASSERT_EQ(list[i].length, 32);
      }
      if (full != 0) {
        EXPECT_EQ(list[n].length, 0);
      }
      zel_free_named(list);
    }
  }
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST(hostile_counts, a_plan_takes_as_many_records_as_it_has_slots_and_drops_the_rest) {
  test_host::reset();
  tcamv6_debug_flags = {};
  const auto list = std::make_unique<tm_incr_update_list>();
  for (const uint32_t n : true_counts) {
    SCOPED_TRACE(n);
    *list = {};
    const std::vector<tcamv6_prefix> records = sibling_records(n, 32);
    const std::vector<tcamv6_cmpr_addr> addrs(n);
    uint32_t corrupted = 7;
    ASSERT_EQ(tm_build_incremental_update_prefixes_list(list.get(), records.data(), nullptr, addrs.data(), n, 0,
                                                        &corrupted, 0),
              0);
    EXPECT_EQ(corrupted, 0u);
    EXPECT_EQ(list->n_insert, std::min(n, 32000u));
  }
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST(hostile_counts, an_expected_number_that_is_not_the_list_s_resets_it) {
  test_host::reset();
  tcamv6_debug_flags = {};
  const auto list = std::make_unique<tm_incr_update_list>();
  for (const uint32_t expected : {0u, 1u, 2u, 32000u, 32001u, 65534u, 65535u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(expected);
    *list = {};
    for (uint32_t i = 0; i < 2; ++i) {
      list->entries[i].state = 1;
      list->entries[i].length = static_cast<uint8_t>(8 + i);
    }
    list->count = 2;
    uint32_t corrupted = 7;
    tm_prepare_incremental_update_prefixes_list_initial(list.get(), expected, &corrupted);
    EXPECT_EQ(corrupted, expected == 2 ? 0u : 1u);
    EXPECT_EQ(list->count, expected == 2 ? 2u : 1u);
    EXPECT_EQ(list->entries[0].length, expected == 2 ? 9 : 0);
  }
}

TEST(hostile_counts, a_batch_has_up_to_65534_records_of_one_prefix) {
  const change c = read_change("+2400::/12");
  for (const bool safe : {false, true}) {
    ASSERT_EQ(start(), 0u);
    tcamv6_debug_flags = {};
    ASSERT_EQ(request({c}).status, 0u);
    set_safe_updates(safe);
    uint16_t weight = 1;
    for (const uint32_t n : {0u, 1u, 32000u, 32001u, 65534u, 65535u}) {
      SCOPED_TRACE(std::to_string(n) + (safe ? " safe" : ""));
      EXPECT_EQ(request(std::vector<change>(n, c)).status, n <= 65534 ? 0u : 22u);
      weight = static_cast<uint16_t>(weight + (n <= 65534 ? n : 0));
      EXPECT_EQ(stored()[c.prefix].weight, weight);
      EXPECT_EQ(safe_fault(), "");
    }
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    EXPECT_EQ(allocated(), 0u);
  }
}

TEST(hostile_counts, a_path_that_ends_before_it_starts_leads_nowhere) {
  const uint8_t key[16] = {};
  tm_util_trie_node node;
  tm_util_trie_node_initialize(&node, nullptr, 1);
  for (const auto &[from, to] : std::vector<std::pair<int32_t, int32_t>>{
           {0, 0}, {128, 128}, {129, 128}, {0, -1}, {32000, 32000}, {65535, 65534}, {INT32_MAX, INT32_MIN}}) {
    for (const int32_t mode : {0, 1}) {
      EXPECT_EQ(tm_util_trie_tracepath(&node, key, from, to, mode, mode), &node);
    }
  }
}

}  // namespace
