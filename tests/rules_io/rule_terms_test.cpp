// SPDX-License-Identifier: Apache-2.0
#include "rule_terms.h"

#include <gtest/gtest.h>

#include <random>

#include "rule_text.h"

namespace {

using namespace v6tool;

TEST(RuleTerms, NarrowingTwiceLeavesWhatBothAskFor) {
  alternatives<ip_prefix> prefixes;
  narrow(prefixes, {prefix("2001:db8::/32"), prefix("2001:db9::/48")});
  narrow(prefixes, {prefix("2001:db8:1::/48"), prefix("2001:db9::/32")});
  EXPECT_EQ(*prefixes, (std::vector{prefix("2001:db8:1::/48"), prefix("2001:db9::/48")}));
  narrow(prefixes, {prefix("fd00::/8")});
  EXPECT_TRUE(prefixes->empty());

  alternatives<port_range> ports;
  narrow(ports, {{10, 20}, {30, 40}});
  narrow(ports, {{15, 35}});
  EXPECT_EQ(*ports, (std::vector<port_range>{{15, 20}, {30, 35}}));

  alternatives<uint8_t> protocols;
  narrow(protocols, {6, 17});
  narrow(protocols, {17, 58});
  EXPECT_EQ(*protocols, std::vector<uint8_t>{17});
}

TEST(RuleTerms, WhatMatchesNothingMultipliesOutToNothing) {
  rule_terms terms;
  terms.sources.emplace();
  std::vector<rule_match> matches;
  EXPECT_EQ(multiply_out(terms, matches), "");
  EXPECT_TRUE(matches.empty());
}

TEST(RuleTerms, RefusesSetsThatMultiplyWithoutEnd) {
  rule_terms terms;
  terms.sources.emplace(2000);
  terms.destinations.emplace(2000);
  std::vector<rule_match> matches;
  EXPECT_NE(multiply_out(terms, matches), "");
}

TEST(RuleTerms, IcmpTypesAreSingleValues) {
  rule_terms terms;
  EXPECT_EQ(narrow_icmp_type("echo-request", terms), "");
  std::vector<rule_match> matches;
  EXPECT_EQ(multiply_out(terms, matches), "");
  ASSERT_EQ(matches.size(), 1U);
  EXPECT_EQ(matches.front().source_ports, (port_range{128, 128}));
  EXPECT_TRUE(is_any(matches.front().destination_ports));
  terms.source_ports->front().last = 129;
  EXPECT_NE(multiply_out(terms, matches), "");
  rule_terms other;
  for (const char *bad : {"256", "", "1/256", "ping", "-1", "1/"}) {
    EXPECT_NE(narrow_icmp_type(bad, other), "") << bad;
  }
}

TEST(RuleTerms, ReadsPortsAtTheirEdges) {
  port_range range;
  EXPECT_EQ(parse_ports("0-65535", '-', range), "");
  EXPECT_TRUE(is_any(range));
  EXPECT_EQ(parse_ports("65535", ':', range), "");
  EXPECT_EQ(range, (port_range{65535, 65535}));
  for (const char *bad : {"", "-", "1-", "-1", "65536", "1-65536", "2-1", "0x10", "1-2-3", " 1"}) {
    EXPECT_NE(parse_ports(bad, '-', range), "") << bad;
  }
}

TEST(RuleTerms, PrefixesBetweenAreExactAndFewest) {
  const ip_key last = {~uint64_t{0}, ~uint64_t{0}};
  EXPECT_EQ(prefixes_between({0, 0}, last), std::vector{prefix("::/0")});
  EXPECT_EQ(prefixes_between(last, last), (std::vector{ip_prefix{last, 128}}));
  EXPECT_EQ(prefixes_between({0, 1}, last).size(), 128U);
  EXPECT_EQ(prefixes_between({0, 1}, previous_key(last)).size(), 254U);

  std::mt19937_64 random(3);
  for (int i = 0; i < 300; ++i) {
    const uint64_t a = random() % 64;
    const uint64_t b = a + random() % (64 - a);
    const std::vector<ip_prefix> covered = prefixes_between({7, a}, {7, b});
    for (uint64_t at = 0; at < 64; ++at) {
      const auto holds = static_cast<size_t>(std::count_if(covered.begin(), covered.end(), [at](const ip_prefix &p) {
        return covers(p, {7, at});
      }));
      ASSERT_EQ(holds, a <= at && at <= b ? 1U : 0U);
    }
    for (size_t n = 1; n < covered.size(); ++n) {  // no two that are one
      const ip_prefix &left = covered[n - 1];
      const auto shorter = static_cast<uint8_t>(left.length - 1);
      ASSERT_FALSE(left.length == covered[n].length && masked(left.key, shorter) == masked(covered[n].key, shorter));
    }
  }
}

}  // namespace
