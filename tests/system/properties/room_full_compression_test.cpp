// SPDX-License-Identifier: Apache-2.0
// What a full compression in room mode promises: it is refused if and only if the tight code needs more than 64 bits,
// and gives the compatible bytes where that mode accepts.
#include <gtest/gtest.h>

#include "containment_check.h"
#include "library_table.h"
#include "nested_tables.h"
#include "prefix_text.h"
#include "random_tables.h"
#include "stored_prefixes.h"
#include "tight_bits.h"

namespace {

using namespace v6tool;
using namespace nested_tables;
using random_tables::as_text;
using random_tables::random_source;
using random_tables::random_table;

constexpr uint32_t does_not_fit = 75;
constexpr ip_prefix everything = {};

// What every stored prefix became, anchors and /0 included.
std::vector<compressed_row> translate_all(const stored_prefixes &stored) {
  std::vector<compressed_row> rows;
  for (const ip_prefix &prefix : stored.prefixes) {
    const auto row = library_table::translate(prefix);
    if (row) {
      rows.push_back(*row);
    } else {
      ADD_FAILURE() << format_prefix(prefix) << " is not stored";
    }
  }
  return rows;
}

// By the definition on small tables.
std::string first_fault(const std::vector<compressed_row> &rows) {
  for (size_t i = 0; rows.size() <= 300 && i < rows.size(); ++i) {
    for (size_t k = 0; k < rows.size(); ++k) {
      if (!pair_is_right(rows[i], rows[k])) {
        return format_prefix(rows[i].original) + " and " + format_prefix(rows[k].original);
      }
    }
  }
  return containment_counterexample(rows);
}

class RoomFullCompression : public testing::Test {
 protected:
  static void SetUpTestSuite() { library_table::start(); }
  void SetUp() override { zel_v6comp_set_room(1); }
  void TearDown() override { zel_v6comp_set_room(0); }

  // Accepted and right when 64 bits suffice, else refused with 75. Returns the bits that the tight code needs.
  static uint32_t expect_right(const prefix_table &table) {
    const stored_prefixes stored = find_stored_prefixes(table);
    const uint32_t bits = tight_bits(stored.prefixes);
    const uint32_t status = library_table::compress(table);
    EXPECT_EQ(status, bits > TCAMV6_MAX_CMPR_LEN ? does_not_fit : 0U) << bits << " bits\n" << as_text(table);
    if (status == 0) {
      EXPECT_EQ(first_fault(translate_all(stored)), "") << as_text(table);
    }
    return bits;
  }

  static uint32_t expect_right(const prefix_set &prefixes) { return expect_right(table_of(prefixes)); }

  static uint32_t compatible_status(const prefix_table &table) {
    zel_v6comp_set_room(0);
    const uint32_t status = library_table::compress(table);
    zel_v6comp_set_room(1);
    return status;
  }
};

ip_key random_host(random_source *random, const ip_prefix &block) {
  return block.key | (ip_key{(*random)(), (*random)()} & ~leading_ones(block.length));
}

ip_prefix random_block(random_source *random, unsigned length) {
  return {masked({(*random)(), (*random)()}, length), static_cast<uint8_t>(length)};
}

void append(prefix_set *to, const prefix_set &more) { to->insert(to->end(), more.begin(), more.end()); }

}  // namespace

TEST_F(RoomFullCompression, IsRefusedOnlyForMoreThan64Bits) {
  random_source random(31);
  unsigned mended = 0;
  for (const random_tables::shape shape : {random_tables::shape::nested, random_tables::shape::dense,
                                           random_tables::shape::mixed, random_tables::shape::deep}) {
    const bool is_deep = shape == random_tables::shape::deep;
    for (int round = 0; round < (is_deep ? 200 : 30); ++round) {
      const prefix_table table = random_table(random, shape, is_deep ? 20 + random() % 120 : 1 + random() % 300);
      const uint32_t bits = expect_right(table);
      ASSERT_FALSE(HasFailure());
      mended += bits <= TCAMV6_MAX_CMPR_LEN && compatible_status(table) != 0 ? 1 : 0;
    }
  }
  EXPECT_GT(mended, 20U) << "too few of these tables put the limits to the test";
}

TEST_F(RoomFullCompression, ATableThatCompatibleModeAcceptsGetsTheSameBytes) {
  random_source random(32);
  unsigned compared = 0;
  for (const random_tables::shape shape : random_tables::all_shapes) {
    for (int round = 0; round < 20; ++round) {
      const prefix_table table = random_table(random, shape, 1 + random() % 300);
      if (compatible_status(table) != 0) {
        continue;
      }
      const stored_prefixes stored = find_stored_prefixes(table);
      const std::vector<compressed_row> expected = translate_all(stored);
      ASSERT_EQ(library_table::compress(table), 0U);
      const std::vector<compressed_row> rows = translate_all(stored);
      ASSERT_EQ(rows.size(), expected.size());
      for (size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].code, expected[i].code) << format_prefix(rows[i].original);
        ASSERT_EQ(rows[i].address, expected[i].address) << format_prefix(rows[i].original);
      }
      ++compared;
    }
  }
  EXPECT_GT(compared, 100U);
}

