// SPDX-License-Identifier: Apache-2.0
#include "compatible_live_table.h"

#include <fmt/core.h>

#include <algorithm>

#include "compatible_refusal.h"
#include "hardware_rows.h"
#include "instance_check.h"
#include "pool_sizing.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

// Every prefix that the table ever holds, in pools twice as large: a batch takes before it gives back.
pool_needs needs_of_history(const prefix_table &table, const update_history &history) {
  prefix_table all;
  for (const ip_prefix &prefix : prefixes_of_history(table, history)) {
    all.rows.push_back({prefix, 1, 0});
  }
  pool_needs needs = find_pool_needs(find_stored_prefixes(all));
  for (pool_need &need : needs) {
    need.most *= 2;
  }
  return needs;
}

// The rows of a request that are changes: the others are anchors sent ahead.
history_batch changes_of(const std::vector<request_row> &rows) {
  history_batch changes;
  for (const request_row &row : rows) {
    if (row.weight != 0) {
      changes.push_back({row.prefix, row.weight, row.add, 0});
    }
  }
  return changes;
}

uint64_t count_changes(const std::vector<std::pair<ip_prefix, std::optional<translation>>> &before,
                       const std::vector<std::pair<ip_prefix, std::optional<translation>>> &after) {
  uint64_t changes = 0;
  auto old = before.begin();
  for (const auto &[prefix, form] : after) {
    while (old != before.end() && old->first < prefix) {
      ++old;
    }
    changes += old != before.end() && old->first == prefix && old->second != form ? 1 : 0;
  }
  return changes;
}

std::string kind_of(uint32_t status, bool no_path) {
  if (no_path) {
    return "no_room";
  }
  switch (status) {
    case -TM_ENOSPC:
      return "no_room";
    case -TM_ENOENT:
      return "new_level";
    case -TM_EINVAL:
      return "too_much_deleted";
    case -TM_EOVERFLOW:
      return "too_many_bits";
    case -TM_ENOMEM:
      return "pools";
    default:
      return "inconsistent";
  }
}

std::string words_of(const refusal &r, uint32_t status) {
  const std::string who = (r.is_anchor ? "the anchor " : "") + (r.prefix ? format_prefix(*r.prefix) : "a prefix");
  if (r.kind == "no_room") {
    const std::string where = who + " finds no room inside " + format_prefix(r.enclosing);
    return r.enclosing_bits ? fmt::format("{}, whose compressed prefix has {} of {} bits and {} prefixes below it",
                                          where, *r.enclosing_bits, +TCAMV6_MAX_CMPR_LEN, r.siblings)
                            : where;
  }
  if (r.kind == "new_level") {
    return fmt::format("{} would come between {} and prefixes inside it, and no key is left that covers these alone",
                       who, format_prefix(r.enclosing));
  }
  if (r.kind == "too_many_bits") {
    return fmt::format("the table would need compressed prefixes of more than {} bits with {}", +TCAMV6_MAX_CMPR_LEN,
                       who);
  }
  if (r.kind == "pools") {
    return "a pool ran out at " + who;
  }
  return fmt::format("status {} at {}", status, who);
}

}  // namespace

compatible_live_table::compatible_live_table(const prefix_table &table, const update_history &history,
                                             const live_options &options)
    : live_table(table),
      options_(options),
      policy_(options.policy == nullptr ? &default_policy() : options.policy),
      counts_(options.safe_updates) {
  start_compatible(options.common, needs_of_history(table, history), options.safe_updates);
  instance_.emplace(options.common);
  compress_ms_ = compress();
  forms_ = current_forms();
}

double compatible_live_table::compress() {
  const prefix_table now = owned_.table();
  if (now.rows.size() > TCAMV6_MAX_PREFIXES) {
    throw tool_failure{exit_no,
                       {fmt::format("the table has grown to {} prefixes, at most {} fit into one request (--room on "
                                    "takes more)",
                                    now.rows.size(), +TCAMV6_MAX_PREFIXES)}};
  }
  const request_outcome outcome = instance_->compress(now);
  if (outcome.status != 0) {
    throw explain_compatible_refusal(*instance_, now, outcome.status);
  }
  counts_.fill(now);
  return outcome.ms;
}

void compatible_live_table::recompress(batch_report &report) {
  instance_->reset();
  report.ms += compress();
  report.recompressed = true;
}

compatible_live_table::forms compatible_live_table::current_forms() const {
  forms result;
  result.reserve(owned_.size() + 1);
  if (owned_.weight_of({}) == 0) {
    result.emplace_back(ip_prefix{}, instance_->view().translate({}));
  }
  for (const auto &[prefix, weight] : owned_.owned()) {
    result.emplace_back(prefix, instance_->view().translate(prefix));
  }
  return result;
}

batch_report compatible_live_table::apply(const history_batch &batch) {
  batch_report report;
  const std::vector<request_row> rows = rows_of_batch(batch);
  const weighted_table::weights wanted = owned_.after(batch, report);
  std::vector<held_delete> held = owned_.held(batch, wanted);
  bool accepted = send(policy_->first(rows), report);
  if (!accepted && policy_->on_refusal != nullptr && report.refused->kind != "too_much_deleted") {
    report.refused_changes = 0;
    accepted = send(policy_->on_refusal(rows), report);
  }
  if (!accepted && options_.on_refusal == refusal_action::recompress && report.refused->kind != "too_much_deleted") {
    owned_.take_over(wanted);
    report.refused_changes = 0;
    recompress(report);
  }
  if (report.refused_changes == 0) {
    report.held = std::move(held);
  }
  forms now = current_forms();
  report.changed = count_changes(forms_, now);
  forms_ = std::move(now);
  return report;
}

