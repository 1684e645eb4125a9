// SPDX-License-Identifier: Apache-2.0
#include "route_book.h"

#include "agent_fixture.h"
#include "batch_builder.h"

namespace v6agent {
namespace {

using std::chrono::seconds;

const clock_time start = clock_time(seconds(1000));
const ip_prefix a = "2001:db8:a::/48"_p;
const ip_prefix b = "2001:db8:b::/48"_p;

TEST(RouteBook, gathers_many_changes_of_a_prefix_into_one) {
  route_book book;
  for (uint32_t i = 0; i < 1000; ++i) {
    book.announce(a, i, start + seconds(i));
    book.withdraw(b, start + seconds(i));
    book.announce(b, 5, start + seconds(i));
  }
  EXPECT_EQ(book.pending(), 2U);
  EXPECT_EQ(book.oldest(), start);
  const std::vector<route_change> changes = book.take(10);
  ASSERT_EQ(changes.size(), 2U);
  EXPECT_EQ(changes[0].prefix, a);
  EXPECT_EQ(changes[0].egress, 999U);
  EXPECT_EQ(changes[1].egress, 5U);
  EXPECT_EQ(book.pending(), 0U);
}

TEST(RouteBook, what_is_said_again_is_no_change) {
  route_book book;
  book.announce(a, 5, start);
  book.take(10);
  book.announce(a, 5, start);
  book.withdraw(b, start);
  EXPECT_EQ(book.pending(), 0U);
}

TEST(RouteBook, a_resync_withdraws_what_was_not_announced) {
  route_book book;
  book.assume(a, 5);
  book.assume(b, 5);
  book.begin_resync();
  book.announce(b, 5, start);
  book.end_resync(start);
  const std::vector<route_change> changes = book.take(10);
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].prefix, a);
  EXPECT_FALSE(changes[0].egress.has_value());
  book.begin_resync();
  book.announce(b, 6, start);
  book.end_resync(start);
  EXPECT_EQ(book.pending(), 1U);
}

TEST(RouteBook, gives_back_and_prefers_withdrawals) {
  route_book book;
  book.assume(b, 5);
  book.announce(a, 5, start + seconds(1));
  book.withdraw(b, start);
  std::vector<route_change> changes = book.take(10, route_book::which::withdrawals);
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].prefix, b);
  EXPECT_EQ(book.oldest(), start + seconds(1));
  book.give_back(changes);
  EXPECT_EQ(book.pending(), 2U);
  EXPECT_EQ(book.oldest(), start);
  book.announce(b, 7, start + seconds(2));
  changes = book.take(10);
  EXPECT_EQ(changes[1].egress, 7U);
  EXPECT_EQ(changes[1].since, start);
}

TEST(RouteBook, keeps_its_limit) {
  route_book book;
  EXPECT_TRUE(book.announce(a, 5, start, 1));
  EXPECT_FALSE(book.announce(b, 5, start, 1));
  EXPECT_TRUE(book.announce(a, 6, start, 1));
  EXPECT_EQ(book.routes(), 1U);
}

class BatchBuilder : public testing::Test {
 protected:
  void SetUp() override { engine.recover(); }
  void run(const table_batch &batch) {
    if (!batch.empty()) {
      const batch_result result = engine.run(batch);
      ASSERT_EQ(result.status, batch_status::done) << result.reason;
    }
  }
  void routes(const std::vector<route_change> &changes) {
    run(batch_for_routes(changes, tables, engine.policy()));
    for (const route_change &change : changes) {
      if (change.egress) {
        wanted[change.prefix] = *change.egress;
      } else {
        wanted.erase(change.prefix);
      }
    }
    check();
  }
  void rules(const packet_policy &policy) {
    run(batch_for_policy(engine.policy(), policy, tables));
    check();
  }
  // Both tables and the switch, by brute force on 128 bits.
  void check() const {
    std::vector<ip_key> probes{"::1"_a, "2001:db8::"_a};
    for (const auto &[place, value] : driver.held.lookups) {
      probes.push_back(v6tool::first_address(place.prefix));
      probes.push_back(v6tool::last_address(place.prefix));
      probes.push_back(v6tool::next_key(v6tool::last_address(place.prefix)));
    }
    for (const ip_key source : probes) {
      for (const ip_key destination : probes) {
        ASSERT_EQ(verdict_of(driver.held, source, destination),
                  verdict_of(engine.policy(), wanted, source, destination));
      }
    }
  }

