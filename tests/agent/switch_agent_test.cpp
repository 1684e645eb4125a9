// SPDX-License-Identifier: Apache-2.0
#include "switch_agent.h"

#include <sqlite3.h>
#include <sys/resource.h>

#include <algorithm>
#include <thread>

#include "agent_fixture.h"

namespace v6agent {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

const packet_policy permit_all{rule_on("::/0"_p, "::/0"_p, rule_action::permit)};

ip_prefix numbered(uint32_t n) { return {{0x2400000000000000 | uint64_t{n} << 16, 0}, 48}; }

class SwitchAgent : public testing::Test {
 protected:
  SwitchAgent() {
    set_log(log_level::error, false);
    settings.first_retry = milliseconds(1);
    settings.last_retry = milliseconds(4);
    settings.longest_parting = std::chrono::hours(1);
  }
  void start() {
    tables.emplace(table_limits{limit, move_limit});
    journal.emplace(folder.file("journal"));
    engine.emplace(*tables, *journal, driver);
    agent.emplace(*engine, settings, agent_watch{[this](auto took) { latencies.push_back(took); }});
    agent->recover();
    agent->set_policy(permit_all);
    settle();
  }
  // Ticks until nothing is to be done, or `most` times.
  void settle(int most = 200) {
    clock_time now = std::chrono::steady_clock::now() + milliseconds(60);
    for (int i = 0; i < most && (agent->book().pending() != 0 || !engine->in_step() || i == 0); ++i) {
      agent->tick(now);
      now = std::max(now, std::chrono::steady_clock::now()) + milliseconds(5);
    }
  }
  void announce(uint32_t first, uint32_t n, uint32_t egress = 2) {
    for (uint32_t i = first; i < first + n; ++i) {
      agent->announce(numbered(i), egress, std::chrono::steady_clock::now());
    }
  }
  // Prefixes that nest too deeply for 64 bits, `n` times.
  std::vector<ip_prefix> announce_chains(uint64_t n) {
    std::vector<ip_prefix> prefixes;
    for (uint64_t i = 0; i < n; ++i) {
      for (uint8_t length = 32; length <= 120; ++length) {
        prefixes.push_back({{0x2600000000000000 | i << 32, 0}, length});
      }
    }
    for (const ip_prefix &prefix : prefixes) {
      agent->announce(prefix, 3, std::chrono::steady_clock::now());
    }
    return prefixes;
  }
  // Addresses far from each other.
  void announce_hosts(uint32_t n) {
    std::mt19937_64 random(n);
    for (uint32_t i = 0; i < n; ++i) {
      const uint64_t upper = 0x2c00000000000000 | random() >> 8;
      agent->announce({{upper, random()}, 128}, 4, std::chrono::steady_clock::now());
    }
  }
  // Prefixes of 32 to 64 bits, of which some contain others.
  void announce_nested(uint32_t n) {
    std::mt19937 random(n);
    for (uint32_t i = 0; i < n; ++i) {
      const unsigned length = 32 + static_cast<unsigned>(random() % 33);
      const ip_key address{0x2800000000000000 | static_cast<uint64_t>(random() % 64) << 32 | random(), 0};
      agent->announce({v6tool::masked(address, length), static_cast<uint8_t>(length)}, 4,
                      std::chrono::steady_clock::now());
    }
  }
  void withdraw(uint32_t first, uint32_t n) {
    for (uint32_t i = first; i < first + n; ++i) {
      agent->withdraw(numbered(i), std::chrono::steady_clock::now());
    }
  }
  size_t destinations() const {
    size_t n = 0;
    for (const auto &[place, value] : driver.held.lookups) {
      n += place.table == side::destination ? 1 : 0;
    }
    return n;
  }

