// SPDX-License-Identifier: Apache-2.0
#include "rule_flows.h"

#include <fmt/core.h>

#include "prefix_text.h"

namespace v6tool {

namespace {

std::string key_field(const char *name, narrow_code code) {
  return code.bits == 0 ? "" : fmt::format(",{}=0x{:016x}/0x{:016x}", name, code.code, mask_of(code));
}

std::string port_field(const char *name, masked_port port) {
  return port.mask == 0 ? "" : fmt::format(",{}=0x{:x}/0x{:x}", name, port.value, port.mask);
}

std::string type_field(const char *name, masked_port port) {
  return port.mask == 0 ? "" : fmt::format(",{}={}", name, port.value);
}

std::string protocol_fields(const rule_entry &entry) {
  if (entry.protocol_mask == 0) {
    return ",ipv6";
  }
  switch (entry.protocol) {
    case protocol_tcp:
      return ",tcp6" + port_field("tcp_src", entry.source_port) + port_field("tcp_dst", entry.destination_port);
    case protocol_udp:
      return ",udp6" + port_field("udp_src", entry.source_port) + port_field("udp_dst", entry.destination_port);
    case protocol_sctp:
      return ",sctp6" + port_field("sctp_src", entry.source_port) + port_field("sctp_dst", entry.destination_port);
    case protocol_icmpv6:
      return ",icmp6" + type_field("icmpv6_type", entry.source_port) +
             type_field("icmpv6_code", entry.destination_port);
    default:
      return fmt::format(",ipv6,nw_proto={}", entry.protocol);
  }
}

}  // namespace

std::string prefix_flow_match(flow_side side, const ip_prefix &prefix) {
  const bool source = side == flow_side::source;
  std::string text = fmt::format("table={},priority={},ipv6", source ? 0 : 1, prefix.length);
  if (prefix.length != 0) {
    text += (source ? ",ipv6_src=" : ",ipv6_dst=") + format_prefix(prefix);
  }
  return text;
}

std::string prefix_flow(flow_side side, const ip_prefix &prefix, uint64_t key) {
  const bool source = side == flow_side::source;
  return fmt::format("{},actions=set_field:0x{:016x}->{},goto_table:{}", prefix_flow_match(side, prefix), key,
                     source ? "xreg0" : "xreg1", source ? 1 : 2);
}

std::string entry_flow_match(const rule_entry &entry, uint32_t priority) {
  return fmt::format("table=2,priority={}{}{}{}", priority, protocol_fields(entry), key_field("xreg0", entry.source),
                     key_field("xreg1", entry.destination));
}

std::string entry_flow(const rule_entry &entry, uint32_t priority, const std::string &accept) {
  return entry_flow_match(entry, priority) + ",actions=" + (entry.verdict == rule_verdict::accept ? accept : "drop");
}

}  // namespace v6tool
