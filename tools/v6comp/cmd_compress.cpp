// SPDX-License-Identifier: Apache-2.0
// v6comp compress: what each prefix of a table became, or figures of the whole.
#include <fmt/core.h>

#include <memory>

#include "output_file.h"
#include "output_format.h"
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

std::string compressed_rows(const table_session &session, const prefix_table &table, const output_format &format) {
  record_writer writer(format, {{"prefix", 43},
                                {"weight", 0},
                                {"compressed_prefix", 21},
                                {"compressed_length_bits", 0},
                                {"compressed_address", 18}});
  for (const table_row &row : table.rows) {
    const translation result = session.translate_stored(row.prefix);
    const cell cells[] = {format_prefix(row.prefix), uint64_t{row.weight}, format_code(result.code),
                          uint64_t{result.code.length}, format_code_address(result.address)};
    writer.row(cells);
  }
  return writer.finish();
}

exit_code run_compress(const compress_options &options) {
  check_output_file(options.output.file, {options.common.table});
  const prefix_table table = read_command_table(options.common);
  const table_session session(table, options.common);
  write_output(options.output, options.summary ? table_summary(session, table, *options.output.format)
                                               : compressed_rows(session, table, *options.output.format));
  return exit_good;
}

}  // namespace

void add_compress_command(command_line &line) {
  const auto options = std::make_shared<compress_options>();
  command_options command(line, "compress", [options] { return run_compress(*options); });
  add_common_options(command, options->common);
  command.flag("--summary", options->summary);
  add_output_options(command, options->output);
}

}  // namespace v6tool
