// SPDX-License-Identifier: Apache-2.0
// What a refused change moved before it was undone concerns nobody.
#include <gtest/gtest.h>

#include <vector>

#include "zel_v6comp_table.h"

namespace {

// A chain of prefixes, each inside the one before: too many levels for 64 bits.
std::vector<zel_v6comp_table_change> too_many_levels() {
  std::vector<zel_v6comp_table_change> chain;
  zel_v6comp_table_change change = {};
  change.operation = ZEL_V6COMP_TABLE_ADD;
  for (unsigned bit = 0; bit < 128; ++bit) {
    change.address[bit / 8] = static_cast<uint8_t>(change.address[bit / 8] | 0x80 >> bit % 8);
    change.length = static_cast<uint8_t>(bit + 1);
    chain.push_back(change);
  }
  return chain;
}

TEST(TableRefusedMoves, AreNotInTheWritesOfAnotherTable) {
  const zel_v6comp_table_prefix office = {{0x20, 0x01, 0x0d, 0xb8}, 32, {}, 0};
  zel_v6comp_table *refused = nullptr;
  zel_v6comp_table *other = nullptr;
  ASSERT_EQ(zel_v6comp_table_open(0, 0, nullptr, &refused), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_table_open(0, 1, nullptr, &other), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_table_load(refused, &office, 1, nullptr), ZEL_V6COMP_TABLE_OK);

  const std::vector<zel_v6comp_table_change> chain = too_many_levels();
  ASSERT_LT(zel_v6comp_table_apply(refused, chain.data(), chain.size(), nullptr), 0);

  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  ASSERT_EQ(zel_v6comp_table_load(other, &office, 1, &outcome), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(outcome.n_writes, 2U);
  EXPECT_EQ(outcome.writes[0].kind, ZEL_V6COMP_TABLE_ADD_CODE);
  EXPECT_EQ(outcome.writes[1].kind, ZEL_V6COMP_TABLE_ADD_KEY);
  EXPECT_EQ(zel_v6comp_table_close(refused), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_close(other), ZEL_V6COMP_TABLE_OK);
}

}  // namespace
