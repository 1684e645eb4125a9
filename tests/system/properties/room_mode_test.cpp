// SPDX-License-Identifier: Apache-2.0
// In room mode, whatever the batches: a table is refused exactly when its tightest code needs more than 64 bits, it is
// right after every batch, a refused batch leaves no trace, and what moves is told.
#include <gtest/gtest.h>

#include <set>

#include "nested_tables.h"
#include "tight_bits.h"
#include "told_moves.h"
#include "updated_table_fixture.h"

namespace {

using namespace updated_table;
using v6tool::ip_prefix;

constexpr uint32_t no_limit = UINT32_MAX;

bool is_entry(const stored_row &row) { return row.counters.weight != row.counters.anchors; }

told_moves::form_map entries_of(const std::vector<stored_row> &rows) {
  told_moves::form_map entries;
  for (const stored_row &row : rows) {
    if (is_entry(row)) {
      entries[row.row.original] = {row.row.code, row.row.address};
    }
  }
  return entries;
}

uint32_t bits_needed(const counting &table) {
  std::vector<ip_prefix> prefixes;
  for (const auto &[prefix, counters] : table.stored()) {
    prefixes.push_back(prefix);
  }
  return tight_bits(prefixes);
}

class RoomMode : public updated_table_test {
 protected:
  void SetUp() override { set_room(true); }
  void TearDown() override {
    set_room(false);
    zel_v6comp_set_move_limit(no_limit);
    updated_table_test::TearDown();
  }

  static void set_room(bool on) { zel_v6comp_set_room(on ? 1 : 0); }

  // Tables are first compressed in compatible mode: what a full compression refuses is not this test's business.
  void start(size_t most_prefixes) {
    set_room(false);
    start_table(most_prefixes);
    set_room(true);
  }

  // A table of ::/0 alone.
  void start_with_default() {
    reset();
    table = {};
    first = {{true, {{}, 0}, 1}};
    EXPECT_EQ(request(first), 0u);
    table.compress(first);
    look("start");
  }

  static std::vector<zel_v6comp_move> moves() { return told_moves::list(0, 0); }

  static std::set<ip_prefix> deleted_by(const change_list &batch) {
    std::set<ip_prefix> deleted;
    for (const change &c : batch) {
      if (!c.add) {
        deleted.insert(c.prefix);
      }
    }
    return deleted;
  }

  bool apply(const change_list &batch) {
    const std::vector<stored_row> before = rows;
    const std::vector<uint32_t> allocated_before = allocated();
    const std::vector<zel_v6comp_move> moves_before = moves();
    counting after_batch = table;
    uint32_t expected = after_batch.apply(batch, true);
    if (expected == 0 && bits_needed(after_batch) > 64) {
      expected = 75;
    }
    const uint32_t status = request(batch);
    const std::string when = story(batch, status);
    EXPECT_EQ(status, expected) << when;
    if (status == 0) {
      table = after_batch;
    }
    look(when);
    if (status == 0) {
      EXPECT_EQ(told_moves::fault(entries_of(before), entries_of(rows), deleted_by(batch), moves()), "") << when;
      EXPECT_EQ(counterexample(), "") << when;
      moved += moves().size();
    } else {
      EXPECT_EQ(rows, before) << when;
      EXPECT_EQ(allocated(), allocated_before) << when;
      EXPECT_EQ(moves().size(), moves_before.size()) << when;
    }
    return status == 0;
  }

  // Returns how many were refused.
  size_t run_batches(size_t wanted, size_t most_prefixes, size_t most_records) {
    size_t refused = 0;
    for (size_t accepted = 0; accepted < wanted && !HasFailure();) {
      start(most_prefixes);
      for (int i = 0; i < 60 && accepted < wanted && !HasFailure(); ++i) {
        const change_list batch = random_batches::random_batch(random, space, table, i % 3 == 0 ? most_records : 3);
        ++(apply(batch) ? accepted : refused);
      }
    }
    return refused;
  }

  size_t moved = 0;
};

TEST_F(RoomMode, TablesInDenseSpacesStayRightAndOnlyMistakesAreRefused) {
  run_batches(6000, 120, 12);
  EXPECT_GT(moved, 0u);
}

TEST_F(RoomMode, CrowdedTablesStayRight) { run_batches(300, 1000, 60); }

TEST_F(RoomMode, BatchesThatAddAndDeleteAPrefixAreAppliedAsListed) {
  for (int round = 0; round < 100 && !HasFailure(); ++round) {
    start(60);
    for (int i = 0; i < 10 && !HasFailure(); ++i) {
      change_list batch = random_batches::random_batch(random, space, table, 6);
      const size_t n = batch.size();
      for (size_t k = 0; k < n; ++k) {
        change opposite = batch[k];
        opposite.add = !opposite.add;
        batch.insert(batch.begin() + static_cast<long>(random() % (batch.size() + 1)), opposite);
      }
      apply(batch);
    }
  }
}

// Tables that grow from a few prefixes to many, nested at random: most levels come above strays.
TEST_F(RoomMode, GrowingTablesAreRepairedAndNeverRefused) {
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    start(10);
    space.width = std::min(8u + static_cast<unsigned>(random() % 32), 128u - space.network.length);
    for (int i = 0; i < 40 && !HasFailure(); ++i) {
      change_list batch = random_batches::random_table(random, space, 1 + random() % 25);
      if (i % 4 == 3) {
        for (const change &c : random_batches::random_batch(random, space, table, 12)) {
          batch.push_back(c);
        }
      }
      apply(batch);
    }
  }
  EXPECT_GT(moved, 3000u) << "repairs are what this test is about";
}

