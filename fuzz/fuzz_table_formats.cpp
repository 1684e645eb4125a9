// SPDX-License-Identifier: Apache-2.0
// Every format of tables on any bytes: reading ends, a fault or rows come out and never both, no matter in which blocks
// the bytes arrive. The first byte chooses the format (or the one that the content looks like), packed input included.
#include "fuzz_target.h"
#include "prefix_text.h"
#include "table_reader.h"

using namespace v6tool;
using fuzz_target::expect;

namespace {

struct outcome {
  bool good = false;
  prefix_table table;
  read_report report;
};

outcome read(std::string_view content, const read_options &options, size_t block) {
  outcome result;
  result.table.name = "input";
  result.good = read_table(open_memory(content, block), options, result.table, result.report);
  return result;
}

read_options options_of(uint8_t choice) {
  read_options options;
  const size_t format = choice & 0x1F;
  options.format = format < table_formats().size() ? table_formats()[format] : nullptr;
  options.rules.max_rows = 1000;
  options.rules.clear_host_bits = (choice & 0x20) != 0;
  options.rules.skip_bad = (choice & 0x40) != 0 ? 3 : 0;
  options.rules.distinct = (choice & 0x80) != 0;
  return options;
}

void check_rows(const outcome &result) {
  for (const table_row &row : result.table.rows) {
    expect(row.prefix.length <= 128, "a prefix longer than 128 bits");
    expect(masked(row.prefix.key, row.prefix.length) == row.prefix.key, "host bits in " + format_prefix(row.prefix));
    expect(row.weight != 0, "a weight of 0");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const read_options options = options_of(data[0]);
  const std::string_view content(reinterpret_cast<const char *>(data + 1), size - 1);
  const outcome whole = read(content, options, size_t{1} << 16);
  expect(whole.good == (whole.report.faults.total == 0), "good, and with faults");
  expect(!whole.good || !whole.table.rows.empty(), "good without a row");
  check_rows(whole);

  const outcome parts = read(content, options, 1 + data[0] % 13U);
  expect(parts.good == whole.good, "good or not depends on the blocks");
  expect(parts.report.faults.lines() == whole.report.faults.lines(), "the faults depend on the blocks");
  expect(parts.table.rows.size() == whole.table.rows.size(), "the rows depend on the blocks");

  if (whole.good) {  // its rows as a list read the same
    std::string list;
    for (const table_row &row : whole.table.rows) {
      list += format_prefix(row.prefix) + ' ' + std::to_string(row.weight) + '\n';
    }
    prefix_table again;
    read_report report;
    expect(parse_table("again", list, 1000, again, report), "its own rows were not taken");
    expect(distinct_prefixes(again) == distinct_prefixes(whole.table), "its own rows read differently");
  }
  return 0;
}
