// SPDX-License-Identifier: Apache-2.0
// table_reader.h - tables of prefixes, one `prefix/length [weight]` a line.
//
// `#` begins a comment, blank lines are skipped, CRLF is as good as LF. A table is taken whole or not at all: any
// fault makes it useless, and all faults are collected, so that one pass of an editor mends them.
#ifndef TABLE_READER_H
#define TABLE_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

struct table_row {
  ip_prefix prefix;
  uint32_t weight = 1;
  uint32_t line = 0;  // 1-based
};

struct prefix_table {
  std::string name;  // for messages
  std::vector<table_row> rows;
};

// Messages of one kind: the first `most` as text, all of them counted.
struct message_list {
  static constexpr size_t most = 20;
  std::vector<std::string> texts;
  size_t total = 0;

  void add(std::string text);
  std::vector<std::string> lines() const;  // the texts, and "... and N more" if there are more
};

struct read_report {
  message_list faults;
  message_list warnings;
  size_t misfits = 0;  // of the faults: good input, but more of it than one request holds
};

// Read a whole file, `-` for standard input. Returns what is wrong in words, "" when it is good.
std::string read_file(const std::string &path, std::string &content);

// The same for a file that will be parsed: its name in messages, its content. False when the report has its fault.
bool read_input(const std::string &path, std::string &name, std::string &content, read_report &report);

// Read the table at `path`, `-` for standard input, of at most `max_rows` prefixes. True when there is no fault.
bool read_table(const std::string &path, size_t max_rows, prefix_table &table, read_report &report);

// The same from memory. `name` stands in messages.
bool parse_table(const std::string &name, std::string_view content, size_t max_rows, prefix_table &table,
                 read_report &report);

// One line without its end, `#` comments and all. Returns its fault in words; "" with `has_row` telling whether it
// holds a prefix. row.line is left alone.
std::string parse_table_line(std::string_view line, table_row &row, bool &has_row);

// Cut the first line off the content, its LF or CRLF removed.
std::string_view take_line(std::string_view &content);

// The distinct prefixes of a table, sorted.
std::vector<ip_prefix> distinct_prefixes(const prefix_table &table);

}  // namespace v6tool

#endif
