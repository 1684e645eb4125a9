// SPDX-License-Identifier: Apache-2.0
// What batches promise in compatible mode: an accepted one stores exactly what the counting says and moves nothing
// else; the prefixes of the table stay apart from what was deleted.
#include <gtest/gtest.h>

#include "updated_table_fixture.h"

namespace {

using namespace updated_table;

class IncrementalUpdates : public updated_table_test {
 protected:
  // One batch in compatible mode; false when it was refused.
  bool apply(const change_list &batch) {
    const std::vector<stored_row> before = rows;
    const uint32_t expected = counting(table).apply(batch, false);
    const uint32_t status = request(batch);
    EXPECT_TRUE(is_possible(status, expected)) << story(batch, status);
    if (status != 0) {
      return false;
    }
    table.apply(batch, false);
    look(story(batch, status));
    EXPECT_EQ(first_moved(before, rows, batch), "") << story(batch, status);
    return true;
  }
};

TEST_F(IncrementalUpdates, AcceptedBatchesStoreWhatTheCountingSaysAndMoveNoOtherCode) {
  size_t accepted = 0;
  for (int round = 0; round < 400; ++round) {
    start_table(150);
    for (int i = 0; i < 20; ++i) {
      if (!apply(random_batches::random_batch(random, space, table, i % 4 == 0 ? 12 : 2))) {
        break;
      }
      ++accepted;
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_GT(accepted, 1000u);
}

TEST_F(IncrementalUpdates, PrefixesThatAreNotStoredAreNotFound) {
  for (int round = 0; round < 60; ++round) {
    start_table(100);
    for (int i = 0; i < 10 && apply(random_batches::random_batch(random, space, table, 4)); ++i) {
      for (int probe = 0; probe < 50; ++probe) {
        const v6tool::ip_prefix prefix = random_batches::random_prefix(random, space);
        ASSERT_EQ(library_table::translate(prefix).has_value(), table.stored().contains(prefix));
      }
    }
  }
}

TEST_F(IncrementalUpdates, AddressesFindTheirLongestStoredPrefix) {
  for (int round = 0; round < 60; ++round) {
    start_table(100);
    for (int i = 0; i < 10 && apply(random_batches::random_batch(random, space, table, 4)); ++i) {
      for (int probe = 0; probe < 50; ++probe) {
        v6tool::ip_prefix longest = random_batches::random_prefix(random, space);
        const v6tool::ip_key address =
            longest.key | (v6tool::ip_key{random(), random()} & ~v6tool::leading_ones(longest.length));
        for (longest = {address, 128}; !table.stored().contains(longest);) {
          --longest.length;
          longest.key = v6tool::masked(address, longest.length);
        }
        const auto found = library_table::find(address);
        ASSERT_TRUE(found);
        ASSERT_EQ(found->match, longest);
      }
    }
  }
}

TEST_F(IncrementalUpdates, EmptyBatchChangesNothing) {
  for (const uint32_t safe : {0u, 1u}) {
    zel_v6comp_set_safe_updates(safe);
    start_table(100);
    const std::vector<stored_row> before = rows;
    const std::vector<uint32_t> allocated_before = allocated();
    ASSERT_EQ(request({}), 0u);
    look("empty batch");
    EXPECT_EQ(rows, before);
    EXPECT_EQ(allocated(), allocated_before);
  }
}

TEST_F(IncrementalUpdates, ThousandCyclesOfFillUpdateRefuseAndResetGiveEveryElementBack) {
  for (int cycle = 0; cycle < 1000; ++cycle) {
    zel_v6comp_set_safe_updates(cycle % 2 != 0 ? 1 : 0);
    start_table(60);
    for (int i = 0; i < 6; ++i) {
      change_list batch = random_batches::random_batch(random, space, table, 6);
      if (i % 2 == 1) {
        batch.push_back({false, {{}, 0}, 60000});
      }
      if (request(batch) == 0) {
        table.apply(batch, cycle % 2 != 0);
      } else if (cycle % 2 == 0) {
        break;
      }
    }
    reset();
    ASSERT_EQ(allocated(), std::vector<uint32_t>(TM_CHUNK_TYPES, 0)) << cycle;
  }
}

}  // namespace
