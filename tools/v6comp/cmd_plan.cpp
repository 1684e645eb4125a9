// SPDX-License-Identifier: Apache-2.0
// v6comp plan: the writes that turn the hardware from one table into another, or along a history.
#include <memory>

#include "live_options.h"
#include "plan_runs.h"
#include "text_words.h"
#include "tool_options.h"
#include "weight_check.h"

namespace v6tool {

namespace {

// Lines of histories begin with a sign; no line of a table does.
bool is_history(std::string_view content) {
  while (!content.empty()) {
    const std::string_view line = take_line(content);
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string_view::npos && line[first] != '#') {
      return line[first] == '+' || line[first] == '-';
    }
  }
  return false;
}

// In any format, whichever the old table has: --input is about that one.
bool read_new_table(const plan_options &options, std::string_view content, prefix_table &table, read_report &report) {
  return read_table(open_memory(content), {nullptr, library_rules(options.live.common)}, table, report);
}

exit_code run_plan(const plan_options &options) {
  check_live_options(options.live);
  const prefix_table table = read_command_table(options.live.common);
  const std::string name = options.next == "-" ? "<stdin>" : options.next;
  std::string content;
  const std::string fault = read_file(options.next, content);
  if (!fault.empty()) {
    throw tool_failure{exit_bad_input, {name + ": " + fault}, true};
  }
  read_report report;
  prefix_table new_table;
  new_table.name = name;
  update_history history;
  const bool along_history = is_history(content);
  check_output(options.output,
               !along_history  ? "plan"
               : options.steps ? "plan-steps"
                               : "plan-history",
               {options.live.common.table, options.next});
  const bool room = options.live.common.room;
  if (along_history && parse_history(name, content, most_changes(room), history, report) && !room) {
    check_weights(table, history, report);
  } else if (!along_history && read_new_table(options, content, new_table, report)) {
    warn_of_weights(new_table, report);
    if (!room) {
      check_weights(new_table, report);
    }
  }
  take_report(report, options.live.common.quiet);
  return along_history ? plan_history(options, table, history) : plan_tables(options, table, new_table);
}

}  // namespace

void add_plan_command(command_line &line) {
  const auto options = std::make_shared<plan_options>();
  command_options command(line, "plan", [options] { return run_plan(*options); });
  add_common_options(command, options->live.common);
  command.text("NEW", options->next);
  add_live_options(command, options->live);
  command.number("--slots", options->slots);
  command.flag("--simulate", options->simulate);
  command.flag("--steps", options->steps);
  add_row_options(command, options->output);
}

}  // namespace v6tool
