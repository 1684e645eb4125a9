// SPDX-License-Identifier: Apache-2.0
// What a full compression promises, for any table: containment kept, all codes different, every address at its
// longest match, the request, the lookups and the dump of one mind.
#include <gtest/gtest.h>

#include <map>

#include "code_bits.h"
#include "containment_check.h"
#include "library_table.h"
#include "prefix_text.h"
#include "random_tables.h"
#include "stored_prefixes.h"

namespace {

using namespace v6tool;
using random_tables::as_text;
using random_tables::random_source;
using random_tables::random_table;
using random_tables::shape;

constexpr uint32_t does_not_fit = 75;
constexpr uint32_t no_room_for_updates = 14;

// Empty, or the first thing that is wrong with the compressed table.
std::string first_fault(const prefix_table &table, const stored_prefixes &stored, random_source &random) {
  std::vector<compressed_row> rows;
  for (const ip_prefix &prefix : stored.prefixes) {
    const auto row = library_table::translate(prefix);
    if (!row) {
      return format_prefix(prefix) + " is not stored";
    }
    rows.push_back(*row);
  }
  if (std::string fault = containment_counterexample(rows); !fault.empty()) {
    return fault;
  }
  for (size_t i = 0; i < table.rows.size(); ++i) {
    if (library_table::result_code(i) != rows[stored.find(table.rows[i].prefix)].code) {
      return "request and lookup differ for " + format_prefix(table.rows[i].prefix);
    }
  }
  for (const ip_prefix &prefix : stored.prefixes) {
    const ip_key first = first_address(prefix);
    const ip_key last = last_address(prefix);
    const ip_key inside = first | (ip_key{random(), random()} & ~leading_ones(prefix.length));
    for (const ip_key address : {previous_key(first), first, inside, last, next_key(last)}) {
      const auto found = library_table::find(address);
      const compressed_row &expected = rows[stored.forest.longest_match(address)];
      if (!found || found->match != expected.original || found->code != expected.code ||
          found->address != expected.address) {
        return format_address(address) + " does not find " + format_prefix(expected.original);
      }
    }
  }
  return "";
}

std::string first_fault_of_dump(const stored_prefixes &stored) {
  std::vector<compressed_row> rows = library_table::dump();
  size_t expected = 0;
  for (const prefix_kind kind : stored.kinds) {
    expected += kind != prefix_kind::anchor ? 1 : 0;
  }
  if (rows.size() != expected) {
    return std::to_string(rows.size()) + " rows dumped of " + std::to_string(expected);
  }
  std::vector<bool> seen(stored.prefixes.size(), false);
  for (const compressed_row &row : rows) {
    const uint32_t at = stored.find(row.original);
    const auto looked_up = library_table::translate(row.original);
    if (at == prefix_forest::none || seen[at] || stored.kinds[at] == prefix_kind::anchor) {
      return format_prefix(row.original) + " should not be in the dump, or not twice";
    }
    if (!looked_up || looked_up->code != row.code || looked_up->address != row.address) {
      return format_prefix(row.original) + " is dumped with other results than its lookup gives";
    }
    for (uint32_t around = stored.forest.parent(at); around != prefix_forest::none;
         around = stored.forest.parent(around)) {
      if (seen[around]) {
        return format_prefix(row.original) + " comes after " + format_prefix(stored.prefixes[around]);
      }
    }
    seen[at] = true;
  }
  return "";
}

class FullCompression : public testing::TestWithParam<shape> {
 protected:
  static void SetUpTestSuite() { library_table::start(); }
};

TEST_P(FullCompression, KeepsContainmentAndLongestMatch) {
  random_source random(11);
  unsigned compressed = 0;
  for (int round = 0; round < 120; ++round) {
    const prefix_table table = random_table(random, GetParam(), 1 + random() % 400);
    const stored_prefixes stored = find_stored_prefixes(table);
    const uint32_t status = library_table::compress(table);
    const uint32_t bits = required_code_bits(stored.forest, false);
    ASSERT_EQ(status == does_not_fit, bits > TCAMV6_MAX_CMPR_LEN) << bits << '\n' << as_text(table);
    if (status != 0) {
      continue;
    }
    ++compressed;
    ASSERT_EQ(first_fault(table, stored, random), "") << as_text(table);
    ASSERT_EQ(first_fault_of_dump(stored), "") << as_text(table);
  }
  EXPECT_GT(compressed, 100U);
}

TEST_P(FullCompression, LosesNoPoolElementOverManyTables) {
  random_source random(13);
  for (int round = 0; round < 50; ++round) {
    library_table::compress(random_table(random, GetParam(), 1 + random() % 60));
  }
  zel_v6comp_reset_instance(0, 0);
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    EXPECT_EQ(gbl_chunk_info[type].allocated, 0U) << raw_blk[type].name;
  }
}

TEST_P(FullCompression, GivesTheSameResultTwice) {
  random_source random(14);
  for (int round = 0; round < 20; ++round) {
    const prefix_table table = random_table(random, GetParam(), 1 + random() % 200);
    if (library_table::compress(table) != 0) {
      continue;
    }
    const std::vector<compressed_row> before = library_table::dump();
    ASSERT_EQ(library_table::compress(table), 0U);
    const std::vector<compressed_row> after = library_table::dump();
    ASSERT_EQ(before.size(), after.size());
    for (size_t i = 0; i < before.size(); ++i) {
      ASSERT_EQ(before[i].original, after[i].original);
      ASSERT_EQ(before[i].code, after[i].code);
      ASSERT_EQ(before[i].address, after[i].address);
    }
  }
}

TEST(DeepTables, AreRefusedExactlyWhenTheyNeedMoreThan64Bits) {
  library_table::start();
  random_source random(15);
  std::map<uint32_t, unsigned> statuses;
  for (int round = 0; round < 400; ++round) {
    const prefix_table table = random_table(random, shape::deep, 20 + random() % 120);
    const stored_prefixes stored = find_stored_prefixes(table);
    const uint32_t status = library_table::compress(table);
    const uint32_t bits = required_code_bits(stored.forest, false);
    ASSERT_EQ(status == does_not_fit, bits > TCAMV6_MAX_CMPR_LEN) << bits << '\n' << as_text(table);
    ++statuses[status];
    if (status == 0) {
      ASSERT_EQ(first_fault(table, stored, random), "") << as_text(table);
    }
  }
  EXPECT_GT(statuses[0], 50U);
  EXPECT_GT(statuses[does_not_fit], 50U);
  EXPECT_GT(statuses[no_room_for_updates], 50U);
  EXPECT_EQ(statuses.size(), 3U) << "a table was refused for another reason";
}

INSTANTIATE_TEST_SUITE_P(Shapes, FullCompression, testing::ValuesIn(random_tables::all_shapes),
                         [](const auto &shape_info) { return random_tables::shape_name(shape_info.param); });

}  // namespace
