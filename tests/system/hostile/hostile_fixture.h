// SPDX-License-Identifier: Apache-2.0
// hostile_fixture.h - a stored table, and a check that a refused call left all of it alone.
#ifndef HOSTILE_FIXTURE_H
#define HOSTILE_FIXTURE_H

#include <cstring>
#include <string>
#include <vector>

#include "instance_host.h"
#include "instance_image.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_state_internal.h"
#include "test_records.h"

// The library as it is before its first call: no global block, no pools.
inline void forget_the_start() {
  static tm_chunk_info no_pools[TM_CHUNK_TYPES];
  ASSERT_EQ(instance_model::start(), 0u);
  zel_free_named(gbl_state);
  gbl_state = nullptr;
  tcamv6_forget_leftovers();
  tm_chunk_set_chunk_inf_base(no_pools);
  tm_dump_chk_info_set_base(nullptr);
  test_host::reset();
}

class hostile_test : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(instance_model::start(), 0u);
    tcamv6_debug_flags = {};
    const auto table = instance_model::read_changes({"+2001:db8::/32", "+2001:db8:1::/48", "+2400::/12 7"});
    ASSERT_EQ(instance_model::request(table).status, 0u);
    state = instance_model::state_of();
    before = instance_model::image({}, instance_model::detail::elements);
  }

  void TearDown() override {
    if (gbl_state == nullptr) {
      return;
    }
    expect_untouched();
    for (const instance_model::place &at : instance_model::all_places) {
      EXPECT_EQ(zel_v6comp_reset_instance(at.processor, at.instance), 0u);
    }
    EXPECT_EQ(instance_model::allocated(), 0u);
    EXPECT_EQ(instance_model::lost_memory(), "");
    EXPECT_EQ(test_host::pool_damage(), "");
  }

  void expect_untouched() const { EXPECT_EQ(instance_model::image({}, instance_model::detail::elements), before); }

  tcamv6_state *state = nullptr;
  std::string before;
};

#endif
