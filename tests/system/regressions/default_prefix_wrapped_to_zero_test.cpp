// SPDX-License-Identifier: Apache-2.0
// The sum of ::/0 wraps to 0 modulo 2^16; then nothing is taken from it. Found by the fuzzer: ::/0 is never removed,
// but the number of prefixes goes down as if it had been. The structures stay sound, a batch that does not fit that
// number any more is refused, and a reset mends it.
#include <gtest/gtest.h>

#include "instance_image.h"

namespace {

using namespace instance_model;

TEST(default_prefix, wrapped_to_zero_and_deleted_with_weight_zero_is_counted_as_removed) {
  ASSERT_EQ(start(), 0u);
  set_safe_updates(true);
  ASSERT_EQ(request(read_changes({"+2001:db8:1::/48", "+2400::/12"})).status, 0u);
  ASSERT_EQ(request(read_changes({"+::/0 65535"})).status, 0u);
  EXPECT_EQ(stored()[v6tool::ip_prefix{}].weight, 0u);
  EXPECT_EQ(first_fault(), "");
  uint32_t before = 0;
  uint32_t after = 0;
  ASSERT_EQ(tcamv6_dump_n_prefixes(state_of(), &before), 0);
  ASSERT_EQ(request(read_changes({"-::/0 0"})).status, 0u);
  ASSERT_EQ(tcamv6_dump_n_prefixes(state_of(), &after), 0);
  EXPECT_EQ(after, before - 1);
  EXPECT_EQ(stored().count(v6tool::ip_prefix{}), 1u);
  EXPECT_EQ(first_fault({}, false), "");
  EXPECT_EQ(containment_fault(), "");
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  ASSERT_EQ(request(read_changes({"+2001:db8:1::/48", "+2400::/12"})).status, 0u);
  EXPECT_EQ(safe_fault(), "");
}

}  // namespace
