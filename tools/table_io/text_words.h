// SPDX-License-Identifier: Apache-2.0
// text_words.h - words of a line.
#ifndef TEXT_WORDS_H
#define TEXT_WORDS_H

#include <algorithm>
#include <string_view>

namespace v6tool {

inline constexpr std::string_view blanks = " \t";

inline std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(blanks);
  return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

inline bool begins_blank(std::string_view text) { return text.starts_with(' ') || text.starts_with('\t'); }

// Cut the first word off a trimmed text.
inline std::string_view take_word(std::string_view &text) {
  const size_t end = std::min(text.find_first_of(blanks), text.size());
  const std::string_view word = text.substr(0, end);
  text = trimmed(text.substr(end));
  return word;
}

// Cut the first line off the content, its LF or CRLF removed.
inline std::string_view take_line(std::string_view &content) {
  const size_t end = std::min(content.find('\n'), content.size());
  std::string_view line = content.substr(0, end);
  content.remove_prefix(std::min(end + 1, content.size()));
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}

// The first line that is neither blank nor a comment; "" if there is none.
inline std::string_view first_data_line(std::string_view content) {
  while (!content.empty()) {
    const std::string_view line = take_line(content);
    const std::string_view text = trimmed(line);
    if (!text.empty() && text.front() != '#') {
      return line;
    }
  }
  return "";
}

}  // namespace v6tool

#endif
