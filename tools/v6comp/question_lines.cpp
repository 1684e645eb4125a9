// SPDX-License-Identifier: Apache-2.0
#include "question_lines.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "tool_failure.h"

namespace v6tool {

question_lines::question_lines(int descriptor, std::function<void()> before_waiting)
    : descriptor_(descriptor), before_waiting_(std::move(before_waiting)) {}

// Take in what is there; false: nothing comes any more.
bool question_lines::fill() {
  if (ended_) {
    return false;
  }
  waiting_.erase(0, begin_);
  begin_ = 0;
  before_waiting_();
  char bytes[65536];
  ssize_t count = -1;
  do {
    count = read(descriptor_, bytes, sizeof bytes);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    throw tool_failure{exit_bad_input, {std::string("standard input: ") + std::strerror(errno)}};
  }
  ended_ = count == 0;
  waiting_.append(bytes, static_cast<size_t>(count));
  return !ended_;
}

bool question_lines::next(question_line &line) {
  line = {++number_, "", true};
  for (;;) {
    const size_t end = waiting_.find('\n', begin_);
    const size_t stop = end == std::string::npos ? waiting_.size() : end;
    line.text.append(waiting_, begin_, stop - begin_);
    if (line.text.size() > longest_question) {
      line.text.resize(longest_question);
      line.is_whole = false;
    }
    begin_ = end == std::string::npos ? stop : end + 1;
    if (end != std::string::npos) {
      break;
    }
    if (!fill()) {
      return !line.text.empty();
    }
  }
  if (line.text.ends_with('\r')) {
    line.text.pop_back();
  }
  return true;
}

}  // namespace v6tool
