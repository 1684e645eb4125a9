// SPDX-License-Identifier: Apache-2.0
// row_table.h - the rows that commands print, each of their fields described once.
//
// Text, JSON, ndjson and CSV come from the same fields, and so do --fields and --sort, the man pages and the schemas
// (docs/schemas). Within a version fields are only added, at the end; what is renamed, removed or changes its meaning
// makes a new version.
#ifndef ROW_TABLE_H
#define ROW_TABLE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace v6tool {

enum class field_kind : uint8_t {
  text,
  count,    // a whole number
  yes_no,   // true or false
  prefix,   // as inet_ntop writes the address, /length
  code,     // a compressed prefix: 0xHEX/LENGTH
  address,  // a compressed address: 0x and 16 digits
  choice    // one of a few words
};

// The order is that in which a row of a table reads best.
struct column {  // NOLINT(clang-analyzer-optin.performance.Padding)
  const char *name;
  int text_width = 0;  // in text where it is not fitted to what comes; 0: not shown there, unless --fields asks for it
  field_kind kind = field_kind::text;
  const char *help = "";
  bool may_be_null = false;  // `-` in text, null in JSON, empty in CSV
  std::string_view choices = "";
  bool right_aligned = false;  // in text; for the writer of rows, which knows where they go
};

struct row_kind {
  std::string_view name;     // of the schema
  std::string_view command;  // that prints such rows
  std::string_view when;     // with which options; "" = without any
  std::string_view meaning;  // of one row
  unsigned version;
  bool headed;  // text begins with the names of the fields, on a terminal or not
  std::span<const column> columns;
};

std::span<const row_kind> row_kinds();
const row_kind &find_row_kind(std::string_view name);  // the name must exist
std::vector<const row_kind *> row_kinds_of(std::string_view command);

}  // namespace v6tool

#endif
