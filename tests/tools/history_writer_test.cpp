// SPDX-License-Identifier: Apache-2.0
#include "history_writer.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "prefix_text.h"

namespace {

using namespace v6tool;

prefix_table table_of(std::initializer_list<std::pair<const char *, uint32_t>> rows) {
  prefix_table table;
  for (const auto &[text, weight] : rows) {
    ip_prefix prefix;
    EXPECT_EQ(parse_prefix(text, prefix), "");
    table.rows.push_back({prefix, weight, 0});
  }
  return table;
}

std::string difference(const prefix_table &from, const prefix_table &to) {
  return format_history({"", {difference_of_tables(from, to)}});
}

TEST(HistoryWriter, WritesSignsPrefixesAndWeightsAboveOne) {
  const prefix_table from = table_of({{"2001:db8::/32", 1}, {"2001:db9::/32", 3}, {"2001:dba::/32", 2}});
  const prefix_table to = table_of({{"2001:dbb::/32", 7}, {"2001:dba::/32", 2}, {"2001:db9::/32", 2}, {"::/0", 1}});
  EXPECT_EQ(difference(from, to), "+::/0\n-2001:db8::/32\n-2001:db9::/32\n+2001:dbb::/32 7\n---\n");
}

TEST(HistoryWriter, EqualTablesDifferInNothing) {
  const prefix_table table = table_of({{"2001:db8::/32", 1}, {"2001:db8::/32", 2}});
  EXPECT_EQ(difference(table, table_of({{"2001:db8::/32", 3}})), "---\n");
  EXPECT_EQ(format_history({"", {}}), "");
}

TEST(HistoryWriter, WeightsBeyond32BitsTakeSeveralChanges) {
  const prefix_table large = table_of({{"2001:db8::/32", UINT32_MAX}, {"2001:db8::/32", UINT32_MAX}});
  EXPECT_EQ(difference({}, large), "+2001:db8::/32 4294967295\n+2001:db8::/32 4294967295\n---\n");
}

// What is written is read back, and turns the one table into the other.
TEST(HistoryWriter, RoundTrip) {
  std::mt19937 random(7);
  const auto random_table = [&random] {
    prefix_table table;
    for (uint32_t i = 0; i < random() % 60; ++i) {
      const auto length = static_cast<uint8_t>(random() % 129);
      table.rows.push_back({{masked({uint64_t{random() % 4} << 62 | random() % 4, random() % 8}, length), length},
                            1 + static_cast<uint32_t>(random() % 3),
                            0});
    }
    return table;
  };
  const auto weights_of = [](const prefix_table &table) {
    std::map<ip_prefix, uint64_t> weights;
    for (const table_row &row : table.rows) {
      weights[row.prefix] += row.weight;
    }
    return weights;
  };
  for (int round = 0; round < 200; ++round) {
    const prefix_table from = random_table();
    const prefix_table to = random_table();
    update_history read;
    read_report report;
    ASSERT_TRUE(parse_history("h", difference(from, to), 1000, read, report));
    ASSERT_EQ(read.batches.size(), 1u);
    std::map<ip_prefix, uint64_t> weights = weights_of(from);
    for (const history_change &change : read.batches.front()) {
      weights[change.prefix] += change.add ? change.weight : -uint64_t{change.weight};
    }
    std::erase_if(weights, [](const auto &entry) { return entry.second == 0; });
    ASSERT_EQ(weights, weights_of(to));
  }
}

}  // namespace
