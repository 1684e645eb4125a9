// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_order.h"

#include "incr_fixture.h"

using ::testing::ElementsAre;

namespace {

std::vector<uint32_t> order_of(const std::string &batch, bool room) {
  const std::vector<tcamv6_prefix> records = records_of(batch);
  tcamv6_update_rules rules = {};
  rules.room = room;
  tcamv6_order order = tcamv6_order_of(&rules, records.data(), static_cast<uint32_t>(records.size()));
  std::vector<uint32_t> result;
  for (uint32_t at = 0; tcamv6_order_step(&order, &at);) {
    result.push_back(at);
  }
  EXPECT_FALSE(order.next < order.count && !order.outside_in);
  return result;
}

constexpr auto mixed = "+2001:db8:1::/64 -2001:db8:2::/64 +2001:db8:1::/48@1 -2001:db8:9::/48 +2001:db8:7::/48 +::/8";

TEST(tcamv6_order_test, as_listed_without_room_mode) {
  EXPECT_THAT(order_of(mixed, false), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(tcamv6_order_test, deletes_longest_first_then_additions_shortest_first_as_listed_within_a_length) {
  EXPECT_THAT(order_of(mixed, true), ElementsAre(1, 3, 5, 2, 4, 0));
}

TEST(tcamv6_order_test, additions_only_deletes_only_and_nothing) {
  EXPECT_THAT(order_of("+::/8 +::/4 +8000::/4 +::/1", true), ElementsAre(3, 1, 2, 0));
  EXPECT_THAT(order_of("-::/8 -::/4 -::/1", true), ElementsAre(0, 1, 2));
  EXPECT_THAT(order_of("", true), ElementsAre());
}

TEST(tcamv6_order_test, prefix_that_is_added_and_deleted_keeps_the_list) {
  EXPECT_THAT(order_of("+::/8 -8000::/4 +8000::/4 +::/1", true), ElementsAre(0, 1, 2, 3));
}

TEST(tcamv6_order_test, prefixes_that_differ_in_the_first_bits_of_a_partial_byte_are_two) {
  EXPECT_THAT(order_of("-2001:db8:10::/44 +2001:db8:20::/44 +::/1", true), ElementsAre(0, 2, 1));
  EXPECT_THAT(order_of("-2001:db8:10::/44 -2001:db8:20::/44 +2001:db8:10::/44 +::/1", true), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(order_of("+fe00::/8 -fe00::/7 +fc00::/7 +::/1", true), ElementsAre(1, 3, 2, 0));
  EXPECT_THAT(order_of("+fe00::/8 -fe00::/7 +fc00::/7 +fe00::/7 +::/1", true), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(order_of("-::/0 +::/0", true), ElementsAre(0, 1));
}

TEST(tcamv6_order_test, bits_beyond_the_length_tell_no_prefixes_apart) {
  EXPECT_THAT(order_of("+2001:db8:19::/48 -2001:db8:1f::/44 +2001:db8:11::/44 +::/1", true), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(order_of("-fffe::/15 +ffff::/15 +::/1", true), ElementsAre(0, 1, 2));
  EXPECT_THAT(order_of("-fffc::/15 +ffff::/15 +::/1", true), ElementsAre(0, 2, 1));
}

TEST(tcamv6_order_test, anchors_that_come_and_go_do_not_count) {
  EXPECT_THAT(order_of("+1::/8 -8000::/4@1 +8000::/4@1 +::/1", true), ElementsAre(1, 3, 2, 0));
}

}  // namespace
