// SPDX-License-Identifier: Apache-2.0
#include "switch_engine.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

namespace v6agent {

namespace {

constexpr uint64_t least_history_to_compact = 10000;  // changes
constexpr int most_reads = 20;
constexpr auto pause_between_reads = std::chrono::milliseconds(20);

std::vector<zel_v6comp_table_prefix> prefixes_from(const std::vector<zel_v6comp_table_change> &changes) {
  std::vector<zel_v6comp_table_prefix> prefixes(changes.size());
  for (size_t i = 0; i < changes.size(); ++i) {
    std::copy_n(changes[i].address, sizeof changes[i].address, prefixes[i].address);
    prefixes[i].length = changes[i].length;
    prefixes[i].word = changes[i].word;
  }
  return prefixes;
}

// Do two images hold the same in the place of a write?
bool same_place(const switch_image &a, const switch_image &b, const switch_write &write) {
  const auto same = [](const auto &left, const auto &right, const auto &place) {
    const auto l = left.find(place);
    const auto r = right.find(place);
    return l == left.end() ? r == right.end() : r != right.end() && l->second == r->second;
  };
  return write.kind == write_kind::put_lookup || write.kind == write_kind::remove_lookup
             ? same(a.lookups, b.lookups, write.lookup)
             : same(a.rules, b.rules, write.rule);
}

}  // namespace

switch_engine::switch_engine(table_pair &tables, batch_journal &journal, switch_driver &driver, engine_notes notes)
    : tables_(tables), journal_(journal), driver_(driver), notes_(std::move(notes)), planner_(tables) {}

int32_t switch_engine::perform(const table_operation &operation, switch_plan &plan, batch_result &result) {
  if (operation.kind == operation_kind::policy) {
    planner_.take_policy(operation.policy, plan);
    return ZEL_V6COMP_TABLE_OK;
  }
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  int32_t status = ZEL_V6COMP_TABLE_OK;
  if (operation.kind == operation_kind::apply) {
    status = tables_.apply(operation.table, operation.changes, outcome);
  } else if (operation.kind == operation_kind::load) {
    status = tables_.load(operation.table, prefixes_from(operation.changes), outcome);
  } else {
    status = tables_.compact(operation.table, outcome);
  }
  if (status != ZEL_V6COMP_TABLE_OK) {
    result.status = batch_status::library_refused;
    result.refusal = status;
    result.reason = outcome.reason[0] != '\0' ? outcome.reason : zel_v6comp_table_text(status);
    result.record = outcome.record;
    return status;
  }
  result.moved += outcome.moved;
  result.early += outcome.early;
  planner_.take_writes(operation.table, {outcome.writes, outcome.n_writes}, plan);
  planner_.take_words(operation.table, operation.changes, plan);
  return ZEL_V6COMP_TABLE_OK;
}

bool switch_engine::perform_all(const table_batch &batch, switch_plan &plan, batch_result &result) {
  for (size_t i = 0; i < batch.size(); ++i) {
    result.operation = i;
    if (perform(batch[i], plan, result) != ZEL_V6COMP_TABLE_OK) {
      return false;
    }
  }
  return true;
}

std::string switch_engine::forget_last_batch() {
  const std::string fault = journal_.remove_last();
  batch_to_forget_ = !fault.empty();
  return fault;
}

// Tables and planner as the journal says, but for a batch that it has to forget; `last` is the plan of the last batch.
// False: the library refuses the last one.
bool switch_engine::replay(switch_plan &last) {
  bool whole = true;
  tables_.reset();
  planner_.clear();
  journal_.visit([&](const table_batch &batch, bool is_last) {
    if (is_last && batch_to_forget_) {
      return;
    }
    notes_.still_alive();
    switch_plan plan;
    batch_result result;
    whole = perform_all(batch, plan, result);
    if (!whole && !is_last) {
      throw std::runtime_error("the journal cannot be replayed: " + result.reason);
    }
    last = std::move(plan);
  });
  return whole;
}

void switch_engine::rebuild() {
  switch_plan last;
  if (!replay(last)) {
    throw std::runtime_error("the journal cannot be replayed: the library refuses its last batch");
  }
}

batch_result switch_engine::run(const table_batch &batch) {
  notes_.still_alive();
  batch_result result;
  const auto journal_failed = [&result](const std::string &fault) {
    result.status = batch_status::journal_failed;
    result.reason = fault;
    return result;
  };
  if (batch_to_forget_) {
    if (const std::string fault = forget_last_batch(); !fault.empty()) {
      return journal_failed(fault);
    }
  }
  if (const std::string fault = journal_.append(batch); !fault.empty()) {
    return journal_failed(fault);
  }
  switch_plan plan;
  if (!perform_all(batch, plan, result)) {
    forget_last_batch();
    if (result.operation != 0) {
      rebuild();
    }
    return result;
  }
  result.writes = count_writes(plan);
  program(plan, result);
  return result;
}

driver_answer switch_engine::write(const switch_step &step) {
  const driver_answer answer = driver_.write(step);
  notes_.still_alive();
  return answer;
}

void switch_engine::program(const switch_plan &plan, batch_result &result) {
  for (size_t i = 0; i < plan.size(); ++i) {
    const driver_answer answer = write(plan[i].writes);
    if (answer.status == driver_status::refused) {
      result.status = batch_status::switch_refused;
      result.reason = answer.reason;
      take_back(plan, i, result);
      return;
    }
    if (answer.status == driver_status::unreachable) {
      result.status = batch_status::switch_unreachable;
      result.reason = answer.reason;
      way_ = plan;
      way_is_batch_ = true;
      in_step_ = false;
      return;
    }
  }
  way_.clear();
}

// The journal forgets the batch only when the switch has: a crash in between goes forward again.
void switch_engine::take_back(const switch_plan &plan, size_t done, batch_result &result) {
  const switch_plan back = way_back(plan, done);
  way_ = back;
  way_is_batch_ = false;
  for (const planned_step &step : back) {
    const driver_answer answer = write(step.writes);
    if (answer.status != driver_status::done) {
      result.reason += "; the way back failed too: " + answer.reason;
      in_step_ = false;
      break;
    }
  }
  forget_last_batch();
  rebuild();
  if (in_step_) {
    way_.clear();
  }
}

reconcile_result switch_engine::recover() {
  in_step_ = false;
  way_.clear();
  way_is_batch_ = true;
  if (!replay(way_)) {
    way_.clear();
    forget_last_batch();  // the process ended before it could
    rebuild();
  }
  return reconcile();
}

// A process that was killed may have left writes on their way: read until two readings agree.
bool switch_engine::read_settled(switch_image &found, reconcile_result &result) {
  switch_image before;
  for (int i = 0; i < most_reads; ++i) {
    found = {};
    const driver_answer answer = driver_.read(found);
    notes_.still_alive();
    if (answer.status != driver_status::done) {
      result.status = answer.status;
      result.reason = answer.reason;
      return false;
    }
    if (found == planner_.image() || (i > 0 && found == before)) {
      return true;
    }
    std::swap(before, found);
    std::this_thread::sleep_for(pause_between_reads);
  }
  result.status = driver_status::unreachable;
  result.reason = "somebody else keeps changing the switch";
  return false;
}

// Goes back from where the way ends, write by write, until everything is as it was found.
switch_plan switch_engine::rest_of_the_way(const switch_image &found, reconcile_result &result) const {
  switch_image image = planner_.image();
  size_t differences = count_differences(image, found);
  if (differences == 0) {
    return {};
  }
  const size_t foreign = differences;
  for (size_t i = way_.size(); i > 0; --i) {
    const planned_step &step = way_[i - 1];
    for (size_t j = step.undo.size(); j > 0; --j) {
      const switch_write &undo = step.undo[j - 1];
      differences -= same_place(image, found, undo) ? 0 : 1;
      apply_write(image, undo);
      differences += same_place(image, found, undo) ? 0 : 1;
      if (differences == 0) {
        switch_plan rest{{{step.writes.begin() + static_cast<ptrdiff_t>(j) - 1, step.writes.end()}, {}}};
        rest.insert(rest.end(), way_.begin() + static_cast<ptrdiff_t>(i), way_.end());
        result.outstanding = count_writes(rest);
        return rest;
      }
    }
  }
  result.foreign = foreign;
  return {{difference(found, planner_.image()), {}}};
}

reconcile_result switch_engine::reconcile() {
  in_step_ = false;
  reconcile_result result = go_on();
  if (result.status == driver_status::refused && result.outstanding != 0 && way_is_batch_) {
    const std::string reason = result.reason;
    way_ = way_back(way_, way_.size());
    way_is_batch_ = false;
    forget_last_batch();
    rebuild();
    result = go_on();
    result.taken_back = reason;
  }
  if (result.status == driver_status::done) {
    way_.clear();
    in_step_ = true;
  }
  return result;
}

reconcile_result switch_engine::go_on() {
  reconcile_result result;
  switch_image found;
  if (!read_settled(found, result)) {
    return result;
  }
  for (const planned_step &step : rest_of_the_way(found, result)) {
    for (size_t at = 0; at < step.writes.size(); at += write_planner::most_writes_of_a_step) {
      const size_t n = std::min(write_planner::most_writes_of_a_step, step.writes.size() - at);
      const auto first = step.writes.begin() + static_cast<ptrdiff_t>(at);
      const driver_answer answer = write({first, first + static_cast<ptrdiff_t>(n)});
      if (answer.status != driver_status::done) {
        result.status = answer.status;
        result.reason = answer.reason;
        return result;
      }
    }
  }
  return result;
}

void switch_engine::check() {
  std::optional<size_t> entries;
  const driver_answer answer = driver_.count(entries);
  const size_t wanted = image().lookups.size() + image().rules.size();
  in_step_ = in_step_ && answer.status == driver_status::done && entries.value_or(wanted) == wanted;
}

bool switch_engine::wants_compaction() const {
  const uint64_t history = journal_.changes_since_load();
  return history >= least_history_to_compact && history > 2 * image().lookups.size();  // one entry a row
}

batch_result switch_engine::compact() {
  batch_result result =
      run({{operation_kind::compact, side::source, {}, {}}, {operation_kind::compact, side::destination, {}, {}}});
  if (result.status == batch_status::done) {
    replace_history(result);
  }
  return result;
}

// The rows as they are now, as a load. A history of loads must give the same codes again, or it is kept.
void switch_engine::replace_history(batch_result &result) {
  table_batch batch;
  for (const side which : both_sides) {
    table_operation load{operation_kind::load, which, {}, {}};
    tables_.visit_rows(which, [&load](const zel_v6comp_table_row &row) {
      load.changes.push_back(change_of(prefix_of(row.address, row.length), true, row.word));
    });
    if (!tables_.loads_alike(which, prefixes_from(load.changes))) {
      result.reason = "a table loaded anew would get other codes";
      return;
    }
    batch.push_back(std::move(load));
  }
  batch.push_back({operation_kind::policy, side::source, {}, planner_.policy()});
  result.reason = journal_.replace_all(batch);
}

}  // namespace v6agent
