// SPDX-License-Identifier: Apache-2.0
#include "report_data.h"

#include <gtest/gtest.h>

#include "prefix_text.h"

namespace {

using v6tool::depth_figures;
using v6tool::row_nesting;

zel_v6comp_table_row row(const char *prefix, uint8_t code_length) {
  v6tool::ip_prefix value;
  EXPECT_EQ(v6tool::parse_prefix(prefix, value), "");
  zel_v6comp_table_row made = {};
  v6tool::key_to_bytes(value.key, made.address);
  made.length = value.length;
  made.code_length = code_length;
  return made;
}

const std::vector<zel_v6comp_table_row> office = {row("2001:db8::/32", 9), row("2001:db8:1::/48", 37),
                                                  row("2001:db8:2::/48", 28), row("2001:db8:2:3::/64", 46),
                                                  row("2001:db8:ffff::1/128", 64)};

TEST(ReportNesting, NoRowsAreNoRows) {
  const row_nesting nesting = v6tool::nest({});
  EXPECT_TRUE(nesting.parent.empty());
  EXPECT_TRUE(v6tool::figures_by_depth({}, nesting).empty());
}

TEST(ReportNesting, ParentsAreWhatIsNextAround) {
  const row_nesting nesting = v6tool::nest(office);
  EXPECT_EQ(nesting.parent, (std::vector<uint32_t>{row_nesting::none, 0, 0, 2, 0}));
  EXPECT_EQ(nesting.depth, (std::vector<uint32_t>{0, 1, 1, 2, 1}));
}

// A /64 alone takes one place; the /48 around it two, one bit; the /32 holds 1 + 2 + 1 and its own: five, three bits.
TEST(ReportNesting, NeedCountsTheOwnPlace) {
  EXPECT_EQ(v6tool::nest(office).need, (std::vector<uint8_t>{3, 0, 1, 0, 0}));
}

TEST(ReportNesting, ANewAddressSpaceEndsTheOldOne) {
  const row_nesting nesting =
      v6tool::nest({row("::/0", 0), row("2001::/16", 4), row("2001:db8::/32", 8), row("2002::/16", 4)});
  EXPECT_EQ(nesting.parent, (std::vector<uint32_t>{row_nesting::none, 0, 1, 0}));
}

// 129 prefixes, each in the one before: every one adds its own place and doubles, to more bits than a code has.
TEST(ReportNesting, AChainOfAllLengthsNeedsMoreThanACodeHas) {
  std::vector<zel_v6comp_table_row> chain;
  for (int length = 0; length <= 128; ++length) {
    chain.push_back(row(("::/" + std::to_string(length)).c_str(), 64));
  }
  const row_nesting nesting = v6tool::nest(chain);
  EXPECT_EQ(nesting.need[128], 0U);
  EXPECT_EQ(nesting.need[127], 1U);
  EXPECT_EQ(nesting.need[64], 64U);
  EXPECT_EQ(nesting.need[63], 65U);
  EXPECT_EQ(v6tool::headroom(chain[0], nesting.need[0]), 0U);
}

TEST(ReportDepths, LeastMedianAndMost) {
  const std::vector<depth_figures> depths = v6tool::figures_by_depth(office, v6tool::nest(office));
  ASSERT_EQ(depths.size(), 3U);
  EXPECT_EQ(depths[0].prefixes, 1U);
  EXPECT_EQ(depths[0].least, 52U);  // 64 - 9 - 3
  EXPECT_EQ(depths[1].prefixes, 3U);
  EXPECT_EQ(depths[1].least, 0U);
  EXPECT_EQ(depths[1].median, 27U);
  EXPECT_EQ(depths[1].most, 35U);  // 64 - 28 - 1
  EXPECT_EQ(depths[1].shortest, 28U);
  EXPECT_EQ(depths[1].longest, 64U);
  EXPECT_EQ(depths[2].most, 18U);
}

TEST(ReportHeadroom, IsNeverBelowZero) {
  EXPECT_EQ(v6tool::headroom(row("::/0", 0), 0), 64U);
  EXPECT_EQ(v6tool::headroom(row("::/0", 60), 4), 0U);
  EXPECT_EQ(v6tool::headroom(row("::/0", 60), 5), 0U);
}

}  // namespace
