// SPDX-License-Identifier: Apache-2.0
// A state that a reset kept answers -22 to everything until it is cleared, but has no extra operations to release.
#include <gtest/gtest.h>

#include "instance_host.h"
#include "instance_image.h"

namespace {

using namespace instance_model;

TEST(kept_state, answers_nothing_until_it_is_cleared) {
  ASSERT_EQ(start(), 0u);
  const std::vector<change> table = read_changes({"+2001:db8::/32", "+2001:db8:1::/48"});
  ASSERT_EQ(request(table).status, 0u);
  tcamv6_state *state = state_of();
  ASSERT_EQ(tcamv6_reset(&state, 1), 0);
  EXPECT_EQ(allocated(), 0u);
  ASSERT_EQ(tcamv6_reset(&state, 1), 0) << "a second reset releases nothing";
  tcamv6_prefix prefix = {};
  tcamv6_cmpr_pref pref;
  tcamv6_cmpr_pref *half = nullptr;
  tcamv6_cmpr_addr addr;
  uint32_t n = 0;
  EXPECT_EQ(request(table).status, 22u);
  EXPECT_EQ(tcamv6_extra_ops_free(state), 0);
  EXPECT_EQ(tcamv6_extra_ops_get(state, &half, &half, &n), -22);
  EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_address(state, prefix.address, &prefix, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_prefix_handle_attach(state, &prefix, 1), -22);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, &n), -22);
  EXPECT_EQ(tcamv6_dump_n_prefixes(state, &n), -22);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, 1, &prefix, &pref, &addr, &n), -22);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &prefix, &pref, &addr, &n), -22);
  EXPECT_EQ(tcamv6_incr_compress(state, 0, &prefix, &pref, &addr, &n, &n, &n), -22);
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(request(table).status, 0u);
  EXPECT_EQ(tcamv6_extra_ops_free(state_of()), 0);
  EXPECT_EQ(safe_fault(), "");
}

}  // namespace
