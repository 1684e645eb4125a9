// SPDX-License-Identifier: Apache-2.0
// A full compression, each of its allocations refused once.
#include "fault_sweep.h"
#include "tcamv6_state_internal.h"

namespace {

using namespace instance_model;
using fault_sweep::fault_kind;

const std::vector<std::string> small_table = {
    "+2001:db8::/32", "+2001:db8::/32 5", "+2001:db8:1::/48", "+2001:db8:1:2::/64", "+2001:db8:1:2:3::/96",
    "+2001::/16",     "+2400::/12",       "+2600::/16",       "+fe80::1/128",       "+::/0 3"};

class FullFaults : public testing::TestWithParam<fault_kind> {
 protected:
  void SetUp() override { ASSERT_EQ(start(), 0u); }
  void TearDown() override { fault_sweep::expect_nothing_lost_after_reset(); }

  // A run that began and failed is told apart from none at all.
  static void expect_empty_instance() {
    EXPECT_EQ(tcamv6_init_opt_done(state_of()), -2);
    const bool began = (state_of()->marks & TCAMV6_MARK_FAILED) != 0;
    uint32_t count = 99;
    tm_incr_update_entry *list = nullptr;
    EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), began ? 22u : 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(test_host::heap().blocks, 1u);
  }

  const std::vector<change> table = read_changes(small_table);
};

TEST_P(FullFaults, ARefusedRunAnswers12AndTheNextOneSucceeds) {
  const answer right = request(table);
  ASSERT_EQ(right.status, 0u);
  const std::string right_image = image();
  answer got;
  const uint64_t n = fault_sweep::sweep_all(GetParam(), {[&] {
                                                           zel_v6comp_reset_instance(0, 0);
                                                           tags_so_far = 0;
                                                         },
                                                         [&] { got = request(table); },
                                                         [&](bool was_refused) {
                                                           // Sorting without its scratch memory is slower, not wrong:
                                                           // such a refusal goes unnoticed.
                                                           if (was_refused && got.status != 0) {
                                                             ASSERT_EQ(got.status, 12u);
                                                             expect_empty_instance();
                                                             tags_so_far = 0;
                                                             got = request(table);
                                                           }
                                                           ASSERT_TRUE(same_bytes(got, right));
                                                           ASSERT_EQ(image(), right_image);
                                                           ASSERT_EQ(first_fault(), "");
                                                           ASSERT_EQ(lost_memory(), "");
                                                         }});
  EXPECT_GT(n, 0u);
  RecordProperty("refused", static_cast<int>(n));
}

// What a failed run holds comes back with the next request of any other instance, or with any reset.
TEST_P(FullFaults, AnotherInstanceGetsTheMemoryBack) {
  const place other = {3, 1};
  answer got;
  const uint64_t n =
      fault_sweep::sweep_all(GetParam(), {[&] {
                                            zel_v6comp_reset_instance(0, 0);
                                            zel_v6comp_reset_instance(3, 1);
                                          },
                                          [&] { got = request(table); },
                                          [&](bool was_refused) {
                                            ASSERT_TRUE(got.status == 0 || (was_refused && got.status == 12));
                                            ASSERT_EQ(request(table, other).status, 0u);
                                            ASSERT_EQ(lost_memory(), "");
                                            ASSERT_EQ(containment_fault(other), "");
                                            zel_v6comp_reset_instance(3, 1);
                                            ASSERT_EQ(lost_memory(), "");
                                          }});
  EXPECT_GT(n, 0u);
}

TEST_P(FullFaults, AResetAfterwardsGivesEverythingBack) {
  const uint64_t n = fault_sweep::sweep_all(GetParam(), {[] {}, [&] { request(table); },
                                                         [&](bool) {
                                                           ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
                                                           ASSERT_EQ(allocated(), 0u);
                                                           ASSERT_EQ(lost_memory(), "");
                                                         }});
  EXPECT_GT(n, 0u);
}

// Not one refusal but a pool that stays too small, for every size below the need.
class SmallPools : public FullFaults {};

TEST_P(SmallPools, EverySizeBelowTheNeedAnswers12) {
  tm_raw_blk_row *row = nullptr;
  for (tm_raw_blk_row &r : raw_blk) {
    row = GetParam().name == r.name ? &r : row;
  }
  ASSERT_NE(row, nullptr);
  uint64_t size = 0;
  for (;; ++size) {
    SCOPED_TRACE(size);
    row->n_elems = size;
    zel_free_named(gbl_state);
    test_host::reset();
    tcamv6_debug_flags = {};
    ASSERT_EQ(zel_v6comp_init_global_state(1, 1), 0u);
    const uint32_t status = request(table).status;
    if (status == 0) {
      break;
    }
    ASSERT_EQ(status, 12u);
    ASSERT_EQ(request(table).status, 12u) << "the same again";
    zel_v6comp_reset_instance(0, 0);
    ASSERT_EQ(allocated(), 0u);
    ASSERT_EQ(test_host::heap().blocks, 1u);
  }
  EXPECT_GT(size, 5u);
  EXPECT_EQ(containment_fault(), "");
  EXPECT_EQ(start(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FullFaults, testing::ValuesIn(fault_sweep::all_kinds()), fault_sweep::kind_name);

INSTANTIATE_TEST_SUITE_P(Pools, SmallPools, testing::ValuesIn(fault_sweep::pool_kinds()), fault_sweep::kind_name);

}  // namespace