TEST_F(RoomFullCompression, OneHostIsLeftOutOfABlockOfAnyLength) {
  random_source random(33);
  unsigned refused_before = 0;
  for (unsigned length = 1; length < 128; ++length) {
    const ip_prefix block = random_block(&random, length);
    const prefix_set prefixes = all_but(block, {random_host(&random, block)});
    ASSERT_EQ(prefixes.size(), 128 - length);
    ASSERT_LE(expect_right(prefixes), TCAMV6_MAX_CMPR_LEN);
    ASSERT_FALSE(HasFailure()) << length;
    refused_before += compatible_status(table_of(prefixes)) != 0 ? 1 : 0;
  }
  EXPECT_GT(refused_before, 50U);
}

TEST_F(RoomFullCompression, ManyHostsAreLeftOutAtOnce) {
  random_source random(34);
  for (const unsigned length : {16U, 32U, 48U, 64U}) {
    for (const size_t n : {2U, 3U, 10U, 60U}) {
      const ip_prefix block = random_block(&random, length);
      std::vector<ip_key> hosts;
      for (size_t i = 0; i < n; ++i) {
        hosts.push_back(random_host(&random, block));
      }
      ASSERT_LE(expect_right(all_but(block, hosts)), TCAMV6_MAX_CMPR_LEN);
      ASSERT_FALSE(HasFailure()) << n << " out of a /" << length;
    }
  }
}

TEST_F(RoomFullCompression, HolesInsideLargerTablesAreFitted) {
  random_source random(35);
  for (int round = 0; round < 30; ++round) {
    prefix_table table = random_table(random, random_tables::shape::nested, 200 + random() % 2000);
    prefix_set prefixes = distinct_prefixes(table);
    for (int holes = 0; holes < 3; ++holes) {
      const ip_prefix block = prefixes[random() % prefixes.size()];
      append(&prefixes, all_but(block, {random_host(&random, block)}));
    }
    expect_right(prefixes);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

TEST_F(RoomFullCompression, ChainsAreAcceptedUpToExactly64Bits) {
  random_source random(36);
  unsigned at_the_limit = 0;
  for (int round = 0; round < 60; ++round) {
    // A path on which every prefix has up to three leaves beside the next one.
    prefix_set prefixes;
    ip_prefix tip = everything;
    uint32_t bits = 0;
    while (bits <= TCAMV6_MAX_CMPR_LEN && tip.length < 126) {
      const unsigned leaves = static_cast<unsigned>(random() % (round % 3 == 0 ? 1 : round % 3 == 1 ? 2 : 4));
      const unsigned step = leaves > 1 ? 2 : 1;
      const uint64_t turn = random() % (uint64_t{1} << step);
      for (uint64_t i = 1; i <= leaves; ++i) {
        prefixes.push_back(part_of(tip, step, turn ^ i));
      }
      tip = part_of(tip, step, turn);
      prefixes.push_back(tip);
      bits = tight_bits(find_stored_prefixes(table_of(prefixes)).prefixes);
      if (bits < TCAMV6_MAX_CMPR_LEN) {
        continue;  // the last steps decide
      }
      ASSERT_EQ(expect_right(prefixes), bits);
      ASSERT_FALSE(HasFailure()) << "round " << round;
      at_the_limit += bits == TCAMV6_MAX_CMPR_LEN ? 1 : 0;
    }
  }
  EXPECT_GT(at_the_limit, 20U);
}

TEST_F(RoomFullCompression, ATableThatLeavesNoCodeOverIsAccepted) {
  for (const unsigned order : {1U, 4U, 8U, 11U}) {
    // A chain down to a block that has exactly the codes that are left.
    prefix_set prefixes;
    ip_prefix tip = everything;
    while (tip.length + order < TCAMV6_MAX_CMPR_LEN) {
      tip = part_of(tip, 1, tip.length % 2);
      prefixes.push_back(tip);
    }
    prefixes.pop_back();
    add_full(&prefixes, tip, order);
    EXPECT_EQ(expect_right(prefixes), 64U);
    prefixes.push_back(part_of(tip, order + 1, 0));
    EXPECT_EQ(expect_right(prefixes), 65U) << "one more prefix, order " << order;
  }
}

TEST_F(RoomFullCompression, ABlockAndAllItsPartsOfSomeLengths) {
  const ip_prefix block = {{0x20010db800000000, 0}, 32};
  for (const std::vector<unsigned> &lengths :
       std::vector<std::vector<unsigned>>{{34}, {35}, {36}, {40}, {44}, {34, 36, 40, 44}, {34, 35, 36, 40, 44}}) {
    prefix_set prefixes;
    for (const unsigned length : lengths) {
      append(&prefixes, parts_of(block, length));
    }
    EXPECT_LE(expect_right(prefixes), TCAMV6_MAX_CMPR_LEN) << "replaced";
    prefixes.push_back(block);
    EXPECT_LE(expect_right(prefixes), TCAMV6_MAX_CMPR_LEN) << "beside it";
  }
}
