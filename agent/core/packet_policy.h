// SPDX-License-Identifier: Apache-2.0
// packet_policy.h - the rules that the switch enforces: the first one that matches a packet decides.
#ifndef PACKET_POLICY_H
#define PACKET_POLICY_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "switch_entries.h"

namespace v6agent {

// A packet matches when both addresses are covered and one of `packets` holds.
struct policy_rule {
  ip_prefix source;
  ip_prefix destination;
  std::vector<packet_match> packets{packet_match{}};
  rule_action action = rule_action::deny;
  bool operator==(const policy_rule &) const = default;
};

using packet_policy = std::vector<policy_rule>;  // best first

constexpr size_t most_rules = 60000;

// The rank of the rule at `index`.
constexpr uint16_t rank_of(size_t index) { return static_cast<uint16_t>(most_rules - index); }

constexpr const ip_prefix &prefix_of(const policy_rule &rule, side which) {
  return which == side::source ? rule.source : rule.destination;
}

// The prefixes that rules ask for on one side; ::/0 is always among them, so that every address has a key.
std::set<ip_prefix> prefixes_of(const packet_policy &policy, side which);

// A policy as one line of text, and back. False: the text is not one that policy_text wrote.
std::string policy_text(const packet_policy &policy);
bool parse_policy_text(std::string_view text, packet_policy &policy);

}  // namespace v6agent

#endif
