// SPDX-License-Identifier: Apache-2.0
// BIRD's `show route`, with or without `all`, of versions 1 to 3: each destination begins a line; other routes to it,
// next hops and attributes stand on lines that begin with a blank.
#include <algorithm>
#include <iterator>

#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

constexpr std::string_view headings[] = {"BIRD", "Table", "Access"};

bool is_heading(std::string_view line) {
  const std::string_view word = line.substr(0, line.find(' '));
  return std::find(std::begin(headings), std::end(headings), word) != std::end(headings);
}

bool recognises(std::string_view head) {
  std::string_view line = first_data_line(head);
  if (line.starts_with("BIRD ") && line.ends_with(" ready.")) {
    return true;
  }
  if (line.starts_with("Table ") && line.ends_with(':')) {
    return true;
  }
  ip_prefix prefix;
  line = trimmed(line);
  const std::string_view destination = take_word(line);
  if (!is_ipv4_prefix(destination) && !parse_loose_prefix(destination, prefix).empty()) {
    return false;
  }
  take_word(line);  // the kind of the route
  return line.starts_with('[');
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    std::string_view rest = line.text;
    if (rest.empty() || begins_blank(rest) || rest.front() == '#' || is_heading(rest)) {
      continue;
    }
    table.route(line.number, take_word(rest));
  }
}

}  // namespace

const table_format bird_format = {"bird", "BIRD's show route, with all too", repeats::are_paths, recognises, read};

}  // namespace v6tool
