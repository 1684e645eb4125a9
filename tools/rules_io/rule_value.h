// SPDX-License-Identifier: Apache-2.0
// rule_value.h - access rules on IPv6 packets, as plain values.
//
// A rule set is a list in which the first rule that matches a packet decides; a packet that none matches gets the
// default verdict. What a rule says is what a ternary entry can say: a source prefix, a destination prefix, a protocol
// and ranges of ports. State of connections, interfaces, rates and the like have no place here: the readers refuse
// rules that need them (rules_reader.h).
#ifndef RULE_VALUE_H
#define RULE_VALUE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

enum class rule_verdict : uint8_t { accept, drop, reject };

inline const char *verdict_name(rule_verdict verdict) {
  return verdict == rule_verdict::accept ? "accept" : verdict == rule_verdict::drop ? "drop" : "reject";
}

// From first to last, both included.
struct port_range {
  uint16_t first = 0;
  uint16_t last = UINT16_MAX;
  bool operator==(const port_range &) const = default;
};

inline bool within(port_range range, uint16_t port) { return range.first <= port && port <= range.last; }
inline bool is_any(port_range range) { return range == port_range{}; }

// Protocols (next headers) whose packets have what the port fields ask for.
enum : uint8_t { protocol_tcp = 6, protocol_udp = 17, protocol_icmpv6 = 58, protocol_sctp = 132 };

inline bool has_ports(uint8_t protocol) {
  return protocol == protocol_tcp || protocol == protocol_udp || protocol == protocol_sctp;
}

// Which packets: all that agree with every field.
struct rule_match {
  ip_prefix source;                 // ::/0 = any
  ip_prefix destination;            // ::/0 = any
  std::optional<uint8_t> protocol;  // nothing = any
  // Anything but the whole range only with TCP, UDP and SCTP, and with ICMPv6: its type stands as the source port and
  // its code as the destination port, one value each, as switches have them in their keys.
  port_range source_ports;
  port_range destination_ports;
  bool operator==(const rule_match &) const = default;
};

struct rule {
  rule_match match;
  rule_verdict verdict = rule_verdict::drop;
  std::string place;  // for messages, behind the set's name and a colon: "12" (a line), "forward handle 7"
  std::string name;   // the comment that stands with it, perhaps ""
};

struct rule_set {
  std::string name;         // for messages
  std::vector<rule> rules;  // the first that matches decides
  rule_verdict otherwise = rule_verdict::drop;
};

struct rule_packet {
  ip_key source;
  ip_key destination;
  uint8_t protocol = protocol_tcp;
  uint16_t source_port = 0;  // of ICMPv6: the type; of protocols without ports: 0
  uint16_t destination_port = 0;
};

inline bool matches(const rule_match &match, const rule_packet &packet) {
  return covers(match.source, packet.source) && covers(match.destination, packet.destination) &&
         (!match.protocol || *match.protocol == packet.protocol) && within(match.source_ports, packet.source_port) &&
         within(match.destination_ports, packet.destination_port);
}

// The index of the rule that decides, rules.size() when none does. A plain walk, rule by rule on 128 bits: what other
// answers are held against.
inline size_t deciding_rule(const rule_set &set, const rule_packet &packet) {
  size_t i = 0;
  while (i < set.rules.size() && !matches(set.rules[i].match, packet)) {
    ++i;
  }
  return i;
}

inline rule_verdict verdict_of(const rule_set &set, const rule_packet &packet) {
  const size_t i = deciding_rule(set, packet);
  return i == set.rules.size() ? set.otherwise : set.rules[i].verdict;
}

}  // namespace v6tool

#endif
