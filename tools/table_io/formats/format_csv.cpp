// SPDX-License-Identifier: Apache-2.0
// Comma-separated fields (or semicolons, or tabs) under a line of names: `prefix`, and perhaps `weight`.
#include <optional>

#include "csv_fields.h"
#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

constexpr size_t none = SIZE_MAX;

struct csv_columns {
  char separator = ',';
  size_t prefix = none;
  size_t weight = none;
};

csv_columns find_columns(std::string_view line) {
  csv_columns columns;
  for (const char separator : {',', ';', '\t'}) {
    const auto fields = split_csv_fields(line, separator);
    for (size_t i = 0; fields && i < fields->size(); ++i) {
      if (columns.prefix == none && same_letters(trimmed((*fields)[i]), "prefix")) {
        columns.prefix = i;
        columns.separator = separator;
      } else if (columns.weight == none && same_letters(trimmed((*fields)[i]), "weight")) {
        columns.weight = i;
      }
    }
    if (columns.prefix != none) {
      return columns;
    }
    columns = {};
  }
  return columns;
}

bool recognises(std::string_view head) { return find_columns(first_data_line(head)).prefix != none; }

void read_record(const text_line &line, const csv_columns &columns, table_builder &table) {
  const auto fields = split_csv_fields(line.text, columns.separator);
  if (!fields || line.cut) {
    table.bad(line.number, line.cut ? "line too long" : "a quoted field does not end on its line");
    return;
  }
  if (columns.prefix >= fields->size()) {
    table.bad(line.number, printable(line.text) + ": no field under `prefix`");
    return;
  }
  const bool weighted = columns.weight < fields->size();
  table.listed(line.number,
               {trimmed((*fields)[columns.prefix]), weighted ? trimmed((*fields)[columns.weight]) : "", ""});
}

void read(byte_input &input, table_builder &table) {
  std::optional<csv_columns> columns;
  text_line line;
  while (input.take_line(line)) {
    const std::string_view text = trimmed(line.text);
    if (text.empty() || text.front() == '#') {
      continue;
    }
    if (columns) {
      read_record(line, *columns, table);
      continue;
    }
    columns = find_columns(line.text);
    if (columns->prefix == none) {
      table.broken_at(line.number, "the first line names no column `prefix`");
      return;
    }
  }
}

}  // namespace

const table_format csv_format = {"csv", "comma-separated fields, the first line names `prefix` and perhaps `weight`",
                                 repeats::add_up, recognises, read};

}  // namespace v6tool
