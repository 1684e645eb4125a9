// SPDX-License-Identifier: Apache-2.0
// With safe updates on, whatever the batches: a table that compresses rightly stays right, a refused batch leaves no
// trace, deletes take their own share only, and no stored key moves.
#include <gtest/gtest.h>

#include "updated_table_fixture.h"

namespace {

using namespace updated_table;

class SafeUpdates : public updated_table_test {
 protected:
  void SetUp() override { zel_v6comp_set_safe_updates(1); }

  // Applies a batch to the library and to the counting, and compares; true when it was accepted.
  bool apply(const change_list &batch) {
    const std::vector<stored_row> before = rows;
    const std::vector<stored_row> dumped_before = dump();
    const std::vector<uint32_t> allocated_before = allocated();
    const uint32_t expected = counting(table).apply(batch, true);
    const uint32_t status = request(batch);
    const std::string when = story(batch, status);
    EXPECT_TRUE(is_possible(status, expected)) << when;
    if (status == 0) {
      table.apply(batch, true);
    }
    look(when);
    if (status == 0) {
      EXPECT_EQ(first_moved(before, rows, batch), "") << when;
    } else {
      EXPECT_EQ(rows, before) << when;
      EXPECT_EQ(dump(), dumped_before) << when;
      EXPECT_EQ(allocated(), allocated_before) << when;
    }
    return status == 0;
  }

  // Random batches on random tables until so many were accepted. Returns how many were refused.
  size_t run_batches(size_t wanted, size_t most_prefixes) {
    size_t refused = 0;
    for (size_t accepted = 0; accepted < wanted;) {
      start_table(most_prefixes);
      EXPECT_EQ(counterexample(), "");
      for (int i = 0; i < 60 && accepted < wanted; ++i) {
        const change_list batch = random_batches::random_batch(random, space, table, i % 3 == 0 ? 12 : 3);
        if (apply(batch)) {
          ++accepted;
          EXPECT_EQ(counterexample(), "") << story(batch, 0);
        } else {
          ++refused;
        }
        if (HasFailure()) {
          return refused;
        }
      }
    }
    return refused;
  }
};

TEST_F(SafeUpdates, ContainmentHoldsAfterEveryOneOf10000AcceptedBatchesInDenseSpaces) {
  const size_t refused = run_batches(10000, 120);
  EXPECT_GT(refused, 500u) << "refusals are part of what this test is about";
}

TEST_F(SafeUpdates, ContainmentHoldsInCrowdedTables) {
  const size_t refused = run_batches(500, 1000);
  EXPECT_GT(refused, 10u);
}

TEST_F(SafeUpdates, SameBatchesBreakContainmentWhenTheSwitchIsOff) {
  zel_v6comp_set_safe_updates(0);
  size_t broken = 0;
  for (int round = 0; round < 40; ++round) {
    start_table(120);
    for (int i = 0; i < 30; ++i) {
      const change_list batch = random_batches::random_batch(random, space, table, 3);
      if (request(batch) != 0) {
        break;
      }
      table.apply(batch, false);
      look(story(batch, 0));
      broken += counterexample().empty() ? 0 : 1;
    }
  }
  EXPECT_GT(broken, 0u) << "else the check of the other tests sees nothing";
}

TEST_F(SafeUpdates, BatchThatIsRefusedAtItsVeryLastRecordLeavesNoTrace) {
  for (int round = 0; round < 300; ++round) {
    if (round % 10 == 0) {
      start_table(120);
    }
    change_list batch = random_batches::random_batch(random, space, table, 20);
    batch.push_back({false, {{}, 0}, 60000});  // applied last, being the shortest
    ASSERT_FALSE(apply(batch));
    ASSERT_FALSE(HasFailure());
  }
}

TEST_F(SafeUpdates, RefusedBatchChangesNothingForTheBatchesAfterIt) {
  // The same accepted batches give the same codes, with or without refused ones between them.
  for (int round = 0; round < 40; ++round) {
    start_table(80);
    const counting counted_first = table;
    std::vector<change_list> accepted;
    for (int i = 0; i < 25; ++i) {
      change_list batch = random_batches::random_batch(random, space, table, 4);
      if (apply(batch)) {
        accepted.push_back(batch);
      }
      batch.push_back({false, {{}, 0}, 60000});
      ASSERT_FALSE(apply(batch));
    }
    const std::vector<stored_row> with_refusals = rows;
    reset();
    ASSERT_EQ(request(first), 0u);
    table = counted_first;
    look("full compression");
    for (const change_list &batch : accepted) {
      ASSERT_TRUE(apply(batch));
    }
    ASSERT_EQ(rows, with_refusals);
  }
}

}  // namespace
