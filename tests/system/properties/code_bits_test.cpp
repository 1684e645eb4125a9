// SPDX-License-Identifier: Apache-2.0
// How many bits the compressed prefixes of a table need, beside what the library says and what the tightest codes
// would need.
#include "code_bits.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "library_table.h"
#include "prefix_text.h"
#include "random_tables.h"
#include "stored_prefixes.h"

namespace {

using namespace v6tool;
using random_tables::random_source;
using random_tables::random_table;

uint32_t bits_of(const std::vector<ip_prefix> &prefixes) { return required_code_bits(prefix_forest(prefixes), false); }

ip_prefix short_prefix(uint64_t bits, uint8_t length) { return {{length == 0 ? 0 : bits << (64 - length), 0}, length}; }

// Parts that need w1, w2, ... bits fit into b bits exactly when 2^w1 + 2^w2 + ... <= 2^b. Carried from the least need
// up: two parts of w bits fill one of w + 1, and one left over takes the place of one.
uint32_t tightest_need(std::vector<uint32_t> needs) {
  while (needs.size() > 1) {
    std::sort(needs.begin(), needs.end(), std::greater<>());
    const uint32_t least = needs.back();
    size_t parts = 0;
    while (!needs.empty() && needs.back() == least) {
      needs.pop_back();
      ++parts;
    }
    if (parts == 1 && needs.empty()) {
      return least;
    }
    needs.insert(needs.end(), (parts + 1) / 2, least + 1);
  }
  return needs[0];
}

uint32_t tightest_bits(const prefix_forest &forest) {
  std::vector<std::vector<uint32_t>> needs(forest.size());
  uint32_t need = 0;
  for (size_t i = forest.size(); i-- > 0;) {
    const uint32_t index = forest.preorder()[i];
    need = 0;
    if (!needs[index].empty()) {
      needs[index].push_back(0);
      need = tightest_need(needs[index]);
    }
    if (forest.parent(index) != prefix_forest::none) {
      needs[forest.parent(index)].push_back(need);
    }
  }
  return need;
}

TEST(CodeBits, ADefaultRouteAloneNeedsNone) { EXPECT_EQ(bits_of({{}}), 0U); }

TEST(CodeBits, OnePrefixBesideTheRestOfTheDefaultNeedsOne) { EXPECT_EQ(bits_of({{}, short_prefix(1, 20)}), 1U); }

TEST(CodeBits, ThreePrefixesAndTheRestNeedTwoAndFourNeedThree) {
  std::vector<ip_prefix> prefixes = {{}, short_prefix(0, 3), short_prefix(1, 3), short_prefix(2, 3)};
  EXPECT_EQ(bits_of(prefixes), 2U);
  prefixes.push_back(short_prefix(3, 3));
  EXPECT_EQ(bits_of(prefixes), 3U);
}

TEST(CodeBits, EachLevelOfNestingNeedsOneMore) {
  std::vector<ip_prefix> prefixes;
  for (uint8_t length = 0; length <= 60; ++length) {
    prefixes.push_back(short_prefix(0, length));
    EXPECT_EQ(bits_of(prefixes), length);
  }
}

class CodeBitsOfTables : public testing::TestWithParam<random_tables::shape> {
 protected:
  static void SetUpTestSuite() { library_table::start(); }
};

TEST_P(CodeBitsOfTables, AreWhatTheLibraryReportsAndNeverLessThanTheTightestCodesNeed) {
  random_source random(12);
  unsigned compressed = 0;
  zel_v6comp_dbg_trace_set(1);
  for (int round = 0; round < 60; ++round) {
    const prefix_table table = random_table(random, GetParam(), 1 + random() % 150);
    const prefix_forest forest = find_stored_prefixes(table).forest;
    const uint32_t bits = required_code_bits(forest, false);
    EXPECT_LE(required_code_bits(forest, true), bits);
    ASSERT_GE(bits, tightest_bits(forest));
    if (library_table::compress(table) == 0) {
      ++compressed;
      ASSERT_EQ(library_table::reported_bits(), bits) << random_tables::as_text(table);
    }
  }
  zel_v6comp_dbg_trace_set(0);
  EXPECT_GT(compressed, 50U);
}

INSTANTIATE_TEST_SUITE_P(Shapes, CodeBitsOfTables, testing::ValuesIn(random_tables::all_shapes),
                         [](const auto &shape_info) { return random_tables::shape_name(shape_info.param); });

}  // namespace
