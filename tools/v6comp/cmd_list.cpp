// SPDX-License-Identifier: Apache-2.0
// v6comp list: what was read, each prefix once.
#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "output_file.h"
#include "output_format.h"
#include "prefix_text.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct list_options {
  input_options input;
  output_options output;
};

exit_code run_list(const list_options &options) {
  check_output_file(options.output.file, {options.input.table});
  prefix_table table = read_any_table(options.input);
  std::sort(table.rows.begin(), table.rows.end(),
            [](const table_row &a, const table_row &b) { return a.prefix < b.prefix; });
  record_writer writer(*options.output.format, {{"prefix", 43}, {"weight", 0}});
  for (const table_row &row : table.rows) {
    const cell cells[] = {format_prefix(row.prefix), uint64_t{row.weight}};
    writer.row(cells);
  }
  write_output(options.output, writer.finish());
  return exit_good;
}

std::string format_help() {
  std::string text;
  for (const table_format *format : table_formats()) {
    text += fmt::format("  {:<9} {}\n", format->name, format->description);
  }
  return text;
}

}  // namespace

void add_list_command(CLI::App &app, command &chosen) {
  const auto options = std::make_shared<list_options>();
  CLI::App &sub = add_command(app, "list", "Print the prefixes of a table in any format, each once", chosen,
                              [options] { return run_list(*options); });
  add_input_options(sub, options->input);
  add_output_options(sub, options->output);
  add_footer(
      sub,
      "Rows are ordered by address, then by length. The formats, of this and every other command:\n" + format_help() +
          "Any of them may be packed with gzip, bzip2, xz or zstd. Routes of other families than IPv6 unicast are\n"
          "left out, and a destination with several routes counts once. In lists, rows, CSV and JSON a prefix that\n"
          "stands again adds its weight, with a warning.\n"
          "Exit: 0 done, 2 usage or bad input, 3 the output could not be written.");
}

}  // namespace v6tool
