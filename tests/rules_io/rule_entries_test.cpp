// SPDX-License-Identifier: Apache-2.0
#include "rule_entries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "rule_text.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;

bool any_agrees(const std::vector<masked_port> &masks, uint32_t port) {
  size_t agreeing = 0;
  for (const masked_port &each : masks) {
    agreeing += (port & each.mask) == each.value ? 1 : 0;
  }
  EXPECT_LE(agreeing, 1U) << port;
  return agreeing != 0;
}

TEST(RuleEntries, MasksMakeUpTheirRange) {
  std::mt19937_64 random(5);
  std::vector<port_range> ranges = {{0, 65535}, {0, 0}, {65535, 65535}, {1, 65534}, {0, 65534}, {1, 65535}, {80, 83}};
  for (int i = 0; i < 20; ++i) {
    const auto a = static_cast<uint16_t>(random());
    const auto b = static_cast<uint16_t>(random());
    ranges.push_back({std::min(a, b), std::max(a, b)});
  }
  for (const port_range range : ranges) {
    const std::vector<masked_port> masks = masks_of(range);
    EXPECT_LE(masks.size(), 30U);
    for (uint32_t port = 0; port <= 65535; ++port) {
      ASSERT_EQ(any_agrees(masks, port), within(range, static_cast<uint16_t>(port))) << range.first << ' ' << port;
    }
  }
  EXPECT_THAT(masks_of({0, 65535}), ElementsAre(masked_port{0, 0}));
  EXPECT_THAT(masks_of({80, 83}), ElementsAre(masked_port{80, 0xFFFC}));
  EXPECT_EQ(masks_of({1, 65534}).size(), 30U);
}

TEST(RuleEntries, CodesBeginKeysBitByBit) {
  const uint64_t key = 0xA5F00000000000FFU;
  EXPECT_TRUE(begins_with(key, {0, 0}));
  EXPECT_TRUE(begins_with(key, {key, 64}));
  EXPECT_FALSE(begins_with(key, {key ^ 1, 64}));
  EXPECT_TRUE(begins_with(key, {0x8000000000000000U, 1}));
  EXPECT_FALSE(begins_with(key, {0, 1}));
}

rule_set sample() {
  rule_set set;
  set.otherwise = rule_verdict::reject;
  set.rules.push_back({{prefix("2001:db8::/32"), prefix("2001:db8:1::/48"), protocol_tcp, {1, 2}, {80, 83}},
                       rule_verdict::accept,
                       "1",
                       ""});
  set.rules.push_back({{prefix("::/0"), prefix("2001:db8::/32"), std::nullopt, {}, {}}, rule_verdict::drop, "2", ""});
  return set;
}

narrow_code code_of(const ip_prefix &prefix) { return {prefix.key.hi, std::min(prefix.length, uint8_t{64})}; }

TEST(RuleEntries, AreOneForEachMaskAndOneForTheRest) {
  const rule_set set = sample();
  const std::vector<rule_entry> entries = make_entries(set, code_of, code_of);
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_EQ(count_entries(set), 4U);
  EXPECT_EQ(entries[0].source, (narrow_code{0x20010db800000000U, 32}));
  EXPECT_EQ(entries[0].source_port, (masked_port{1, 0xFFFF}));
  EXPECT_EQ(entries[1].source_port, (masked_port{2, 0xFFFF}));
  EXPECT_EQ(entries[1].destination_port, (masked_port{80, 0xFFFC}));
  EXPECT_EQ(entries[2].source, narrow_code{}) << "::/0 is any key, whatever code the table gives it";
  EXPECT_EQ(entries[2].rule, 1U);
  EXPECT_EQ(entries[3].rule, 2U);
  EXPECT_EQ(entries[3].verdict, rule_verdict::reject);
  EXPECT_TRUE(matches(entries[3], {1, 2, 3, 4, 5}));
}

// With addresses of at most 64 bits their own bits serve as codes and keys.
TEST(RuleEntries, DecideAsTheRulesDo) {
  const rule_set set = sample();
  const std::vector<rule_entry> entries = make_entries(set, code_of, code_of);
  for (const char *from : {"2001:db8::", "2001:db9::"}) {
    for (const char *to : {"2001:db8:1::", "2001:db8:2::", "2001:dba::"}) {
      for (uint16_t source = 0; source < 4; ++source) {
        for (uint16_t destination = 78; destination < 86; ++destination) {
          for (const uint8_t protocol : {protocol_tcp, protocol_udp}) {
            rule_packet packet{{}, {}, protocol, source, destination};
            ASSERT_TRUE(parse_address(from, packet.source) && parse_address(to, packet.destination));
            const narrow_packet narrow = {packet.source.hi, packet.destination.hi, protocol, source, destination};
            const auto decides = std::find_if(entries.begin(), entries.end(),
                                              [&](const rule_entry &entry) { return matches(entry, narrow); });
            ASSERT_NE(decides, entries.end());
            ASSERT_EQ(decides->rule, deciding_rule(set, packet));
            ASSERT_EQ(decides->verdict, verdict_of(set, packet));
          }
        }
      }
    }
  }
}

TEST(RuleEntries, TablesHoldEachPrefixOnceAndTheDefault) {
  EXPECT_THAT(source_prefixes(sample()), ElementsAre(prefix("::/0"), prefix("2001:db8::/32")));
  EXPECT_THAT(destination_prefixes(sample()),
              ElementsAre(prefix("::/0"), prefix("2001:db8::/32"), prefix("2001:db8:1::/48")));
  EXPECT_THAT(source_prefixes({}), ElementsAre(prefix("::/0")));
}

}  // namespace
