// SPDX-License-Identifier: Apache-2.0
#include "policy_reader.h"

#include <utility>

#include "rule_entries.h"

namespace v6agent {

namespace {

rule_action action_of(v6tool::rule_verdict verdict) {
  return verdict == v6tool::rule_verdict::accept ? rule_action::permit : rule_action::deny;
}

std::vector<port_match> ports_of(v6tool::port_range range) {
  std::vector<port_match> ports;
  for (const v6tool::masked_port &port : v6tool::masks_of(range)) {
    ports.push_back({port.value, port.mask});
  }
  return ports;
}

std::vector<packet_match> packets_of(const v6tool::rule_match &match) {
  const uint16_t protocol = match.protocol ? *match.protocol : any_protocol;
  std::vector<packet_match> packets;
  for (const port_match &source : ports_of(match.source_ports)) {
    for (const port_match &destination : ports_of(match.destination_ports)) {
      packets.push_back({protocol, source, destination});
    }
  }
  return packets;
}

}  // namespace

std::string policy_from(const v6tool::rule_set &rules, packet_policy &policy) {
  if (rules.rules.size() >= most_rules) {
    return rules.name + ": " + std::to_string(rules.rules.size()) + " rules, of which a switch takes " +
           std::to_string(most_rules - 1);
  }
  packet_policy made;
  for (const v6tool::rule &rule : rules.rules) {
    made.push_back({rule.match.source, rule.match.destination, packets_of(rule.match), action_of(rule.verdict)});
  }
  made.push_back({ip_prefix{}, ip_prefix{}, {packet_match{}}, action_of(rules.otherwise)});
  policy = std::move(made);
  return "";
}

std::vector<std::string> read_policy(const std::string &path, const v6tool::rules_options &options,
                                     packet_policy &policy) {
  v6tool::rule_set rules;
  v6tool::read_report report;
  if (!v6tool::read_rules(path, options, rules, report)) {
    return report.faults.lines();
  }
  const std::string fault = policy_from(rules, policy);
  return fault.empty() ? std::vector<std::string>{} : std::vector<std::string>{fault};
}

}  // namespace v6agent
