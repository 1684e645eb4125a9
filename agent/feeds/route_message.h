// SPDX-License-Identifier: Apache-2.0
// route_message.h - routes in netlink messages, as the kernel and FPM write them.
#ifndef ROUTE_MESSAGE_H
#define ROUTE_MESSAGE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "prefix_value.h"
#include "route_sink.h"

struct nlmsghdr;

namespace v6agent {

// From the interface that a route leaves by to the switch's port. An interface that is not named has the port
// `otherwise`; routes that lead nowhere (blackhole, unreachable, prohibit) have 0.
struct egress_map {
  std::map<uint32_t, uint32_t> ports;  // interface index -> port
  uint32_t otherwise = 1;

  uint32_t port_of(uint32_t interface) const {
    const auto at = ports.find(interface);
    return at == ports.end() ? otherwise : at->second;
  }
};

enum class message_reading {
  route,      // told to the sink
  of_no_use,  // IPv4, another table, multicast and the like; other kinds of messages
  malformed
};

struct message_rules {
  egress_map egress;
  uint32_t table = 254;  // of the kernel's routing tables: main
};

// One way of a route. Two are the same when all is.
struct route_path {
  uint32_t metric = 0;
  uint32_t interface = 0;             // 0: none is said
  std::array<uint8_t, 16> gateway{};  // all 0: none
  uint32_t egress = 0;

  bool operator==(const route_path &) const = default;
};

struct route_message {
  v6tool::ip_prefix prefix;
  bool comes = false;             // or goes
  bool replaces = false;          // with `comes`: the paths of this metric that stood before are gone
  std::vector<route_path> paths;  // at least one; of one metric
};

// The route in one message. `message` is whole only when the answer is `route`. `header` and all that its length says
// lie inside the block.
message_reading read_route_message(const nlmsghdr *header, const message_rules &rules, route_message &message);

// Tell the sink of the route in one message of a block of netlink messages. `header` and all that its length says lie
// inside the block.
message_reading take_route_message(const nlmsghdr *header, const message_rules &rules, route_sink &sink);

// All messages of a block: how many routes, and how many bad ones. A block that ends in the middle of a message is bad
// once.
struct block_reading {
  size_t routes = 0;
  size_t malformed = 0;
};
block_reading take_route_block(const void *block, size_t bytes, const message_rules &rules, route_sink &sink);

}  // namespace v6agent

#endif
