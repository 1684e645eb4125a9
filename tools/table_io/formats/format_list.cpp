// SPDX-License-Identifier: Apache-2.0
// One `prefix/length [weight]` a line; `#` begins a comment.
#include <algorithm>

#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

bool recognises(std::string_view head) {
  std::string_view line = trimmed(first_data_line(head));
  const std::string_view word = take_word(line);
  ip_prefix prefix;
  return parse_loose_prefix(word, prefix).empty();
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    listed_words words;
    std::string fault = split_table_line(line.text, words);
    if (fault.empty() && line.cut && line.text.find('#') == std::string_view::npos) {
      fault = "line of more than " + std::to_string(text_line::most_kept) + " characters";
    }
    if (!fault.empty()) {
      table.bad(line.number, fault);
    } else if (!words.prefix.empty()) {
      table.listed(line.number, words);
    }
  }
}

}  // namespace

const table_format list_format = {"list", "one prefix/length [weight] a line, # begins a comment", repeats::add_up,
                                  recognises, read};

}  // namespace v6tool
