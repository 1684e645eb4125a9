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

// The first next hop's interface of a route with several.
std::optional<uint32_t> first_interface(const nlattr *multipath) {
  if (multipath == nullptr || mnl_attr_get_payload_len(multipath) < sizeof(rtnexthop)) {
    return std::nullopt;
  }
  rtnexthop hop;
  std::memcpy(&hop, mnl_attr_get_payload(multipath), sizeof hop);
  return static_cast<uint32_t>(hop.rtnh_ifindex);
}

bool leads_nowhere(uint8_t type) {
  return type == RTN_BLACKHOLE || type == RTN_UNREACHABLE || type == RTN_PROHIBIT || type == RTN_THROW;
}

uint32_t egress_of_route(const rtmsg &route, const attributes &found, const egress_map &egress) {
  if (leads_nowhere(route.rtm_type)) {
    return 0;
  }
  std::optional<uint32_t> interface = number_in(found[RTA_OIF]);
  if (!interface) {
    interface = first_interface(found[RTA_MULTIPATH]);
  }
  return interface ? egress.port_of(*interface) : egress.otherwise;
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

message_reading take_route_message(const nlmsghdr *header, const message_rules &rules, route_sink &sink) {
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
  v6tool::ip_prefix prefix;
  if (!destination_of(route, search.found[RTA_DST], prefix)) {
    return message_reading::malformed;
  }
  if (header->nlmsg_type == RTM_NEWROUTE) {
    sink.announce(prefix, egress_of_route(route, search.found, rules.egress));
  } else {
    sink.withdraw(prefix);
  }
  return message_reading::route;
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
