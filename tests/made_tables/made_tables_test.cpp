// SPDX-License-Identifier: Apache-2.0
// What is made is measured by code of its own: pairs of prefixes, one by one.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "fixed_random.h"
#include "made_history.h"
#include "prefix_text.h"
#include "prefix_wishes.h"

namespace {

using namespace v6tool;

bool nested_in(const std::set<ip_prefix> &table, const ip_prefix &prefix) {
  return std::any_of(table.begin(), table.end(),
                     [&](const ip_prefix &other) { return other.length < prefix.length && contains(other, prefix); });
}

bool clustered_in(const std::set<ip_prefix> &table, const ip_prefix &prefix) {
  return std::any_of(table.begin(), table.end(), [&](const ip_prefix &other) {
    return other.length == prefix.length && next_key(last_address(other)) == prefix.key && prefix.key != ip_key{};
  });
}

struct measured {
  std::map<uint8_t, uint64_t> lengths;
  uint64_t nested = 0;
  uint64_t clustered = 0;
};

measured measure(const std::vector<ip_prefix> &prefixes) {
  const std::set<ip_prefix> table(prefixes.begin(), prefixes.end());
  measured out;
  for (const ip_prefix &prefix : table) {
    ++out.lengths[prefix.length];
    out.nested += nested_in(table, prefix) ? 1 : 0;
    out.clustered += clustered_in(table, prefix) ? 1 : 0;
  }
  return out;
}

table_order order_of(uint64_t count, const char *mix, share nested, share clustered, uint64_t seed) {
  table_order order;
  order.count = count;
  order.shares.nested = nested;
  order.shares.clustered = clustered;
  order.within = {{0x2000000000000000U, 0}, 3};
  order.seed = seed;
  EXPECT_EQ(parse_mix(mix, order.shares.mix), "");
  return order;
}

TEST(MadeTables, HaveTheLengthsTheNestingAndTheClusteringThatWereAsked) {
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    for (const share nested : {0U, 100000U, 400000U, 800000U}) {
      for (const share clustered : {0U, 250000U, 900000U}) {
        std::vector<ip_prefix> prefixes;
        const table_order order = order_of(1000, "32:20,48:50,64:30", nested, clustered, seed);
        ASSERT_EQ(make_table(order, prefixes), "") << nested << ' ' << clustered;
        const measured found = measure(prefixes);
        ASSERT_EQ(found.lengths, (std::map<uint8_t, uint64_t>{{32, 200}, {48, 500}, {64, 300}}));
        ASSERT_EQ(found.nested, nested / 1000) << clustered;
        ASSERT_EQ(found.clustered, clustered / 1000) << nested;
        ASSERT_TRUE(std::is_sorted(prefixes.begin(), prefixes.end()));
        ASSERT_TRUE(std::all_of(prefixes.begin(), prefixes.end(),
                                [&](const ip_prefix &prefix) { return contains(order.within, prefix); }));
      }
    }
  }
}

TEST(MadeTables, AreTheSameForTheSameSeedAndOthersForOthers) {
  std::vector<ip_prefix> a;
  std::vector<ip_prefix> b;
  std::vector<ip_prefix> c;
  ASSERT_EQ(make_table(order_of(100, "48:1,128:1", 300000, 100000, 7), a), "");
  ASSERT_EQ(make_table(order_of(100, "48:1,128:1", 300000, 100000, 7), b), "");
  ASSERT_EQ(make_table(order_of(100, "48:1,128:1", 300000, 100000, 8), c), "");
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
}

TEST(MadeTables, SayWhatCannotBe) {
  std::vector<ip_prefix> prefixes;
  EXPECT_EQ(make_table(order_of(10, "32:1", 1, 0, 1), prefixes), "") << "rounds to none";
  EXPECT_EQ(make_table(order_of(10, "32:1", 100000, 0, 1), prefixes),
            "no more than 0 of 10 prefixes can be nested with these lengths");
  EXPECT_EQ(make_table(order_of(10, "32:1,48:1", 0, whole_share, 1), prefixes),
            "no more than 8 of 10 prefixes can be clustered with these lengths");
  EXPECT_EQ(make_table(order_of(9, "6:1", 0, 0, 1), prefixes),
            "no place is left in 2000::/3 for a /6 that is not nested and not clustered");
  EXPECT_EQ(make_table(order_of(0, "6:1", 0, 0, 1), prefixes), "");
  EXPECT_TRUE(prefixes.empty());
}

// Each batch against the table as it is at the moment.
TEST(MadeHistories, KeepToTheirTableAndTheirOrder) {
  std::vector<ip_prefix> prefixes;
  ASSERT_EQ(make_table(order_of(300, "32:1,48:2", 300000, 200000, 5), prefixes), "");
  history_order order;
  order.batches = 30;
  order.batch_size = 7;
  order.additions = 600000;
  order.shares = {{{40, 1}, {64, 3}}, 250000, 100000};
  order.within = {{0x2000000000000000U, 0}, 3};
  std::vector<history_batch> batches;
  ASSERT_EQ(make_history(prefixes, order, batches), "");
  ASSERT_EQ(batches.size(), 30U);
  std::set<ip_prefix> table(prefixes.begin(), prefixes.end());
  measured added;
  uint64_t additions = 0;
  for (const history_batch &batch : batches) {
    ASSERT_EQ(batch.size(), 7U);
    std::set<ip_prefix> touched;
    for (const history_change &change : batch) {
      ASSERT_TRUE(touched.insert(change.prefix).second) << format_prefix(change.prefix);
      ASSERT_EQ(table.contains(change.prefix), !change.add);
      if (change.add) {
        ++additions;
        ++added.lengths[change.prefix.length];
        added.nested += nested_in(table, change.prefix) ? 1 : 0;
        added.clustered += clustered_in(table, change.prefix) ? 1 : 0;
        table.insert(change.prefix);
      } else {
        table.erase(change.prefix);
      }
    }
  }
  EXPECT_EQ(additions, 126U) << "six tenths of 210";
  EXPECT_EQ(added.lengths[64], 94U) << "94.5 and 31.5: the shorter length gets the odd one";
  EXPECT_EQ(added.lengths[40], 32U);
  EXPECT_EQ(added.nested, 32U);
  EXPECT_EQ(added.clustered, 13U);
}

