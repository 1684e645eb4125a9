// SPDX-License-Identifier: Apache-2.0
// plan_runs.h - planning from one table to another, and along a history.
#ifndef PLAN_RUNS_H
#define PLAN_RUNS_H

#include <cstdint>

#include "live_table.h"
#include "row_writer.h"
#include "tool_failure.h"

namespace v6tool {

struct plan_options {
  live_options live;
  output_options output;
  std::string next;    // a table or a history
  uint32_t slots = 0;  // 0: as many as any plan can use
  bool simulate = false;
  bool steps = false;  // of a history: every write
};

// Both tables are compressed in full; the hardware begins with the old one.
exit_code plan_tables(const plan_options &options, const prefix_table &old_table, const prefix_table &new_table);

// Each batch is planned on what the one before it left.
exit_code plan_history(const plan_options &options, const prefix_table &table, const update_history &history);

}  // namespace v6tool

#endif
