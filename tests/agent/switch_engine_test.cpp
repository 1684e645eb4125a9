// SPDX-License-Identifier: Apache-2.0
#include "switch_engine.h"

#include "agent_fixture.h"

namespace v6agent {
namespace {

using testing::HasSubstr;

class SwitchEngine : public testing::Test {
 protected:
  void start() {
    tables.emplace(table_limits{4096, 0});
    journal.emplace(folder.file("journal"));
    engine.emplace(*tables, *journal, driver);
    const reconcile_result result = engine->recover();
    ASSERT_EQ(result.status, driver_status::done) << result.reason;
  }
  void stop() {
    engine.reset();
    journal.reset();
    tables.reset();
  }
  void expect_a_restart_to_write_nothing() {
    const switch_image before = engine->image();
    stop();
    driver.writes = 0;
    start();
    EXPECT_EQ(engine->image(), before);
    EXPECT_EQ(driver.writes, 0U);
  }
  void run_batches(uint32_t first, uint32_t last) {
    for (uint32_t i = first; i <= last; ++i) {
      const batch_result result = engine->run(random_batch(i));
      ASSERT_EQ(result.status, batch_status::done) << i << ": " << result.reason;
    }
  }

  scratch_folder folder;
  memory_driver driver;
  std::optional<table_pair> tables;
  std::optional<batch_journal> journal;
  std::optional<switch_engine> engine;
};

TEST_F(SwitchEngine, what_is_in_the_switch_is_what_the_tables_say) {
  start();
  run_batches(0, 60);
  EXPECT_EQ(driver.held, engine->image());
  size_t rows = 0;
  for (const side which : both_sides) {
    tables->visit_rows(which, [&](const zel_v6comp_table_row &row) {
      ++rows;
      const lookup_place place{which, prefix_of(row.address, row.length)};
      ASSERT_TRUE(driver.held.lookups.contains(place));
      EXPECT_EQ(driver.held.lookups[place].key, row.key);
      EXPECT_EQ(driver.held.lookups[place].egress, which == side::source ? 0 : egress_of(row.word));
    });
  }
  EXPECT_EQ(driver.held.lookups.size(), rows);
  EXPECT_GT(rows, 100U);
  EXPECT_EQ(driver.held.rules.size(), 3U);
}

TEST_F(SwitchEngine, a_restart_finds_the_same_codes_and_writes_nothing) {
  start();
  run_batches(0, 60);
  expect_a_restart_to_write_nothing();
}

TEST_F(SwitchEngine, every_write_leaves_old_or_new_verdicts) {
  start();
  run_batches(0, 20);
  std::vector<ip_key> probes{"::1"_a};
  for (const auto &[place, value] : driver.held.lookups) {
    probes.push_back(v6tool::last_address(place.prefix));
  }
  for (uint32_t i = 21; i <= 40; ++i) {
    switch_image old = driver.held;
    switch_image walked = driver.held;
    std::vector<switch_image> states;
    driver.after_write = [&](const switch_write &write) {
      apply_write(walked, write);
      states.push_back(walked);
    };
    ASSERT_EQ(engine->run(random_batch(i)).status, batch_status::done);
    for (size_t p = i % 7; p < probes.size(); p += 7) {
      const auto before = verdict_of(old, probes[p], probes[p]);
      const auto after = verdict_of(driver.held, probes[p], probes[p]);
      ASSERT_TRUE(before.has_value() && after.has_value());
      for (const switch_image &state : states) {
        const auto now = verdict_of(state, probes[p], probes[p]);
        ASSERT_TRUE(now == before || now == after) << i << " " << v6tool::format_address(probes[p]);
      }
    }
  }
}

TEST_F(SwitchEngine, a_word_alone_is_written_too) {
  start();
  run_batches(0, 0);
  ASSERT_EQ(engine->run({adding(side::destination, {"2001:db8:1::/48"_p}, word_of(3, true))}).status,
            batch_status::done);
  const batch_result again = engine->run({adding(side::destination, {"2001:db8:1::/48"_p}, word_of(4, true))});
  EXPECT_EQ(again.writes, 1U);
  EXPECT_EQ((driver.held.lookups[{side::destination, "2001:db8:1::/48"_p}].egress), 4U);
  EXPECT_EQ(engine->run({adding(side::destination, {"2001:db8:1::/48"_p}, word_of(4, true))}).writes, 0U);
}

TEST_F(SwitchEngine, a_refused_step_takes_the_batch_back_wherever_it_is_refused) {
  start();
  run_batches(0, 30);
  const switch_image before = driver.held;
  const uint64_t batches = journal->batches();
  driver.steps = 0;
  size_t refused = 0;
  for (size_t n = 0;; ++n) {
    driver.steps = 0;
    driver.before_step = [&](size_t step) {
      return step == n ? driver_answer{driver_status::refused, "table full"} : driver_answer{};
    };
    const batch_result result = engine->run(random_batch(31));
    if (result.status == batch_status::done) {
      break;
    }
    ++refused;
    EXPECT_EQ(result.status, batch_status::switch_refused);
    EXPECT_EQ(result.reason, "table full");
    EXPECT_EQ(driver.held, before);
    EXPECT_EQ(engine->image(), before);
    EXPECT_EQ(journal->batches(), batches);
    EXPECT_TRUE(engine->in_step());
  }
  EXPECT_GE(refused, 2U);
  EXPECT_EQ(driver.held, engine->image());
  EXPECT_NE(driver.held, before);
}

TEST_F(SwitchEngine, a_switch_that_is_gone_gets_the_rest_when_it_is_back) {
  start();
  run_batches(0, 30);
  for (size_t n = 0; n < 6; ++n) {
    driver.steps = 0;
    driver.before_step = [&](size_t step) {
      return step >= n ? driver_answer{driver_status::unreachable, "gone"} : driver_answer{};
    };
    const auto batch = static_cast<uint32_t>(31 + n);
    const batch_result result = engine->run(random_batch(batch));
    driver.before_step = [](size_t) { return driver_answer{}; };
    if (result.status == batch_status::done) {
      continue;
    }
    EXPECT_EQ(result.status, batch_status::switch_unreachable);
    EXPECT_FALSE(engine->in_step());
    const size_t before = driver.writes;
    const reconcile_result mended = engine->reconcile();
    EXPECT_EQ(mended.status, driver_status::done);
    EXPECT_EQ(mended.foreign, 0U);
    EXPECT_EQ(mended.outstanding, driver.writes - before);
    EXPECT_EQ(driver.held, engine->image());
    EXPECT_TRUE(engine->in_step());
  }
}

TEST_F(SwitchEngine, a_way_back_that_breaks_off_is_gone_to_its_end_later) {
  start();
  run_batches(0, 30);
  const switch_image before = driver.held;
  driver.steps = 0;
  driver.before_step = [](size_t step) {
    return step == 0   ? driver_answer{}
           : step == 1 ? driver_answer{driver_status::refused, "no"}
                       : driver_answer{driver_status::unreachable, "gone"};
  };
  const batch_result result = engine->run(random_batch(31));
  EXPECT_EQ(result.status, batch_status::switch_refused);
  EXPECT_THAT(result.reason, HasSubstr("the way back failed too"));
  EXPECT_FALSE(engine->in_step());
  EXPECT_NE(driver.held, before);
  driver.before_step = [](size_t) { return driver_answer{}; };
  const reconcile_result mended = engine->reconcile();
  EXPECT_EQ(mended.status, driver_status::done);
  EXPECT_EQ(mended.foreign, 0U);
  EXPECT_EQ(driver.held, before);
}

TEST_F(SwitchEngine, after_a_crash_a_rest_that_the_switch_refuses_is_taken_back) {
  start();
  run_batches(0, 30);
  const switch_image before = driver.held;
  driver.steps = 0;
  driver.before_step = [](size_t step) {
    return step == 0 ? driver_answer{} : driver_answer{driver_status::unreachable, "killed"};
  };
  ASSERT_EQ(engine->run(random_batch(31)).status, batch_status::switch_unreachable);
  stop();
  tables.emplace(table_limits{4096, 0});
  journal.emplace(folder.file("journal"));
  engine.emplace(*tables, *journal, driver);
  driver.steps = 0;
  driver.before_step = [](size_t step) {
    return step == 0 ? driver_answer{driver_status::refused, "full"} : driver_answer{};
  };
  const reconcile_result result = engine->recover();
  EXPECT_EQ(result.status, driver_status::done);
  EXPECT_EQ(result.taken_back, "full");
  EXPECT_EQ(driver.held, before);
  EXPECT_EQ(engine->image(), before);
  EXPECT_EQ(journal->batches(), 31U);
}

TEST_F(SwitchEngine, entries_that_somebody_else_changed_are_put_right) {
  start();
  run_batches(0, 30);
  const switch_image right = driver.held;
  stop();
  driver.held.lookups.erase(driver.held.lookups.begin());
  driver.held.lookups.begin()->second.key ^= 1;
  driver.held.rules[{7, {}, {}, {}}] = rule_action::permit;
  driver.writes = 0;
  start();
  EXPECT_EQ(driver.held, right);
  EXPECT_EQ(driver.writes, 3U);
}

TEST_F(SwitchEngine, a_switch_that_forgot_everything_gets_everything) {
  start();
  run_batches(0, 30);
  const switch_image right = driver.held;
  driver.held = {};
  const reconcile_result result = engine->reconcile();
  EXPECT_EQ(result.status, driver_status::done);
  EXPECT_EQ(result.foreign, right.lookups.size() + right.rules.size());
  EXPECT_EQ(driver.held, right);
}

TEST_F(SwitchEngine, what_the_library_refuses_changes_nothing) {
  start();
  run_batches(0, 10);
  const switch_image before = engine->image();
  const uint64_t batches = journal->batches();
  std::vector<ip_prefix> chain;
  for (uint8_t length = 33; length <= 110; ++length) {
    chain.push_back({"2001:db8::"_a, length});
  }
  const batch_result result =
      engine->run({adding(side::source, {"2001:db8:77::/48"_p}), adding(side::destination, chain)});
  EXPECT_EQ(result.status, batch_status::library_refused);
  EXPECT_EQ(result.operation, 1U);
  EXPECT_NE(result.reason, "");
  EXPECT_EQ(engine->image(), before);
  EXPECT_EQ(driver.held, before);
  EXPECT_EQ(journal->batches(), batches);
  run_batches(11, 12);
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchEngine, compaction_keeps_verdicts_and_shortens_the_history) {
  start();
  run_batches(0, 300);
  const batch_result result = engine->compact();
  EXPECT_EQ(result.status, batch_status::done) << result.reason;
  EXPECT_EQ(journal->batches(), 1U);
  EXPECT_EQ(journal->changes_since_load(), 0U);
  EXPECT_EQ(driver.held, engine->image());
  const switch_image before = engine->image();
  run_batches(301, 310);
  EXPECT_NE(engine->image(), before);
  expect_a_restart_to_write_nothing();
}

TEST_F(SwitchEngine, rules_change_in_one_step) {
  start();
  run_batches(0, 30);
  const packet_policy policy{rule_on("2001:db8::/32"_p, "2001:db8::/32"_p, rule_action::permit),
                             rule_on(ip_prefix{}, ip_prefix{}, rule_action::deny)};
  driver.steps = 0;
  const batch_result result = engine->run({{operation_kind::policy, side::source, {}, policy}});
  EXPECT_EQ(result.status, batch_status::done);
  EXPECT_EQ(driver.steps, 1U);
  EXPECT_EQ(driver.held.rules.size(), 2U);
  EXPECT_EQ(driver.held, engine->image());
}

}  // namespace
}  // namespace v6agent
