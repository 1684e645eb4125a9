// SPDX-License-Identifier: Apache-2.0
// plan.h - from one first-stage table in hardware to another, one slot write at a time.
//
// The first stage is a TCAM with one slot per stored prefix; its result is the prefix's compressed address. The
// first slot that matches wins, so a prefix must stand before the shorter ones that contain it; prefixes that do
// not overlap may stand in any order.
//
//   layout = longest_first_layout(old_rows)         where the old table stands
//   plan_problem(old_rows, new_rows, slots)         "" or why there can be no plan
//   plan = make_plan(old_rows, layout, new_rows, slots)
//   simulate_plan(...)                              plan_simulation.h: drive it through a model and probe
//
// With slots = old rows + new rows every plan is safe; its peak_slots says how many are enough.
//
// Each step is one write. When plan.early_removes is 0, every address gets its old or its new answer after every
// step, and no third one. (What a result leads to is the second stage's: its codes must be in place by then.)
#ifndef PLAN_H
#define PLAN_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

struct first_stage_row {
  ip_prefix prefix;
  uint64_t result = 0;  // the compressed address
  bool operator==(const first_stage_row &) const = default;
};

enum class step_kind : uint8_t {
  remove,  // invalidate the slot
  update,  // rewrite the slot's result
  insert,  // write a new entry
  move     // write a second copy of the entry that stands in slot `from`; a later step writes over that slot
};

// "remove", "update", "insert", "move".
std::string_view step_name(step_kind kind);

struct plan_step {
  step_kind kind = step_kind::remove;
  uint32_t slot = 0;    // the one slot that the step writes
  uint32_t from = 0;    // move: where the entry stands until now
  first_stage_row row;  // what the step removes or writes; update: with the new result
  bool early = false;   // remove: done before it is safe, because no slot is free
};

struct hardware_plan {
  std::vector<plan_step> steps;  // in the order in which a driver follows them

  // The layout at the end: slot of new_rows[i].
  std::vector<uint32_t> layout;

  uint32_t removes = 0, updates = 0, inserts = 0, moves = 0;  // steps of each kind
  uint32_t unchanged = 0;                                     // rows that need no write
  uint32_t early_removes = 0;                                 // 0: no address ever gets a third answer
  uint32_t peak_slots = 0;                                    // most entries at a time, second copies not counted

  uint32_t writes() const { return static_cast<uint32_t>(steps.size()); }
};

// The layout of a list as hosts keep it: longest prefixes first, by address within a length, from slot 0 on.
std::vector<uint32_t> longest_first_layout(std::span<const first_stage_row> rows);

// Why there is no plan, in words: a prefix that stands twice in a table, or a table of more rows than slots.
std::string plan_problem(std::span<const first_stage_row> old_rows, std::span<const first_stage_row> new_rows,
                         uint32_t slots);

// Plan for tables that have no problem. old_layout: slot of old_rows[i], in a valid order.
hardware_plan make_plan(std::span<const first_stage_row> old_rows, std::span<const uint32_t> old_layout,
                        std::span<const first_stage_row> new_rows, uint32_t slots);

}  // namespace v6tool

#endif
