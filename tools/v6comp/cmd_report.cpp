// SPDX-License-Identifier: Apache-2.0
// v6comp report: one page about a table and its history, for people.
#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "live_options.h"
#include "output_file.h"
#include "progress_note.h"
#include "report_page.h"
#include "tool_options.h"
#include "zel_v6comp.h"
#include "zel_v6comp_table.h"

namespace v6tool {

namespace {

struct report_options {
  input_options input;
  output_options output;
  std::string history;
};

struct table_closer {
  void operator()(zel_v6comp_table *table) const { zel_v6comp_table_close(table); }
};
using table_handle = std::unique_ptr<zel_v6comp_table, table_closer>;

void need(int32_t status, const zel_v6comp_table_outcome &outcome) {
  if (status != ZEL_V6COMP_TABLE_OK) {
    const std::string reason = outcome.reason[0] != '\0' ? outcome.reason : zel_v6comp_table_text(status);
    const bool does_not_fit = status == ZEL_V6COMP_TABLE_E_BITS || status == ZEL_V6COMP_TABLE_E_ROOM;
    throw tool_failure{does_not_fit ? exit_no : exit_undone, {reason}};
  }
}

size_t added_by(const update_history &history) {
  size_t n = 0;
  for (const history_batch &batch : history.batches) {
    n += static_cast<size_t>(std::count_if(batch.begin(), batch.end(), [](const history_change &c) { return c.add; }));
  }
  return n;
}

table_handle open_table(size_t expected) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.expected_prefixes = static_cast<uint32_t>(std::max<size_t>(expected, 1024));
  zel_v6comp_table *table = nullptr;
  need(zel_v6comp_table_open(0, 0, &options, &table), ZEL_V6COMP_TABLE_OUTCOME_INIT);
  return table_handle(table);
}

void load(zel_v6comp_table *table, const prefix_table &prefixes) {
  std::vector<zel_v6comp_table_prefix> records;
  records.reserve(prefixes.rows.size());
  for (const table_row &row : prefixes.rows) {
    zel_v6comp_table_prefix record = {};
    key_to_bytes(row.prefix.key, record.address);
    record.length = row.prefix.length;
    records.push_back(record);
  }
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const int32_t status = zel_v6comp_table_load(table, records.data(), records.size(), &outcome);
  need(status, outcome);
}

report_batch apply(zel_v6comp_table *table, const history_batch &batch, size_t number, uint64_t prefixes) {
  std::vector<zel_v6comp_table_change> changes;
  changes.reserve(batch.size());
  for (const history_change &change : batch) {
    zel_v6comp_table_change record = {};
    key_to_bytes(change.prefix.key, record.address);
    record.length = change.prefix.length;
    record.operation = change.add ? ZEL_V6COMP_TABLE_ADD : ZEL_V6COMP_TABLE_REMOVE;
    changes.push_back(record);
  }
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const auto begin = std::chrono::steady_clock::now();
  const int32_t status = zel_v6comp_table_apply(table, changes.data(), changes.size(), &outcome);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
  const std::string refused = status == ZEL_V6COMP_TABLE_OK ? "" : outcome.reason;
  return {number,        outcome.added,    outcome.removed,
          outcome.moved, outcome.n_writes, prefixes + outcome.added - outcome.removed,
          took.count(),  refused};
}

void follow(zel_v6comp_table *table, const update_history &history, bool quiet, report_data &data) {
  progress_bar note("updating", history.batches.size(), quiet);
  uint64_t prefixes = data.figures.prefixes;
  for (const history_batch &batch : history.batches) {
    const size_t number = data.batches.size() + 1;
    note.at(number);
    data.batches.push_back(apply(table, batch, number, prefixes));
    prefixes = data.batches.back().prefixes;
  }
}

void take_figures(const zel_v6comp_table *table, report_data &data) {
  need(zel_v6comp_table_stats(table, &data.figures), ZEL_V6COMP_TABLE_OUTCOME_INIT);
}

void take_rows(const zel_v6comp_table *table, report_data &data) {
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  data.rows.resize(data.figures.prefixes);
  size_t taken = 0;
  while (taken < data.rows.size()) {
    const int32_t n = zel_v6comp_table_rows(table, &place, data.rows.data() + taken,
                                            static_cast<uint32_t>(std::min<size_t>(data.rows.size() - taken, 65536)));
    if (n <= 0) {
      throw tool_failure{exit_undone, {"the library tells fewer rows than it counts"}};
    }
    taken += static_cast<size_t>(n);
  }
}

exit_code run_report(const report_options &options) {
  check_output_file(options.output.file, {options.input.table, options.history});
  const prefix_table prefixes = read_any_table(options.input);
  update_history history;
  if (!options.history.empty()) {
    history = read_command_history(options.history, prefixes, true);
  }
  report_data data;
  data.table = prefixes.name;
  data.history = history.name;
  data.version = zel_v6comp_version();
  const table_handle table = open_table(prefixes.rows.size() + added_by(history));
  load(table.get(), prefixes);
  take_figures(table.get(), data);
  follow(table.get(), history, options.input.quiet, data);
  take_figures(table.get(), data);
  take_rows(table.get(), data);
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
