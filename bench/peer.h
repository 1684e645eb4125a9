// SPDX-License-Identifier: Apache-2.0
// peer.h - general-purpose tables of IPv6 prefixes, all driven the same way.
#ifndef PEER_H
#define PEER_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench_tables.h"

namespace v6bench {

using key_bytes = std::array<uint8_t, 16>;

struct route {
  key_bytes key;
  uint8_t length;
  uint32_t hop;  // not 0
};

class peer {
 public:
  peer() = default;
  peer(const peer &) = delete;
  peer &operator=(const peer &) = delete;
  virtual ~peer() = default;

  // Number of routes that were refused.
  virtual size_t add(const std::vector<route> &routes) = 0;
  virtual size_t remove(const std::vector<route> &routes) = 0;

  // The next hop of every address, 0 for none.
  virtual void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) = 0;

  // The same where look_up answers with something else, and leaves it where this finds it.
  virtual void hops_of_last(std::vector<uint32_t> &) {}

  virtual uint64_t bytes() const = 0;  // held now, reservations included
};

// An empty table with room for `routes` and a good deal more.
struct peer_kind {
  std::string name;
  std::unique_ptr<peer> (*make)(const std::vector<route> &routes);
};

// Those that this program was built with.
std::vector<peer_kind> dpdk_peers();
std::vector<peer_kind> ndpi_peers();

}  // namespace v6bench

#endif
