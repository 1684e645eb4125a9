// SPDX-License-Identifier: Apache-2.0
// v6comp report: one page about a table and its history, for people.
#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "live_options.h"
#include "output_file.h"
#include "progress_note.h"
#include "report_page.h"
#include "room_live_table.h"
#include "tool_options.h"
#include "zel_v6comp.h"

namespace v6tool {

namespace {

struct report_options {
  input_options input;
  output_options output;
  std::string history;
};

report_batch apply(room_live_table &live, const history_batch &batch, size_t number) {
  const batch_report done = live.apply(batch);
  report_batch b;
  b.number = number;
  if (done.refused) {
    b.refused = done.refused->reason;
  } else {
    b.added = done.adds - done.present;
    b.removed = done.deletes - done.absent;
  }
  b.moved = done.moved;
  b.writes = live.take_writes().size();
  b.prefixes = live.owned().size();
  b.ms = done.ms;
  return b;
}

void follow(room_live_table &live, const update_history &history, bool quiet, report_data &data) {
  progress_bar bar("updating", history.batches.size(), quiet);
  live.take_writes();
  for (const history_batch &batch : history.batches) {
    data.batches.push_back(apply(live, batch, data.batches.size() + 1));
    bar.at(data.batches.size());
  }
}

exit_code run_report(const report_options &options) {
  check_files(options.output.file, {options.input.table, options.history});
  const prefix_table table = read_any_table(options.input);
  update_history history;
  if (!options.history.empty()) {
    history = read_command_history(options.history, table, true);
  }
  live_options live_options;
  static_cast<input_options &>(live_options.common) = options.input;
  live_options.on_refusal = refusal_action::skip;
  live_options.keep_writes = true;
  room_live_table live(table, history, live_options);
  report_data data;
  data.table = table.name;
  data.history = history.name;
  data.version = zel_v6comp_version();
  follow(live, history, options.input.quiet, data);
  data.figures = live.library_table().figures();
  data.rows = live.rows();
  write_output(options.output, report_page(data));
  if (!options.input.quiet) {
    say(fmt::format("{} prefixes, {} of 64 bits needed, {} batches", data.rows.size(), data.figures.bits_needed,
                    data.batches.size()));
  }
  const bool is_refused =
      std::any_of(data.batches.begin(), data.batches.end(), [](const report_batch &b) { return !b.refused.empty(); });
  return is_refused ? exit_no : exit_good;
}

}  // namespace

void add_report_command(command_line &line) {
  const auto options = std::make_shared<report_options>();
  command_options command(line, "report", [options] { return run_report(*options); });
  add_input_options(command, options->input);
  command.text("HISTORY", options->history);
  add_output_file(command, options->output);
}

}  // namespace v6tool
