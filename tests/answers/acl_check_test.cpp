// SPDX-License-Identifier: Apache-2.0
// The check of access rules: right entries pass, and each way to spoil them is seen.
#include "acl_check.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "rules_reader.h"
#include "source_dir.h"
#include "tool_failure.h"

namespace {

using namespace v6tool;

rule_set office_rules() {
  rule_set set;
  read_report report;
  EXPECT_TRUE(read_rules(source_path("examples/rules/office.csv"), {}, set, report));
  return set;
}

TEST(AclCheck, RightEntriesPassAndTheCountsAreExact) {
  const rule_set set = office_rules();
  const acl_tables tables(set);
  const acl_verdict verdict = check_acl(set, tables, acl_entries(set, tables), {});
  EXPECT_EQ(verdict.counterexample, "");
  EXPECT_EQ(verdict.all_corners, 7U * 512);
  EXPECT_EQ(verdict.corners, 7U * 512);
  EXPECT_EQ(verdict.packets, 7U * 512 + 10000);
  EXPECT_EQ(verdict.addresses, 4 * (tables.sources.rows().size() + tables.destinations.rows().size()));
}

TEST(AclCheck, SeesEveryKindOfWrongEntry) {
  const rule_set set = office_rules();
  const acl_tables tables(set);
  const std::vector<rule_entry> good = acl_entries(set, tables);
  const std::vector<std::pair<const char *, std::function<void(std::vector<rule_entry> &)>>> mistakes = {
      {"an entry is missing", [](auto &entries) { entries.erase(entries.begin() + 4); }},
      {"the default is missing", [](auto &entries) { entries.pop_back(); }},
      {"two have changed places", [](auto &entries) { std::swap(entries[1], entries[2]); }},
      {"a source code is too short", [](auto &entries) { entries[0].source = {}; }},
      {"a source code is too long",
       [](auto &entries) {
         entries[0].source.bits = 64;
         entries[0].source.code ^= 1;
       }},
      {"a destination code has another bit",
       [](auto &entries) { entries[3].destination.code ^= uint64_t{1} << (64 - entries[3].destination.bits); }},
      {"a port mask is too wide",
       [](auto &entries) {
         entries[4].destination_port = {80, 0xFFF8};
       }},
      {"a port is another", [](auto &entries) { entries[3].destination_port.value = 26; }},
      {"a protocol is another", [](auto &entries) { entries[3].protocol = protocol_udp; }},
      {"a protocol is forgotten", [](auto &entries) { entries[3].protocol = entries[3].protocol_mask = 0; }},
  };
  for (const auto &[what, spoil] : mistakes) {
    std::vector<rule_entry> entries = good;
    spoil(entries);
    EXPECT_NE(check_acl(set, tables, entries, {}).counterexample, "") << what;
  }
}

// Rules on prefixes that nest, end at each other's edges and repeat.
rule_set random_rules(uint64_t seed, size_t count) {
  std::mt19937_64 random(seed);
  const auto prefix = [&random] {
    const auto length = static_cast<uint8_t>(random() % 5 == 0 ? 0 : 16 + 8 * (random() % 14));
    const ip_key address = {0x20010db800000000U | (random() & 0x0000000300030003U), random() & 0x3000000000000003U};
    return ip_prefix{masked(address, length), length};
  };
  rule_set set;
  set.name = "random";
  for (size_t i = 0; i < count; ++i) {
    rule next;
    next.match.source = prefix();
    next.match.destination = prefix();
    if (random() % 2 == 0) {
      next.match.protocol = random() % 2 == 0 ? protocol_tcp : protocol_udp;
      const auto port = static_cast<uint16_t>(random());
      next.match.destination_ports = {port, static_cast<uint16_t>(port | (random() & 0xFF))};
    }
    next.verdict = random() % 2 == 0 ? rule_verdict::accept : rule_verdict::drop;
    next.place = std::to_string(i);
    set.rules.push_back(next);
  }
  return set;
}

TEST(AclCheck, RandomRulesKeepTheirVerdicts) {
  for (uint64_t seed = 0; seed < 30; ++seed) {
    const rule_set set = random_rules(seed, 1 + seed * 4);
    const acl_tables tables(set);
    const acl_verdict verdict = check_acl(set, tables, acl_entries(set, tables), {4000, 2000, seed});
    ASSERT_EQ(verdict.counterexample, "") << seed;
    ASSERT_GE(verdict.packets, 2000U + std::min<uint64_t>(set.rules.size() * 512, 1300));
    ASSERT_LE(verdict.packets, 2000U + 4000U);
  }
}

TEST(AclCheck, NoRulesAtAllIsTheDefault) {
  const rule_set set;
  const acl_tables tables(set);
  const std::vector<rule_entry> entries = acl_entries(set, tables);
  EXPECT_EQ(entries.size(), 1U);
  EXPECT_EQ(check_acl(set, tables, entries, {}).counterexample, "");
}

TEST(AclTables, PrefixesThatNestTooDeeplyAreRefusedInWords) {
  rule_set set;
  for (uint8_t length = 1; length <= 128; ++length) {
    rule next;
    next.match.source = {masked({0x5555555555555555U, 0x5555555555555555U}, length), length};
    set.rules.push_back(next);
  }
  try {
    const acl_tables tables(set);
    FAIL() << "more than 64 levels cannot fit";
  } catch (const tool_failure &failure) {
    EXPECT_EQ(failure.code, exit_no);
    EXPECT_NE(failure.lines.front().find("the table of sources is refused: "), std::string::npos);
  }
}

}  // namespace
