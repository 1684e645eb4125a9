// SPDX-License-Identifier: Apache-2.0
#include "plan_hardware.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>

#include "room_table.h"
#include "tool_failure.h"

namespace v6tool {

namespace {

using write_list = std::vector<zel_v6comp_table_write>;

bool is_code(const zel_v6comp_table_write &write) {
  return write.kind == ZEL_V6COMP_TABLE_ADD_CODE || write.kind == ZEL_V6COMP_TABLE_REMOVE_CODE;
}

planned_kind kind_of(const zel_v6comp_slot_step &step, const zel_v6comp_table_write &write) {
  if (step.kind == ZEL_V6COMP_SLOT_CLEAR) {
    return planned_kind::remove;
  }
  if (step.kind == ZEL_V6COMP_SLOT_MOVE) {
    return planned_kind::move;
  }
  return write.kind == ZEL_V6COMP_TABLE_ADD_KEY ? planned_kind::insert : planned_kind::update;
}

planned_write plan_of_code(const zel_v6comp_table_write &write) {
  planned_write planned;
  planned.kind = write.kind == ZEL_V6COMP_TABLE_ADD_CODE ? planned_kind::add_code : planned_kind::remove_code;
  planned.prefix = prefix_of(write);
  planned.code = code_of(write);
  return planned;
}

planned_write plan_of_step(const zel_v6comp_slot_step &step, const zel_v6comp_table_write &write) {
  planned_write planned;
  planned.kind = kind_of(step, write);
  planned.prefix = prefix_of(step);
  planned.key = planned.kind == planned_kind::remove ? 0 : step.key;
  planned.slot = step.slot;
  planned.from = step.from;
  planned.early = step.early != 0;
  return planned;
}

void count(const planned_write &write, planned_change &change) {
  switch (write.kind) {
    case planned_kind::insert:
      ++change.inserts;
      break;
    case planned_kind::update:
      ++change.updates;
      break;
    case planned_kind::remove:
      ++change.removes;
      break;
    case planned_kind::move:
      ++change.moves;
      break;
    default:
      ++change.codes;
      break;
  }
  change.early += write.early ? 1 : 0;
}

// Rows of the old table whose entry is written.
uint64_t count_written(table_writes_span writes) {
  std::set<ip_prefix> written;
  std::set<ip_prefix> added;
  for (const zel_v6comp_table_write &write : writes) {
    if (write.kind == ZEL_V6COMP_TABLE_ADD_KEY) {
      added.insert(prefix_of(write));
    } else if (!is_code(write) && !added.contains(prefix_of(write))) {
      written.insert(prefix_of(write));
    }
  }
  return written.size();
}

uint64_t count_kind(table_writes_span writes, uint8_t kind) {
  return static_cast<uint64_t>(
      std::count_if(writes.begin(), writes.end(), [&](const auto &w) { return w.kind == kind; }));
}

// The writes in the order in which the slots make them: a row can leave its slot before its time.
write_list in_order_of_slots(table_writes_span writes, std::span<const zel_v6comp_slot_step> steps) {
  std::map<ip_prefix, zel_v6comp_table_write> removals;
  for (const zel_v6comp_table_write &write : writes) {
    if (write.kind == ZEL_V6COMP_TABLE_REMOVE_KEY) {
      removals[prefix_of(write)] = write;
    }
  }
  write_list ordered;
  auto step = steps.begin();
  for (size_t i = 0; i < writes.size(); ++i) {
    if (is_code(writes[i])) {
      ordered.push_back(writes[i]);
    }
    for (; step != steps.end() && step->write == i; ++step) {
      if (step->kind == ZEL_V6COMP_SLOT_CLEAR) {
        ordered.push_back(removals.at(prefix_of(*step)));
      } else if (step->kind == ZEL_V6COMP_SLOT_WRITE) {
        ordered.push_back(writes[i]);
      }
    }
  }
  return ordered;
}

}  // namespace

const char *planned_kind_name(planned_kind kind) {
  constexpr const char *names[] = {"add_code", "remove_code", "insert", "update", "remove", "move"};
  return names[static_cast<size_t>(kind)];
}

unsigned stage_of(planned_kind kind) {
  return kind == planned_kind::add_code || kind == planned_kind::remove_code ? 2 : 1;
}

plan_hardware::plan_hardware(uint32_t slots, bool simulate) : n_slots_(slots) {
  zel_v6comp_slots *opened = nullptr;
  if (zel_v6comp_slots_open(slots, &opened) != ZEL_V6COMP_TABLE_OK) {
    throw tool_failure{exit_undone, {fmt::format("no memory for {} slots", slots)}};
  }
  slots_.reset(opened);
  if (simulate) {
    models_.emplace(models{table_model::two_stage_hardware(), table_model::first_match_tcam(slots)});
  }
}

zel_v6comp_slot_steps plan_hardware::find_slots(table_writes_span writes, const char *which_table) {
  const uint64_t rows =
      n_rows_ + count_kind(writes, ZEL_V6COMP_TABLE_ADD_KEY) - count_kind(writes, ZEL_V6COMP_TABLE_REMOVE_KEY);
  if (rows > n_slots_) {
    throw tool_failure{exit_no,
                       {fmt::format("no plan: the {} table has {} rows for {} slots", which_table, rows, n_slots_)}};
  }
  zel_v6comp_slot_steps steps = ZEL_V6COMP_SLOT_STEPS_INIT;
  const int32_t status = zel_v6comp_slots_follow(slots_.get(), writes.data(), writes.size(), &steps);
  if (status != ZEL_V6COMP_TABLE_OK) {
    throw tool_failure{exit_undone, {fmt::format("no plan: {}", zel_v6comp_table_text(status))}};
  }
  n_rows_ = rows;
  return steps;
}

void plan_hardware::fill(table_writes_span writes) {
  const zel_v6comp_slot_steps steps = find_slots(writes, "old");
  if (models_) {
    models_->stages.follow_blindly(writes);
    models_->tcam.follow({steps.list, steps.n});
  }
}

planned_change plan_hardware::follow(table_writes_span writes) {
  planned_change change;
  change.unchanged = n_rows_ - count_written(writes);
  const zel_v6comp_slot_steps found = find_slots(writes, "new");
  const std::span<const zel_v6comp_slot_step> steps(found.list, found.n);
  change.peak_slots = found.peak_slots;
  auto step = steps.begin();
  for (size_t i = 0; i < writes.size(); ++i) {
    if (is_code(writes[i])) {
      change.writes.push_back(plan_of_code(writes[i]));
    }
    for (; step != steps.end() && step->write == i; ++step) {
      change.writes.push_back(plan_of_step(*step, writes[i]));
    }
  }
  for (const planned_write &write : change.writes) {
    count(write, change);
  }
  if (models_) {
    simulate(writes, steps, change);
  }
  return change;
}

void plan_hardware::simulate(table_writes_span writes, std::span<const zel_v6comp_slot_step> steps,
                             planned_change &change) {
  const uint64_t before = models_->stages.faults() + models_->tcam.faults();
  const std::string of_slots = models_->tcam.follow(steps);
  const std::string of_stages = models_->stages.follow(in_order_of_slots(writes, steps));
  change.third_answers = models_->stages.faults() + models_->tcam.faults() - before;
  change.first_fault = of_slots.empty() ? of_stages : of_slots;
}

bool plan_hardware::holds(const std::vector<zel_v6comp_table_row> &rows) const {
  return models_->stages.difference(rows).empty() && models_->tcam.difference(rows).empty();
}

}  // namespace v6tool
