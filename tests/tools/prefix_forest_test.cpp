// SPDX-License-Identifier: Apache-2.0
#include "prefix_forest.h"

#include <gtest/gtest.h>

#include "model_tables.h"
#include "prefix_text.h"

namespace {

using namespace v6tool;
using model_tables::random_prefixes;

ip_prefix prefix(const std::string &text) {
  ip_prefix out;
  EXPECT_EQ(parse_prefix(text, out), "") << text;
  return out;
}

ip_key address(const std::string &text) {
  ip_key out;
  EXPECT_TRUE(parse_address(text, out)) << text;
  return out;
}

// The slow twins.
uint32_t naive_longest_match(const std::vector<ip_prefix> &prefixes, ip_key key) {
  uint32_t best = prefix_forest::none;
  for (uint32_t i = 0; i < prefixes.size(); ++i) {
    if (covers(prefixes[i], key) && (best == prefix_forest::none || prefixes[i].length > prefixes[best].length)) {
      best = i;
    }
  }
  return best;
}

uint32_t naive_parent(const std::vector<ip_prefix> &prefixes, uint32_t of) {
  uint32_t best = prefix_forest::none;
  for (uint32_t i = 0; i < prefixes.size(); ++i) {
    if (i != of && contains(prefixes[i], prefixes[of]) &&
        (best == prefix_forest::none || prefixes[i].length > prefixes[best].length)) {
      best = i;
    }
  }
  return best;
}

TEST(PrefixForest, NothingCoversAnythingInAnEmptyForest) {
  const prefix_forest forest;
  EXPECT_EQ(forest.size(), 0U);
  EXPECT_EQ(forest.longest_match({}), prefix_forest::none);
  EXPECT_EQ(forest.first_duplicate(), prefix_forest::none);
}

TEST(PrefixForest, AParentIsTheLongestPrefixAround) {
  const std::vector<ip_prefix> prefixes = {prefix("2001:db8:1::/48"), prefix("2001:db8::/32"), prefix("::/0"),
                                           prefix("2001:db8:1:2::/64"), prefix("2001:db9::/32")};
  const prefix_forest forest(prefixes);
  EXPECT_EQ(forest.parent(0), 1U);
  EXPECT_EQ(forest.parent(1), 2U);
  EXPECT_EQ(forest.parent(2), prefix_forest::none);
  EXPECT_EQ(forest.parent(3), 0U);
  EXPECT_EQ(forest.parent(4), 2U);
  EXPECT_EQ(forest.preorder(), (std::vector<uint32_t>{2, 1, 0, 3, 4}));
  EXPECT_EQ(forest.depths(), (std::vector<uint32_t>{2, 1, 0, 3, 1}));
}

TEST(PrefixForest, InnerPrefixesAreThoseWithOthersInside) {
  const std::vector<ip_prefix> prefixes = {prefix("::/0"), prefix("::/3"), prefix("2000::/3"), prefix("2000::/4")};
  EXPECT_EQ(prefix_forest(prefixes).count_inner(), 2U);
}

TEST(PrefixForest, AnAddressBehindAnInnerPrefixBelongsToTheOuterOne) {
  const std::vector<ip_prefix> prefixes = {prefix("2001:db8::/32"), prefix("2001:db8:1::/48"),
                                           prefix("2001:db8:7::/48")};
  const prefix_forest forest(prefixes);
  EXPECT_EQ(forest.longest_match(address("2001:db8:3::1")), 0U);
  EXPECT_EQ(forest.longest_match(address("2001:db8:7::")), 2U);
  EXPECT_EQ(forest.longest_match(address("2001:db8:7:ffff:ffff:ffff:ffff:ffff")), 2U);
  EXPECT_EQ(forest.longest_match(address("2001:db8:8::")), 0U);
  EXPECT_EQ(forest.longest_match(address("2001:db9::")), prefix_forest::none);
  EXPECT_EQ(forest.longest_match(address("2001:db7:ffff::")), prefix_forest::none);
}

TEST(PrefixForest, AHostRouteAtTheVeryEndIsFound) {
  const std::vector<ip_prefix> prefixes = {prefix("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128"), prefix("::/0")};
  const prefix_forest forest(prefixes);
  EXPECT_EQ(forest.longest_match(address("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff")), 0U);
  EXPECT_EQ(forest.longest_match(address("ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe")), 1U);
}

TEST(PrefixForest, APrefixThatStandsTwiceIsReported) {
  const std::vector<ip_prefix> prefixes = {prefix("::/0"), prefix("8000::/1"), prefix("::/0")};
  EXPECT_EQ(prefix_forest(prefixes).first_duplicate(), 0U);
}

TEST(PrefixForest, AgreesWithASearchThroughAllPrefixes) {
  model_tables::random_source random(3);
  for (int round = 0; round < 200; ++round) {
    const unsigned free_bits = round % 2 == 0 ? 8 : 128;
    const std::vector<ip_prefix> prefixes = random_prefixes(random, 1 + random() % 60, 128, free_bits);
    const prefix_forest forest(prefixes);
    for (uint32_t i = 0; i < prefixes.size(); ++i) {
      ASSERT_EQ(forest.parent(i), naive_parent(prefixes, i));
      const ip_key first = first_address(prefixes[i]);
      const ip_key last = last_address(prefixes[i]);
      const ip_key inside = first | (ip_key{random(), random()} & ~leading_ones(prefixes[i].length));
      for (const ip_key key : {previous_key(first), first, last, next_key(last), inside}) {
        ASSERT_EQ(forest.longest_match(key), naive_longest_match(prefixes, key));
      }
    }
  }
}

}  // namespace
