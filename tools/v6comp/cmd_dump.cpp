// SPDX-License-Identifier: Apache-2.0
// v6comp dump: the table as the library walks it.
#include <fmt/core.h>

#include <memory>

#include "library_session.h"
#include "output_format.h"
#include "prefix_text.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct dump_options {
  common_options common;
  output_options output;
};

// A prefix whose weights add up to a multiple of 65,536 looks like an anchor to the walk.
void warn_of_missing_rows(const library_session &session, const std::vector<dump_row> &rows) {
  const stored_prefixes &stored = session.stored();
  std::vector<bool> seen(stored.prefixes.size(), false);
  for (const dump_row &row : rows) {
    if (const uint32_t at = stored.find(row.prefix); at != prefix_forest::none) {
      seen[at] = true;
    }
  }
  message_list missing;
  for (size_t i = 0; i < seen.size(); ++i) {
    if (!seen[i] && stored.kinds[i] != prefix_kind::anchor) {
      missing.add(format_prefix(stored.prefixes[i]) +
                  ": not in the dump, its weights add up to a multiple of 65536 and so it passes for an anchor");
    }
  }
  for (const std::string &line : missing.lines()) {
    say("warning: " + line);
  }
}

exit_code run_dump(const dump_options &options) {
  const prefix_table table = read_command_table(options.common);
  const library_session session(table, options.common);
  const std::vector<dump_row> rows = session.dump();
  if (!options.common.quiet) {
    warn_of_missing_rows(session, rows);
  }
  record_writer writer(
      *options.output.format,
      {{"prefix", 43}, {"compressed_prefix", 21}, {"compressed_length_bits", 0}, {"compressed_address", 18}});
  for (const dump_row &row : rows) {
    const cell cells[] = {format_prefix(row.prefix), format_code(row.result.code), uint64_t{row.result.code.length},
                          format_code_address(row.result.address)};
    writer.row(cells);
  }
  write_output(options.output, writer.finish());
  return exit_good;
}

}  // namespace

void add_dump_command(CLI::App &app, command &chosen) {
  const auto options = std::make_shared<dump_options>();
  CLI::App &sub = add_command(app, "dump", "Print the compressed table as the library walks it", chosen,
                              [options] { return run_dump(*options); });
  add_common_options(sub, options->common);
  add_output_options(sub, options->output);
  add_footer(
      sub,
      "One row per distinct prefix, ::/0 included and anchors left out; every prefix after all that lie inside it.\n"
      "Exit: 0 done, 1 the table does not fit, 2 usage or bad input.");
}

}  // namespace v6tool
