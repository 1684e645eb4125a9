// SPDX-License-Identifier: Apache-2.0
// agent_metrics.h - figures for Prometheus, and one word for whoever watches over the process.
#ifndef AGENT_METRICS_H
#define AGENT_METRICS_H

#include <chrono>
#include <memory>
#include <string>

#include "switch_agent.h"

namespace v6agent {

class agent_metrics {
 public:
  // Answers `GET /metrics` and `GET /healthz` at `address` (`127.0.0.1:9469`). Throws std::runtime_error when it cannot
  // listen there.
  explicit agent_metrics(const std::string &address);
  ~agent_metrics();
  agent_metrics(const agent_metrics &) = delete;
  agent_metrics &operator=(const agent_metrics &) = delete;

  void route_done(std::chrono::steady_clock::duration from_route_to_switch);
  void batch_done(std::chrono::steady_clock::duration took, const batch_result &result);
  void bad_input();

  // The figures as they are now. Walks the tables.
  void update(const switch_agent &agent);

  // What /healthz answers: 200 and `good`, or 503 and the trouble.
  static void set_health(const std::string &trouble);

 private:
  struct families;
  std::unique_ptr<families> families_;
};

}  // namespace v6agent

#endif
