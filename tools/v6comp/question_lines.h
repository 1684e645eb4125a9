// SPDX-License-Identifier: Apache-2.0
// question_lines.h - lines of standard input, each as soon as it is there.
#ifndef QUESTION_LINES_H
#define QUESTION_LINES_H

#include <cstdint>
#include <functional>
#include <string>

namespace v6tool {

struct question_line {
  uint64_t number = 0;  // from 1
  std::string text;     // without its line end; of one that is too long, the beginning
  bool is_whole = true;
};

// Reads lines from a descriptor. Throws tool_failure when the descriptor cannot be read.
class question_lines {
 public:
  // `before_waiting` is called before every read, which may wait for input.
  question_lines(int descriptor, std::function<void()> before_waiting);

  // The next line; false at the end.
  bool next(question_line &line);

 private:
  bool fill();

  int descriptor_;
  std::function<void()> before_waiting_;
  std::string waiting_;
  size_t begin_ = 0;  // of what is not yet given out
  uint64_t number_ = 0;
  bool ended_ = false;
};

// More is no question: it is cut, and its rest is passed over.
constexpr size_t longest_question = 1024;

}  // namespace v6tool

#endif
