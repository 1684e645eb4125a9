// SPDX-License-Identifier: Apache-2.0
// The table reader on any bytes: it ends, faults and rows exclude one another, and what it read reads the same again.
#include "fuzz_target.h"
#include "prefix_text.h"
#include "table_reader.h"

using namespace v6tool;
using fuzz_target::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view content(reinterpret_cast<const char *>(data), size);
  prefix_table table;
  read_report report;
  const bool good = parse_table("input", content, 1000, table, report);
  expect(good == (report.faults.total == 0), "a table with faults was taken, or one without them was not");
  expect(report.faults.texts.size() <= message_list::most, "too many messages");
  for (const message_list *list : {&report.faults, &report.warnings}) {
    for (const std::string &line : list->lines()) {
      for (const char c : line) {
        expect(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "unprintable text in a message");
      }
    }
  }
  if (!good) {
    return 0;
  }
  std::string again;
  for (const table_row &row : table.rows) {
    expect(row.prefix.length <= 128 && masked(row.prefix.key, row.prefix.length) == row.prefix.key && row.weight != 0,
           "a row that no table can have");
    again += format_prefix(row.prefix) + ' ' + std::to_string(row.weight) + '\n';
  }
  prefix_table second;
  read_report second_report;
  expect(parse_table("again", again, 1000, second, second_report), "its own output was not taken");
  expect(second.rows.size() == table.rows.size(), "rows lost on the second reading");
  for (size_t i = 0; i < table.rows.size(); ++i) {
    expect(second.rows[i].prefix == table.rows[i].prefix && second.rows[i].weight == table.rows[i].weight,
           "a row reads differently the second time");
  }
  return 0;
}
