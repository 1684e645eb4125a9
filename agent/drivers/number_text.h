// SPDX-License-Identifier: Apache-2.0
// number_text.h - numbers as switches and traces write them.
#ifndef NUMBER_TEXT_H
#define NUMBER_TEXT_H

#include <charconv>
#include <string_view>
#include <system_error>

namespace v6agent {

// All of a text as a number, decimal or 0x and hexadecimal. False: it is none, or too large.
template <class Number>
bool parse_number(std::string_view text, Number &out) {
  const bool hex = text.starts_with("0x");
  text.remove_prefix(hex ? 2 : 0);
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), out, hex ? 16 : 10);
  return fault == std::errc{} && end == text.data() + text.size() && !text.empty();
}

}  // namespace v6agent

#endif
