// SPDX-License-Identifier: Apache-2.0
// What the undo of a refused batch restores in compatible mode, by replaying it backwards, and what it does not.
#include <gtest/gtest.h>

#include "updated_table_fixture.h"

namespace {

using namespace updated_table;

class UndoOfBatches : public updated_table_test {
 protected:
  // Refused at its last record: more of ::/0 than there ever is.
  static change_list refused(change_list batch) {
    batch.push_back({false, {{}, 0}, 60000});
    return batch;
  }
};

TEST_F(UndoOfBatches, AdditionsAreTakenBackWhole) {
  size_t batches = 0;
  for (int round = 0; round < 300; ++round) {
    start_table(120);
    for (int i = 0; i < 5; ++i) {
      const change_list batch = refused(random_batches::random_table(random, space, 1 + random() % 8));
      const std::vector<stored_row> before = rows;
      const uint32_t status = request(batch);
      ASSERT_NE(status, 0u);
      look(story(batch, status));
      ASSERT_EQ(rows, before) << story(batch, status);
      ++batches;
    }
  }
  EXPECT_EQ(batches, 1500u);
}

}  // namespace
