// SPDX-License-Identifier: Apache-2.0
// The list that chains amount to, against packets that walk the chains themselves.
#include "rule_chains.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "rule_terms.h"
#include "rule_text.h"

namespace {

using namespace v6tool;
using testing::HasSubstr;

// What a chain does to one packet: decides, comes back, or (leave) comes back early, which is the same to the caller.
std::optional<rule_verdict> walk(const chain_book &book, const rule_chain &chain, const rule_packet &packet) {
  for (const chain_rule &each : chain.rules) {
    for (const rule_match &match : each.matches) {
      if (!matches(match, packet)) {
        continue;
      }
      if (each.action == chain_action::verdict) {
        return each.verdict;
      }
      if (each.action == chain_action::leave) {
        return std::nullopt;
      }
      const std::optional<rule_verdict> inner = walk(book, book.chains.at(each.target), packet);
      if (inner || each.action == chain_action::go_to) {
        return inner;
      }
    }
  }
  return std::nullopt;
}

class random_chains {
 public:
  explicit random_chains(uint64_t seed) : random_(seed) {}

  // Chains that call only later ones, so that none comes back to itself.
  chain_book book() {
    chain_book out;
    const uint64_t count = 1 + random_() % 5;
    for (uint64_t i = 0; i < count; ++i) {
      rule_chain &chain = out.chains[key(i)];
      chain.name = key(i);
      chain.is_base = chain.forwards = i == 0;
      chain.policy = random_() % 2 == 0 ? rule_verdict::accept : rule_verdict::drop;
      for (uint64_t n = random_() % 6; n > 0; --n) {
        chain.rules.push_back(rule(i, count));
      }
    }
    return out;
  }

  rule_packet packet() {
    const auto small = [this] { return static_cast<uint16_t>(random_() % 4); };
    return {{random_() << 61, 0},
            {random_() << 61, 0},
            static_cast<uint8_t>(random_() % 2 == 0 ? 6 : 17),
            small(),
            small()};
  }

 private:
  static std::string key(uint64_t i) { return std::string(1, static_cast<char>('a' + i)); }

  ip_prefix prefix() {
    const auto length = static_cast<uint8_t>(random_() % 4);
    return {masked({random_() << 61, 0}, length), length};
  }

  chain_rule rule(uint64_t here, uint64_t count) {
    chain_rule out;
    for (uint64_t n = 1 + random_() % 2; n > 0; --n) {
      rule_match match{prefix(), prefix(), std::nullopt, {}, {}};
      if (random_() % 3 == 0) {
        match.protocol = static_cast<uint8_t>(random_() % 2 == 0 ? 6 : 17);
        match.destination_ports = {static_cast<uint16_t>(random_() % 2), 2};
      }
      out.matches.push_back(match);
    }
    const uint64_t action = random_() % 6;
    if (action < 2 || here + 1 == count) {
      out.verdict = random_() % 2 == 0 ? rule_verdict::accept : rule_verdict::drop;
    } else if (action == 2) {
      out.action = chain_action::leave;
    } else {
      out.action = action < 5 ? chain_action::jump : chain_action::go_to;
      out.target = key(here + 1 + random_() % (count - here - 1));
    }
    return out;
  }

