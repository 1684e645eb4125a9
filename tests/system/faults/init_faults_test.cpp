// SPDX-License-Identifier: Apache-2.0
// Start-up with too little memory: the block refused, each pool refused.
#include "fault_sweep.h"
#include "tcamv6_state_internal.h"

namespace {

using namespace instance_model;

class InitFaults : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(start(), 0u);
    zel_free_named(gbl_state);
    gbl_state = nullptr;
    test_host::reset();
  }

  static void expect_working_library() {
    ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
    const answer a = request(read_changes({"+2001:db8::/32", "+2001:db8:1::/48"}));
    EXPECT_EQ(a.status, 0u);
    EXPECT_EQ(a.prefs.size(), 4u);
    EXPECT_EQ(containment_fault(), "");
  }
};

TEST_F(InitFaults, TheBlockIsRefused) {
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(zel_v6comp_init_global_state(2, 4), 12u);
  EXPECT_EQ(gbl_state, nullptr);
  EXPECT_EQ(test_host::heap().blocks, 0u);
  EXPECT_TRUE(test_host::pools().empty());
  EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr);
  EXPECT_EQ(request(read_changes({"+::/1"})).status, 22u);
  expect_working_library();
}

TEST_F(InitFaults, EachPoolIsRefusedInTurn) {
  uint64_t k = 1;
  for (;; ++k) {
    SCOPED_TRACE(k);
    test_host::fail_pool_creation(k);
    const uint32_t status = zel_v6comp_init_global_state(2, 4);
    test_host::fail_pool_creation(0);
    if (status == 0) {
      break;
    }
    EXPECT_EQ(status, 12u);
    EXPECT_EQ(test_host::pools().size(), k - 1);
    EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr) << "no instance may be handed out without its pools";
    EXPECT_EQ(request(read_changes({"+::/1"})).status, 22u);
    uint32_t count = 99;
    tm_incr_update_entry *list = nullptr;
    EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), 22u);
    EXPECT_EQ(count, 0u);
    zel_free_named(gbl_state);
    gbl_state = nullptr;
    test_host::reset();
  }
  EXPECT_EQ(k, 6u) << "five pools";
  test_host::reset();
  gbl_state = nullptr;
  expect_working_library();
}

TEST_F(InitFaults, OneHeapBlockIsAllThatItTakes) {
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  EXPECT_EQ(test_host::heap().allocations, 1u);
  EXPECT_EQ(test_host::pools().size(), 5u);
}

}  // namespace
