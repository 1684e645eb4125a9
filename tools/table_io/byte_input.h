// SPDX-License-Identifier: Apache-2.0
// byte_input.h - a stream of bytes whose first ones can be looked at: by lines, or byte by byte.
//
// Memory: one block of the source and one line, whatever the input.
#ifndef BYTE_INPUT_H
#define BYTE_INPUT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "byte_source.h"

namespace v6tool {

struct text_line {
  static constexpr size_t most_kept = size_t{1} << 16;  // bytes of a line that are kept

  std::string_view text;  // without its LF or CRLF; good until the next line is taken
  bool cut = false;       // longer than is kept
  uint64_t number = 0;    // 1-based
};

class byte_input {
 public:
  static constexpr size_t most_head = size_t{1} << 16;  // bytes

  // A byte order mark in front is passed over. The source outlives the input.
  explicit byte_input(byte_source &source);

  // The first bytes, as many as there are up to most_head. Only before anything is taken.
  std::string_view head() const { return block_; }

  bool take_line(text_line &line);           // false: the end
  bool take_byte(char &byte);                // false: the end
  size_t take(char *bytes, size_t count);    // returns how many there were
  uint64_t skip(uint64_t count);             // returns how many there were
  uint64_t taken() const { return taken_; }  // bytes, a byte order mark not counted
  uint64_t lines() const { return lines_; }  // line ends among them

  // At the end: what is wrong with the source in words, "" if nothing is.
  const std::string &fault() const { return source_.fault(); }

 private:
  bool fill();  // false: the end
  void advance(size_t count);

  byte_source &source_;
  std::string head_;
  std::string joined_;      // a line that lay in several blocks
  std::string_view block_;  // not taken yet
  uint64_t taken_ = 0;
  uint64_t lines_ = 0;
};

}  // namespace v6tool

#endif
