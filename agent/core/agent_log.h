// SPDX-License-Identifier: Apache-2.0
// agent_log.h - lines on standard error, by how much they matter.
#ifndef AGENT_LOG_H
#define AGENT_LOG_H

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace v6agent {

// As syslog numbers them.
enum class log_level : uint8_t { error = 3, warning = 4, notice = 5, info = 6, debug = 7 };

// Lines that matter less are left out. `for_journal` puts <N> before each, as systemd's journal reads it.
void set_log(log_level least, bool for_journal);
void say(log_level level, std::string_view line);

// Lets a line through, then none for a time, and counts what it holds back.
class line_limit {
 public:
  explicit line_limit(std::chrono::seconds pause) : pause_(pause) {}
  void say(log_level level, std::string_view line);

 private:
  std::chrono::seconds pause_;
  std::chrono::steady_clock::time_point next_{};
  uint64_t held_back_ = 0;
};

}  // namespace v6agent

#endif
