// SPDX-License-Identifier: Apache-2.0
// /proc/net/ipv6_route: destination and its length as hexadecimal digits, then source, next hop and flags.
#include <charconv>

#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

bool parse_hex(std::string_view text, uint64_t &out) {
  const char *end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, out, 16);
  return at == end && error == std::errc();
}

// Returns what is wrong in words, "" when the line is a route.
std::string parse_route(std::string_view line, ip_prefix &loose) {
  std::string_view rest = trimmed(line);
  const std::string_view address = take_word(rest);
  const std::string_view length_word = take_word(rest);
  if (address.size() != 32 || length_word.size() != 2 || take_word(rest).size() != 32) {
    return printable(line) + ": expected 32 hexadecimal digits, 2 and 32";
  }
  uint64_t length = 0;
  if (!parse_hex(address.substr(0, 16), loose.key.hi) || !parse_hex(address.substr(16), loose.key.lo) ||
      !parse_hex(length_word, length)) {
    return printable(line) + ": not hexadecimal";
  }
  if (length > 128) {
    return printable(line) + ": prefix length above 128";
  }
  loose.length = static_cast<uint8_t>(length);
  return "";
}

bool recognises(std::string_view head) {
  ip_prefix prefix;
  return parse_route(first_data_line(head), prefix).empty();
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    if (line.text.empty() || line.text.front() == '#') {
      continue;
    }
    ip_prefix prefix;
    const std::string fault = parse_route(line.text, prefix);
    if (fault.empty()) {
      table.destination(line.number, prefix);
    } else {
      table.bad(line.number, fault);
    }
  }
}

}  // namespace

const table_format proc_format = {"proc", "/proc/net/ipv6_route", repeats::are_paths, recognises, read};

}  // namespace v6tool
