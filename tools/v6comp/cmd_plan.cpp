// SPDX-License-Identifier: Apache-2.0
// v6comp plan: the writes that turn the hardware from one table into another, or along a history.
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "dump_check.h"
#include "hardware_list.h"
#include "json_summary.h"
#include "live_options.h"
#include "live_table.h"
#include "output_file.h"
#include "plan_simulation.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "room_live_table.h"
#include "table_session.h"
#include "text_words.h"
#include "tool_options.h"
#include "weight_check.h"

namespace v6tool {

namespace {

struct plan_options {
  live_options live;
  output_options output;
  std::string next;    // a table or a history
  uint32_t slots = 0;  // 0: as many as any plan can use
  bool simulate = false;
};

struct planned_step {
  hardware_plan plan;
  simulation_result simulation;
};

// What the hardware is to hold: the rows of the table, in compatible mode the engine's dump, which must have them.
std::vector<first_stage_row> first_stage_rows(const room_table *room, const engine_view &view,
                                              const stored_prefixes &stored) {
  std::vector<first_stage_row> rows;
  std::vector<ip_prefix> dumped;
  if (room != nullptr) {
    for (const zel_v6comp_table_row &row : room->rows()) {
      rows.push_back({prefix_of(row), row.key});
      dumped.push_back(prefix_of(row));
    }
    if (stored.kinds.front() == prefix_kind::default_0) {
      dumped.emplace_back();  // a table does without
    }
  } else {
    for (const dump_row &row : view.dump()) {
      rows.push_back({row.prefix, row.result.address.hi});
      dumped.push_back(row.prefix);
    }
  }
  const std::string fault = dump_counterexample(std::move(dumped), stored);
  if (!fault.empty()) {
    throw tool_failure{exit_no, {"no plan: " + fault}};
  }
  return rows;
}

planned_step plan_step_of(const std::vector<first_stage_row> &old_rows, const std::vector<uint32_t> &layout,
                          const std::vector<first_stage_row> &new_rows, uint32_t slots, const plan_options &options) {
  const std::string problem = plan_problem(old_rows, new_rows, slots);
  if (!problem.empty()) {
    throw tool_failure{exit_no, {"no plan: " + problem}};
  }
  planned_step step = {make_plan(old_rows, layout, new_rows, slots), {}};
  if (options.simulate) {
    step.simulation = simulate_plan(old_rows, layout, new_rows, slots, step.plan);
  }
  return step;
}

// ---- from table to table

std::string plan_rows(const hardware_plan &plan, const output_format &format) {
  record_writer writer(format, {{"step", 6},
                                {"kind", 7},
                                {"slot", 6},
                                {"from_slot", 6},
                                {"prefix", 43},
                                {"compressed_address", 18},
                                {"early", 0}});
  uint64_t number = 0;
  for (const plan_step &step : plan.steps) {
    const cell cells[] = {++number,
                          std::string(step_name(step.kind)),
                          uint64_t{step.slot},
                          step.kind == step_kind::move ? cell(uint64_t{step.from}) : cell(),
                          format_prefix(step.row.prefix),
                          format_code_address({step.row.result, 0}),
                          step.early};
    writer.row(cells);
  }
  return writer.finish();
}

std::string closing_of(const planned_step &step, uint32_t slots, bool simulated) {
  const hardware_plan &p = step.plan;
  std::string text = fmt::format(
      "{} writes: {} removes, {} updates, {} inserts, {} moves; {} rows unchanged; {} of {} slots at the most\n",
      p.writes(), p.removes, p.updates, p.inserts, p.moves, p.unchanged, p.peak_slots, slots);
  if (p.early_removes != 0) {
    text += fmt::format("{} removes come early, because no slot is free\n", p.early_removes);
  }
  if (simulated) {
    const simulation_result &s = step.simulation;
    text += fmt::format("simulated: {} addresses watched over {} writes, {} third answers; {}\n", s.probes, s.steps,
                        s.third_answers, s.arrived ? "ends as the new table" : "DOES NOT END as the new table");
    text += s.first_fault.empty() ? "" : s.first_fault + '\n';
  }
  return text;
}

bool is_clean(const planned_step &step, bool simulated) {
  return !simulated || (step.simulation.third_answers == 0 && step.simulation.arrived);
}

std::vector<first_stage_row> compress_rows(const prefix_table &table, const common_options &options) {
  try {
    const table_session session(table, options);
    return first_stage_rows(session.room(), session.view(), session.stored());
  } catch (tool_failure &failure) {
    failure.lines.front() = table.name + ": " + failure.lines.front();
    throw;
  }
}

void write_result(const plan_options &options, std::string data, const std::string &closing) {
  if (options.output.format == &text_format()) {
    data += closing;
  } else if (!options.live.common.quiet) {
    say_lines(closing);
  }
  write_output(options.output, data);
}

exit_code plan_tables(const plan_options &options, const prefix_table &old_table, const prefix_table &new_table) {
  const std::vector<first_stage_row> old_rows = compress_rows(old_table, options.live.common);
  const std::vector<first_stage_row> new_rows = compress_rows(new_table, options.live.common);
  const auto most = static_cast<uint32_t>(old_rows.size() + new_rows.size());
  const uint32_t slots = options.slots != 0 ? options.slots : most;
  const planned_step step = plan_step_of(old_rows, longest_first_layout(old_rows), new_rows, slots, options);
  write_result(options, plan_rows(step.plan, *options.output.format), closing_of(step, slots, options.simulate));
  return is_clean(step, options.simulate) ? exit_good : exit_no;
}

// ---- along a history

constexpr column history_columns[] = {{"batch", 6},
                                      {"removes", 7},
                                      {"updates", 7},
                                      {"inserts", 7},
                                      {"moves", 6},
                                      {"writes", 7},
                                      {"unchanged", 9},
                                      {"peak_slots", 10},
                                      {"result", 12},
                                      {"early_removes", 0},
                                      {"eighth_byte_updates", 0},
                                      {"third_answers", 13},
                                      {"arrived", 7}};

struct history_totals {
  uint64_t batches = 0, recompressed = 0, refused = 0;
  uint64_t removes = 0, updates = 0, inserts = 0, moves = 0, writes = 0, writes_of_recompressions = 0;
  uint64_t early = 0, eighth_byte = 0, third_answers = 0, not_arrived = 0;
  uint32_t peak = 0;
};

// Both the library's list and the planner say what has to be done; they must agree.
void compare_counts(const pending_counts &pending, const hardware_plan &plan) {
  if (pending.deletes != plan.removes || pending.updates != plan.updates || pending.inserts != plan.inserts) {
    throw tool_failure{
        exit_no,
        {fmt::format("the library's list has {} deletes, {} updates, {} inserts; the plan {} removes, {} updates, {} "
                     "inserts",
                     pending.deletes, pending.updates, pending.inserts, plan.removes, plan.updates, plan.inserts)}};
  }
}

void add_to(history_totals &t, const planned_step &step, const batch_report &report, const pending_counts &pending) {
  const hardware_plan &p = step.plan;
  ++t.batches;
  t.recompressed += report.recompressed ? 1 : 0;
  t.refused += report.refused_changes != 0 ? 1 : 0;
  t.removes += p.removes;
  t.updates += p.updates;
  t.inserts += p.inserts;
  t.moves += p.moves;
  t.writes += p.writes();
  t.writes_of_recompressions += report.recompressed ? p.writes() : 0;
  t.early += p.early_removes;
  t.eighth_byte += pending.eighth_byte;
  t.third_answers += step.simulation.third_answers;
  t.peak = std::max(t.peak, p.peak_slots);
}

void write_row(record_writer &writer, uint64_t number, const planned_step &step, const batch_report &report,
               const pending_counts &pending, bool simulated) {
  const hardware_plan &p = step.plan;
  const char *result = report.recompressed ? "recompressed" : report.refused_changes != 0 ? "refused" : "accepted";
  const cell cells[] = {number,
                        uint64_t{p.removes},
                        uint64_t{p.updates},
                        uint64_t{p.inserts},
                        uint64_t{p.moves},
                        uint64_t{p.writes()},
                        uint64_t{p.unchanged},
                        uint64_t{p.peak_slots},
                        std::string(result),
                        uint64_t{p.early_removes},
                        uint64_t{pending.eighth_byte},
                        simulated ? cell(step.simulation.third_answers) : cell(),
                        simulated ? cell(step.simulation.arrived) : cell()};
  writer.row(cells);
}

std::string closing_of(const history_totals &t, uint32_t slots, bool simulated) {
  std::string text = fmt::format(
      "{} batches, {} recompressed, {} refused: {} writes, {} of them by recompressions: {} removes, {} updates, {} "
      "inserts, {} moves; {} of {} slots at the most\n",
      t.batches, t.recompressed, t.refused, t.writes, t.writes_of_recompressions, t.removes, t.updates, t.inserts,
      t.moves, t.peak, slots);
  text += t.early == 0 ? "" : fmt::format("{} removes came early, because no slot was free\n", t.early);
  text += t.eighth_byte == 0
              ? ""
              : fmt::format("{} updates were seen by the eighth byte of the address only\n", t.eighth_byte);
  text += !simulated ? ""
                     : fmt::format("simulated: {} third answers, {} plans did not end as the new table\n",
                                   t.third_answers, t.not_arrived);
  return text;
}

size_t count_distinct(const prefix_table &table, const update_history &history) {
  prefix_table all = table;
  for (const history_batch &batch : history.batches) {
    for (const history_change &change : batch) {
      all.rows.push_back({change.prefix, 1, 0});
    }
  }
  return distinct_prefixes(all).size() + 1;
}

std::vector<first_stage_row> rows_of(const live_table &live) {
  const auto *room = dynamic_cast<const room_live_table *>(&live);
  return first_stage_rows(room == nullptr ? nullptr : &room->table(), live.view(),
                          find_stored_prefixes(live.owned().table()));
}

exit_code plan_history(const plan_options &options, const prefix_table &table, const update_history &history) {
  const uint32_t slots = options.slots != 0 ? options.slots : static_cast<uint32_t>(2 * count_distinct(table, history));
  counted_note note("planning", history.batches.size(), options.live.common.quiet);
  const std::unique_ptr<live_table> live = open_live_table(table, history, options.live);
  hardware_list list;
  std::vector<first_stage_row> rows = rows_of(*live);
  std::vector<uint32_t> layout = longest_first_layout(rows);
  list.confirm(list.plan(rows));
  const std::vector<column> columns = headed_columns(history_columns);
  record_writer writer(*options.output.format, columns);
  message_list held;
  history_totals totals;
  for (const history_batch &batch : history.batches) {
    note.at(totals.batches + 1);
    const batch_report report = live->apply(batch);
    add_held_deletes(held, history.name, report);
    std::vector<first_stage_row> next_rows = rows_of(*live);
    const pending_counts pending = list.plan(next_rows);
    planned_step step = plan_step_of(rows, layout, next_rows, slots, options);
    compare_counts(pending, step.plan);
    list.confirm(pending);
    add_to(totals, step, report, pending);
    totals.not_arrived += options.simulate && !step.simulation.arrived ? 1 : 0;
    write_row(writer, totals.batches, step, report, pending, options.simulate);
    rows = std::move(next_rows);
    layout = std::move(step.plan.layout);
    if (totals.refused != 0 && options.live.on_refusal == refusal_action::stop) {
      break;
    }
  }
  if (!options.live.common.quiet) {
    for (const std::string &line : held.lines()) {
      say("warning: " + line);
    }
  }
  const std::string closing = closing_of(totals, slots, options.simulate);
  write_result(options, text_heading(columns, *options.output.format) + writer.finish(), closing);
  return totals.third_answers == 0 && totals.not_arrived == 0 && totals.refused == 0 ? exit_good : exit_no;
}

// ----

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
  check_output_file(options.output.file, {options.live.common.table, options.next});
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
  add_output_options(command, options->output);
}

}  // namespace v6tool
