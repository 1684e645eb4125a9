// SPDX-License-Identifier: Apache-2.0
// room_mode_faults.h - sweeps in room mode: a fresh library before each, nothing lost after it.
#ifndef ROOM_MODE_FAULTS_H
#define ROOM_MODE_FAULTS_H

#include "fault_sweep.h"

class room_mode_faults : public testing::TestWithParam<fault_sweep::fault_kind> {
 protected:
  void SetUp() override {
    ASSERT_EQ(instance_model::start(), 0u);
    tcamv6_debug_flags = {};
    zel_v6comp_set_room(1);
  }
  void TearDown() override {
    zel_v6comp_set_room(0);
    fault_sweep::expect_nothing_lost_after_reset();
  }
};

#endif