  std::mt19937_64 random_;
};

TEST(RuleChains, AmountToTheListThatDecidesEveryPacketTheSame) {
  size_t rules = 0;
  for (uint64_t seed = 0; seed < 3000; ++seed) {
    random_chains random(seed);
    const chain_book book = random.book();
    rule_set set;
    read_report report;
    flatten_chain(book, "a", {}, set, report);
    ASSERT_EQ(report.faults.total, 0U) << seed;
    rules += set.rules.size();
    for (int i = 0; i < 50; ++i) {
      const rule_packet packet = random.packet();
      const rule_chain &base = book.chains.at("a");
      ASSERT_EQ(verdict_of(set, packet), walk(book, base, packet).value_or(*base.policy)) << "seed " << seed;
    }
  }
  EXPECT_GT(rules, 10000U) << "the chains have become too plain to show anything";
}

TEST(RuleChains, AChainThatLeadsBackToItselfIsAFault) {
  for (const chain_action action : {chain_action::jump, chain_action::go_to}) {
    chain_book book;
    for (const char *name : {"a", "b"}) {
      chain_rule next;
      next.matches = {rule_match{}};
      next.action = action;
      next.target = *name == 'a' ? "b" : "a";
      book.chains[name] = {name, *name == 'a', true, rule_verdict::drop, {next}};
    }
    rule_set set;
    read_report report;
    flatten_chain(book, "a", {}, set, report);
    EXPECT_EQ(report.faults.total, 1U);
  }
}

// Chain 0 is the first; each has these rules, which jump to the next, and the last has others.
std::string fault_of_row(size_t chains, const std::vector<chain_rule> &each, const std::vector<chain_rule> &last) {
  chain_book book;
  for (size_t i = 0; i < chains; ++i) {
    rule_chain &chain = book.chains[std::to_string(i)];
    chain.name = std::to_string(i);
    chain.rules = i + 1 == chains ? last : each;
    for (chain_rule &rule : chain.rules) {
      rule.target = std::to_string(i + 1);
    }
  }
  rule_set set;
  read_report report;
  flatten_chain(book, "0", {}, set, report);
  return report.faults.total == 0 ? "" : report.faults.texts.front();
}

chain_rule rule_that(chain_action action, const rule_match &match = {}) {
  chain_rule rule;
  rule.action = action;
  rule.matches = {match};
  return rule;
}

const chain_rule jump = rule_that(chain_action::jump);

// Each chain jumps twice to the next, and the last decides TCP alone: 2^25 rules.
TEST(RuleChains, ListsThatGrowWithoutEndAreAFault) {
  const chain_rule tcp = rule_that(chain_action::verdict, {{}, {}, protocol_tcp, {}, {}});
  EXPECT_THAT(fault_of_row(26, {jump, jump}, {tcp, tcp}), HasSubstr("more than 1048576 rules"));
}

// The same, and the last decides nothing: no list grows, and 2^40 chains are walked.
TEST(RuleChains, WalksWithoutEndAreAFault) {
  EXPECT_THAT(fault_of_row(40, {jump, jump}, {}), HasSubstr("more than 8388608 rules to look at"));
}

TEST(RuleChains, ChainsMayNestDeepButNotWithoutEnd) {
  const chain_rule decide = rule_that(chain_action::verdict);
  EXPECT_EQ(fault_of_row(500, {jump}, {decide}), "");
  EXPECT_THAT(fault_of_row(501, {jump}, {decide}), HasSubstr("more than 500 chains within one another"));
  EXPECT_THAT(fault_of_row(100000, {jump}, {decide}), HasSubstr("more than 500 chains within one another"));
}

// Chains that leave some of their packets early: what comes after is walked anew for these, within the walk before.
TEST(RuleChains, ReturnsMayNestDeepButNotWithoutEnd) {
  chain_book book;
  book.chains["all"].name = "all";
  for (uint16_t i = 1; i < 2000; ++i) {
    const std::string name = std::to_string(i);
    chain_rule call = rule_that(chain_action::jump, {{}, {}, protocol_tcp, {i, UINT16_MAX}, {}});
    call.target = name;
    book.chains["all"].rules.push_back(call);
    book.chains[name] = {
        name, false, false, {}, {rule_that(chain_action::leave, {{}, {}, protocol_tcp, {}, {i, UINT16_MAX}})}};
  }
  rule_set set;
  read_report report;
  flatten_chain(book, "all", {}, set, report);
  ASSERT_EQ(report.faults.total, 1U);
  EXPECT_THAT(report.faults.texts.front(), HasSubstr("more than 500 chains within one another"));
}

}  // namespace
