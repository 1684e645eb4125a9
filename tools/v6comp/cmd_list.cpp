// SPDX-License-Identifier: Apache-2.0
// v6comp list: what was read, each prefix once.
#include <algorithm>
#include <memory>

#include "row_writer.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct list_options {
  input_options input;
  output_options output;
};

exit_code run_list(const list_options &options) {
  check_output(options.output, "list", {options.input.table});
  prefix_table table = read_any_table(options.input);
  std::sort(table.rows.begin(), table.rows.end(),
            [](const table_row &a, const table_row &b) { return a.prefix < b.prefix; });
  row_writer writer(options.output, "list");
  for (const table_row &row : table.rows) {
    const cell cells[] = {row.prefix, uint64_t{row.weight}};
    writer.row(cells);
  }
  writer.finish();
  return exit_good;
}

}  // namespace

void add_list_command(command_line &line) {
  const auto options = std::make_shared<list_options>();
  command_options command(line, "list", [options] { return run_list(*options); });
  add_input_options(command, options->input);
  add_row_options(command, options->output);
}

}  // namespace v6tool
