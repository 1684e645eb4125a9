// SPDX-License-Identifier: Apache-2.0
#include "packet_policy.h"

#include <nlohmann/json.hpp>

#include "prefix_text.h"

namespace v6agent {

namespace {

using nlohmann::json;

json packet_json(const packet_match &packet) {
  return json::array({packet.protocol, packet.source_port.value, packet.source_port.mask, packet.destination_port.value,
                      packet.destination_port.mask});
}

packet_match packet_from(const json &text) {
  const auto number = [&text](size_t i) { return text.at(i).get<uint16_t>(); };
  return {number(0), {number(1), number(2)}, {number(3), number(4)}};
}

ip_prefix prefix_from(const json &text) {
  ip_prefix prefix;
  if (const std::string fault = v6tool::parse_prefix(text.get<std::string>(), prefix); !fault.empty()) {
    throw std::invalid_argument(fault);
  }
  return prefix;
}

policy_rule rule_from(const json &text) {
  policy_rule rule{prefix_from(text.at(0)), prefix_from(text.at(1)), {}, rule_action::deny};
  rule.action = text.at(2).get<bool>() ? rule_action::permit : rule_action::deny;
  for (const json &packet : text.at(3)) {
    rule.packets.push_back(packet_from(packet));
  }
  return rule;
}

}  // namespace

std::set<ip_prefix> prefixes_of(const packet_policy &policy, side which) {
  std::set<ip_prefix> prefixes{ip_prefix{}};
  for (const policy_rule &rule : policy) {
    prefixes.insert(prefix_of(rule, which));
  }
  return prefixes;
}

std::string policy_text(const packet_policy &policy) {
  json rules = json::array();
  for (const policy_rule &rule : policy) {
    json packets = json::array();
    for (const packet_match &packet : rule.packets) {
      packets.push_back(packet_json(packet));
    }
    rules.push_back(json::array({v6tool::format_prefix(rule.source), v6tool::format_prefix(rule.destination),
                                 rule.action == rule_action::permit, std::move(packets)}));
  }
  return rules.dump();
}

bool parse_policy_text(std::string_view text, packet_policy &policy) {
  try {
    packet_policy parsed;
    for (const json &rule : json::parse(text)) {
      parsed.push_back(rule_from(rule));
    }
    policy = std::move(parsed);
    return true;
  } catch (const std::exception &) {
    return false;
  }
}

}  // namespace v6agent
