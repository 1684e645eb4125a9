// SPDX-License-Identifier: Apache-2.0
// table_reader.h - tables of prefixes in all formats: which one a file is in is seen in its first bytes, and so is
// its compression.
//
// A table is taken whole or not at all: any fault makes it useless, and all faults are collected, so that one pass of
// an editor mends them. Files are read as they come: memory goes with the table, not with the file.
#ifndef TABLE_READER_H
#define TABLE_READER_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "byte_source.h"
#include "prefix_value.h"
#include "table_builder.h"
#include "table_format.h"
#include "table_report.h"

namespace v6tool {

struct read_options {
  const table_format *format = nullptr;  // null: seen in the first bytes
  build_rules rules;
};

// Read the table at `path`, `-` for standard input. True when there is no fault.
bool read_table(const std::string &path, const read_options &options, prefix_table &table, read_report &report);

// The same from any source; the table's name stands in messages.
bool read_table(std::unique_ptr<byte_source> source, const read_options &options, prefix_table &table,
                read_report &report);

// A table in the format `list` from memory, of at most `max_rows` prefixes. `name` stands in messages.
bool parse_table(const std::string &name, std::string_view content, size_t max_rows, prefix_table &table,
                 read_report &report);

// Read a whole file, `-` for standard input, unpacked. Returns what is wrong in words, "" when it is good.
std::string read_file(const std::string &path, std::string &content);

// The same for a file that will be parsed as text: its name in messages, its content. `meant`: what it should be, such
// as "history". False when the report has its fault.
bool read_input(const std::string &path, const char *meant, std::string &name, std::string &content,
                read_report &report);

// The distinct prefixes of a table, sorted.
std::vector<ip_prefix> distinct_prefixes(const prefix_table &table);

}  // namespace v6tool

#endif
