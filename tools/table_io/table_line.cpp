// SPDX-License-Identifier: Apache-2.0
#include "table_line.h"

#include <algorithm>

#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

constexpr size_t max_line = 255;  // characters of a line that is not a comment

}  // namespace

std::string split_table_line(std::string_view line, listed_words &words) {
  words = {};
  std::string_view rest = trimmed(line.substr(0, std::min(line.find('#'), line.size())));
  if (rest.empty()) {
    return "";
  }
  if (line.find('\0') != std::string_view::npos) {
    return "NUL byte in the line";
  }
  if (rest.size() > max_line) {
    return "line of " + std::to_string(rest.size()) + " characters, at most " + std::to_string(max_line) +
           " are expected";
  }
  words.prefix = take_word(rest);
  words.weight = take_word(rest);
  words.rest = rest;
  return "";
}

std::string parse_listed_words(const listed_words &words, ip_prefix &loose, uint32_t &weight) {
  std::string fault = parse_loose_prefix(words.prefix, loose);
  if (!fault.empty()) {
    return printable(words.prefix) + ": " + fault;
  }
  weight = 1;
  if (!words.weight.empty()) {
    fault = parse_weight(words.weight, weight);
    if (!fault.empty()) {
      return printable(words.prefix) + ' ' + printable(words.weight) + ": " + fault;
    }
  }
  return words.rest.empty() ? "" : printable(words.rest) + ": unexpected text after the weight";
}

std::string parse_table_line(std::string_view line, table_row &row, bool &has_row) {
  has_row = false;
  listed_words words;
  std::string fault = split_table_line(line, words);
  if (!fault.empty() || words.prefix.empty()) {
    return fault;
  }
  ip_prefix loose;
  fault = parse_listed_words(words, loose, row.weight);
  if (!fault.empty()) {
    return fault;
  }
  fault = host_bits_fault(loose);
  if (!fault.empty()) {
    return printable(words.prefix) + ": " + fault;
  }
  row.prefix = loose;
  has_row = true;
  return "";
}

}  // namespace v6tool
