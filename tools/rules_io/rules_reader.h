// SPDX-License-Identifier: Apache-2.0
// rules_reader.h - access rules from the formats that people have them in.
//
//   nft           `nft -j list ruleset`. Chains of the families ip6 and inet; anonymous and named sets
//   ip6tables     `ip6tables-save`, its table `filter`
//   csv           a first line that names the fields, in any order and letter case; comma, semicolon or tab:
//                   source, destination   prefix or address; empty, `any`, `*`: all
//                   verdict               accept (permit, allow), drop (deny) or reject
//                   protocol              tcp, udp, sctp, icmpv6, a number; empty, `any`, `*`: all. Perhaps absent
//                   source_ports, destination_ports   N or N-M; empty, `any`, `*`: all. Perhaps absent
//                   icmp_type             a number, with protocol icmpv6. Perhaps absent
//                   priority              a number: rules of higher priority first. Perhaps absent: lines as they stand
//                   name                  any text. Perhaps absent
//                 A packet that no line matches is dropped.
//
// Of nft and ip6tables one chain is taken, with all that it jumps to; jumps, gotos and returns are followed, so that
// the rule set that comes out has none. A packet that no rule matches gets the chain's policy.
//
// A rule set is taken whole or not at all: a rule that a ternary entry cannot say (state of connections, interfaces,
// negations, rates, ...) is a fault, for to leave it out would change what the others mean. All faults are collected.
// Rules that can match no IPv6 packet (IPv4 addresses in the family inet) are left out and counted in a note.
#ifndef RULES_READER_H
#define RULES_READER_H

#include <cstddef>
#include <string>
#include <string_view>

#include "rule_value.h"
#include "table_report.h"

namespace v6tool {

enum class rules_format : uint8_t { automatic, nft, ip6tables, csv };

struct rules_options {
  rules_format format = rules_format::automatic;  // automatic: seen in the first bytes
  // Of nft and ip6tables: NAME, or TABLE/NAME in nft. "": what forwarded packets pass (hook forward; FORWARD).
  std::string chain;
  bool clear_host_bits = false;  // bits beyond a prefix's length, which are a fault otherwise
  size_t skip_bad = 0;           // bad rules that are left out, with a warning each, before they make the set useless
};

constexpr size_t max_rules = size_t{1} << 20;  // after sets and jumps are written out

// Read the rules at `path`, `-` for standard input. True when there is no fault; else the set is empty and the report
// says why, each fault as `file:place: reason`. The report's summary names format, chain and count.
bool read_rules(const std::string &path, const rules_options &options, rule_set &set, read_report &report);

// The same from memory. `name` stands in messages.
bool parse_rules(const std::string &name, std::string_view content, const rules_options &options, rule_set &set,
                 read_report &report);

// "auto", "nft", "ip6tables", "csv". False: none of that name.
bool parse_rules_format(std::string_view name, rules_format &format);

}  // namespace v6tool

#endif
