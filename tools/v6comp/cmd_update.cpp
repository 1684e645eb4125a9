// SPDX-License-Identifier: Apache-2.0
// v6comp update: keep a table up to date, batch by batch, and say what became of each.
#include <fmt/core.h>

#include <memory>
#include <optional>

#include "batch_policy.h"
#include "live_options.h"
#include "live_table.h"
#include "output_file.h"
#include "progress_note.h"
#include "tool_options.h"
#include "update_figures.h"

namespace v6tool {

namespace {

enum class check_time : uint8_t { every, end, off };

struct update_options {
  live_options live;
  output_options output;
  std::string history;
  check_time verify = check_time::end;
  bool summary = false;
  bool headroom = false;
};

// What became of the history, and why it was not followed to its end, if it was not.
struct update_run {
  update_figures figures;
  std::optional<tool_failure> stopped;
};

bool is_last_batch(const batch_report &report, const update_figures &figures, const update_options &options) {
  return figures.batches.size() + 1 == figures.batches_of_history ||
         (report.refused_changes != 0 && options.live.on_refusal == refusal_action::stop);
}

batch_figures run_batch(live_table &live, const history_batch &batch, const update_figures &figures,
                        const update_options &options) {
  batch_figures b;
  b.number = figures.batches.size() + 1;
  b.report = live.apply(batch);
  b.table_prefixes = live.owned().size();
  b.checked = options.verify == check_time::every ||
              (options.verify == check_time::end && is_last_batch(b.report, figures, options));
  b.violation = b.checked ? live.counterexample() : "";
  return b;
}

// A batch is on standard output before the next one is begun.
void write_rows_of(const batch_figures &b, const update_options &options, row_writer &writer) {
  if (options.summary) {
    return;
  }
  (options.headroom ? write_refusal : write_batch)(writer, b);
  writer.flush();
}

update_run run_history(const prefix_table &table, const update_history &history, const update_options &options,
                       row_writer &writer) {
  const std::unique_ptr<live_table> live = open_live_table(table, history, options.live);
  progress_bar bar("updating", history.batches.size(), options.live.common.quiet);
  update_run run = {{table.name,
                     history.name,
                     policy_name(options.live),
                     options.live.common.room,
                     options.live.safe_updates,
                     live->owned().size(),
                     live->compress_ms(),
                     {},
                     history.batches.size()},
                    {}};
  update_figures &figures = run.figures;
  try {
    for (const history_batch &batch : history.batches) {
      batch_figures b = run_batch(*live, batch, figures, options);
      const bool is_last = is_last_batch(b.report, figures, options);
      write_rows_of(b, options, writer);
      figures.batches.push_back(std::move(b));
      bar.at(figures.batches.size());
      if (is_last) {
        break;
      }
    }
  } catch (const tool_failure &failure) {
    run.stopped = failure;
    run.stopped->lines.front() = fmt::format("batch {}: {}", figures.batches.size() + 1, failure.lines.front());
  }
  return run;
}

void say_held_deletes(const update_figures &figures) {
  message_list warnings;
  for (const batch_figures &b : figures.batches) {
    add_held_deletes(warnings, figures.history, b.report);
  }
  for (const std::string &line : warnings.lines()) {
    say("warning: " + line);
  }
}

const char *row_kind_of(const update_options &options) { return options.headroom ? "update-headroom" : "update"; }

void finish_output(const update_figures &figures, const update_options &options, row_writer &writer) {
  const std::string closing = closing_line(figures);
  const bool quiet = options.live.common.quiet;
  if (!options.summary) {
    finish_rows(writer, options.output, quiet, closing);
    return;
  }
  const output_format &format = *options.output.format;
  write_output(options.output, update_summary(figures, format) + (&format == &text_format() ? closing : ""));
  if (&format != &text_format() && !quiet) {
    say_lines(closing);
  }
}

exit_code run_update(const update_options &options) {
  check_live_options(options.live);
  if (options.summary) {
    check_plain_output(options.output, {options.live.common.table, options.history});
  } else {
    check_output(options.output, row_kind_of(options), {options.live.common.table, options.history});
  }
  const prefix_table table = read_command_table(options.live.common);
  const update_history history = read_command_history(options.history, table, options.live.common.room);
  row_writer writer(options.output, row_kind_of(options), row_flow::as_they_come);
  const update_run run = run_history(table, history, options, writer);
  const update_figures &figures = run.figures;
  if (!options.live.common.quiet) {
    say_held_deletes(figures);
  }
  finish_output(figures, options, writer);
  if (run.stopped) {
    throw tool_failure(*run.stopped);
  }
  const update_totals totals = total_of(figures);
  return totals.left_out == 0 && totals.violations == 0 ? exit_good : exit_no;
}

}  // namespace

void add_update_command(command_line &line) {
  const auto options = std::make_shared<update_options>();
  command_options command(line, "update", [options] { return run_update(*options); });
  add_common_options(command, options->live.common);
  command.text("HISTORY", options->history);
  add_live_options(command, options->live);
  command.choice("--verify", options->verify,
                 {{"every", check_time::every}, {"end", check_time::end}, {"off", check_time::off}});
  command.flag("--summary", options->summary);
  command.flag("--headroom", options->headroom);
  add_row_options(command, options->output);
}

}  // namespace v6tool
