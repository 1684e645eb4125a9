// SPDX-License-Identifier: Apache-2.0
// The sum of ::/0 wraps to 0 modulo 2^16; then nothing is taken from it. Found by the fuzzer: ::/0 is never removed,
// but the number of prefixes went down as if it had been. With safe updates it counts what is stored; in compatible
// mode it goes down as documented, and never below 0.
#include <gtest/gtest.h>

#include "instance_image.h"

namespace {

using namespace instance_model;

uint32_t prefixes() {
  uint32_t n = 0;
  EXPECT_EQ(tcamv6_dump_n_prefixes(state_of(), &n), 0);
  return n;
}

void wrap_and_take_nothing() {
  ASSERT_EQ(request(read_changes({"+::/0 65535"})).status, 0u);
  request(read_changes({"-::/0 0"}));
}

TEST(default_prefix, wrapped_to_zero_stays_counted_with_safe_updates) {
  ASSERT_EQ(start(), 0u);
  set_safe_updates(true);
  ASSERT_EQ(request(read_changes({"+2001:db8:0:1::/64", "+2400::/12"})).status, 0u);
  const uint32_t before = prefixes();
  for (int round = 0; round < 8; ++round) {
    wrap_and_take_nothing();
    EXPECT_EQ(prefixes(), before) << round;
  }
  EXPECT_EQ(stored().count(v6tool::ip_prefix{}), 1u);
  EXPECT_EQ(request(read_changes({"-2001:db8:0:1::/64"})).status, 0u);
  EXPECT_EQ(first_fault(), "");
  EXPECT_EQ(containment_fault(), "");
}

TEST(default_prefix, wrapped_to_zero_is_counted_as_removed_in_compatible_mode_but_never_below_zero) {
  ASSERT_EQ(start(), 0u);
  ASSERT_EQ(request(read_changes({"+2400::/12"})).status, 0u);
  ASSERT_EQ(prefixes(), 2u);
  wrap_and_take_nothing();
  EXPECT_EQ(prefixes(), 1u);
  EXPECT_EQ(stored().count(v6tool::ip_prefix{}), 1u);
  // Undoing a batch that the count makes fail takes the same way again.
  for (int round = 0; round < 4; ++round) {
    request(read_changes({"+::/0 65535"}));
    request(read_changes({"-::/0 0"}));
    EXPECT_LE(prefixes(), 2u) << round;
  }
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  ASSERT_EQ(request(read_changes({"+2001:db8:1::/48", "+2400::/12"})).status, 0u);
  EXPECT_EQ(safe_fault(), "");
}

}  // namespace
