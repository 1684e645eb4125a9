// SPDX-License-Identifier: Apache-2.0
// Small random lists against the plain twin: byte for byte the same, with and without scratch memory.
#include "slow_plan.h"
#include "tm_incr_update_fixture.h"

namespace {

using random_source = std::mt19937;

uint32_t below(random_source &random, uint32_t limit) { return static_cast<uint32_t>(random() % limit); }

// Few lengths, and bytes that differ in their high or low half only: equal prefixes, duplicates and prefixes
// that the partial byte makes equal all occur in every list.
uint8_t some_length(random_source &random) {
  constexpr uint8_t lengths[] = {0, 1, 4, 4, 7, 8, 12, 12, 16, 44, 48, 60, 64, 127, 128, 128, 131, 255};
  return lengths[below(random, sizeof(lengths))];
}

void some_address(random_source &random, uint8_t *address) {
  constexpr uint8_t bytes[] = {0x20, 0x30, 0x21, 0x00};
  std::memset(address, 0, 16);
  for (const uint32_t at : {0u, 1u, 5u, 7u, 15u}) {
    address[at] = below(random, 3) == 0 ? bytes[below(random, sizeof(bytes))] : uint8_t{0x20};
  }
}

void some_code(random_source &random, uint8_t *code) {
  std::memset(code, 0, 8);
  code[below(random, 8)] = static_cast<uint8_t>(below(random, 3));
}

void scatter_slots(random_source &random, tm_incr_update_list &list) {
  const uint32_t n = below(random, 60);
  const uint32_t spread = below(random, 2) == 0 ? 64 : TM_INCR_SLOTS;
  for (uint32_t i = 0; i < n; ++i) {
    tm_incr_update_entry &slot = list.entries[below(random, spread)];
    some_address(random, slot.prefix);
    slot.length = some_length(random);
    some_code(random, slot.cmpr_addr);
    slot.reserved[1] = static_cast<uint8_t>(random());
    slot.state = below(random, 6);
  }
}

plan_table some_table(random_source &random) {
  plan_table table;
  for (uint32_t n = below(random, 50); n > 0; --n) {
    table.add({}, some_length(random), 0);
    some_address(random, table.prefixes.back().address);
    some_code(random, table.cmpr_addrs.back().bytes);
  }
  return table;
}

uint32_t in_hardware(const tm_incr_update_list &list) {
  uint32_t n = 0;
  for (const tm_incr_update_entry &slot : list.entries) {
    n += slot.state != TM_INCR_INVALID && slot.state != TM_INCR_INSERT ? 1 : 0;
  }
  return n;
}

class tm_incr_update_twin : public tm_incr_update {
 protected:
  void SetUp() override {
    tm_incr_update::SetUp();
    twin = std::make_unique<tm_incr_update_list>(*list);
  }

  void expect_same(int round) const {
    ASSERT_EQ(std::memcmp(list.get(), twin.get(), sizeof(*list)), 0) << "round " << round;
  }

  // A life of a list: build, confirm some, reorder, build again.
  void live(random_source &random, int round) {
    const plan_table table = some_table(random);
    const uint32_t expected = in_hardware(*list) + (below(random, 12) == 0 ? 1 : 0);
    const bool force = below(random, 5) == 0;
    uint32_t twin_corrupted = 99;
    build(table, expected, force);
    slow_plan::build(*twin, table.prefixes, table.cmpr_addrs, expected, twin_corrupted, force);
    ASSERT_EQ(corrupted, twin_corrupted);
    ASSERT_NO_FATAL_FAILURE(expect_same(round));

    for (tm_incr_update_list *each : {list.get(), twin.get()}) {
      const uint32_t n_insert = each->n_insert;
      each->count += n_insert;
      tm_clear_pending_state(each, 0, each->count, TM_INCR_DELETE);
      tm_clear_pending_state(each, 0, each->count / 2, TM_INCR_INSERT);
    }
    const uint32_t n_freed = below(random, 4);
    const uint32_t n_added = below(random, 4);
    const bool keep_count = below(random, 2) == 0;
    ASSERT_EQ(tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list.get(), n_freed, n_added,
                                                                                keep_count ? 1 : 0),
              slow_plan::reorder(*twin, n_freed, n_added, keep_count));
    ASSERT_NO_FATAL_FAILURE(expect_same(round));
  }

  std::unique_ptr<tm_incr_update_list> twin;
};

TEST_F(tm_incr_update_twin, thousands_of_random_lists_are_planned_like_by_the_plain_scan) {
  random_source random(20240611);
  for (int round = 0; round < 2000; ++round) {
    if (round % 3 == 0) {
      scatter_slots(random, *list);
      *twin = *list;
    }
    ASSERT_NO_FATAL_FAILURE(live(random, round));
  }
}

TEST_F(tm_incr_update_twin, refused_scratch_memory_gives_the_same_bytes) {
  random_source random(77);
  test_host::fail_all_heap_allocations(true);
  for (int round = 0; round < 300; ++round) {
    if (round % 3 == 0) {
      scatter_slots(random, *list);
      *twin = *list;
    }
    ASSERT_NO_FATAL_FAILURE(live(random, round));
  }
  EXPECT_EQ(test_host::heap().allocations, 0u);
  EXPECT_GT(test_host::heap().refused, 300u);
}

TEST_F(tm_incr_update_twin, whichever_allocation_is_refused_the_bytes_are_the_same) {
  random_source random(5);
  const auto start = std::make_unique<tm_incr_update_list>();
  *start = *list;
  scatter_slots(random, *start);
  const plan_table table = some_table(random);
  const uint32_t expected = in_hardware(*start);
  *twin = *start;
  uint32_t twin_corrupted = 99;
  slow_plan::build(*twin, table.prefixes, table.cmpr_addrs, expected, twin_corrupted, false);
  uint64_t k = 1;
  for (uint64_t refused = 0;; refused = test_host::heap().refused, ++k) {
    *list = *start;
    test_host::fail_heap_allocation(k);
    build(table, expected);
    ASSERT_NO_FATAL_FAILURE(expect_same(static_cast<int>(k)));
    ASSERT_EQ(test_host::last_heap_tag(), static_cast<uint32_t>(TM_MEM_TAG_LIST));
    if (test_host::heap().refused == refused) {
      break;
    }
  }
  EXPECT_GT(k, 2u) << "the sort and the index take memory";
}

}  // namespace
