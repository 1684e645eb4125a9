// SPDX-License-Identifier: Apache-2.0
// kernel_routes.h - of all that the kernel says of a prefix, the one route that counts.
//
// The kernel keeps several routes to one prefix: by metrics, and by next hops under one metric. Packets take the one
// of the lowest metric; when it goes, the next one counts. A routing daemon on FPM tells only of its best.
#ifndef KERNEL_ROUTES_H
#define KERNEL_ROUTES_H

#include <map>
#include <set>
#include <vector>

#include "route_message.h"

namespace v6agent {

class kernel_routes {
 public:
  explicit kernel_routes(route_sink &sink) : sink_(sink) {}

  // The table is read: what was known of it is not any more. `in_reading`: a message is of that reading, and not the
  // news of a change.
  void begin_reading();
  void end_reading();
  void take(const route_message &message, bool in_reading);
  // True: what happened meanwhile does not say for certain what stands; the table has to be read again.
  void doubt() { is_in_doubt_ = true; }
  bool is_in_doubt() const { return is_in_doubt_; }

 private:
  void come(std::vector<route_path> &paths, const route_message &message);

  route_sink &sink_;
  std::map<v6tool::ip_prefix, std::vector<route_path>> paths_;  // never empty ones; what came first is first
  std::set<v6tool::ip_prefix> gone_while_read_;
  bool is_reading_ = false;
  bool is_in_doubt_ = false;
};

}  // namespace v6agent

#endif
