// SPDX-License-Identifier: Apache-2.0
// `ip -6 route`, with or without `-d`, of one table or of all: a destination, perhaps behind the kind of the route,
// then words and values. Next hops stand on lines of their own that begin with a blank.
#include <algorithm>
#include <iterator>

#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

constexpr std::string_view kinds[] = {"unicast",   "local",       "broadcast", "multicast", "anycast",
                                      "blackhole", "unreachable", "prohibit",  "throw",     "nat"};
constexpr std::string_view words[] = {"via", "dev",   "proto", "metric", "nhid",    "from",   "table",
                                      "src", "scope", "encap", "tos",    "nexthop", "dsfield"};

template <size_t N>
bool is_one_of(const std::string_view (&set)[N], std::string_view word) {
  return std::find(std::begin(set), std::end(set), word) != std::end(set);
}

// Cut the destination off the line; the rest is words and values.
std::string_view take_destination(std::string_view &line) {
  line = trimmed(line);
  std::string_view word = take_word(line);
  return is_one_of(kinds, word) ? take_word(line) : word;
}

bool recognises(std::string_view head) {
  std::string_view line = first_data_line(head);
  const bool has_kind = is_one_of(kinds, line.substr(0, line.find(' ')));
  const std::string_view destination = take_destination(line);
  ip_prefix prefix;
  const bool good = destination == "default" || is_ipv4_prefix(destination) || parse_address(destination, prefix.key) ||
                    parse_loose_prefix(destination, prefix).empty();
  return good && (is_one_of(words, take_word(line)) || has_kind);
}

// The default route tells its family only by its next hop.
bool goes_via_ipv4(std::string_view rest) {
  while (!rest.empty()) {
    if (take_word(rest) == "via") {
      return is_ipv4_address(take_word(rest));
    }
  }
  return false;
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    std::string_view rest = line.text;
    if (begins_blank(rest) || rest.empty() || rest.front() == '#') {
      continue;
    }
    const std::string_view destination = take_destination(rest);
    if (destination == "default" && goes_via_ipv4(rest)) {
      table.other_family();
    } else {
      table.route(line.number, destination);
    }
  }
}

}  // namespace

const table_format ip_route_format = {"ip-route", "ip -6 route, with -d or of all tables too", repeats::are_paths,
                                      recognises, read};

}  // namespace v6tool
