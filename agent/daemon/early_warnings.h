// SPDX-License-Identifier: Apache-2.0
// early_warnings.h - what is said before anything is full.
#ifndef EARLY_WARNINGS_H
#define EARLY_WARNINGS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include "agent_log.h"
#include "table_pair.h"

namespace v6agent {

struct room_figures {
  zel_v6comp_table_stats_record source;
  zel_v6comp_table_stats_record destination;
  size_t routes = 0;
  size_t most_routes = 0;
};

// What is nearly full, by name: a line for each.
std::map<std::string, std::string> nearly_full(const room_figures &figures);

// Says each of them, and says it again after a time.
class early_warnings {
 public:
  void look(const room_figures &figures);

 private:
  static constexpr std::chrono::minutes pause{10};
  std::map<std::string, line_limit> lines_;
};

}  // namespace v6agent

#endif
