// SPDX-License-Identifier: Apache-2.0
#include "containment_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model_tables.h"

namespace {

using namespace v6tool;
using model_tables::random_prefixes;
using model_tables::random_source;
using model_tables::right_table;
using testing::HasSubstr;

// The slow twin: the definition, for all pairs.
bool all_pairs_are_right(const std::vector<compressed_row> &rows) {
  for (const compressed_row &p : rows) {
    for (const compressed_row &q : rows) {
      if (!pair_is_right(p, q) || (&p != &q && p.code == q.code)) {
        return false;
      }
    }
  }
  return true;
}

void flip_bit(ip_key &key, unsigned index) { (index < 64 ? key.hi : key.lo) ^= uint64_t{1} << (63 - index % 64); }

// Damage one row in one of the ways in which a wrong compression could.
void damage(std::vector<compressed_row> &rows, random_source &random) {
  compressed_row &row = rows[random() % rows.size()];
  compressed_row &other = rows[random() % rows.size()];
  switch (random() % 7) {
    case 0:
      std::swap(row.code, other.code);
      break;
    case 1:
      std::swap(row.address, other.address);
      break;
    case 2:
      flip_bit(row.address, static_cast<unsigned>(random() % 128));
      break;
    case 3:
      row.code = other.code;
      break;
    case 4:
      row.code.length = static_cast<uint8_t>(random() % (row.code.length + 1U));
      row.code.key = masked(row.code.key, row.code.length);
      break;
    case 5:
      if (row.code.length > 0) {
        flip_bit(row.code.key, static_cast<unsigned>(random() % row.code.length));
      }
      break;
    default:  // both of another: covered rightly, but not different
      row.code = other.code;
      row.address = other.address;
      break;
  }
}

TEST(ContainmentCheck, EmptyTablesAndSingleRowsAreRight) {
  EXPECT_EQ(containment_counterexample({}), "");
  const std::vector<compressed_row> one = right_table({{}});
  EXPECT_EQ(containment_counterexample(one), "");
}

TEST(ContainmentCheck, ARowMustCoverItsOwnAddress) {
  std::vector<compressed_row> rows = right_table({{{uint64_t{1} << 63, 0}, 1}});
  rows[0].address = {};
  EXPECT_THAT(containment_counterexample(rows), HasSubstr("8000::/1"));
}

TEST(ContainmentCheck, TwoRowsWithOneCodeAreNamedBoth) {
  std::vector<compressed_row> rows = right_table({{{0, 0}, 1}, {{uint64_t{1} << 63, 0}, 1}});
  rows[1].code = rows[0].code;
  rows[1].address = rows[0].address;
  const std::string text = containment_counterexample(rows);
  EXPECT_THAT(text, HasSubstr("::/1 "));
  EXPECT_THAT(text, HasSubstr("8000::/1 "));
  EXPECT_THAT(text, HasSubstr("same compressed prefix"));
}

TEST(ContainmentCheck, ACodeThatReachesTooFarIsNamedWithItsVictim) {
  // 8000::/1 is not in 0::/1, but 0::/1 was given the code of length 0.
  std::vector<compressed_row> rows = right_table({{{0, 0}, 1}, {{uint64_t{1} << 63, 0}, 1}});
  rows[0].code = {};
  EXPECT_EQ(containment_counterexample(rows),
            "the compressed prefix of ::/1 (0x0/0, address 0x8000000000000000) covers the address of 8000::/1 (0xc/2, "
            "address 0xc000000000000000), which it does not contain");
}

TEST(ContainmentCheck, ACodeThatMissesWhatItsPrefixContainsIsNamedWithIt) {
  std::vector<compressed_row> rows = right_table({{}, {{uint64_t{1} << 63, 0}, 1}});
  rows[0].code = {{0, 0}, 1};
  EXPECT_EQ(containment_counterexample(rows),
            "::/0 (0x0/1, address 0x0000000000000000) contains 8000::/1 (0xc/2, address 0xc000000000000000), but its "
            "compressed prefix does not cover that address");
}

TEST(ContainmentCheck, AgreesWithTheDefinitionOnRightAndOnDamagedTables) {
  random_source random(4);
  unsigned right = 0;
  unsigned wrong = 0;
  for (int round = 0; round < 20000; ++round) {
    const unsigned free_bits = 2 + static_cast<unsigned>(random() % 8);
    std::vector<compressed_row> rows =
        right_table(random_prefixes(random, 1 + random() % 24, 1 + static_cast<unsigned>(random() % 60), free_bits));
    ASSERT_EQ(containment_counterexample(rows), "");
    for (uint64_t n = 1 + random() % 2; n > 0; --n) {
      damage(rows, random);
    }
    const std::string found = containment_counterexample(rows);
    ASSERT_EQ(found.empty(), all_pairs_are_right(rows)) << found;
    ASSERT_EQ(found.find("contradicts"), std::string::npos) << found;
    ++(found.empty() ? right : wrong);
  }
  EXPECT_GT(right, 500U);  // some damage does no harm
  EXPECT_GT(wrong, 10000U);
}

}  // namespace
