// SPDX-License-Identifier: Apache-2.0
#include "room_live_table.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "full_refusal.h"
#include "hardware_rows.h"
#include "instance_check.h"
#include "prefix_text.h"
#include "room_check.h"

namespace v6tool {

namespace {

// The library knows no weights: a prefix comes with its first reference and goes with its last.
std::vector<table_change> changes_of(const weighted_table &owned, const weighted_table::weights &after) {
  std::vector<table_change> changes;
  for (const auto &[prefix, weight] : after) {
    if ((owned.weight_of(prefix) == 0) != (weight == 0)) {
      changes.push_back({prefix, weight != 0});
    }
  }
  return changes;
}

const char *kind_of(int32_t status) {
  switch (status) {
    case ZEL_V6COMP_TABLE_E_MOVES:
      return "move_limit";
    case ZEL_V6COMP_TABLE_E_BITS:
      return "too_many_bits";
    case ZEL_V6COMP_TABLE_E_ROOM:
      return "no_room";
    case ZEL_V6COMP_TABLE_E_POOLS:
      return "pools";
    default:
      return "inconsistent";
  }
}

// A table that is compressed anew has short codes and room between them; it has no other prefixes and no other pools.
bool compacting_helps(const refusal &r) { return r.kind == "no_room" || r.kind == "move_limit"; }

}  // namespace

room_live_table::room_live_table(const prefix_table &table, const update_history &history, const live_options &options)
    : live_table(table),
      options_(options),
      table_(options.common, prefixes_of_history(table, history).size(), options.move_limit),
      view_(options.common.processor, options.common.instance) {
  const prefix_table distinct = owned_.table();
  const table_outcome outcome = load_rows(table_, distinct);
  if (!outcome.accepted()) {
    throw explain_full_refusal(distinct, outcome, options.common);
  }
  compress_ms_ = outcome.ms;
  keep_writes(outcome);
}

void room_live_table::keep_writes(const table_outcome &outcome) {
  if (options_.keep_writes) {
    writes_.insert(writes_.end(), outcome.all_writes().begin(), outcome.all_writes().end());
  }
}

table_rows room_live_table::rows() const { return checked_rows(table_.rows(), owned_.table()); }

table_writes room_live_table::take_writes() { return std::exchange(writes_, {}); }

batch_report room_live_table::apply(const history_batch &batch) {
  batch_report report;
  const weighted_table::weights after = owned_.after(batch, report);
  const std::string excess = owned_.excess_in(batch);
  bool accepted = false;
  if (!excess.empty()) {
    report.refused = refusal{"too_much_deleted", excess, {}, false, {}, {}, {}, 0};
    ++report.refusals;
  } else {
    const std::vector<table_change> changes = changes_of(owned_, after);
    accepted = change(changes, report);
    if (!accepted && options_.on_refusal == refusal_action::recompress && compacting_helps(*report.refused) &&
        compact(report)) {
      accepted = change(changes, report);
    }
  }
  if (accepted) {
    report.held = owned_.held(batch, after);
    owned_.take_over(after);
  } else {
    report.refused_changes = batch.size();
  }
  return report;
}

bool room_live_table::change(const std::vector<table_change> &changes, batch_report &report) {
  const table_outcome outcome = table_.apply(changes);
  ++report.requests;
  report.ms += outcome.ms;
  if (outcome.accepted()) {
    take_over(outcome, report);
    report.moved += outcome.moved;
    return true;
  }
  report.refused = explain(outcome, changes);
  ++report.refusals;
  return false;
}

bool room_live_table::compact(batch_report &report) {
  const table_outcome outcome = table_.compact();
  report.ms += outcome.ms;
  report.recompressed = outcome.accepted();
  if (outcome.accepted()) {
    take_over(outcome, report);
  }
  return outcome.accepted();
}

void room_live_table::take_over(const table_outcome &outcome, batch_report &report) {
  report.changed += outcome.moved + outcome.rekeyed;
  keep_writes(outcome);
}

refusal room_live_table::explain(const table_outcome &outcome, const std::vector<table_change> &changes) const {
  if (outcome.status == ZEL_V6COMP_TABLE_E_MEMORY) {
    throw tool_failure{exit_undone, {"the library ran out of memory"}};
  }
  refusal r;
  r.kind = kind_of(outcome.status);
  r.reason = outcome.reason;
  if (outcome.record < changes.size() || changes.size() == 1) {
    r.prefix = changes[std::min(outcome.record, changes.size() - 1)].prefix;
  }
  if (r.kind == "move_limit") {
    r.reason = fmt::format("for {} more stored prefixes would have to move than the limit of {} allows",
                           r.prefix ? format_prefix(*r.prefix) : "the batch", options_.move_limit.value_or(UINT32_MAX));
  }
  return r;
}

std::string room_live_table::counterexample() const {
  const stored_prefixes stored = find_stored_prefixes(owned_.table());
  instance_check check(view_, stored);
  if (!check.is_right()) {
    return check.counterexample();
  }
  room_check rows(table_, stored);
  rows.rows_are_right(check.codes());
  return rows.counterexample();
}

}  // namespace v6tool
