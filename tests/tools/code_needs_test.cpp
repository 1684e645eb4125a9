// SPDX-License-Identifier: Apache-2.0
#include "code_needs.h"

#include <gtest/gtest.h>

#include "prefix_text.h"

namespace {

using namespace v6tool;

std::vector<ip_prefix> prefixes(const std::vector<const char *> &texts) {
  std::vector<ip_prefix> out(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(parse_prefix(texts[i], out[i]), "") << texts[i];
  }
  return out;
}

TEST(LeastNeed, MakesRoomForTheSumOfAllParts) {
  EXPECT_EQ(least_need({0, 0}), 1);
  EXPECT_EQ(least_need({0, 0, 0}), 2);
  EXPECT_EQ(least_need({3, 0}), 4);
  EXPECT_EQ(least_need({3, 2, 1, 0, 0}), 4);     // 8 + 4 + 2 + 1 + 1 = 16
  EXPECT_EQ(least_need({3, 2, 1, 0, 0, 0}), 5);  // 17
  EXPECT_EQ(least_need({0, 3, 0, 1, 2, 0}), 5);  // in any order
}

TEST(LeastNeed, EndsWhereItsTypeEnds) {
  EXPECT_EQ(least_need({254, 0}), 255);
  EXPECT_EQ(least_need({255, 255}), 255);
}

TEST(CodeNeeds, NothingInsideNeedsNothing) {
  EXPECT_TRUE(code_needs(prefix_forest(prefixes({})), least_need).empty());
  EXPECT_EQ(code_needs(prefix_forest(prefixes({"2001:db8::/32", "::/0"})), least_need), (std::vector<uint8_t>{0, 1}));
}

// The rule that is asked here tells only what it was given: the parts of 2001:db8::/32 are those of its two /48s, the
// last first, and its own rest.
TEST(CodeNeeds, PartsComeFromTheLastAddressToTheFirst) {
  const prefix_forest forest(prefixes({"2001:db8::/32", "2001:db8:1::/48", "2001:db8:1:1::/64", "2001:db8:2::/48"}));
  const need_rule last_and_count = [](const std::vector<uint8_t> &parts) {
    EXPECT_EQ(parts.back(), 0);
    return static_cast<uint8_t>(10 * parts.front() + parts.size());
  };
  EXPECT_EQ(code_needs(forest, last_and_count), (std::vector<uint8_t>{3, 2, 0, 0}));
  const need_rule second = [](const std::vector<uint8_t> &parts) {
    return static_cast<uint8_t>(parts.size() == 3 ? parts[1] : 7);
  };
  EXPECT_EQ(code_needs(forest, second), (std::vector<uint8_t>{7, 7, 0, 0}));
}

}  // namespace
