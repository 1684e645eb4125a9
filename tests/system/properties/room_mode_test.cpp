// SPDX-License-Identifier: Apache-2.0
// In room mode, whatever the batches: a table is refused exactly when its tightest code needs more than 64 bits, it is
// right after every batch, a refused batch leaves no trace, and what moves is told.
#include <gtest/gtest.h>

#include <set>

#include "code_bits.h"
#include "updated_table_fixture.h"

namespace {

using namespace updated_table;
using v6tool::ip_prefix;

constexpr uint32_t no_limit = UINT32_MAX;

struct form {
  ip_prefix code;
  v6tool::ip_key address;
  bool operator==(const form &) const = default;
};

ip_prefix prefix_of(const uint8_t *key, size_t bytes, uint8_t length) {
  v6tool::ip_key whole = {};
  for (size_t i = 0; i < bytes; ++i) {
    (i < 8 ? whole.hi : whole.lo) |= uint64_t{key[i]} << (56 - 8 * (i % 8));
  }
  return {whole, length};
}

bool is_entry(const stored_row &row) { return row.counters.weight != row.counters.anchors; }

std::map<ip_prefix, form> entries_of(const std::vector<stored_row> &rows) {
  std::map<ip_prefix, form> entries;
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
  return v6tool::required_code_bits(v6tool::prefix_forest(prefixes), true);
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

  static std::vector<zel_v6comp_move> moves() {
    const zel_v6comp_move *list = nullptr;
    uint32_t n = 0;
    EXPECT_EQ(zel_v6comp_moves(0, 0, &list, &n), 0u);
    return {list, list + n};
  }

  // Follows the moves from the entries before: what the batch did not make or take must end where they say.
  static std::string fault_of_moves(const std::map<ip_prefix, form> &before, const std::map<ip_prefix, form> &after,
                                    const change_list &batch, const std::vector<zel_v6comp_move> &moved) {
    std::map<ip_prefix, form> told = before;
    // What is deleted and comes back in one request is placed like any other addition.
    std::set<ip_prefix> deleted;
    for (const change &c : batch) {
      if (!c.add) {
        deleted.insert(c.prefix);
      }
    }
    for (const zel_v6comp_move &move : moved) {
      const ip_prefix prefix = prefix_of(move.address, 16, move.length);
      const form from = {prefix_of(move.old_key, 8, move.old_length), prefix_of(move.old_address, 8, 64).key};
      const form to = {prefix_of(move.new_key, 8, move.new_length), prefix_of(move.new_address, 8, 64).key};
      if (!told.contains(prefix) || !after.contains(prefix)) {
        return "moved what was not stored before and after";
      }
      if ((!(told[prefix] == from) && !deleted.contains(prefix)) || from == to) {
        return "moved from where it was not";
      }
      told[prefix] = to;
    }
    for (const auto &[prefix, where] : after) {
      if (told.contains(prefix) && !(told[prefix] == where) && !deleted.contains(prefix)) {
        return text_of({{true, prefix, 1}}) + " is not where the moves say";
      }
    }
    return "";
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
      EXPECT_EQ(fault_of_moves(entries_of(before), entries_of(rows), batch, moves()), "") << when;
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
    reset();
    table = {};
    first = {{true, {{}, 0}, 1}};
    ASSERT_EQ(request(first), 0u);
    table.compress(first);
    look("start");
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
