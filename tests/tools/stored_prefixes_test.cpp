// SPDX-License-Identifier: Apache-2.0
#include "stored_prefixes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "prefix_text.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;

stored_prefixes stored(const std::string &content) {
  prefix_table table;
  read_report report;
  EXPECT_TRUE(parse_table("t", content, 65534, table, report));
  return find_stored_prefixes(table);
}

std::vector<std::string> texts(const stored_prefixes &s) {
  std::vector<std::string> out;
  for (size_t i = 0; i < s.prefixes.size(); ++i) {
    out.push_back(format_prefix(s.prefixes[i]) + ' ' + kind_name(s.kinds[i]));
  }
  return out;
}

TEST(StoredPrefixes, AHostRouteBringsFourAnchors) {
  const stored_prefixes s = stored("2001:db8:1:2:3:4:5:6/128\n");
  EXPECT_THAT(texts(s),
              ElementsAre("::/0 default", "2001:db8::/32 anchor", "2001:db8:1::/48 anchor", "2001:db8:1:2::/64 anchor",
                          "2001:db8:1:2:3:4::/96 anchor", "2001:db8:1:2:3:4:5:6/128 table"));
  EXPECT_EQ(s.n_table, 1U);
  EXPECT_EQ(s.n_anchors, 4U);
}

TEST(StoredPrefixes, AnchorsStandAtLengthsThatAPrefixExceeds) {
  EXPECT_EQ(stored("2001:db8::/32\n").n_anchors, 0U);
  EXPECT_EQ(stored("2001:db8::/33\n").n_anchors, 1U);
  EXPECT_EQ(stored("2001:db8::/48\n").n_anchors, 1U);
  EXPECT_EQ(stored("2001:db8::/49\n").n_anchors, 2U);
  EXPECT_EQ(stored("2001:db8::/64\n").n_anchors, 2U);
  EXPECT_EQ(stored("2001:db8::/65\n").n_anchors, 3U);
  EXPECT_EQ(stored("2001:db8::/96\n").n_anchors, 3U);
  EXPECT_EQ(stored("2001:db8::/97\n").n_anchors, 4U);
}

TEST(StoredPrefixes, APrefixOfTheTableIsNoAnchorAndADefaultOfTheTableIsItsOwn) {
  const stored_prefixes s = stored("::/0\n2001:db8::/32\n2001:db8:1::/48\n2001:db8:2::/48\n2001:db8::/32\n");
  EXPECT_THAT(texts(s),
              ElementsAre("::/0 table", "2001:db8::/32 table", "2001:db8:1::/48 table", "2001:db8:2::/48 table"));
}

TEST(StoredPrefixes, AnAddressUnderAnAnchorBelongsToThePrefixAroundIt) {
  const stored_prefixes s = stored("2001:d00::/24\n2001:db8:1::/48\n");
  ip_key under_anchor;
  ASSERT_TRUE(parse_address("2001:db8:2::1", under_anchor));
  EXPECT_EQ(format_prefix(s.prefixes[s.forest.longest_match(under_anchor)]), "2001:db8::/32");
  EXPECT_EQ(format_prefix(s.prefixes[s.longest_table_match(under_anchor)]), "2001:d00::/24");
  EXPECT_EQ(s.longest_table_match({0, 1}), prefix_forest::none);
}

TEST(StoredPrefixes, OnlyStoredPrefixesAreFound) {
  const stored_prefixes s = stored("2001:db8:1::/48\n");
  EXPECT_NE(s.find({{0x20010DB800000000U, 0}, 32}), prefix_forest::none);
  EXPECT_EQ(s.find({{0x20010DB800000000U, 0}, 33}), prefix_forest::none);
}

}  // namespace
