// SPDX-License-Identifier: Apache-2.0
// `bgpdump -m` of a table: fields between bars, the sixth is the destination.
#include <algorithm>

#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

std::string_view take_field(std::string_view &line) {
  const size_t end = std::min(line.find('|'), line.size());
  const std::string_view field = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return field;
}

bool is_table_dump(std::string_view kind) { return kind == "TABLE_DUMP" || kind == "TABLE_DUMP2"; }
bool is_update(std::string_view kind) { return kind.starts_with("BGP4MP"); }

bool recognises(std::string_view head) {
  std::string_view line = first_data_line(head);
  const bool has_fields = line.find('|') != std::string_view::npos;
  const std::string_view kind = take_field(line);
  return has_fields && (is_table_dump(kind) || is_update(kind));
}

void read_entry(uint64_t number, std::string_view line, table_builder &table) {
  std::string_view rest = line;
  const std::string_view kind = take_field(rest);
  take_field(rest);  // time
  const std::string_view action = take_field(rest);
  take_field(rest);  // peer
  take_field(rest);  // its AS
  const std::string_view destination = take_field(rest);
  if (!is_table_dump(kind) || action != "B" || destination.empty()) {
    table.bad(number, printable(line) + ": expected TABLE_DUMP2|time|B|peer|AS|prefix|...");
  } else {
    table.route(number, destination);
  }
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    const std::string_view text = trimmed(line.text);
    if (text.empty() || text.front() == '#') {
      continue;
    }
    if (is_update(text)) {
      table.broken_at(line.number,
                      "messages between routers (BGP4MP), not a table; dump a file with a whole table (RIB)");
      return;
    }
    read_entry(line.number, text, table);
  }
}

}  // namespace

const table_format bgpdump_format = {"bgpdump", "bgpdump -m of a table", repeats::are_paths, recognises, read};

}  // namespace v6tool
