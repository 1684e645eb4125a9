// SPDX-License-Identifier: Apache-2.0
// v6comp compress: what each prefix of a table became, or figures of the whole.
#include <memory>

#include "prefix_text.h"
#include "table_session.h"
#include "table_summary.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct compress_options {
  common_options common;
  output_options output;
  bool summary = false;
};

void write_rows(const table_session &session, const prefix_table &table, const output_options &output) {
  row_writer writer(output, "compress");
  for (const table_row &row : table.rows) {
    const translation result = session.translate_stored(row.prefix);
    const cell cells[] = {row.prefix, uint64_t{row.weight}, format_code(result.code), uint64_t{result.code.length},
                          format_code_address(result.address)};
    writer.row(cells);
  }
  writer.finish();
}

exit_code run_compress(const compress_options &options) {
  if (options.summary) {
    check_plain_output(options.output, {options.common.table});
  } else {
    check_output(options.output, "compress", {options.common.table});
  }
  const prefix_table table = read_command_table(options.common);
  const table_session session(table, options.common);
  if (options.summary) {
    write_output(options.output, table_summary(session, table, *options.output.format));
  } else {
    write_rows(session, table, options.output);
  }
  return exit_good;
}

}  // namespace

void add_compress_command(command_line &line) {
  const auto options = std::make_shared<compress_options>();
  command_options command(line, "compress", [options] { return run_compress(*options); });
  add_common_options(command, options->common);
  command.flag("--summary", options->summary);
  add_row_options(command, options->output);
}

}  // namespace v6tool
