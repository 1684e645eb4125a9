// SPDX-License-Identifier: Apache-2.0
// rule_flows.h - rules as OpenFlow flows, one a line, as `ovs-ofctl add-flows` and its bundles read them.
//
//   table 0   source address, longest match (priority = prefix length)        -> xreg0, the source key
//   table 1   destination address, the same                                   -> xreg1, the destination key
//   table 2   xreg0 and xreg1 with masks, protocol, ports: the rules in order -> the verdict
//
// Packets other than IPv6 match no flow here. A switch that reassembles nothing sees ports in first fragments only.
#ifndef RULE_FLOWS_H
#define RULE_FLOWS_H

#include <string>

#include "rule_entries.h"

namespace v6tool {

enum class flow_side : uint8_t { source, destination };  // tables 0 and 1

// A flow without its action, as --strict deletion takes it, and the whole.
std::string prefix_flow_match(flow_side side, const ip_prefix &prefix);
std::string prefix_flow(flow_side side, const ip_prefix &prefix, uint64_t key);

// `priority`: 0..65535. `accept` is the action of accepted packets, such as NORMAL or resubmit(,10); what is dropped or
// rejected is dropped, for no flow answers a packet.
std::string entry_flow_match(const rule_entry &entry, uint32_t priority);
std::string entry_flow(const rule_entry &entry, uint32_t priority, const std::string &accept);

// Rules that table 2 has priorities for; entries of one rule share theirs.
constexpr uint32_t max_flow_rules = 65535;

// The priority of an entry of a rule, that behind the last one included.
inline uint32_t flow_priority(const rule_entry &entry) { return max_flow_rules - entry.rule; }

}  // namespace v6tool

#endif
