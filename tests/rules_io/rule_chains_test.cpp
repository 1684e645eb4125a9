// SPDX-License-Identifier: Apache-2.0
// The list that chains amount to, against packets that walk the chains themselves.
#include "rule_chains.h"

#include <gtest/gtest.h>

#include <random>

#include "rule_terms.h"
#include "rule_text.h"

namespace {

using namespace v6tool;

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

// Each of 26 chains jumps twice to the next, and the last decides TCP alone: 2^25 rules.
TEST(RuleChains, ListsThatGrowWithoutEndAreAFault) {
  chain_book book;
  for (char name = 'a'; name <= 'z'; ++name) {
    rule_chain &chain = book.chains[std::string(1, name)];
    chain.name = name;
    chain_rule next;
    next.matches.emplace_back();
    next.matches.front().protocol = name == 'z' ? std::optional<uint8_t>(protocol_tcp) : std::nullopt;
    next.action = name == 'z' ? chain_action::verdict : chain_action::jump;
    next.target = std::string(1, static_cast<char>(name + 1));
    chain.rules = {next, next};
  }
  rule_set set;
  read_report report;
  flatten_chain(book, "a", {}, set, report);
  ASSERT_EQ(report.faults.total, 1U);
  EXPECT_NE(report.faults.texts.front().find("more than 1048576 rules"), std::string::npos);
}

}  // namespace
