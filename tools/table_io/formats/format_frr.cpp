// SPDX-License-Identifier: Apache-2.0
// FRR's `show ipv6 route`: a legend, headings, and routes: a letter for the protocol, perhaps its instance in brackets,
// two columns of flags, the destination. Further next hops stand on lines that begin with a blank.
#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The destination of a line of a route; "" for another line.
std::string_view destination_of(std::string_view line) {
  if (line.empty() || !is_letter(line.front())) {
    return "";
  }
  line.remove_prefix(1);
  if (line.starts_with('[')) {
    const size_t end = line.find(']');
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
  }
  if (line.size() < 3 || (line[0] != ' ' && line[0] != '>') ||
      std::string_view(" *qrbto").find(line[1]) == std::string_view::npos) {
    return "";
  }
  line = trimmed(line.substr(2));
  const std::string_view destination = take_word(line);
  const bool route = line.starts_with('[') || line.starts_with("is ") || line.starts_with("from ") ||
                     line.starts_with("via ") || line.starts_with("unreachable ");
  return route ? destination : "";
}

bool begins_legend(std::string_view line) { return line.starts_with("Codes:"); }

// `VRF default:`, `IPv6 unicast VRF default:`, `Table 254:`
bool is_heading(std::string_view line) { return line.ends_with(':'); }

bool recognises(std::string_view head) {
  while (!head.empty()) {
    const std::string_view line = take_line(head);
    if (begins_legend(line)) {
      return line.find(" - kernel route") != std::string_view::npos;
    }
    if (!line.empty() && line.front() != '#' && !is_heading(line)) {
      return !destination_of(line).empty();
    }
  }
  return false;
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    const std::string_view text = line.text;
    if (text.empty() || begins_blank(text) || text.front() == '#' || begins_legend(text) || is_heading(text)) {
      continue;
    }
    const std::string_view destination = destination_of(text);
    if (destination.empty()) {
      table.bad(line.number, printable(text) + ": not a route of FRR");
    } else {
      table.route(line.number, destination);
    }
  }
}

}  // namespace

const table_format frr_format = {"frr", "FRR's show ipv6 route", repeats::are_paths, recognises, read};

}  // namespace v6tool
