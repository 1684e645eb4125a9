// SPDX-License-Identifier: Apache-2.0
// In compatible mode an anchor's weight can be taken as that of a prefix: the anchor goes, and its other counter stays
// on the node, which the path to longer prefixes still needs. The next prefix of that key counted on from there, so
// that with safe updates and in room mode a prefix given by name passed for an anchor and got no row. Found by
// sequences that change the mode. In compatible mode it stays so.
#include <gtest/gtest.h>

#include "instance_image.h"

namespace {

using namespace instance_model;

const v6tool::ip_prefix anchor = read_changes({"+2001:db8::/32"})[0].prefix;

counters of_anchor() {
  const stored_set set = stored();
  return set.count(anchor) == 0 ? counters{} : set.at(anchor);
}

void leave_a_counter() {
  ASSERT_EQ(start(), 0u);
  ASSERT_EQ(request(read_changes({"+2001:db8::/33"})).status, 0u);
  ASSERT_EQ(of_anchor().weight, 1u);
  ASSERT_EQ(of_anchor().anchors, 1u);
  ASSERT_EQ(request(read_changes({"-2001:db8::/32"})).status, 0u);
  ASSERT_EQ(stored().count(anchor), 0u);
}

class left_counter : public testing::TestWithParam<update_mode> {
 protected:
  void TearDown() override { set_mode(update_mode::compatible); }
};

TEST_P(left_counter, does_not_count_for_the_next_prefix) {
  leave_a_counter();
  set_mode(GetParam());
  ASSERT_EQ(request(read_changes({"+2001:db8::/32"})).status, 0u);
  EXPECT_EQ(of_anchor().weight, 1u);
  EXPECT_EQ(of_anchor().anchors, 0u);
}

TEST_P(left_counter, does_not_count_after_a_recompression) {
  leave_a_counter();
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  set_mode(GetParam());
  ASSERT_EQ(request(read_changes({"+2001:db8::/32 7"})).status, 0u);
  EXPECT_EQ(of_anchor().weight, 7u);
  EXPECT_EQ(of_anchor().anchors, 0u);
}

INSTANTIATE_TEST_SUITE_P(modes, left_counter, testing::Values(update_mode::safe, update_mode::room));

TEST(left_counter_in_compatible_mode, counts_for_the_next_prefix) {
  leave_a_counter();
  ASSERT_EQ(request(read_changes({"+2001:db8::/32"})).status, 0u);
  EXPECT_EQ(of_anchor().weight, 1u);
  EXPECT_EQ(of_anchor().anchors, 1u);
}

}  // namespace