TEST(MadeHistories, OfNothingButDeletesEndWhenNothingIsLeft) {
  history_order order;
  order.batches = 2;
  order.batch_size = 2;
  order.additions = 0;
  order.shares.mix = {{32, 1}};
  std::vector<history_batch> batches;
  EXPECT_EQ(make_history({{{0x20010db800000000U, 0}, 32}}, order, batches),
            "no prefix is left that a batch could delete");
}

// Of small tables the shares cannot be met in few additions: half of one prefix, a /32 inside another.
TEST(MadeHistories, SharesOfATableAreMetAsFarAsTheyCanBe) {
  const std::vector<ip_prefix> prefixes = {
      {{0x20010db800000000U, 0}, 32}, {{0x20010db800010000U, 0}, 48}, {{0x20010db800020000U, 0}, 48}};
  for (uint64_t batches = 1; batches <= 12; ++batches) {
    for (uint64_t size = 1; size <= 4; ++size) {
      history_order order;
      order.batches = batches;
      order.batch_size = size;
      order.additions = 600000;
      order.within = {{0x2000000000000000U, 0}, 3};
      order.shares = shares_of(prefixes);
      std::vector<history_batch> made;
      ASSERT_EQ(make_history(prefixes, order, made), "") << batches << " batches of " << size;
      ASSERT_EQ(made.size(), batches);
    }
  }
  history_order order;
  order.batches = order.batch_size = 1;
  order.additions = whole_share;
  order.within = {{0x2000000000000000U, 0}, 3};
  order.shares = shares_of(prefixes);
  order.shares.mix = {{32, 1}};
  order.shares.must_nest = true;
  std::vector<history_batch> made;
  EXPECT_EQ(make_history(prefixes, order, made), "no more than 0 of 1 prefixes can be nested with these lengths");
  order.shares.must_nest = false;
  EXPECT_EQ(make_history(prefixes, order, made), "");
}

TEST(MadeTables, SharesOfATableAreThoseThatWereAsked) {
  std::vector<ip_prefix> prefixes;
  const table_order order = order_of(1000, "32:1,48:1", 250000, 125000, 3);
  ASSERT_EQ(make_table(order, prefixes), "");
  const wish_shares shares = shares_of(prefixes);
  EXPECT_EQ(shares.nested, 250000U);
  EXPECT_EQ(shares.clustered, 125000U);
  EXPECT_EQ(shares.mix, (length_mix{{32, 500}, {48, 500}}));
  EXPECT_TRUE(shares_of({}).mix.empty());
  EXPECT_FALSE(shares.must_nest || shares.must_cluster);
}

TEST(PrefixWishes, ReadSharesAndMixes) {
  share value = 5;
  EXPECT_EQ(parse_share("0.4", value), "");
  EXPECT_EQ(value, 400000U);
  EXPECT_EQ(parse_share("1", value), "");
  EXPECT_EQ(value, whole_share);
  EXPECT_EQ(parse_share("0.000001", value), "");
  EXPECT_EQ(value, 1U);
  for (const char *bad : {"", ".", ".5", "1.1", "2", "-1", "0.", "0.1234567", "1e-1", "0,5", " 0"}) {
    EXPECT_NE(parse_share(bad, value), "") << bad;
  }
  length_mix mix;
  EXPECT_EQ(parse_mix("0:1,128:3,0:1", mix), "");
  EXPECT_EQ(mix, (length_mix{{0, 2}, {128, 3}}));
  for (const char *bad : {"", "129:1", "48", "48:", ":5", "48:1,,", "48:0", "48:-1"}) {
    EXPECT_NE(parse_mix(bad, mix), "") << bad;
  }
}

TEST(PrefixWishes, AreDealtOutByTheLargestRemainders) {
  std::vector<uint64_t> dealt;
  EXPECT_TRUE(deal_out(10, {1, 1, 1}, {10, 10, 10}, dealt));
  EXPECT_EQ(dealt, (std::vector<uint64_t>{4, 3, 3}));
  EXPECT_TRUE(deal_out(10, {8, 1, 1}, {4, 10, 10}, dealt));
  EXPECT_EQ(dealt[0], 4U);
  EXPECT_EQ(dealt[0] + dealt[1] + dealt[2], 10U);
  EXPECT_FALSE(deal_out(10, {1, 1}, {4, 5}, dealt));
  EXPECT_TRUE(deal_out(0, {0}, {0}, dealt));
}

// From the definition of the numbers, so that no platform can have others.
TEST(FixedRandom, IsTheSameEverywhere) {
  fixed_random random(0);
  EXPECT_EQ(random.next(), 0xE220A8397B1DCDAFU);
  EXPECT_EQ(random.next(), 0x6E789E6AA1B965F4U);
  fixed_random dice(1);
  std::map<uint64_t, int> faces;
  for (int i = 0; i < 6000; ++i) {
    ++faces[dice.below(6)];
  }
  ASSERT_EQ(faces.size(), 6U);
  for (const auto &[face, count] : faces) {
    EXPECT_NEAR(count, 1000, 150) << face;
  }
  EXPECT_EQ(dice.below(1), 0U);
}

}  // namespace
