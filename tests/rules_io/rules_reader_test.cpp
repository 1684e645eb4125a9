// SPDX-License-Identifier: Apache-2.0
#include "rules_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "rule_text.h"
#include "source_dir.h"
#include "table_reader.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;
using testing::HasSubstr;

struct outcome {
  bool good = false;
  rule_set set;
  read_report report;
};

outcome parse(const std::string &content, const rules_options &options = {}) {
  outcome out;
  out.good = parse_rules("r", content, options, out.set, out.report);
  return out;
}

outcome read(const std::string &file, const rules_options &options = {}) {
  outcome out;
  out.good = read_rules(source_path("tests/rules_io/rules/") + file, options, out.set, out.report);
  return out;
}

std::string first_fault(const outcome &out) {
  return out.report.faults.texts.empty() ? "" : out.report.faults.texts.front();
}

// What the two files below say of the chain `web`, for packets that jumped there with these two prefixes.
std::string web(const std::string &from, const std::string &to, const std::string &bad, const char *verdict_of_bad) {
  std::string text;
  for (const char *ports : {"80-80", "443-443", "8000-8099"}) {
    text += from + ' ' + to + " 6 * " + ports + " accept\n";
  }
  if (!bad.empty()) {
    text += bad + ' ' + to + " * * * " + verdict_of_bad + '\n';
  }
  return text + from + ' ' + to + " 17 * 443-443 accept\n";
}

TEST(RulesReader, ReadsWhatNftPrints) {
  const outcome out = read("office.json");
  ASSERT_TRUE(out.good) << first_fault(out);
  std::string expected;
  for (const char *office : {"2001:db8:1::/48", "2001:db8:2::/48", "2001:db8:9::10/124"}) {
    expected += web(office, "2001:db8:100::/40", "", "");
  }
  for (const char *from : {"2001:db8:3::/48", "2001:db8:4::5/128"}) {
    for (const char *to : {"2001:db8::1/128", "2001:db8::2/128"}) {
      for (const char *protocol : {"6", "17"}) {
        expected += std::string(from) + ' ' + to + ' ' + protocol + " * 53-53 accept\n";
      }
    }
  }
  expected += "::/0 ::/0 58 2-2 * accept\n::/0 ::/0 58 128-128 * accept\n";
  expected += "::/0 fd00::/8 * * * reject\n2001:db8:7::/48 ::/0 47 * * accept\notherwise drop\n";
  EXPECT_EQ(rules_text(out.set), expected);
  EXPECT_EQ(out.set.rules.front().place, "web handle 6");
  EXPECT_EQ(out.set.rules.front().name, "web ports");
  ASSERT_EQ(out.report.notes.size(), 1U);
  EXPECT_THAT(out.report.notes.front(), HasSubstr("2 rules for other packets than IPv6 left out"));
  EXPECT_THAT(out.report.summary, HasSubstr("nft, chain filter/forward; 24 rules, then drop"));
}

TEST(RulesReader, ReadsWhatIp6tablesSavePrints) {
  const outcome out = read("office.ip6tables");
  ASSERT_TRUE(out.good) << first_fault(out);
  const std::string expected =
      web("2001:db8:1::/48", "2001:db8:100::/40", "", "") + web("2001:db8:2::/48", "2001:db8:100::/40", "", "") +
      "2001:db8:4::5/128 2001:db8::1/128 17 1024-65535 53-53 accept\n"
      "::/0 ::/0 58 128-128 * accept\n::/0 ::/0 58 1-1 4-4 accept\n::/0 fd00::/8 * * * reject\n"
      "2001:db8:7::/48 ::/0 47 * * drop\notherwise drop\n";
  EXPECT_EQ(rules_text(out.set), expected)
      << "a goto for protocol 47 that meets rules for TCP and UDP ends at the policy";
  EXPECT_EQ(out.set.rules[3].name, "quic for \"all\"");
  EXPECT_EQ(out.report.notes.size(), 1U) << "the table nat";
}

TEST(RulesReader, ReadsSavedCounters) {
  EXPECT_TRUE(parse("*filter\n:FORWARD ACCEPT [1:2]\n[3:4] -A FORWARD -s 2001:db8::/32 -j DROP\nCOMMIT\n").good);
}

