// SPDX-License-Identifier: Apache-2.0
// route_sink.h - who a feed tells.
#ifndef ROUTE_SINK_H
#define ROUTE_SINK_H

#include <cstddef>
#include <cstdint>

#include "prefix_value.h"

namespace v6agent {

class route_sink {
 public:
  route_sink() = default;
  route_sink(const route_sink &) = delete;
  route_sink &operator=(const route_sink &) = delete;
  virtual ~route_sink() = default;

  virtual void announce(const v6tool::ip_prefix &prefix, uint32_t egress) = 0;
  virtual void withdraw(const v6tool::ip_prefix &prefix) = 0;

  // Between the two the feed announces all that it has.
  virtual void begin_resync() = 0;
  virtual void end_resync() = 0;
  virtual void lost() = 0;
  // Between the two: routes of before that the feed has not announced again, nor withdrawn.
  virtual size_t awaited() const { return 0; }

  // Input that makes no sense, and was left out.
  virtual void bad_input(const char *what) = 0;
};

}  // namespace v6agent

#endif
