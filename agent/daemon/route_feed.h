// SPDX-License-Identifier: Apache-2.0
// route_feed.h - where routes come from: each feed has its files in the event loop and tells a sink.
#ifndef ROUTE_FEED_H
#define ROUTE_FEED_H

#include <chrono>
#include <memory>
#include <string>

#include "event_loop.h"
#include "route_message.h"
#include "route_sink.h"

namespace v6agent {

class route_feed {
 public:
  route_feed() = default;
  route_feed(const route_feed &) = delete;
  route_feed &operator=(const route_feed &) = delete;
  virtual ~route_feed() = default;

  // Do what is due. Returns when there is something to do again.
  virtual std::chrono::steady_clock::time_point tick(std::chrono::steady_clock::time_point now) = 0;
};

struct feed_settings {
  message_rules rules;
  std::chrono::milliseconds quiet{2000};  // FPM tells no end of its table: so long without a route is one
  std::chrono::milliseconds retry{1000};  // from the loss of a feed to the next try
};

// A routing daemon that connects to `address` (`127.0.0.1:2620`, `[::1]:2620`) and speaks FPM. Throws
// std::runtime_error when the address cannot be listened on.
std::unique_ptr<route_feed> make_fpm_feed(event_loop &loop, route_sink &sink, const feed_settings &settings,
                                          const std::string &address);

// The kernel's IPv6 routes: all of them, then what changes.
std::unique_ptr<route_feed> make_kernel_feed(event_loop &loop, route_sink &sink, const feed_settings &settings);

// A table in a file, in any format of `v6comp`, read again when it is replaced or written. A file that cannot be read
// is bad input, and the routes stay.
std::unique_ptr<route_feed> make_file_feed(event_loop &loop, route_sink &sink, const feed_settings &settings,
                                           const std::string &path);

}  // namespace v6agent

#endif
