// SPDX-License-Identifier: Apache-2.0
// feed_fixture.h - what tests of feeds share: a sink that remembers, and routes as netlink messages in FPM frames.
#ifndef FEED_FIXTURE_H
#define FEED_FIXTURE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "route_sink.h"

namespace v6agent {

class remembering_sink final : public route_sink {
 public:
  void announce(const v6tool::ip_prefix &prefix, uint32_t egress) override {
    routes[prefix] = egress;
    ++announced;
  }
  void withdraw(const v6tool::ip_prefix &prefix) override {
    routes.erase(prefix);
    ++withdrawn;
  }
  void begin_resync() override { ++begun; }
  void end_resync() override { ++ended; }
  void lost() override { ++losses; }
  void bad_input(const char *what) override {
    ++bad;
    last_bad = what;
  }

  std::map<v6tool::ip_prefix, uint32_t> routes;
  size_t announced = 0;
  size_t withdrawn = 0;
  size_t begun = 0;
  size_t ended = 0;
  size_t losses = 0;
  size_t bad = 0;
  std::string last_bad;
};

struct route_text {
  v6tool::ip_prefix prefix{};
  bool add = true;
  std::optional<uint32_t> interface = 7;
  std::optional<uint32_t> first_of_many = std::nullopt;  // a route with two next hops
  uint8_t type = 1;                                      // unicast
  uint8_t family = 10;                                   // IPv6
  uint32_t table = 254;
};

std::vector<uint8_t> route_message_bytes(const route_text &route);
std::vector<uint8_t> fpm_frame(const std::vector<uint8_t> &content, uint8_t version = 1, uint8_t kind = 1);

}  // namespace v6agent

#endif
