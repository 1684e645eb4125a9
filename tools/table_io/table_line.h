// SPDX-License-Identifier: Apache-2.0
// table_line.h - `prefix/length [weight]`, as people write it.
#ifndef TABLE_LINE_H
#define TABLE_LINE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "prefix_value.h"
#include "table_report.h"

namespace v6tool {

struct listed_words {
  std::string_view prefix;
  std::string_view weight;  // "" for none
  std::string_view rest;    // what stands behind them
};

// The words of a line without its end, its `#` comment left out; all empty for a line without data. Returns the
// line's fault in words, "" when it is good so far.
std::string split_table_line(std::string_view line, listed_words &words);

// What the words say; host bits are left standing. Returns their fault in words, "" when they are good.
std::string parse_listed_words(const listed_words &words, ip_prefix &loose, uint32_t &weight);

// Both, and host bits are a fault. `has_row` tells whether the line holds a prefix. row.line is left alone.
std::string parse_table_line(std::string_view line, table_row &row, bool &has_row);

}  // namespace v6tool

#endif
