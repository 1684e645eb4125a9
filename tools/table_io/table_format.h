// SPDX-License-Identifier: Apache-2.0
// table_format.h - what a format of tables is: a name, a way to know it by its first bytes, and a reader.
//
// A format knows nothing about the others. What all share is below it (byte_input, table_builder) or above it (which
// format a file is in, what a repeated prefix means to a command).
#ifndef TABLE_FORMAT_H
#define TABLE_FORMAT_H

#include <span>
#include <string>
#include <string_view>

#include "byte_input.h"
#include "table_builder.h"

namespace v6tool {

struct table_format {
  const char *name;         // of --input
  const char *description;  // a few words for help
  repeats what_repeats_are;
  // Does a file that begins with these bytes (byte_input::head) look like this format?
  bool (*recognises)(std::string_view head);
  // Read the rest of the input into the table. Faults go there too.
  void (*read)(byte_input &input, table_builder &table);
};

// All formats, those that are most certain of their first bytes first; the last takes any text.
std::span<const table_format *const> table_formats();

const table_format *find_table_format(std::string_view name);       // null: none of that name
const table_format *recognise_table_format(std::string_view head);  // null: bytes of no format
std::string table_format_names();                                   // "mrt, ip-json, ..."

}  // namespace v6tool

#endif
