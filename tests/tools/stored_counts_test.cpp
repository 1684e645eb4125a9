// SPDX-License-Identifier: Apache-2.0
#include "stored_counts.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "prefix_text.h"
#include "stored_prefixes.h"

namespace {

using namespace v6tool;

ip_prefix prefix(const char *text) {
  ip_prefix p;
  EXPECT_EQ(parse_prefix(text, p), "");
  return p;
}

working_record add(const char *text, uint32_t weight = 1) { return {prefix(text), weight, 0, true}; }
working_record remove(const char *text, uint32_t weight = 1) { return {prefix(text), weight, 0, false}; }
working_record anchor(working_record record) {
  record.anchor_ref = record.weight;
  return record;
}

prefix_table table_of(const std::vector<const char *> &texts) {
  prefix_table table;
  for (const char *text : texts) {
    table.rows.push_back({prefix(text), 1, 0});
  }
  return table;
}

stored_counts counts_of(const std::vector<const char *> &texts, bool safe = true) {
  stored_counts counts(safe);
  counts.fill(table_of(texts));
  return counts;
}

TEST(StoredCounts, AFilledTableHoldsWhatAFullCompressionStores) {
  const std::vector<const char *> texts = {"2001:db8:1:2::/64", "2001:db8::/32", "2001:db8:7::1/128"};
  const stored_counts counts = counts_of(texts);
  const stored_prefixes stored = find_stored_prefixes(table_of(texts));
  EXPECT_EQ(counts.size(), stored.prefixes.size());
  for (const ip_prefix &p : stored.prefixes) {
    EXPECT_TRUE(counts.is_stored(p)) << format_prefix(p);
  }
}

TEST(StoredCounts, AnAdditionFallsIntoTheCaseOfItsPlace) {
  stored_counts counts = counts_of({"2001:db8::/32"});
  EXPECT_EQ(counts.apply(add("2001:db8::/32")), record_case::present);
  EXPECT_EQ(counts.apply(add("2001:db8:1:1::/64")), record_case::below_leaf);
  EXPECT_EQ(counts.apply(add("2001:db8:2::/48")), record_case::beside);
  EXPECT_EQ(counts.apply(anchor(add("2001:db8:1::/48"))), record_case::new_level);
}

TEST(StoredCounts, ADeleteTakesTheLastHoldOrLeavesTheRest) {
  stored_counts counts = counts_of({"2001:db8::/32", "2001:db8::/32", "2001:db8::/36", "2001:db8::/40"});
  EXPECT_EQ(counts.apply(remove("2001:db8::/36")), record_case::delete_inner);
  EXPECT_EQ(counts.apply(remove("2001:db8::/40")), record_case::delete_leaf);
  EXPECT_EQ(counts.apply(remove("2001:db8::/32")), record_case::shared)
      << "the /36 and the /40 are its anchors' givers";
}

TEST(StoredCounts, WithSafeUpdatesADeleteLeavesTheAnchorsShare) {
  for (const bool safe : {true, false}) {
    stored_counts counts = counts_of({"2001:db8:1::/48"}, safe);
    EXPECT_EQ(counts.apply(remove("2001:db8::/32")), safe ? record_case::absent : record_case::delete_inner);
    EXPECT_EQ(counts.apply(remove("2001:db9::/32")), record_case::absent);
  }
}

TEST(StoredCounts, AnAnchorAheadHoldsNothing) {
  stored_counts counts = counts_of({});
  EXPECT_EQ(counts.apply(add("2001:db8::/32", 0)), record_case::below_leaf);
  EXPECT_EQ(counts.apply(remove("2001:db8::/32", 0)), record_case::delete_leaf);
  EXPECT_FALSE(counts.is_stored(prefix("2001:db8::/32")));
}

TEST(StoredCounts, TheDefaultPrefixNeverGoes) {
  stored_counts counts = counts_of({});
  EXPECT_EQ(counts.apply(remove("::/0")), record_case::shared);
  EXPECT_TRUE(counts.is_stored({}));
}

// Slow twin: every question is answered by walking all stored prefixes.
TEST(StoredCounts, PlacesAgreeWithAWalkOverAllPrefixes) {
  std::mt19937_64 random(7);
  stored_counts counts(true);
  counts.fill({});
  std::map<ip_prefix, uint32_t> twin = {{ip_prefix{}, 1}};
  for (int step = 0; step < 4000; ++step) {
    const auto length = static_cast<uint8_t>(1 + random() % 8);
    const ip_prefix p = {masked({random(), 0}, length), length};
    ip_prefix enclosing;
    bool inner = false;
    for (const auto &[other, weight] : twin) {
      inner = inner || (other != p && contains(p, other));
      if (other != p && contains(other, p) && other.length >= enclosing.length) {
        enclosing = other;
      }
    }
    ASSERT_EQ(counts.enclosing(p), enclosing);
    ASSERT_EQ(counts.is_inner(p), inner);
    uint32_t children = 0;
    for (const auto &[other, weight] : twin) {
      children += other != p && contains(p, other) &&
                          (counts.enclosing(other) == p || counts.enclosing(other).length < p.length)
                      ? 1
                      : 0;
    }
    ASSERT_EQ(counts.count_children(p), children);
    const bool is_add = random() % 2 == 0;
    const record_case which = counts.apply({p, 1, 0, is_add});
    const auto found = twin.find(p);
    if (is_add) {
      ASSERT_EQ(which == record_case::present, found != twin.end());
      ASSERT_EQ(which == record_case::new_level, found == twin.end() && inner);
      ++twin[p];
    } else if (found == twin.end()) {
      ASSERT_EQ(which, record_case::absent);
    } else if (--found->second == 0) {
      ASSERT_EQ(which, inner ? record_case::delete_inner : record_case::delete_leaf);
      twin.erase(found);
    } else {
      ASSERT_EQ(which, record_case::shared);
    }
  }
}

}  // namespace
