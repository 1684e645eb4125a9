// SPDX-License-Identifier: Apache-2.0
// child_process.h - run another program, feed it, and take what it says.
#ifndef CHILD_PROCESS_H
#define CHILD_PROCESS_H

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace v6agent {

struct child_answer {
  bool ran = false;     // it ended by itself, in time
  int exit_status = 0;  // where it ran; 127 = there is no such program
  std::string output;
  std::string errors;
};

// Run `command[0]`, looked for in PATH, with `input` on its standard input. It is killed when the time is over, and
// when this process ends.
child_answer run_child(const std::vector<std::string> &command, std::string_view input,
                       std::chrono::milliseconds time_limit);

}  // namespace v6agent

#endif