  uint32_t limit = 16384;
  uint32_t move_limit = 0;
  agent_settings settings;
  scratch_folder folder;
  memory_driver driver;
  std::optional<table_pair> tables;
  std::optional<batch_journal> journal;
  std::optional<switch_engine> engine;
  std::optional<switch_agent> agent;
  std::vector<std::chrono::steady_clock::duration> latencies;
};

TEST_F(SwitchAgent, gathers_for_a_time_then_writes_one_batch) {
  start();
  const uint64_t batches = agent->counters().batches;
  const clock_time now = std::chrono::steady_clock::now();
  agent->announce(numbered(1), 2, now);
  EXPECT_EQ(agent->tick(now), now + milliseconds(50));
  agent->announce(numbered(2), 2, now + milliseconds(30));
  agent->tick(now + milliseconds(49));
  EXPECT_EQ(destinations(), 1U);
  agent->tick(now + milliseconds(50));
  EXPECT_EQ(destinations(), 3U);
  EXPECT_EQ(agent->counters().batches, batches + 1);
  EXPECT_EQ(latencies.size(), 2U);
}

TEST_F(SwitchAgent, a_feed_that_comes_back_touches_only_what_differs) {
  start();
  announce(0, 100);
  settle();
  agent->feed_lost();
  EXPECT_EQ(agent->feed(), feed_state::down);
  EXPECT_EQ(destinations(), 101U);
  driver.writes = 0;
  agent->begin_resync();
  announce(1, 100);
  agent->end_resync(std::chrono::steady_clock::now());
  settle();
  EXPECT_EQ(destinations(), 101U);
  EXPECT_EQ(driver.writes, 2U);
  EXPECT_EQ(agent->feed(), feed_state::up);
}

TEST_F(SwitchAgent, a_restart_keeps_the_routes_and_writes_nothing) {
  start();
  announce(0, 300);
  settle();
  const switch_image before = driver.held;
  agent.reset();
  engine.reset();
  journal.reset();
  tables.reset();
  driver.writes = 0;
  start();
  EXPECT_EQ(agent->book().routes(), 300U);
  EXPECT_EQ(driver.held, before);
  EXPECT_EQ(driver.writes, 0U);
}

TEST_F(SwitchAgent, routes_that_do_not_fit_are_set_aside_alone) {
  start();
  announce(0, 50);
  const std::vector<ip_prefix> chain = announce_chains(1);
  settle();
  EXPECT_GT(agent->set_aside(), 0U);
  EXPECT_LT(agent->set_aside(), chain.size());
  EXPECT_EQ(destinations(), 1 + 50 + chain.size() - agent->set_aside());
  EXPECT_THAT(agent->trouble(), HasSubstr("set aside"));
  EXPECT_EQ(driver.held, engine->image());
  // With room again they come back.
  for (size_t i = 0; i < chain.size() / 2; ++i) {
    agent->withdraw(chain[i], std::chrono::steady_clock::now());
  }
  settle();
  clock_time now = std::chrono::steady_clock::now();
  for (int i = 0; i < 10 && agent->set_aside() != 0; ++i) {
    now = std::max(now, agent->tick(now));
  }
  EXPECT_EQ(agent->set_aside(), 0U);
  EXPECT_EQ(agent->trouble(), "");
  EXPECT_EQ(destinations(), 1 + 50 + chain.size() - chain.size() / 2);
}

TEST_F(SwitchAgent, routes_set_aside_are_tried_again_later_and_later) {
  settings.first_retry = std::chrono::seconds(10);
  settings.last_retry = std::chrono::seconds(40);
  start();
  announce(0, 50);
  announce_chains(1);
  settle();
  ASSERT_GT(agent->set_aside(), 0U);
  const size_t aside = agent->set_aside();
  clock_time now = std::chrono::steady_clock::now();
  std::vector<uint64_t> tries;
  for (uint32_t i = 0; i < 50; ++i) {  // a withdrawal every two seconds, none of which helps
    const uint64_t before = agent->counters().library_refusals;
    agent->withdraw(numbered(i), now);
    now += std::chrono::seconds(1);
    agent->tick(now);
    now += std::chrono::seconds(1);
    agent->tick(now);
    if (agent->counters().library_refusals != before) {
      tries.push_back(i);
    }
    EXPECT_EQ(agent->set_aside(), aside);
  }
  EXPECT_THAT(tries, testing::ElementsAre(0, 5, 15, 35));
  EXPECT_EQ(destinations(), 1 + 89 - aside);
}

TEST_F(SwitchAgent, many_routes_that_do_not_fit_are_found_in_parts) {
  settings.longest_parting = milliseconds(100);  // several ticks
  start();
  announce(0, 50);
  const std::vector<ip_prefix> chains = announce_chains(2);
  settle(1000);
  EXPECT_GT(agent->set_aside(), 2U);
  EXPECT_LT(agent->set_aside(), chains.size());
  EXPECT_EQ(destinations(), 1 + 50 + chains.size() - agent->set_aside());
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, full_pools_leave_out_what_is_new_without_trying_all_of_it) {
  limit = 1024;
  start();
  if (tables->figures(side::source).pools[0].size > 100000) {
    GTEST_SKIP() << "the pools were made larger by another test in this process; ctest runs each in its own";
  }
  announce(0, 500);
  settle();
  announce(0, 100, 3);
  announce_hosts(6000);
  withdraw(200, 100);
  settle();
  EXPECT_GT(agent->set_aside(), 1000U);
  EXPECT_LT(agent->counters().library_refusals, 100U);
  EXPECT_EQ(destinations(), 1 + agent->book().routes() - agent->set_aside());
  EXPECT_EQ((driver.held.lookups[{side::destination, numbered(50)}].egress), 3U);
  EXPECT_FALSE(driver.held.lookups.contains({side::destination, numbered(250)}));
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, nothing_goes_to_a_switch_that_was_lost_half_way_through_a_batch_in_parts) {
  move_limit = ZEL_V6COMP_TABLE_NO_MOVES;
  start();
  announce_nested(400);
  settle();
  ASSERT_EQ(agent->trouble(), "");
  driver.steps = 0;
  driver.before_step = [](size_t) { return driver_answer{driver_status::unreachable, "gone"}; };
  const uint64_t refusals = agent->counters().library_refusals;
  announce_nested(2000);
  agent->tick(std::chrono::steady_clock::now() + milliseconds(60));
  EXPECT_GT(agent->counters().library_refusals, refusals);
  EXPECT_EQ(driver.steps, 1U);
  EXPECT_FALSE(engine->in_step());
  driver.before_step = [](size_t) { return driver_answer{}; };
  settle();
  EXPECT_EQ(agent->counters().foreign_entries, 0U);
  EXPECT_EQ(destinations(), 1 + agent->book().routes() - agent->set_aside());
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, a_full_switch_takes_withdrawals_and_gets_the_rest_later) {
  start();
  announce(0, 100);
  settle();
  size_t room = 110;
  driver.before_step = [&](size_t) { return driver_answer{}; };
  const auto full = [&](const switch_step &step) {
    switch_image after = driver.held;
    for (const switch_write &write : step) {
      apply_write(after, write);
    }
    return after.lookups.size() > room;
  };
  class limited final : public switch_driver {
   public:
    limited(memory_driver &inner, std::function<bool(const switch_step &)> is_full)
        : inner_(inner), full_(std::move(is_full)) {}
    driver_answer write(const switch_step &step) override {
      return full_(step) ? driver_answer{driver_status::refused, "table full"} : inner_.write(step);
    }
    driver_answer read(switch_image &image) override { return inner_.read(image); }

   private:
    memory_driver &inner_;
    std::function<bool(const switch_step &)> full_;
  } switch_with_room(driver, full);
  agent.reset();
  engine.emplace(*tables, *journal, switch_with_room);
  agent.emplace(*engine, settings);
  agent->recover();
  announce(100, 20);
  withdraw(0, 5);
  settle(30);
  EXPECT_THAT(agent->trouble(), HasSubstr("table full"));
  EXPECT_GT(agent->counters().switch_refusals, 0U);
  EXPECT_EQ(destinations(), 96U);  // the withdrawals are done
  EXPECT_EQ(driver.held, engine->image());
  room = 200;
  std::this_thread::sleep_for(milliseconds(10));
  settle();
  EXPECT_EQ(agent->trouble(), "");
  EXPECT_EQ(destinations(), 116U);
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, a_switch_that_goes_away_gets_the_rest_when_it_is_back) {
  start();
  announce(0, 100);
  settle();
  driver.before_step = [](size_t) { return driver_answer{driver_status::unreachable, "gone"}; };
  driver.reading = {driver_status::unreachable, "gone"};
  announce(100, 10);
  withdraw(0, 10);
  settle(10);
  EXPECT_THAT(agent->trouble(), HasSubstr("gone"));
  driver.held = {};  // it was started anew, and is empty
  driver.before_step = [](size_t) { return driver_answer{}; };
  driver.reading = {};
  settle();
  EXPECT_EQ(agent->trouble(), "");
  EXPECT_EQ(destinations(), 101U);
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, a_switch_that_was_started_anew_is_found_out_without_a_change) {
  start();
  announce(0, 100);
  settle();
  const switch_image right = driver.held;
  clock_time now = std::chrono::steady_clock::now() + settings.check;
  now = agent->tick(now);
  EXPECT_EQ(driver.readings, 1U);  // at the start
  driver.held = {};
  now = agent->tick(now);
  EXPECT_EQ(driver.held, right);
  EXPECT_EQ(agent->counters().foreign_entries, right.lookups.size() + right.rules.size());
  EXPECT_EQ(agent->trouble(), "");

  driver.reading = {driver_status::unreachable, "gone"};
  agent->tick(now + settings.check);
  EXPECT_EQ(agent->trouble(), "gone");
  driver.reading = {};
  agent->tick(now + 2 * settings.check);
  EXPECT_EQ(agent->trouble(), "");
}

TEST_F(SwitchAgent, entries_that_somebody_else_changed_are_put_right_when_asked) {
  start();
  announce(0, 100);
  settle();
  const switch_image right = driver.held;
  driver.held.lookups.begin()->second.key ^= 1;
  const clock_time now = std::chrono::steady_clock::now() + settings.check;
  agent->tick(now);
  EXPECT_NE(driver.held, right);  // as many as before
  agent->ask_reconciliation();
  agent->tick(now);
  EXPECT_EQ(driver.held, right);
  EXPECT_EQ(agent->counters().foreign_entries, 1U);
  const size_t readings = driver.readings;
  agent->tick(now);
  EXPECT_EQ(driver.readings, readings);
}

TEST_F(SwitchAgent, a_switch_that_cannot_count_is_left_alone) {
  driver.counts = false;
  start();
  const size_t readings = driver.readings;
  for (int i = 1; i < 5; ++i) {
    agent->tick(std::chrono::steady_clock::now() + i * settings.check);
  }
  EXPECT_EQ(driver.readings, readings);
  EXPECT_TRUE(engine->in_step());
}

TEST_F(SwitchAgent, a_switch_that_is_back_and_refuses_the_rest_is_said_to) {
  start();
  announce(0, 100);
  settle();
  driver.before_step = [](size_t) { return driver_answer{driver_status::unreachable, "gone"}; };
  announce(100, 10);
  agent->tick(std::chrono::steady_clock::now() + milliseconds(60));
  ASSERT_FALSE(engine->in_step());
  driver.before_step = [](size_t) { return driver_answer{driver_status::refused, "full"}; };
  set_log(log_level::warning, false);
  testing::internal::CaptureStderr();
  agent->tick(std::chrono::steady_clock::now() + std::chrono::seconds(1));
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_THAT(lines, HasSubstr("the last batch was taken back: full"));
  EXPECT_EQ(agent->counters().switch_refusals, 2U);  // and once more, as a batch of its own
  EXPECT_EQ(destinations(), 101U);
  driver.before_step = [](size_t) { return driver_answer{}; };
  set_log(log_level::error, false);
  settle();
  EXPECT_EQ(destinations(), 111U);
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, rules_that_are_refused_leave_the_old_ones_in_force) {
  start();
  announce(0, 10);
  settle();
  packet_policy impossible;
  for (uint8_t length = 20; length <= 120; ++length) {
    impossible.push_back(rule_on({"2600::"_a, length}, "::/0"_p, rule_action::deny));
  }
  agent->set_policy(impossible);
  agent->tick(std::chrono::steady_clock::now());
  EXPECT_EQ(agent->counters().policy_refusals, 1U);
  EXPECT_EQ(engine->policy(), permit_all);
  EXPECT_EQ(driver.held, engine->image());
}

TEST_F(SwitchAgent, too_many_routes_are_left_out_and_said) {
  settings.most_routes = 1000;
  start();
  announce(0, 100000);
  settle();
  EXPECT_EQ(agent->book().routes(), 1000U);
  EXPECT_EQ(agent->counters().routes_over_limit, 99000U);
  EXPECT_EQ(destinations(), 1001U);
}

// Every load of this journal is refused.
void refuse_loads(const std::string &path) {
  { const batch_journal made(path); }
  sqlite3 *database = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database,
                         "CREATE TRIGGER full BEFORE INSERT ON operation WHEN NEW.kind = 2 "
                         "BEGIN SELECT RAISE(ABORT, 'no room'); END",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(database);
}

TEST_F(SwitchAgent, a_history_that_cannot_become_a_load_is_kept_and_tried_later) {
  refuse_loads(folder.file("journal"));
  start();
  clock_time now = std::chrono::steady_clock::now();
  const auto flap = [&](uint32_t egress) {
    announce(0, 4000, egress);
    now += std::chrono::seconds(1);
    agent->tick(now);
    now += std::chrono::seconds(1);
    agent->tick(now);
  };
  for (uint32_t egress = 2; egress < 8; ++egress) {
    flap(egress);
  }
  EXPECT_EQ(agent->counters().compactions, 1U);
  EXPECT_EQ(agent->trouble(), "");
  EXPECT_GE(journal->changes_since_load(), 20000U);
  EXPECT_EQ(agent->book().pending(), 0U);
  now += settings.compaction_retry;
  flap(8);
  EXPECT_EQ(agent->counters().compactions, 2U);
  EXPECT_EQ(driver.held, engine->image());
}

long resident_kilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// 100,000 changes that flap 4,000 routes.
TEST_F(SwitchAgent, a_storm_of_changes_keeps_memory_flat) {
  start();
  announce(0, 4000);
  settle();
  const auto storm = [this](uint32_t changes, uint32_t seed) {
    std::mt19937 random(seed);
    for (uint32_t i = 0; i < changes; ++i) {
      const uint32_t n = static_cast<uint32_t>(random() % 4000);
      if (random() % 2 == 0) {
        withdraw(n, 1);
      } else {
        announce(n, 1, 2 + static_cast<uint32_t>(random() % 3));
      }
      if (i % 2000 == 0) {
        agent->tick(std::chrono::steady_clock::now() + milliseconds(100));
      }
    }
    settle();
  };
  storm(50000, 1);
  const long before = resident_kilobytes();
  latencies.clear();
  storm(100000, 2);
  const long grown = resident_kilobytes() - before;
  EXPECT_EQ(driver.held, engine->image());
  EXPECT_EQ(destinations(), agent->book().routes() + 1);
  EXPECT_GT(agent->counters().compactions, 0U);
  std::sort(latencies.begin(), latencies.end());
  ASSERT_FALSE(latencies.empty());
  const auto ms = [](auto t) { return static_cast<int>(std::chrono::duration_cast<milliseconds>(t).count()); };
  RecordProperty("half_within_ms", ms(latencies[latencies.size() / 2]));
  RecordProperty("p99_within_ms", ms(latencies[latencies.size() * 99 / 100]));
  RecordProperty("grown_kilobytes", static_cast<int>(grown));
#ifdef __SANITIZE_ADDRESS__
  EXPECT_LT(grown, 384 * 1024);  // the sanitizer keeps up to 256 MiB of what is freed
#else
  EXPECT_LT(grown, 16 * 1024);
#endif
}

}  // namespace
}  // namespace v6agent
