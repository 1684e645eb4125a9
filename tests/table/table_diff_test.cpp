// SPDX-License-Identifier: Apache-2.0
// The writes from one dump to another, followed on both stages.
#include <algorithm>
#include <cstring>
#include <random>

#include "table_twin.h"
#include "test_host.h"
#include "zel_v6comp_plan.h"

namespace {

using table_test::parse;
using table_test::prefix;
using table_test::table_twin;
using table_test::two_stage_hardware;
using table_test::wish;
using rows_of = std::vector<zel_v6comp_table_row>;

int32_t diff(const rows_of &before, const rows_of &after, zel_v6comp_table_outcome &outcome) {
  outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  return zel_v6comp_table_diff(before.data(), before.size(), after.data(), after.size(), &outcome);
}

// Hardware that holds `before` becomes `after`, write by write.
zel_v6comp_table_outcome diff_and_follow(const rows_of &before, const rows_of &after) {
  two_stage_hardware hardware;
  zel_v6comp_table_outcome outcome;
  EXPECT_EQ(diff({}, before, outcome), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(hardware.follow({outcome.writes, outcome.n_writes}), "");
  zel_v6comp_table_free_writes(outcome.writes);
  EXPECT_EQ(diff(before, after, outcome), ZEL_V6COMP_TABLE_OK);
  if (outcome.early == 0) {
    EXPECT_EQ(hardware.follow({outcome.writes, outcome.n_writes}), "");
  } else {
    hardware.follow_blindly({outcome.writes, outcome.n_writes});
  }
  EXPECT_EQ(hardware.difference(after), "");
  zel_v6comp_table_free_writes(outcome.writes);
  outcome.writes = nullptr;
  return outcome;
}

rows_of rows_in_table(const std::vector<wish> &wishes) {
  table_twin twin;
  EXPECT_EQ(twin.load(wishes), ZEL_V6COMP_TABLE_OK);
  return twin.rows();
}

zel_v6comp_table_row row_of(const char *text, uint64_t code, uint8_t code_length, uint64_t key) {
  const prefix p = parse(text);
  zel_v6comp_table_row row = {};
  tm_key_store(row.address, p.address);
  row.length = static_cast<uint8_t>(p.length);
  row.code = code;
  row.code_length = code_length;
  row.key = key;
  return row;
}

constexpr uint64_t quarter = uint64_t{1} << 62;

TEST(TableDiff, OfNothing) {
  zel_v6comp_table_outcome outcome;
  EXPECT_EQ(diff({}, {}, outcome), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(outcome.n_writes, 0u);
  zel_v6comp_table_free_writes(outcome.writes);
  zel_v6comp_table_free_writes(nullptr);
}

TEST(TableDiff, OfATableAndItself) {
  const rows_of rows = rows_in_table({{parse("2001:db8::/32"), true, 1}, {parse("2001:db8:1::/48"), true, 2}});
  EXPECT_EQ(diff_and_follow(rows, rows).n_writes, 0u);
}

TEST(TableDiff, CountsWhatChanges) {
  const rows_of before = {row_of("::/2", 0, 2, 0), row_of("4000::/2", quarter, 2, quarter),
                          row_of("8000::/2", 2 * quarter, 2, 2 * quarter)};
  const rows_of after = {row_of("4000::/2", quarter, 2, quarter + 1), row_of("8000::/2", 3 * quarter, 2, 3 * quarter),
                         row_of("c000::/2", 0, 2, 0)};
  const zel_v6comp_table_outcome outcome = diff_and_follow(before, after);
  EXPECT_EQ(outcome.added, 1u);
  EXPECT_EQ(outcome.removed, 1u);
  EXPECT_EQ(outcome.moved, 1u);
  EXPECT_EQ(outcome.rekeyed, 1u);
  EXPECT_EQ(outcome.early, 0u);
}

TEST(TableDiff, TakesRowsInAnyOrderAndSaysTheWords) {
  rows_of before = {row_of("8000::/2", quarter, 2, quarter), row_of("::/2", 0, 2, 0)};
  before[0].word = 7;
  rows_of after = {row_of("4000::/2", quarter, 2, quarter), row_of("::/2", 0, 2, 0)};
  after[0].word = 9;
  zel_v6comp_table_outcome outcome;
  ASSERT_EQ(diff(before, after, outcome), ZEL_V6COMP_TABLE_OK);
  ASSERT_GT(outcome.n_writes, 0u);
  for (size_t i = 0; i < outcome.n_writes; ++i) {
    EXPECT_EQ(outcome.writes[i].word, outcome.writes[i].address[0] == 0x80 ? 7u : 9u);
  }
  zel_v6comp_table_free_writes(outcome.writes);
}

TEST(TableDiff, RowsThatChangePlacesAreParkedInGaps) {
  const rows_of before = {row_of("::/2", 0, 2, 0), row_of("4000::/2", quarter, 2, quarter)};
  const rows_of after = {row_of("::/2", quarter, 2, quarter), row_of("4000::/2", 0, 2, 0)};
  const zel_v6comp_table_outcome outcome = diff_and_follow(before, after);
  EXPECT_EQ(outcome.parked, 1u);
  EXPECT_EQ(outcome.early, 0u);
}

TEST(TableDiff, WithoutAGapOneGoesBeforeItsTime) {
  const rows_of before = {row_of("::/1", 0, 1, 0), row_of("8000::/1", 2 * quarter, 1, 2 * quarter)};
  const rows_of after = {row_of("::/1", 2 * quarter, 1, 2 * quarter), row_of("8000::/1", 0, 1, 0)};
  EXPECT_EQ(diff_and_follow(before, after).early, 1u);
}

// Below a row of one key no other key is spare, and its own must not be given.
TEST(TableDiff, ACodeOfAllBitsHasNoSpareKey) {
  const rows_of before = {row_of("::/1", 5, 64, 5), row_of("::/2", 5, 64, 5), row_of("4000::/2", 6, 64, 6)};
  const rows_of after = {row_of("::/1", 5, 64, 5), row_of("::/2", 6, 64, 6), row_of("4000::/2", 5, 64, 5)};
  zel_v6comp_table_outcome outcome;
  ASSERT_EQ(diff(before, after, outcome), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(outcome.parked, 0u);
  zel_v6comp_table_free_writes(outcome.writes);
}

TEST(TableDiff, OfRandomTablesIsSafe) {
  uint64_t parked = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    const auto some = [&](size_t n) {
      std::vector<wish> wishes;
      for (size_t i = 0; i < n; ++i) {
        const unsigned length = 1 + static_cast<unsigned>(random() % 20);
        wishes.push_back({prefix{tm_key_number{random()} << 64, 128}.cut(length), true, static_cast<uint32_t>(i)});
      }
      return wishes;
    };
    std::vector<wish> old_wishes = some(40);
    std::vector<wish> new_wishes = some(15);
    new_wishes.insert(new_wishes.end(), old_wishes.begin(), old_wishes.begin() + 30);
    parked += diff_and_follow(rows_in_table(old_wishes), rows_in_table(new_wishes)).parked;
    if (HasFailure()) {
      break;
    }
  }
  EXPECT_GT(parked, 0u);
}

// What a table says about its own change leads to the same rows as the difference of its dumps.
TEST(TableDiff, AgreesWithTheWritesOfAChange) {
  table_twin twin;
  ASSERT_EQ(twin.load({{parse("2001:db8::/32"), true, 1}, {parse("2001:db8:1::/48"), true, 2}}), ZEL_V6COMP_TABLE_OK);
  const rows_of before = twin.rows();
  ASSERT_EQ(twin.apply({{parse("2001:db8::/33"), true, 3}, {parse("2001:db8:1::/48"), false}}), ZEL_V6COMP_TABLE_OK);
  const zel_v6comp_table_outcome outcome = diff_and_follow(before, twin.rows());
  EXPECT_EQ(outcome.n_writes, twin.last.n_writes);
  EXPECT_EQ(outcome.added, twin.last.added);
  EXPECT_EQ(outcome.removed, twin.last.removed);
}

TEST(TableDiff, RefusesWhatIsWrong) {
  const zel_v6comp_table_row good = row_of("4000::/2", quarter, 2, quarter);
  zel_v6comp_table_row bad = good;
  const auto refused = [&](int32_t status) {
    zel_v6comp_table_outcome outcome;
    EXPECT_EQ(diff({good}, {bad}, outcome), status);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.n_writes, 0u);
    EXPECT_STREQ(outcome.reason, zel_v6comp_table_text(status));
    bad = good;
    return outcome.record;
  };
  bad.length = 129;
  EXPECT_EQ(refused(ZEL_V6COMP_TABLE_E_LENGTH), 1u);
  bad.address[15] = 1;
  EXPECT_EQ(refused(ZEL_V6COMP_TABLE_E_HOST_BITS), 1u);
  bad.code_length = 65;
  EXPECT_EQ(refused(ZEL_V6COMP_TABLE_E_ROW), 1u);
  bad.code |= 1;
  EXPECT_EQ(refused(ZEL_V6COMP_TABLE_E_ROW), 1u);
  bad.key = 3 * quarter;
  EXPECT_EQ(refused(ZEL_V6COMP_TABLE_E_ROW), 1u);

  zel_v6comp_table_outcome outcome;
  EXPECT_EQ(diff({good, good}, {}, outcome), ZEL_V6COMP_TABLE_E_ROW);
  EXPECT_EQ(outcome.record, SIZE_MAX);
  EXPECT_EQ(diff({}, {good, good}, outcome), ZEL_V6COMP_TABLE_E_ROW);
  EXPECT_EQ(zel_v6comp_table_diff(nullptr, 1, nullptr, 0, &outcome), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_diff(nullptr, 0, nullptr, 1, &outcome), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_diff(nullptr, 0, nullptr, 0, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_diff(&good, size_t{1000000000}, nullptr, 0, &outcome), ZEL_V6COMP_TABLE_E_COUNT);
  outcome.struct_size = 1;
  EXPECT_EQ(zel_v6comp_table_diff(nullptr, 0, nullptr, 0, &outcome), ZEL_V6COMP_TABLE_E_SIZE);
}

TEST(TableDiff, SaysWhenMemoryIsRefused) {
  const rows_of before = {row_of("::/2", 0, 2, 0), row_of("4000::/2", quarter, 2, quarter)};
  const rows_of after = {row_of("::/2", quarter, 2, quarter), row_of("4000::/2", 0, 2, 0)};
  uint64_t refused = 0;
  for (uint64_t k = 1; k < 100; ++k) {
    const size_t blocks = test_host::heap().blocks;
    const uint64_t refused_before = test_host::heap().refused;
    test_host::fail_heap_allocation(k);
    zel_v6comp_table_outcome outcome;
    const int32_t status = diff(before, after, outcome);
    test_host::fail_heap_allocation(0);
    zel_v6comp_table_free_writes(outcome.writes);
    EXPECT_EQ(test_host::heap().blocks, blocks);
    if (test_host::heap().refused == refused_before) {
      EXPECT_EQ(status, ZEL_V6COMP_TABLE_OK);
      break;
    }
    EXPECT_EQ(status, ZEL_V6COMP_TABLE_E_MEMORY);
    ++refused;
  }
  EXPECT_GT(refused, 10u);
}

TEST(TableSizePools, GrowWithThePrefixes) {
  uint64_t few[ZEL_V6COMP_TABLE_POOLS];
  uint64_t many[ZEL_V6COMP_TABLE_POOLS];
  zel_v6comp_table_size_pools(1000, few);
  zel_v6comp_table_size_pools(UINT32_MAX, many);
  for (int i = 0; i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    EXPECT_GT(few[i], 1000u);
    EXPECT_GT(many[i], few[i]);
    EXPECT_LE(many[i], UINT32_MAX);
  }
  zel_v6comp_table_size_pools(1, nullptr);
}

}  // namespace
