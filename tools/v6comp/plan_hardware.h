// SPDX-License-Identifier: Apache-2.0
// plan_hardware.h - the writes of a change as a driver makes them: codes of the second stage, and slots of a
// first-match TCAM in the first.
#ifndef PLAN_HARDWARE_H
#define PLAN_HARDWARE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "first_match_tcam.h"
#include "prefix_value.h"
#include "two_stage_hardware.h"
#include "zel_v6comp_plan.h"

namespace v6tool {

enum class planned_kind : uint8_t { add_code, remove_code, insert, update, remove, move };

const char *planned_kind_name(planned_kind kind);  // "add_code", ...
unsigned stage_of(planned_kind kind);              // 1 or 2

struct planned_write {
  planned_kind kind = planned_kind::add_code;
  ip_prefix prefix;
  ip_prefix code;     // of the second stage
  uint64_t key = 0;   // of the first stage
  uint32_t slot = 0;  // the one slot that is written
  uint32_t from = 0;  // move: where the row stands until now; the next write to that slot replaces it
  bool early = false;
};

struct planned_change {
  std::vector<planned_write> writes;  // in their order
  uint64_t removes = 0, updates = 0, inserts = 0, moves = 0;
  uint64_t codes = 0;      // writes to the second stage
  uint64_t unchanged = 0;  // rows that need no write in the first stage
  uint64_t early = 0;      // rows that go before it is safe, because nothing else is free
  uint32_t peak_slots = 0;
  uint64_t third_answers = 0;  // simulated: writes after which some address has neither its old nor its new answer
  std::string first_fault;     // the first of these, in words

  uint64_t slot_writes() const { return removes + updates + inserts + moves; }
};

using table_writes_span = std::span<const zel_v6comp_table_write>;

class plan_hardware {
 public:
  // With `simulate`, models of both stages follow every write and look at it.
  plan_hardware(uint32_t slots, bool simulate);

  // Fill the empty hardware with a first table.
  void fill(table_writes_span writes);

  // Plan what a change writes. Throws when the new table has more rows than slots.
  planned_change follow(table_writes_span writes);

  // Do the models hold exactly these rows? Only with `simulate`.
  bool holds(const std::vector<zel_v6comp_table_row> &rows) const;

  uint32_t slots() const { return n_slots_; }

 private:
  struct slots_closer {
    void operator()(zel_v6comp_slots *slots) const { zel_v6comp_slots_close(slots); }
  };
  struct models {
    table_model::two_stage_hardware stages;
    table_model::first_match_tcam tcam;
  };

  zel_v6comp_slot_steps find_slots(table_writes_span writes, const char *which_table);
  void simulate(table_writes_span writes, std::span<const zel_v6comp_slot_step> steps, planned_change &change);

  uint32_t n_slots_;
  uint64_t n_rows_ = 0;
  std::unique_ptr<zel_v6comp_slots, slots_closer> slots_;
  std::optional<models> models_;
};

}  // namespace v6tool

#endif