TEST(RulesReader, RefusesWhatNoEntryCanSayByRule) {
  const outcome out = read("not_for_entries.json");
  EXPECT_FALSE(out.good);
  EXPECT_TRUE(out.set.rules.empty());
  std::vector<std::string> faults = out.report.faults.texts;
  for (std::string &fault : faults) {
    fault.erase(0, fault.find(".json:") + 6);
  }
  EXPECT_THAT(faults, ElementsAre("forward handle 5: it asks for the state of a connection, which no entry keeps",
                                  "forward handle 6: it asks for an interface, which no prefix tells",
                                  "forward handle 7: a negation; write the opposite rule before it",
                                  "forward handle 8: statement `limit` has no counterpart in a ternary entry",
                                  "forward handle 9: `ip6 hoplimit` has no counterpart in a ternary entry",
                                  "forward handle 10: `tcp flags` has no counterpart in a ternary entry",
                                  "forward handle 12: statement `vmap` has no counterpart in a ternary entry"));
}

TEST(RulesReader, LeavesOutAsManyAsIsAsked) {
  rules_options options;
  options.skip_bad = 6;
  EXPECT_FALSE(read("not_for_entries.json", options).good);
  options.skip_bad = 7;
  const outcome out = read("not_for_entries.json", options);
  ASSERT_TRUE(out.good);
  EXPECT_EQ(rules_text(out.set), "2001::/16 ::/0 * * * drop\notherwise accept\n");
  EXPECT_EQ(out.report.warnings.total, 7U);
}

TEST(RulesReader, TakesAnotherChainWhenAsked) {
  rules_options options;
  for (const char *name : {"input", "fw/input"}) {
    options.chain = name;
    const outcome out = read("not_for_entries.json", options);
    EXPECT_EQ(out.report.faults.total, 2U) << first_fault(out);
  }
  options.chain = "output";
  EXPECT_THAT(first_fault(read("not_for_entries.json", options)),
              HasSubstr("no chain output; --chain takes one of fw/forward, fw/input"));
  EXPECT_EQ(first_fault(parse("source,destination,verdict\n", options)),
            "r: rules as csv, which has no chains to take one of");
}

TEST(RulesReader, ReadsCsvByItsFieldNames) {
  const outcome out = parse(
      "# rules of the office\n"
      "Verdict;Priority;source;destination;protocol;destination_ports;icmp_type;name\r\n"
      "permit;10;2001:db8:1::/48;any;tcp;80-83;;\"web; and more\"\n"
      "deny;;*;;;;;\n"
      "allow;20;2001:db8::5;2001:db8:2::/48;icmpv6;;128;ping\n");
  ASSERT_TRUE(out.good) << first_fault(out);
  EXPECT_EQ(rules_text(out.set),
            "2001:db8::5/128 2001:db8:2::/48 58 128-128 * accept\n"
            "2001:db8:1::/48 ::/0 6 * 80-83 accept\n"
            "::/0 ::/0 * * * drop\notherwise drop\n");
  EXPECT_EQ(out.set.rules[1].name, "web; and more");
  EXPECT_EQ(out.set.rules[1].place, "3");
}

TEST(RulesReader, NamesEveryBadLineOfCsv) {
  const outcome out = parse(
      "source,destination,verdict,protocol,destination_ports\n"
      "2001:db8::1/32,any,accept,,\n"
      "192.0.2.0/24,any,accept,,\n"
      "any,any,maybe,,\n"
      "any,any,drop,,80\n"
      "any,any,drop,tcp,90-80\n"
      "any,any,drop,tcp,65536\n"
      "any,any,drop,mail,\n"
      "any,any,drop,tcp,80,81\n"
      "any,\"any,drop\n");
  EXPECT_THAT(
      out.report.faults.texts,
      ElementsAre("r:2: 2001:db8::1/32: bits set beyond /32 (--mask clears them)",
                  "r:3: 192.0.2.0/24: IPv4, and rules are on IPv6", "r:4: maybe: not a verdict; accept, drop or reject",
                  "r:5: ports need the protocol tcp, udp or sctp", "r:6: 90-80: the last port is below the first",
                  "r:7: 65536: not a port from 0 to 65535 or two of them",
                  "r:8: mail: not a protocol; a name such as tcp, or a number from 0 to 255",
                  "r:9: more fields than the first line names", "r:10: a quoted field does not end on its line"));
}

TEST(RulesReader, ClearsHostBitsWhenAsked) {
  rules_options options;
  options.clear_host_bits = true;
  const outcome out = parse("source,destination,verdict\n2001:db8::1/32,any,accept\n", options);
  ASSERT_TRUE(out.good);
  EXPECT_EQ(out.set.rules.front().match.source, prefix("2001:db8::/32"));
}

