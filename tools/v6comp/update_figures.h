// SPDX-License-Identifier: Apache-2.0
// update_figures.h - what came of a history: per batch, per refusal, and in total.
#ifndef UPDATE_FIGURES_H
#define UPDATE_FIGURES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "live_table.h"
#include "row_writer.h"

namespace v6tool {

struct batch_figures {
  uint64_t number = 0;  // 1-based
  batch_report report;
  uint64_t table_prefixes = 0;  // after it
  bool checked = false;
  std::string violation;  // "" = none
};

struct update_figures {
  std::string table, history, policy;
  bool room = false;
  bool safe_updates = true;
  uint64_t first_prefixes = 0;
  double first_ms = 0;  // the full compression before the first batch
  std::vector<batch_figures> batches;
  uint64_t batches_of_history = 0;
};

struct update_totals {
  batch_report sum;  // of the counts
  uint64_t held = 0;
  uint64_t accepted = 0, recompressed = 0, left_out = 0;
  uint64_t split = 0;  // accepted after a first refusal
  uint64_t changed_by_batches = 0, changed_by_recompressions = 0;
  uint64_t checks = 0, violations = 0;       // checks, and those that found the table wrong
  uint64_t breaks = 0;                       // checks that found it wrong, the one before having found it right
  std::map<std::string, uint64_t> refusals;  // batches by kind of their last refusal
  std::string first_violation;
};

update_totals total_of(const update_figures &figures);

// The row of a batch; the row of its refusal, if it has one.
void write_batch(row_writer &writer, const batch_figures &b);
void write_refusal(row_writer &writer, const batch_figures &b);

std::string update_summary(const update_figures &figures, const output_format &format);

// "12 batches: 10 accepted, ...; 0 violations in 12 checks"
std::string closing_line(const update_figures &figures);

}  // namespace v6tool

#endif