  scratch_folder folder;
  memory_driver driver;
  table_pair tables{{4096, 0}};
  batch_journal journal{folder.file("journal")};
  switch_engine engine{tables, journal, driver};
  std::map<ip_prefix, uint32_t> wanted;
};

const packet_policy two_rules{rule_on("2001:db8:5::/48"_p, "2001:db8:a:1::/64"_p, rule_action::deny),
                              rule_on("::/0"_p, "::/0"_p, rule_action::permit)};

TEST_F(BatchBuilder, prefixes_of_rules_leave_by_the_port_of_the_route_above_them) {
  rules(two_rules);
  routes({{a, 3, start}});
  EXPECT_EQ((driver.held.lookups[{side::destination, "2001:db8:a:1::/64"_p}].egress), 3U);
  routes({{"2001:db8:a::/52"_p, 4, start}});
  EXPECT_EQ((driver.held.lookups[{side::destination, "2001:db8:a:1::/64"_p}].egress), 4U);
  routes({{"2001:db8:a:1::/64"_p, 5, start}});
  routes({{a, std::nullopt, start}, {"2001:db8:a::/52"_p, std::nullopt, start}});
  EXPECT_EQ((driver.held.lookups[{side::destination, "2001:db8:a:1::/64"_p}].egress), 5U);
  routes({{"::/0"_p, 9, start}});
  routes({{"2001:db8:a:1::/64"_p, std::nullopt, start}});
  EXPECT_EQ((driver.held.lookups[{side::destination, "2001:db8:a:1::/64"_p}].egress), 9U);
  routes({{"::/0"_p, std::nullopt, start}});
  EXPECT_EQ((driver.held.lookups[{side::destination, "::/0"_p}].egress), 0U);
}

TEST_F(BatchBuilder, rules_bring_their_prefixes_and_take_them_along) {
  rules(two_rules);
  routes({{a, 3, start}});
  EXPECT_EQ(driver.held.lookups.size(), 5U);
  rules({rule_on("::/0"_p, a, rule_action::deny), rule_on("::/0"_p, "::/0"_p, rule_action::permit)});
  EXPECT_EQ(driver.held.lookups.size(), 3U);
  rules(two_rules);
  EXPECT_EQ(driver.held.lookups.size(), 5U);
  EXPECT_TRUE(batch_for_policy(two_rules, two_rules, tables).empty());
}

TEST_F(BatchBuilder, what_the_tables_have_makes_no_batch) {
  rules(two_rules);
  routes({{a, 3, start}});
  EXPECT_TRUE(
      batch_for_routes(std::vector<route_change>{{a, 3, start}, {b, std::nullopt, start}}, tables, engine.policy())
          .empty());
}

TEST_F(BatchBuilder, random_routes_and_rules_end_where_brute_force_says) {
  std::mt19937 random(7);
  const auto some_prefix = [&random] {
    const auto length = static_cast<uint8_t>(30 + random() % 12);
    return ip_prefix{v6tool::masked({0x20010db800000000 | (random() % 64) << 22, 0}, length), length};
  };
  for (int round = 0; round < 25; ++round) {
    if (round % 5 == 0) {
      packet_policy policy;
      for (int i = 0; i < 6; ++i) {
        policy.push_back(rule_on(some_prefix(), some_prefix(), random() % 2 ? rule_action::permit : rule_action::deny));
      }
      policy.push_back(rule_on("::/0"_p, "::/0"_p, rule_action::permit));
      rules(policy);
    }
    std::vector<route_change> changes;
    std::set<ip_prefix> once;
    for (int i = 0; i < 4; ++i) {
      const ip_prefix prefix = some_prefix();
      if (once.insert(prefix).second) {
        changes.push_back({prefix, random() % 3 ? std::optional<uint32_t>(1 + random() % 4) : std::nullopt, start});
      }
    }
    routes(changes);
    if (HasFatalFailure()) {
      return;
    }
  }
}

}  // namespace
}  // namespace v6agent