TEST(RulesReader, SaysWhatIsWrongWithAFirstLine) {
  EXPECT_EQ(first_fault(parse("source,verdict\n")), "r:1: the first line names no field `destination`");
  EXPECT_THAT(first_fault(parse("source,destination,verdict,colour\n")), HasSubstr("r:1: colour: no such field"));
  EXPECT_EQ(first_fault(parse("source,source,destination,verdict\n")), "r:1: source: this field is named twice");
}

TEST(RulesReader, RefusesWhatIsNoRules) {
  EXPECT_EQ(first_fault(parse("")), "r: empty, no rules");
  EXPECT_EQ(first_fault(parse("\n# nothing\n")), "r: empty, no rules");
  EXPECT_EQ(first_fault(parse("{\"nftables\": [\n\n")), "r:3: not JSON");
  EXPECT_THAT(first_fault(parse("{\"rules\": []}")), HasSubstr("there is no array `nftables`"));
  EXPECT_THAT(first_fault(parse("{\"a\": " + std::string(100000, '[') + "}")), HasSubstr("deeper than 64"));
  EXPECT_THAT(first_fault(parse("{\"nftables\": [1e999]}")), HasSubstr("a number that is too large"));
  EXPECT_EQ(first_fault(parse("*filter\n:FORWARD ACCEPT\n")), "r: ends within a table, without COMMIT");
  EXPECT_THAT(first_fault(parse("{\"nftables\": []}")), HasSubstr("no chain for forwarded packets, and no other"));
  outcome out;
  EXPECT_FALSE(read_rules("/nonexistent/rules", {}, out.set, out.report));
  EXPECT_THAT(first_fault(out), HasSubstr("/nonexistent/rules: "));
}

TEST(RulesReader, SavedLinesWithFaultsAreNamed) {
  const outcome out = parse(
      "*filter\n:FORWARD ACCEPT\n:A -\n"
      "-A FORWARD ! -s 2001:db8::/32 -j DROP\n"
      "-A FORWARD -i eth0 -j DROP\n"
      "-A FORWARD -m conntrack --ctstate NEW -j DROP\n"
      "-A FORWARD -p tcp --syn -j DROP\n"
      "-A FORWARD -s\n"
      "-A FORWARD -j B\n"
      "-A FORWARD -j A\n"
      "-A A -j FORWARD\n"
      "-A FORWARD -s 2001:db8::/32\n"
      "COMMIT\n");
  EXPECT_THAT(out.report.faults.texts, ElementsAre("r:4: a negation; write the opposite rule before it",
                                                   "r:5: it asks for an interface, which no prefix tells",
                                                   "r:6: it asks for the state of a connection, which no entry keeps",
                                                   "r:7: --syn: this option has no counterpart in a ternary entry",
                                                   "r:8: -s: no value behind it", "r:9: there is no chain B",
                                                   "r:11: chain FORWARD leads back to itself"));
}

TEST(RulesReader, BadRulesThatAreNeverReachedDoNotMatter) {
  const outcome out = parse(
      "*filter\n:FORWARD ACCEPT\n:UNUSED -\n-A FORWARD -j DROP\n-A FORWARD -i eth0 -j ACCEPT\n"
      "-A UNUSED -m state --state NEW -j DROP\nCOMMIT\n");
  ASSERT_TRUE(out.good) << first_fault(out);
  EXPECT_EQ(rules_text(out.set), "::/0 ::/0 * * * drop\notherwise accept\n");
}

TEST(RulesReader, AnyPieceOfAGoodFileIsTakenOrRefusedButNeverFatal) {
  for (const char *file : {"office.json", "office.ip6tables"}) {
    std::string name;
    std::string content;
    read_report report;
    ASSERT_TRUE(read_input(source_path("tests/rules_io/rules/") + file, "rule set", name, content, report));
    for (size_t end = 0; end < content.size(); end += 7) {
      const outcome out = parse(content.substr(0, end));
      ASSERT_TRUE(out.good || out.report.faults.total != 0) << end;
    }
  }
}

TEST(RulesReader, KnowsItsFormatsByName) {
  rules_format format = rules_format::automatic;
  EXPECT_TRUE(parse_rules_format("nft", format));
  EXPECT_EQ(format, rules_format::nft);
  EXPECT_TRUE(parse_rules_format("auto", format));
  EXPECT_EQ(format, rules_format::automatic);
  EXPECT_FALSE(parse_rules_format("pf", format));
}

}  // namespace
