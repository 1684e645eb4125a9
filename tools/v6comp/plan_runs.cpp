// SPDX-License-Identifier: Apache-2.0
#include "plan_runs.h"

#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "hardware_rows.h"
#include "live_options.h"
#include "plan_hardware.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "table_session.h"

namespace v6tool {

namespace {

// ---- rows

// From the number of the write on, as plans and the steps of a history have them.
std::vector<cell> cells_of(uint64_t number, const planned_write &write) {
  const bool is_code = stage_of(write.kind) == 2;
  const bool has_key = !is_code && write.kind != planned_kind::remove;
  return {number,
          uint64_t{stage_of(write.kind)},
          std::string(planned_kind_name(write.kind)),
          is_code ? cell() : cell(uint64_t{write.slot}),
          write.kind == planned_kind::move ? cell(uint64_t{write.from}) : cell(),
          write.prefix,
          is_code ? cell(format_code(write.code)) : cell(),
          has_key ? cell(format_code_address({write.key, 0})) : cell(),
          write.early};
}

void write_steps(row_writer &writer, uint64_t batch, const planned_change &change) {
  uint64_t number = 0;
  for (const planned_write &write : change.writes) {
    std::vector<cell> cells = cells_of(++number, write);
    if (batch != 0) {
      cells.insert(cells.begin(), batch);
    }
    writer.row(cells);
  }
}

// ---- from table to table

table_rows rows_of_table(const prefix_table &table, const common_options &options) {
  try {
    const table_session session(table, options);
    return checked_rows(session.room() != nullptr ? session.room()->rows() : rows_of_dump(session.view()), table);
  } catch (tool_failure &failure) {
    failure.lines.front() = table.name + ": " + failure.lines.front();
    throw;
  }
}

uint32_t slots_for(const plan_options &options, size_t rows) {
  return options.slots != 0 ? options.slots : static_cast<uint32_t>(std::clamp<size_t>(rows, 1, ZEL_V6COMP_MAX_SLOTS));
}

std::string closing_of(const planned_change &change, const plan_hardware &hardware) {
  return fmt::format(
             "{} writes to slots: {} removes, {} updates, {} inserts, {} moves; {} to codes; {} rows unchanged; {} of "
             "{} "
             "slots at the most\n",
             change.slot_writes(), change.removes, change.updates, change.inserts, change.moves, change.codes,
             change.unchanged, change.peak_slots, hardware.slots()) +
         (change.early == 0 ? "" : fmt::format("{} removes come early, because no slot is free\n", change.early));
}

// ---- along a history

struct history_totals {
  uint64_t batches = 0, recompressed = 0, refused = 0;
  uint64_t slot_writes_of_recompressions = 0, not_arrived = 0;
  planned_change sum;  // of the counts
};

void add_to(history_totals &t, const planned_change &change, const batch_report &report, bool arrived) {
  ++t.batches;
  t.refused += report.refused_changes != 0 ? 1 : 0;
  t.recompressed += report.recompressed && report.refused_changes == 0 ? 1 : 0;
  t.slot_writes_of_recompressions += report.recompressed ? change.slot_writes() : 0;
  t.not_arrived += arrived ? 0 : 1;
  t.sum.removes += change.removes;
  t.sum.updates += change.updates;
  t.sum.inserts += change.inserts;
  t.sum.moves += change.moves;
  t.sum.codes += change.codes;
  t.sum.early += change.early;
  t.sum.third_answers += change.third_answers;
  t.sum.peak_slots = std::max(t.sum.peak_slots, change.peak_slots);
}

void write_batch(row_writer &writer, uint64_t number, const planned_change &change, const batch_report &report,
                 bool simulated, bool arrived) {
  const char *result = report.refused_changes != 0 ? "refused" : report.recompressed ? "recompressed" : "accepted";
  const cell cells[] = {number,
                        change.removes,
                        change.updates,
                        change.inserts,
                        change.moves,
                        change.slot_writes(),
                        change.codes,
                        change.unchanged,
                        uint64_t{change.peak_slots},
                        std::string(result),
                        change.early,
                        simulated ? cell(change.third_answers) : cell(),
                        simulated ? cell(arrived) : cell()};
  writer.row(cells);
}

std::string closing_of(const history_totals &t, uint32_t slots, bool simulated) {
  std::string text = fmt::format(
      "{} batches, {} recompressed, {} refused: {} writes to slots, {} of them by recompressions: {} removes, {} "
      "updates, {} inserts, {} moves; {} to codes; {} of {} slots at the most\n",
      t.batches, t.recompressed, t.refused, t.sum.slot_writes(), t.slot_writes_of_recompressions, t.sum.removes,
      t.sum.updates, t.sum.inserts, t.sum.moves, t.sum.codes, t.sum.peak_slots, slots);
  text += t.sum.early == 0 ? "" : fmt::format("{} removes came early, because no slot was free\n", t.sum.early);
  text += !simulated ? ""
                     : fmt::format("simulated: {} third answers, {} plans did not end as the new table\n",
                                   t.sum.third_answers, t.not_arrived);
  return text;
}

void say_warnings(const message_list &held, bool quiet) {
  for (const std::string &line : held.lines()) {
    if (!quiet) {
      say("warning: " + line);
    }
  }
}

// Plans all batches of a live table, each on what the one before it left.
class history_plan {
 public:
  history_plan(const plan_options &options, live_table &live, uint32_t slots)
      : options_(options),
        live_(live),
        hardware_(slots, options.simulate),
        writer_(options.output, options.steps ? "plan-steps" : "plan-history", row_flow::as_they_come) {
    hardware_.fill(live.take_writes());
  }