// A refused request ends the sequence, except where refusals are skipped: there it is left out.
bool compatible_live_table::send(const request_rows_list &requests, batch_report &report) {
  bool all = true;
  size_t done = 0;
  for (; done < requests.size() && (all || options_.on_refusal == refusal_action::skip); ++done) {
    all = send_request(requests[done], report) && all;
  }
  for (size_t i = done; i < requests.size(); ++i) {
    report.refused_changes += changes_of(requests[i]).size();
  }
  if (!all && options_.on_refusal != refusal_action::recompress) {
    drop_anchors(requests, report);
  }
  return all;
}

bool compatible_live_table::send_request(const std::vector<request_row> &rows, batch_report &report) {
  ++report.requests;
  uint32_t status = 0;
  watched_batch seen;
  {
    const batch_watch watch;
    const request_outcome outcome = instance_->request(rows);
    report.ms += outcome.ms;
    status = outcome.status;
    seen = watch.seen();
  }
  if (status == 0) {
    take_over(rows, report);
    return true;
  }
  report.refused = explain(status, rows, seen);
  ++report.refusals;
  report.refused_changes += changes_of(rows).size();
  return false;
}

// Anchors sent ahead for additions that did not come would stay for good.
void compatible_live_table::drop_anchors(const request_rows_list &requests, batch_report &report) {
  std::vector<request_row> drops;
  for (const std::vector<request_row> &rows : requests) {
    for (const request_row &row : rows) {
      if (row.weight == 0) {
        drops.push_back({row.prefix, 0, false});
      }
    }
  }
  if (!drops.empty()) {
    send_request(drops, report);
  }
}

std::vector<working_record> compatible_live_table::working_list(const std::vector<request_row> &rows) const {
  std::vector<tcamv6_prefix> records;
  std::map<ip_prefix, uint64_t> touched;
  for (const request_row &row : rows) {
    const auto at = touched.try_emplace(row.prefix, owned_.weight_of(row.prefix)).first;
    const bool is_absent = !row.add && row.weight != 0 && at->second == 0;
    at->second = weight_after(at->second, {row.prefix, row.weight, row.add, 0});
    if (!is_absent || !options_.safe_updates) {
      records.push_back(record_of(row));
    }
  }
  tcamv6_prefix *list = nullptr;
  uint32_t n = 0;
  const auto n_records = static_cast<uint32_t>(records.size());
  if (tcamv6_build_prefix_list(records.data(), &list, n_records, &n, 0) != TM_OK) {
    throw tool_failure{exit_undone, {"the library ran out of memory (status 12)"}};
  }
  std::vector<working_record> result;
  result.reserve(n);
  for (const tcamv6_prefix *r = list; r != list + n; ++r) {
    const bool is_add = (r->flags_tag & TM_PREFIX_FLAG_ADD) != 0;
    result.push_back({{masked(key_from_bytes(r->address), r->length), r->length}, r->weight, r->anchor_ref, is_add});
  }
  zel_free_named(list);
  return result;
}

void compatible_live_table::take_over(const std::vector<request_row> &rows, batch_report &report) {
  for (const working_record &record : working_list(rows)) {
    ++report.cases[static_cast<size_t>(counts_.apply(record))];
  }
  change_counts counted_before;
  owned_.take_over(owned_.after(changes_of(rows), counted_before));
}

// What was stored when the record came that the library gave up at.
void compatible_live_table::explain_place(const std::vector<request_row> &rows, const watched_batch &seen,
                                          refusal &r) const {
  stored_counts counts = counts_;
  for (const working_record &record : working_list(rows)) {
    if (record.add && record.prefix == *seen.last && !counts.is_stored(record.prefix)) {
      r.enclosing = counts.enclosing(record.prefix);
      r.siblings = counts.count_children(r.enclosing);
      r.case_of_prefix = case_name(counts.apply(record));
      break;
    }
    counts.apply(record);
  }
  const std::optional<translation> form = view().translate(r.enclosing);
  const auto added = std::find_if(seen.added_lengths.begin(), seen.added_lengths.end(),
                                  [&](const auto &a) { return a.first == r.enclosing; });
  if (form) {
    r.enclosing_bits = form->code.length;
  } else if (added != seen.added_lengths.end()) {
    r.enclosing_bits = added->second;
  }
}

refusal compatible_live_table::explain(uint32_t status, const std::vector<request_row> &rows,
                                       const watched_batch &seen) const {
  refusal r;
  r.kind = kind_of(status, seen.no_path);
  r.prefix = seen.last;
  r.is_anchor = seen.last_is_anchor;
  if (r.kind == "too_much_deleted") {
    const std::string reason = owned_.excess_in(changes_of(rows));
    r.reason = reason.empty() ? "more is deleted than was added" : reason;
    return r;
  }
  if (seen.last) {
    explain_place(rows, seen, r);
  }
  r.reason = words_of(r, status);
  return r;
}

std::string compatible_live_table::counterexample() const {
  const stored_prefixes stored = find_stored_prefixes(owned_.table());
  instance_check check(view(), stored);
  check.is_right();
  return check.counterexample();
}

table_rows compatible_live_table::rows() const { return checked_rows(rows_of_dump(view()), owned_.table()); }

table_writes compatible_live_table::take_writes() {
  table_rows now = rows();
  table_writes writes = writes_between(planned_, now);
  planned_ = std::move(now);
  return writes;
}

}  // namespace v6tool
