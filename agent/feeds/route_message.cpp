// SPDX-License-Identifier: Apache-2.0
#include "route_message.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace v6agent {

namespace {

using attributes = std::array<const nlattr *, RTA_MAX + 1>;

struct attribute_search {
  attributes found{};
  bool good = true;
};

int note_attribute(const nlattr *attribute, void *data) {
  auto *search = static_cast<attribute_search *>(data);
  const uint16_t type = mnl_attr_get_type(attribute);
  if (type <= RTA_MAX) {
    search->found[type] = attribute;
  }
  return MNL_CB_OK;
}

// The number in an attribute. None: it is not there, or too short for one.
std::optional<uint32_t> number_in(const nlattr *attribute) {
  if (attribute == nullptr || mnl_attr_validate(attribute, MNL_TYPE_U32) < 0) {
    return std::nullopt;
  }
  return mnl_attr_get_u32(attribute);
}

bool leads_nowhere(uint8_t type) {
  return type == RTN_BLACKHOLE || type == RTN_UNREACHABLE || type == RTN_PROHIBIT || type == RTN_THROW;
}

std::array<uint8_t, 16> gateway_in(const nlattr *attribute) {
  std::array<uint8_t, 16> gateway{};
  if (attribute != nullptr && mnl_attr_get_payload_len(attribute) == gateway.size()) {
    std::memcpy(gateway.data(), mnl_attr_get_payload(attribute), gateway.size());
  }
  return gateway;
}

// The next hops of a route with several. One that is cut off ends them.
void read_hops(const nlattr *multipath, const message_rules &rules, route_message &message) {
  const auto *at = static_cast<const uint8_t *>(mnl_attr_get_payload(multipath));
  size_t left = mnl_attr_get_payload_len(multipath);
  const uint32_t metric = message.paths.front().metric;
  message.paths.clear();
  rtnexthop hop;
  while (left >= sizeof hop) {
    std::memcpy(&hop, at, sizeof hop);
    if (hop.rtnh_len < sizeof hop || hop.rtnh_len > left) {
      break;
    }
    attribute_search search;
    mnl_attr_parse_payload(at + sizeof hop, hop.rtnh_len - sizeof hop, note_attribute, &search);
    const auto interface = static_cast<uint32_t>(hop.rtnh_ifindex);
    message.paths.push_back(
        {metric, interface, gateway_in(search.found[RTA_GATEWAY]), rules.egress.port_of(interface)});
    const size_t step = std::min<size_t>(RTNH_ALIGN(hop.rtnh_len), left);
    at += step;
    left -= step;
  }
}

void read_paths(const rtmsg &route, const attributes &found, const message_rules &rules, route_message &message) {
  const std::optional<uint32_t> interface = number_in(found[RTA_OIF]);
  const bool nowhere = leads_nowhere(route.rtm_type);
  const uint32_t egress = nowhere ? 0 : interface ? rules.egress.port_of(*interface) : rules.egress.otherwise;
  const route_path only{number_in(found[RTA_PRIORITY]).value_or(0), interface.value_or(0),
                        gateway_in(found[RTA_GATEWAY]), egress};
  message.paths.assign(1, only);
  if (!nowhere && !interface && found[RTA_MULTIPATH] != nullptr) {
    read_hops(found[RTA_MULTIPATH], rules, message);
    if (message.paths.empty()) {
      message.paths.assign(1, only);
    }
  }
}

// The destination; ::/0 has no attribute. False: bits that do not fit their length.
bool destination_of(const rtmsg &route, const nlattr *attribute, v6tool::ip_prefix &prefix) {
  if (route.rtm_dst_len > 128 || (attribute == nullptr && route.rtm_dst_len != 0)) {
    return false;
  }
  uint8_t bytes[16] = {0};
  if (attribute != nullptr) {
    const uint16_t length = mnl_attr_get_payload_len(attribute);
    if (length > sizeof bytes || length * 8U < route.rtm_dst_len) {
      return false;
    }
    std::memcpy(bytes, mnl_attr_get_payload(attribute), length);
  }
  prefix.key = v6tool::masked(v6tool::key_from_bytes(bytes), route.rtm_dst_len);
  prefix.length = route.rtm_dst_len;
  return true;
}

bool is_of_use(const rtmsg &route, const attributes &found, const message_rules &rules) {
  const uint32_t table = number_in(found[RTA_TABLE]).value_or(route.rtm_table);
  const bool is_unicast = route.rtm_type == RTN_UNICAST || leads_nowhere(route.rtm_type) ||
                          route.rtm_type == RTN_UNSPEC;  // FPM withdraws without a type
  return table == rules.table && is_unicast && (route.rtm_flags & RTM_F_CLONED) == 0;
}

}  // namespace

message_reading read_route_message(const nlmsghdr *header, const message_rules &rules, route_message &message) {
  if (header->nlmsg_type != RTM_NEWROUTE && header->nlmsg_type != RTM_DELROUTE) {
    return message_reading::of_no_use;
  }
  if (header->nlmsg_len < MNL_NLMSG_HDRLEN + sizeof(rtmsg)) {
    return message_reading::malformed;
  }
  rtmsg route;
  std::memcpy(&route, mnl_nlmsg_get_payload(header), sizeof route);
  if (route.rtm_family != AF_INET6) {
    return message_reading::of_no_use;
  }
  attribute_search search;
  if (mnl_attr_parse(header, sizeof(rtmsg), note_attribute, &search) < 0) {
    return message_reading::malformed;
  }
  if (!is_of_use(route, search.found, rules)) {
    return message_reading::of_no_use;
  }
  if (!destination_of(route, search.found[RTA_DST], message.prefix)) {
    return message_reading::malformed;
  }
  message.comes = header->nlmsg_type == RTM_NEWROUTE;
  message.replaces = message.comes && (header->nlmsg_flags & NLM_F_REPLACE) != 0;
  read_paths(route, search.found, rules, message);
  return message_reading::route;
}

message_reading take_route_message(const nlmsghdr *header, const message_rules &rules, route_sink &sink) {
  route_message message;
  const message_reading reading = read_route_message(header, rules, message);
  if (reading == message_reading::route && message.comes) {
    sink.announce(message.prefix, message.paths.front().egress);
  } else if (reading == message_reading::route) {
    sink.withdraw(message.prefix);
  }
  return reading;
}

block_reading take_route_block(const void *block, size_t bytes, const message_rules &rules, route_sink &sink) {
  block_reading reading;
  const auto *at = static_cast<const uint8_t *>(block);
  size_t left = bytes;
  while (left > 0) {
    const auto *header = reinterpret_cast<const nlmsghdr *>(at);
    // libmnl's own check takes lengths for signed, and lets those of 2 GiB and more pass.
    if (left < sizeof *header || header->nlmsg_len < sizeof *header || header->nlmsg_len > left) {
      ++reading.malformed;
      break;
    }
    const message_reading one = take_route_message(header, rules, sink);
    reading.routes += one == message_reading::route ? 1 : 0;
    reading.malformed += one == message_reading::malformed ? 1 : 0;
    const size_t step = std::min<size_t>(MNL_ALIGN(header->nlmsg_len), left);
    left -= step;
    at += step;
  }
  return reading;
}

}  // namespace v6agent
