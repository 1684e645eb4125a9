// SPDX-License-Identifier: Apache-2.0
// How many stored prefixes one change may move.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include "tm_key.h"
#include "zel_v6comp_table.h"

namespace {

using prefix = std::pair<tm_key_number, uint8_t>;

zel_v6comp_table_change addition(const prefix &p) {
  zel_v6comp_table_change change = {};
  tm_key_store(change.address, p.first);
  change.length = p.second;
  change.operation = ZEL_V6COMP_TABLE_ADD;
  return change;
}

zel_v6comp_table *open_with(uint32_t move_limit) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.move_limit = move_limit;
  zel_v6comp_table *table = nullptr;
  EXPECT_EQ(zel_v6comp_table_open(0, 0, &options, &table), ZEL_V6COMP_TABLE_OK);
  return table;
}

// Adds all, one after the other: the moves of each, and the status of the first that is refused.
struct run_result {
  std::vector<uint32_t> moves;
  int32_t status = ZEL_V6COMP_TABLE_OK;
};

run_result add_all(const std::vector<prefix> &prefixes, uint32_t move_limit) {
  zel_v6comp_table *table = open_with(move_limit);
  run_result result;
  for (const prefix &p : prefixes) {
    const zel_v6comp_table_change change = addition(p);
    zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
    result.status = zel_v6comp_table_apply(table, &change, 1, &outcome);
    if (result.status != ZEL_V6COMP_TABLE_OK) {
      break;
    }
    result.moves.push_back(outcome.moved);
  }
  EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK);
  return result;
}

// Nested prefixes of a /32, which come in an order that crowds them.
std::vector<prefix> crowded(uint32_t seed) {
  constexpr uint8_t lengths[] = {33, 34, 35, 36, 37, 38, 40, 44};
  std::mt19937 random(seed);
  std::set<prefix> seen;
  std::vector<prefix> prefixes = {{tm_key_number{0x20010db8} << 96, uint8_t{32}}};
  while (prefixes.size() < 60) {
    const uint8_t length = lengths[random() % 8];
    const tm_key_number address = tm_key_number{0x20010db8} << 96 | tm_key_number{random() % 4096} << 84;
    const prefix p = {address & tm_key_number_leading(length), length};
    if (seen.insert(p).second) {
      prefixes.push_back(p);
    }
  }
  return prefixes;
}

TEST(TableMoveLimit, IsTheMostThatAChangeMoves) {
  uint32_t limited = 0;
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    const std::vector<prefix> prefixes = crowded(seed);
    const run_result free_run = add_all(prefixes, 0);
    ASSERT_EQ(free_run.status, ZEL_V6COMP_TABLE_OK);
    const uint32_t most = *std::max_element(free_run.moves.begin(), free_run.moves.end());
    ASSERT_EQ(add_all(prefixes, most + 1).moves, free_run.moves);
    const run_result none = add_all(prefixes, ZEL_V6COMP_TABLE_NO_MOVES);
    ASSERT_EQ(std::count(none.moves.begin(), none.moves.end(), 0u), static_cast<std::ptrdiff_t>(none.moves.size()));
    if (most == 0) {
      continue;
    }
    ++limited;
    ASSERT_EQ(none.status, ZEL_V6COMP_TABLE_E_MOVES);
    if (most > 1) {
      ASSERT_EQ(add_all(prefixes, most - 1).status, ZEL_V6COMP_TABLE_E_MOVES);
    }
  }
  EXPECT_GT(limited, 0u);
}

bool same_row(const zel_v6comp_table_row &a, const zel_v6comp_table_row &b) {
  return std::equal(std::begin(a.address), std::end(a.address), std::begin(b.address)) && a.length == b.length &&
         a.code == b.code && a.key == b.key && a.word == b.word && a.code_length == b.code_length;
}

std::vector<zel_v6comp_table_row> rows_of(const zel_v6comp_table *table) {
  std::vector<zel_v6comp_table_row> rows(100);
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  const int32_t n = zel_v6comp_table_rows(table, &place, rows.data(), 100);
  EXPECT_GE(n, 0);
  rows.resize(static_cast<size_t>(std::max(n, 0)));
  return rows;
}

// Beside the one that would move others stand another addition and a new word: neither is made.
TEST(TableMoveLimit, ARefusedChangeChangesNothing) {
  uint32_t refused = 0;
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    zel_v6comp_table *table = open_with(ZEL_V6COMP_TABLE_NO_MOVES);
    const std::vector<prefix> prefixes = crowded(seed);
    for (const prefix &p : prefixes) {
      const std::vector<zel_v6comp_table_row> before = rows_of(table);
      std::vector<zel_v6comp_table_change> changes = {addition(p)};
      zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
      if (zel_v6comp_table_apply(table, changes.data(), 1, &outcome) == ZEL_V6COMP_TABLE_OK) {
        continue;
      }
      ++refused;
      changes.push_back(addition({tm_key_number{0x20010db9} << 96, uint8_t{32}}));
      changes.push_back(addition(prefixes.front()));
      changes.back().word = 77;
      ASSERT_EQ(zel_v6comp_table_apply(table, changes.data(), changes.size(), &outcome), ZEL_V6COMP_TABLE_E_MOVES);
      EXPECT_EQ(outcome.n_writes, 0U);
      EXPECT_EQ(outcome.added + outcome.moved + outcome.present, 0U);
      const std::vector<zel_v6comp_table_row> after = rows_of(table);
      ASSERT_TRUE(std::equal(before.begin(), before.end(), after.begin(), after.end(), same_row)) << "seed " << seed;
      break;
    }
    EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK);
  }
  EXPECT_GT(refused, 0U);
}

}  // namespace
