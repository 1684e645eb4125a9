// SPDX-License-Identifier: Apache-2.0
// tool_failure.h - how a command gives up.
#ifndef TOOL_FAILURE_H
#define TOOL_FAILURE_H

#include <string>
#include <vector>

namespace v6tool {

enum exit_code : int {
  exit_good = 0,
  exit_no = 1,         // the answer is no: not found, not right, does not fit
  exit_bad_input = 2,  // usage, or a fault of the input
  exit_undone = 3      // the work could not be done: no memory, output refused
};

// Thrown by commands, caught by main: each line is printed on standard error, behind the tool's name unless it
// begins with a place in a file.
struct tool_failure {
  exit_code code;
  std::vector<std::string> lines;
  bool lines_name_their_place = false;
};

}  // namespace v6tool

#endif
