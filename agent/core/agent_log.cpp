// SPDX-License-Identifier: Apache-2.0
#include "agent_log.h"

#include <unistd.h>

#include <atomic>

namespace v6agent {

namespace {

std::atomic<log_level> least_level{log_level::info};
std::atomic<bool> marked{false};

}  // namespace

void set_log(log_level least, bool for_journal) {
  least_level = least;
  marked = for_journal;
}

void say(log_level level, std::string_view line) {
  if (level > least_level.load()) {
    return;
  }
  std::string text = marked ? "<" + std::to_string(static_cast<int>(level)) + ">" : "v6compd: ";
  text.append(line);
  text += '\n';
  // One call, so that lines of threads do not mix. Nobody can be told when it fails.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

void line_limit::say(log_level level, std::string_view line) {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) {
    ++held_back_;
    return;
  }
  const std::string also = held_back_ == 0 ? "" : " (and " + std::to_string(held_back_) + " times before)";
  held_back_ = 0;
  next_ = now + pause_;
  v6agent::say(level, std::string(line) + also);
}

}  // namespace v6agent
