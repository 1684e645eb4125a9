// SPDX-License-Identifier: Apache-2.0
#include "chip_driver.h"

#include "agent_fixture.h"

namespace v6agent {
namespace {

// A chip with room for so many entries.
struct fake_chip {
  switch_image held;
  size_t room = 1000;
  size_t calls_left = SIZE_MAX;  // then it is gone

  std::string take(const switch_write &write) {
    if (calls_left == 0) {
      return "no answer";
    }
    --calls_left;
    switch_image after = held;
    apply_write(after, write);
    if (after.lookups.size() + after.rules.size() > room) {
      return "full";
    }
    held = std::move(after);
    return "";
  }
  chip_calls calls() {
    return {[this](const auto &place, const auto &value) { return take(put_lookup(place, value)); },
            [this](const auto &place) { return take(remove_lookup(place)); },
            [this](const auto &place, auto action) { return take(put_rule(place, action)); },
            [this](const auto &place) { return take(remove_rule(place)); },
            [this] { return calls_left != 0; },
            [this](switch_image &image) { image = held; }};
  }
};

class ChipDriver : public testing::Test {
 protected:
  void run_batches(uint32_t first, uint32_t last) {
    for (uint32_t i = first; i <= last; ++i) {
      ASSERT_EQ(engine.run(random_batch(i)).status, batch_status::done);
    }
  }

  scratch_folder folder;
  fake_chip chip;
  chip_driver driver{chip.calls()};
  table_pair tables{{4096, 0}};
  batch_journal journal{folder.file("journal")};
  switch_engine engine{tables, journal, driver};
};

TEST_F(ChipDriver, keeps_a_chip_equal_to_the_tables) {
  engine.recover();
  run_batches(0, 40);
  EXPECT_EQ(chip.held, engine.image());
}

TEST_F(ChipDriver, a_chip_that_is_full_ends_as_it_was) {
  engine.recover();
  run_batches(0, 20);
  const switch_image before = chip.held;
  chip.room = before.lookups.size() + before.rules.size() + 3;
  const batch_result result = engine.run(random_batch(21));
  EXPECT_EQ(result.status, batch_status::switch_refused);
  EXPECT_EQ(result.reason, "full");
  EXPECT_EQ(chip.held, before);
  EXPECT_TRUE(engine.in_step());
}

TEST_F(ChipDriver, a_chip_that_goes_away_in_a_step_is_found_again) {
  engine.recover();
  run_batches(0, 20);
  for (size_t calls = 0; calls < 12; ++calls) {
    chip.calls_left = calls;
    const batch_result result = engine.run(random_batch(static_cast<uint32_t>(21 + calls)));
    chip.calls_left = SIZE_MAX;
    if (result.status == batch_status::done) {
      continue;
    }
    EXPECT_EQ(result.status, batch_status::switch_unreachable);
    const reconcile_result mended = engine.reconcile();
    EXPECT_EQ(mended.status, driver_status::done);
    EXPECT_EQ(mended.foreign, 0U);
    EXPECT_EQ(chip.held, engine.image());
  }
}

}  // namespace
}  // namespace v6agent
