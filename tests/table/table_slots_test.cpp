// SPDX-License-Identifier: Apache-2.0
// Slots of a first-match TCAM, followed step by step on a model.
#include <algorithm>
#include <cstring>
#include <random>

#include "first_match_tcam.h"
#include "table_free_slots.h"
#include "table_twin.h"
#include "test_host.h"

namespace {

using table_model::first_match_tcam;
using table_test::parse;
using table_test::prefix;
using table_test::table_twin;
using table_test::wish;

zel_v6comp_table_write write_of(const prefix &p, uint8_t kind, uint64_t key = 0) {
  zel_v6comp_table_write write = {};
  tm_key_store(write.address, p.address);
  write.length = static_cast<uint8_t>(p.length);
  write.kind = kind;
  write.key = key;
  return write;
}

// Slots beside a model of the TCAM, and a plain map of what both should hold.
struct slots_twin {
  explicit slots_twin(uint32_t n) : tcam(n) { EXPECT_EQ(zel_v6comp_slots_open(n, &slots), ZEL_V6COMP_TABLE_OK); }
  ~slots_twin() { zel_v6comp_slots_close(slots); }
  slots_twin(const slots_twin &) = delete;
  slots_twin &operator=(const slots_twin &) = delete;

  int32_t follow(std::span<const zel_v6comp_table_write> writes) {
    last = ZEL_V6COMP_SLOT_STEPS_INIT;
    const int32_t status = zel_v6comp_slots_follow(slots, writes.data(), writes.size(), &last);
    if (status == ZEL_V6COMP_TABLE_OK) {
      EXPECT_EQ(tcam.follow({last.list, last.n}), "");
      EXPECT_EQ(static_cast<size_t>(std::count_if(last.list, last.list + last.n,
                                                  [](const auto &s) { return s.kind == ZEL_V6COMP_SLOT_MOVE; })),
                last.moves);
    }
    return status;
  }

  int32_t add(const char *text, uint64_t key = 0) {
    const zel_v6comp_table_write write = write_of(parse(text), ZEL_V6COMP_TABLE_ADD_KEY, key);
    return follow({&write, 1});
  }

  int32_t remove(const char *text) {
    const zel_v6comp_table_write write = write_of(parse(text), ZEL_V6COMP_TABLE_REMOVE_KEY);
    return follow({&write, 1});
  }

  int64_t slot_of(const char *text) const {
    const prefix p = parse(text);
    uint8_t address[16];
    tm_key_store(address, p.address);
    uint32_t slot = 0;
    return zel_v6comp_slots_find(slots, address, p.length, &slot) == 1 ? int64_t{slot} : -1;
  }

