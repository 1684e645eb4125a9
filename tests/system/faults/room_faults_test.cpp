// SPDX-License-Identifier: Apache-2.0
// Batches in room mode that repair in every way, each of their allocations refused once.
#include <cstdio>
#include <random>

#include "room_mode_faults.h"
#include "tm_journal.h"

namespace {

using namespace instance_model;
using fault_sweep::fault_kind;

// Prefixes nested at random, up to `width` (at most 32) bits longer than one of 16.
std::vector<std::string> random_nest(std::mt19937 *random, size_t n, unsigned width) {
  std::vector<std::string> records;
  for (size_t i = 0; i < n; ++i) {
    const auto length = static_cast<uint32_t>(1 + (*random)() % width);
    const auto bits = static_cast<uint32_t>((*random)()) & ~uint32_t{0} << (32 - length);
    char text[64];
    std::snprintf(text, sizeof text, "+2001:%x:%x::/%u", bits >> 16, bits & 0xFFFFu, 16 + length);
    records.push_back(text);
  }
  return records;
}

class RoomFaults : public room_mode_faults {
 protected:
  void prepare() {
    zel_v6comp_reset_instance(0, 0);
    tags_so_far = 0;
    ASSERT_EQ(request(read_changes(base)).status, 0u);
    ASSERT_EQ(request(read_changes(before_it)).status, 0u);
    ASSERT_EQ(first_fault(), "");
  }

  static uint32_t moves() {
    const zel_v6comp_move *list = nullptr;
    uint32_t n = 0;
    EXPECT_EQ(zel_v6comp_moves(0, 0, &list, &n), 0u);
    return n;
  }

  // Refuses each allocation of a batch. Returns how many entries it moves with memory enough.
  uint32_t sweep_batch(const std::vector<std::string> &records) {
    const std::vector<change> batch = read_changes(records);
    prepare();
    const answer right = request(batch);
    EXPECT_EQ(right.status, 0u);
    const uint32_t moved = moves();
    const std::string right_set = text_of(stored());
    std::string before;
    uint64_t held = 0;
    answer got;
    fault_sweep::sweep_all(GetParam(), {[&] {
                                          prepare();
                                          before = image({}, detail::elements);
                                          held = allocated();
                                        },
                                        [&] { got = request(batch); },
                                        [&](bool was_refused) {
                                          if (was_refused && got.status != 0) {
                                            ASSERT_EQ(got.status, 12u);
                                            ASSERT_EQ(image({}, detail::elements), before);
                                            ASSERT_EQ(allocated(), held);
                                            ASSERT_EQ(lost_memory(), "");
                                            ASSERT_EQ(request(batch).status, 0u);
                                          }
                                          ASSERT_EQ(text_of(stored()), right_set);
                                          ASSERT_EQ(safe_fault(), "");
                                        }});
    return moved;
  }

  std::vector<std::string> base;
  std::vector<std::string> before_it;
};

TEST_P(RoomFaults, ARefusedRepairLeavesTheInstanceExactlyAsItWas) {
  std::mt19937 random(3);
  uint32_t moved = 0;
  const uint64_t unreserved = tm_journal_unreserved();
  for (int round = 0; round < 2 && !HasFailure(); ++round) {
    std::vector<std::string> batch;
    do {
      base = random_nest(&random, 10, 8);
      before_it = random_nest(&random, 100, 20);
      batch = random_nest(&random, 6, 20);
      prepare();
      ASSERT_EQ(request(read_changes(batch)).status, 0u);
    } while (moves() == 0);
    moved += sweep_batch(batch);
  }
  EXPECT_GE(moved, 2u);
  EXPECT_EQ(tm_journal_unreserved(), unreserved) << "a step took notes that nobody had reserved";
}

// Chains that use every bit: whole subtrees are laid out anew.
TEST_P(RoomFaults, ARefusedLayoutLeavesTheInstanceExactlyAsItWas) {
  const auto chain = [](unsigned from, unsigned to) {
    std::vector<std::string> records;
    for (unsigned length = from; length <= to; ++length) {
      records.push_back("+8000::/" + std::to_string(length));
    }
    return records;
  };
  base = {"+4000::/2"};
  before_it = chain(1, 50);
  EXPECT_GT(sweep_batch(chain(51, 56)), 10u);
}

INSTANTIATE_TEST_SUITE_P(Allocations, RoomFaults, testing::ValuesIn(fault_sweep::all_kinds()), fault_sweep::kind_name);

}  // namespace
