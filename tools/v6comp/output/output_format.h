// SPDX-License-Identifier: Apache-2.0
// output_format.h - records on standard output, in the formats that people and programs read.
//
// Text, json, ndjson and csv come out of the same columns and cells; row_writer.h is what commands use.
#ifndef OUTPUT_FORMAT_H
#define OUTPUT_FORMAT_H

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "prefix_value.h"
#include "row_table.h"

namespace v6tool {

// monostate: no value (`-` in text, null in JSON, empty in CSV).
// A prefix is written like its text, and sorts like a prefix.
using cell = std::variant<std::monostate, bool, uint64_t, std::string, ip_prefix>;

std::string text_of(const cell &value);

// How one format writes the beginning, a row and the end.
struct output_format {
  const char *name;
  void (*begin)(std::string &out, std::span<const column> columns);
  void (*row)(std::string &out, std::span<const column> columns, std::span<const cell> cells, bool first);
  void (*end)(std::string &out, bool empty);
};

const output_format *find_format(const std::string &name);  // null: none of that name
const output_format &text_format();
std::string format_names();  // "text|json|ndjson|csv"

// The line that shows the names of the columns: text has one, the other formats have their own way to say them.
std::string text_heading(std::span<const column> columns, const output_format &format);

// What a terminal may be told besides the text. Colour none: the text itself.
enum class colour : uint8_t { none, heading };
std::string coloured(const std::string &text, colour how);

// A string as a CSV field.
std::string csv_text(const std::string &text);

}  // namespace v6tool

#endif