  zel_v6comp_slots *slots = nullptr;
  first_match_tcam tcam;
  zel_v6comp_slot_steps last = ZEL_V6COMP_SLOT_STEPS_INIT;
};

TEST(FreeSlots, NextAndPreviousAgreeWithAPlainSearch) {
  for (const uint32_t n : {1u, 63u, 64u, 65u, 4096u, 4097u, 300000u}) {
    table_free_slots free;
    ASSERT_TRUE(table_free_slots_begin(&free, n));
    std::set<uint32_t> plain;
    for (uint32_t slot = 0; slot < n; ++slot) {
      table_mark_used(&free, slot);
    }
    EXPECT_EQ(table_next_free(&free, 0), table_no_slot);
    EXPECT_EQ(table_previous_free(&free, n - 1), table_no_slot);
    std::mt19937 random(n);
    for (unsigned i = 0; i < 2000; ++i) {
      const auto slot = static_cast<uint32_t>(random() % n);
      if (random() % 3 == 0) {
        table_mark_used(&free, slot);
        plain.erase(slot);
      } else {
        table_mark_free(&free, slot);
        plain.insert(slot);
      }
      const auto from = static_cast<uint32_t>(random() % n);
      const auto next = plain.lower_bound(from);
      const auto behind = plain.upper_bound(from);
      ASSERT_EQ(table_next_free(&free, from), next == plain.end() ? table_no_slot : *next);
      ASSERT_EQ(table_previous_free(&free, from), behind == plain.begin() ? table_no_slot : *std::prev(behind));
    }
    EXPECT_EQ(table_next_free(&free, n), table_no_slot);
    table_free_slots_end(&free);
  }
}

TEST(TableSlots, ALoadStandsLongestFirst) {
  table_twin table;
  ASSERT_EQ(table.load({{parse("::/0"), true, 1},
                        {parse("2001:db8::/32"), true, 2},
                        {parse("2001:db8:1::/48"), true, 3},
                        {parse("2001:db8:2::/48"), true, 4}}),
            ZEL_V6COMP_TABLE_OK);
  slots_twin twin(8);
  ASSERT_EQ(twin.follow({table.last.writes, table.last.n_writes}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.slot_of("2001:db8:1::/48"), 0);
  EXPECT_EQ(twin.slot_of("2001:db8:2::/48"), 1);
  EXPECT_EQ(twin.slot_of("2001:db8::/32"), 2);
  EXPECT_EQ(twin.slot_of("::/0"), 3);
  EXPECT_EQ(twin.slot_of("2001:db8:3::/48"), -1);
  EXPECT_EQ(twin.last.n, 4u);
  EXPECT_EQ(twin.last.peak_slots, 4u);
  EXPECT_EQ(twin.tcam.difference(table.rows()), "");
  for (size_t i = 0; i < twin.last.n; ++i) {
    EXPECT_EQ(std::memcmp(twin.last.list[i].address, table.last.writes[twin.last.list[i].write].address, 16), 0);
  }
}

// ::/0 at the end of packed slots goes to the very end, once.
TEST(TableSlots, WhatIsInTheWayMovesFar) {
  slots_twin twin(10);
  ASSERT_EQ(twin.add("2001:db8::/32"), 0);
  ASSERT_EQ(twin.add("::/0"), 0);
  ASSERT_EQ(twin.add("2001:db9::/32"), 0);
  EXPECT_EQ(twin.last.moves, 1u);
  EXPECT_EQ(twin.slot_of("::/0"), 9);
  ASSERT_EQ(twin.add("2001:dba::/32"), 0);
  EXPECT_EQ(twin.last.moves, 0u);
}

TEST(TableSlots, TheShorterChainIsTaken) {
  slots_twin twin(6);
  for (const char *text : {"2001:db8::/64", "2001:db8::/48", "2001:db8::/40", "2001:db8::/32", "::/0"}) {
    ASSERT_EQ(twin.add(text), 0);
  }
  ASSERT_EQ(twin.remove("2001:db8::/64"), 0);
  ASSERT_EQ(twin.add("2001:db8::/44"), 0);  // slot 0 is nearer than slot 5
  EXPECT_EQ(twin.last.moves, 1u);
  EXPECT_EQ(twin.slot_of("2001:db8::/48"), 0);
  EXPECT_EQ(twin.slot_of("2001:db8::/44"), 1);
}

TEST(TableSlots, FullSlotsClearEarly) {
  slots_twin twin(2);
  ASSERT_EQ(twin.add("::/1"), 0);
  ASSERT_EQ(twin.add("8000::/1"), 0);
  const zel_v6comp_table_write writes[] = {write_of(parse("4000::/2"), ZEL_V6COMP_TABLE_ADD_KEY, 5),
                                           write_of(parse("::/1"), ZEL_V6COMP_TABLE_CHANGE_KEY, 6),
                                           write_of(parse("::/1"), ZEL_V6COMP_TABLE_REMOVE_KEY)};
  ASSERT_EQ(twin.follow(writes), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.early, 1u);
  EXPECT_EQ(twin.last.n, 2u);
  EXPECT_EQ(twin.last.list[0].kind, ZEL_V6COMP_SLOT_CLEAR);
  EXPECT_EQ(twin.last.list[0].early, 1u);
  EXPECT_EQ(twin.last.list[0].write, 0u);
  EXPECT_EQ(twin.last.peak_slots, 2u);
  EXPECT_EQ(twin.slot_of("::/1"), -1);
  EXPECT_EQ(twin.tcam.answer(parse("4000::/128").address), 5u);
  EXPECT_FALSE(twin.tcam.answer(parse("::/128").address).has_value());
}

TEST(TableSlots, RefusedWritesChangeNothing) {
  slots_twin twin(2);
  ASSERT_EQ(twin.add("::/1", 7), 0);
  EXPECT_EQ(twin.add("::/1"), ZEL_V6COMP_TABLE_E_OPERATION);
  EXPECT_EQ(twin.remove("::/2"), ZEL_V6COMP_TABLE_E_OPERATION);
  const zel_v6comp_table_write too_many[] = {write_of(parse("8000::/1"), ZEL_V6COMP_TABLE_ADD_KEY),
                                             write_of(parse("8000::/2"), ZEL_V6COMP_TABLE_ADD_KEY)};
  EXPECT_EQ(twin.follow(too_many), ZEL_V6COMP_TABLE_E_ROOM);
  EXPECT_EQ(twin.last.n, 0u);
  // What comes and goes in one call takes a slot for a while, and there is none.
  const zel_v6comp_table_write passing[] = {write_of(parse("8000::/1"), ZEL_V6COMP_TABLE_ADD_KEY),
                                            write_of(parse("8000::/2"), ZEL_V6COMP_TABLE_ADD_KEY),
                                            write_of(parse("8000::/2"), ZEL_V6COMP_TABLE_REMOVE_KEY),
                                            write_of(parse("::/1"), ZEL_V6COMP_TABLE_CHANGE_KEY, 8)};
  EXPECT_EQ(twin.follow(passing), ZEL_V6COMP_TABLE_E_ROOM);
  EXPECT_EQ(twin.slot_of("::/1"), 0);
  EXPECT_EQ(twin.slot_of("8000::/1"), -1);
  EXPECT_EQ(twin.tcam.answer(0), 7u);
}

TEST(TableSlots, RefusesBadUse) {
  slots_twin twin(2);
  zel_v6comp_slots *other = twin.slots;
  zel_v6comp_slot_steps steps = ZEL_V6COMP_SLOT_STEPS_INIT;
  EXPECT_EQ(zel_v6comp_slots_open(1, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_open(0, &other), ZEL_V6COMP_TABLE_E_COUNT);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(zel_v6comp_slots_open(1000000000, &other), ZEL_V6COMP_TABLE_E_COUNT);
  EXPECT_EQ(zel_v6comp_slots_follow(nullptr, nullptr, 0, &steps), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_follow(twin.slots, nullptr, 1, &steps), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_follow(twin.slots, nullptr, 0, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_follow(twin.slots, nullptr, 0, &steps), ZEL_V6COMP_TABLE_OK);
  steps.struct_size = 3;
  EXPECT_EQ(zel_v6comp_slots_follow(twin.slots, nullptr, 0, &steps), ZEL_V6COMP_TABLE_E_SIZE);
  zel_v6comp_table_write write = write_of(parse("::/1"), 6);
  EXPECT_EQ(twin.follow({&write, 1}), ZEL_V6COMP_TABLE_E_OPERATION);
  write.kind = 0;
  EXPECT_EQ(twin.follow({&write, 1}), ZEL_V6COMP_TABLE_E_OPERATION);
  write.kind = ZEL_V6COMP_TABLE_ADD_CODE;
  EXPECT_EQ(twin.follow({&write, 1}), ZEL_V6COMP_TABLE_OK);
  write.length = 129;
  EXPECT_EQ(twin.follow({&write, 1}), ZEL_V6COMP_TABLE_E_LENGTH);
  write.length = 1;
  write.address[15] = 1;
  EXPECT_EQ(twin.follow({&write, 1}), ZEL_V6COMP_TABLE_E_HOST_BITS);
  uint32_t slot = 0;
  EXPECT_EQ(zel_v6comp_slots_find(nullptr, write.address, 1, &slot), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_find(twin.slots, nullptr, 1, &slot), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_find(twin.slots, write.address, 1, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_slots_find(twin.slots, write.address, 1, &slot), ZEL_V6COMP_TABLE_E_HOST_BITS);
  EXPECT_EQ(zel_v6comp_slots_find(twin.slots, write.address, 129, &slot), ZEL_V6COMP_TABLE_E_LENGTH);
  EXPECT_EQ(zel_v6comp_slots_find(twin.slots, write.address, 128, &slot), 0);
  zel_v6comp_slots_close(nullptr);
}

std::vector<wish> some_wishes(std::mt19937_64 &random, size_t n) {
  std::vector<wish> wishes;
  for (size_t i = 0; i < n; ++i) {
    const auto length = static_cast<unsigned>(random() % 12);
    wishes.push_back({prefix{tm_key_number{random()} << 64, 128}.cut(length), random() % 2 == 0, 0});
  }
  return wishes;
}

// A table that changes, in few and in plenty of slots.
TEST(TableSlots, FollowATableThatChanges) {
  uint64_t moves = 0;
  uint64_t early = 0;
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    table_twin table;
    slots_twin twin(seed % 2 == 0 ? 400 : 60);
    for (unsigned change = 0; change < 60; ++change) {
      const std::vector<wish> wishes = some_wishes(random, 1 + random() % 12);
      if (table.apply(wishes) != ZEL_V6COMP_TABLE_OK) {
        continue;
      }
      const int32_t status = twin.follow({table.last.writes, table.last.n_writes});
      if (table.rows().size() > twin.tcam.size()) {
        ASSERT_EQ(status, ZEL_V6COMP_TABLE_E_ROOM);
        break;
      }
      ASSERT_EQ(status, ZEL_V6COMP_TABLE_OK);
      ASSERT_EQ(twin.tcam.difference(table.rows()), "");
      moves += twin.last.moves;
      early += twin.last.early;
    }
    if (HasFailure()) {
      break;
    }
  }
  EXPECT_GT(moves, 0u);
  EXPECT_GT(early, 0u);
}

// The second change takes more steps than there was ever room for: memory is refused in the midst of it, too.
TEST(TableSlots, SayWhenMemoryIsRefused) {
  std::mt19937_64 random(5);
  table_twin table;
  ASSERT_EQ(table.apply(some_wishes(random, 60)), ZEL_V6COMP_TABLE_OK);
  const std::vector<zel_v6comp_table_write> first(table.last.writes, table.last.writes + table.last.n_writes);
  const std::vector<zel_v6comp_table_row> first_rows = table.rows();
  ASSERT_EQ(table.apply(some_wishes(random, 900)), ZEL_V6COMP_TABLE_OK);
  const std::span<const zel_v6comp_table_write> second(table.last.writes, table.last.n_writes);
  uint64_t refused = 0;
  for (uint64_t k = 1; k < 200; ++k) {
    SCOPED_TRACE(k);
    slots_twin twin(static_cast<uint32_t>(table.rows().size()));
    ASSERT_EQ(twin.follow(first), ZEL_V6COMP_TABLE_OK);
    const uint64_t refused_before = test_host::heap().refused;
    test_host::fail_heap_allocation(k);
    const int32_t status = twin.follow(second);
    test_host::fail_heap_allocation(0);
    if (status != ZEL_V6COMP_TABLE_OK) {
      ++refused;
      ASSERT_EQ(status, ZEL_V6COMP_TABLE_E_MEMORY);
      ASSERT_EQ(twin.tcam.difference(first_rows), "");
      ASSERT_EQ(twin.follow(second), ZEL_V6COMP_TABLE_OK);
    }
    ASSERT_EQ(twin.tcam.difference(table.rows()), "");
    if (test_host::heap().refused == refused_before) {
      break;
    }
  }
  EXPECT_GE(refused, 5u);
}

TEST(TableSlots, OpenSaysWhenMemoryIsRefused) {
  for (uint64_t k = 1; k < 9; ++k) {
    const size_t blocks = test_host::heap().blocks;
    test_host::fail_heap_allocation(k);
    zel_v6comp_slots *slots = nullptr;
    EXPECT_EQ(zel_v6comp_slots_open(100, &slots), k <= 7 ? ZEL_V6COMP_TABLE_E_MEMORY : ZEL_V6COMP_TABLE_OK) << k;
    test_host::fail_heap_allocation(0);
    zel_v6comp_slots_close(slots);
    EXPECT_EQ(test_host::heap().blocks, blocks);
  }
}

}  // namespace