  // False: no more of them, as the options say.
  bool plan(const history_batch &batch, const std::string &history) {
    const batch_report report = live_.apply(batch);
    add_held_deletes(held_, history, report);
    const planned_change change = hardware_.follow(live_.take_writes());
    const bool arrived = !options_.simulate || hardware_.holds(live_.rows());
    add_to(totals_, change, report, arrived);
    first_fault_ = first_fault_.empty() ? change.first_fault : first_fault_;
    if (options_.steps) {
      write_steps(writer_, totals_.batches, change);
    } else {
      write_batch(writer_, totals_.batches, change, report, options_.simulate, arrived);
    }
    writer_.flush();
    return report.refused_changes == 0 || options_.live.on_refusal != refusal_action::stop;
  }

  exit_code finish() {
    say_warnings(held_, options_.live.common.quiet);
    std::string closing = closing_of(totals_, hardware_.slots(), options_.simulate);
    closing += first_fault_.empty() ? "" : first_fault_ + '\n';
    finish_rows(writer_, options_.output, options_.live.common.quiet, closing);
    return totals_.sum.third_answers == 0 && totals_.not_arrived == 0 && totals_.refused == 0 ? exit_good : exit_no;
  }

 private:
  const plan_options &options_;
  live_table &live_;
  plan_hardware hardware_;
  row_writer writer_;
  message_list held_;
  history_totals totals_;
  std::string first_fault_;
};

}  // namespace

exit_code plan_tables(const plan_options &options, const prefix_table &old_table, const prefix_table &new_table) {
  const table_rows old_rows = rows_of_table(old_table, options.live.common);
  const table_rows new_rows = rows_of_table(new_table, options.live.common);
  plan_hardware hardware(slots_for(options, old_rows.size() + new_rows.size()), options.simulate);
  hardware.fill(writes_between({}, old_rows));
  const planned_change change = hardware.follow(writes_between(old_rows, new_rows));
  const bool arrived = !options.simulate || hardware.holds(new_rows);
  std::string closing = closing_of(change, hardware);
  if (options.simulate) {
    closing +=
        fmt::format("simulated: both stages followed over {} writes, {} third answers; {}\n", change.writes.size(),
                    change.third_answers, arrived ? "ends as the new table" : "DOES NOT END as the new table");
    closing += change.first_fault.empty() ? "" : change.first_fault + '\n';
  }
  row_writer writer(options.output, "plan");
  write_steps(writer, 0, change);
  finish_rows(writer, options.output, options.live.common.quiet, closing);
  return arrived && change.third_answers == 0 ? exit_good : exit_no;
}

exit_code plan_history(const plan_options &options, const prefix_table &table, const update_history &history) {
  const size_t most_rows = prefixes_of_history(table, history).size() + 1;
  live_options live_wishes = options.live;
  live_wishes.keep_writes = true;
  const std::unique_ptr<live_table> live = open_live_table(table, history, live_wishes);
  live->rows();  // they are those of the table, or there is no plan
  history_plan plan(options, *live, slots_for(options, 2 * most_rows));
  progress_bar bar("planning", history.batches.size(), options.live.common.quiet);
  size_t number = 0;
  for (const history_batch &batch : history.batches) {
    if (!plan.plan(batch, history.name)) {
      break;
    }
    bar.at(++number);
  }
  return plan.finish();
}

}  // namespace v6tool
