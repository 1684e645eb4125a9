// SPDX-License-Identifier: Apache-2.0
// v6comp dump: the table as the library walks it.
#include <memory>

#include "dump_check.h"
#include "prefix_text.h"
#include "table_session.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct dump_options {
  common_options common;
  output_options output;
};

exit_code run_dump(const dump_options &options) {
  check_output(options.output, "dump", {options.common.table});
  const prefix_table table = read_command_table(options.common);
  const table_session session(table, options.common);
  row_writer writer(options.output, "dump");
  std::vector<ip_prefix> dumped;
  for (const dump_row &row : session.view().dump()) {
    dumped.push_back(row.prefix);
    const cell cells[] = {row.prefix, format_code(row.result.code), uint64_t{row.result.code.length},
                          format_code_address(row.result.address)};
    writer.row(cells);
  }
  writer.finish();
  if (const std::string fault = dump_counterexample(std::move(dumped), session.stored()); !fault.empty()) {
    throw tool_failure{exit_no, {fault}};
  }
  return exit_good;
}

}  // namespace

void add_dump_command(command_line &line) {
  const auto options = std::make_shared<dump_options>();
  command_options command(line, "dump", [options] { return run_dump(*options); });
  add_common_options(command, options->common);
  add_row_options(command, options->output);
}

}  // namespace v6tool