// A tree of chains: below each prefix one that goes on, and k - 1 that end.
TEST_F(RoomMode, ChainsAreAcceptedUpToExactly64Bits) {
  for (const unsigned ends : {0u, 1u, 2u, 3u, 6u, 7u, 14u}) {
    const unsigned step = ends == 0 ? 1 : 32 - static_cast<unsigned>(__builtin_clz(ends));
    start_with_default();
    ASSERT_FALSE(HasFailure());
    ip_prefix inner = {};
    bool accepted = true;
    while (accepted && inner.length + step <= 128 && !HasFailure()) {
      const auto length = static_cast<uint8_t>(inner.length + step);
      change_list batch;
      for (uint64_t i = 0; i <= ends; ++i) {
        v6tool::ip_key key = inner.key;
        const unsigned shift = 128u - length;
        (shift >= 64 ? key.hi : key.lo) |= shift >= 64 ? i << (shift - 64) : i << shift;
        if (shift < 64 && shift + step > 64) {
          key.hi |= i >> (64 - shift);
        }
        batch.push_back({true, {key, length}, 1});
      }
      inner = batch.front().prefix;
      accepted = apply(batch);
    }
    EXPECT_TRUE(!accepted || step > 1) << ends << ": the chain never met 64 bits";
  }
}

// A path on which every prefix has up to three leaves beside the next one, and where it ends, leaves and levels at
// random, one by one: around the 64th bit most of them decide between right and 75.
TEST_F(RoomMode, RandomTreesAreAcceptedAtExactly64BitsAndRefusedOneBeyond) {
  size_t at_the_limit = 0;
  size_t one_beyond = 0;
  const auto add_one = [&](const ip_prefix &prefix) {
    counting with = table;
    const change_list batch = {{true, prefix, 1}};
    with.apply(batch, true);
    const uint32_t bits = bits_needed(with);
    const bool accepted = apply(batch);
    at_the_limit += accepted && bits == 64 ? 1 : 0;
    one_beyond += !accepted && bits == 65 ? 1 : 0;
  };
  for (int round = 0; round < 80 && !HasFailure(); ++round) {
    start_with_default();
    ASSERT_FALSE(HasFailure());
    ip_prefix tip = {};
    while (bits_needed(table) < 62 && tip.length < 120) {
      const auto leaves = static_cast<unsigned>(random() % (1 + static_cast<unsigned>(round) % 4));
      const unsigned step = leaves > 1 ? 2 : 1;
      const uint64_t turn = random() % (uint64_t{1} << step);
      change_list batch;
      for (uint64_t i = 0; i <= leaves; ++i) {
        batch.push_back({true, nested_tables::part_of(tip, step, turn ^ i), 1});
      }
      tip = batch.front().prefix;
      ASSERT_TRUE(apply(batch));
    }
    for (int i = 0; i < 24 && !HasFailure(); ++i) {
      const auto above = static_cast<uint8_t>(tip.length - random() % 8);
      const unsigned bits = 1 + static_cast<unsigned>(random() % 5);
      const ip_prefix near = {v6tool::masked(tip.key, above), above};
      add_one(nested_tables::part_of(near, bits, random() % (uint64_t{1} << bits)));
    }
  }
  EXPECT_GT(at_the_limit, 100u);
  EXPECT_GT(one_beyond, 100u);
}

TEST_F(RoomMode, AMoveLimitRefusesWithNothingChanged) {
  size_t limited = 0;
  for (int round = 0; round < 200 && !HasFailure(); ++round) {
    start(10);
    space.width = std::min(24u, 128u - space.network.length);
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
      const change_list batch = random_batches::random_table(random, space, 20);
      const std::vector<stored_row> before = rows;
      const uint32_t limit = static_cast<uint32_t>(random() % 2);
      zel_v6comp_set_move_limit(limit);
      const uint32_t status = request(batch);
      zel_v6comp_set_move_limit(no_limit);
      if (status == 0) {
        EXPECT_LE(moves().size(), limit);
        table.apply(batch, true);
      }
      look(story(batch, status));
      if (status == 0) {
        continue;
      }
      EXPECT_EQ(rows, before);
      if (status == 28) {
        ++limited;
        EXPECT_TRUE(apply(batch));
        EXPECT_GT(moves().size(), limit);
      }
    }
  }
  EXPECT_GT(limited, 20u);
}

}  // namespace
