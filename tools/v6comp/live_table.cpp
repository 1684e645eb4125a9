// SPDX-License-Identifier: Apache-2.0
#include "live_table.h"

#include <fmt/core.h>

#include <algorithm>

#include "full_refusal.h"
#include "prefix_text.h"
#include "table_loader.h"

namespace v6tool {

namespace {

// Every prefix that the table ever holds, in pools twice as large: a batch takes before it gives back.
pool_needs needs_of_history(const prefix_table &table, const update_history &history) {
  prefix_table all = table;
  for (const history_batch &batch : history.batches) {
    for (const history_change &change : batch) {
      all.rows.push_back({change.prefix, 1, 0});
    }
  }
  pool_needs needs = find_pool_needs(find_stored_prefixes(all));
  for (pool_need &need : needs) {
    need.most *= 2;
  }
  return needs;
}

void set_weight(std::map<ip_prefix, uint64_t> &owned, const ip_prefix &prefix, uint64_t weight) {
  if (weight == 0) {
    owned.erase(prefix);
  } else {
    owned[prefix] = weight;
  }
}

uint64_t weight_of(const std::map<ip_prefix, uint64_t> &owned, const ip_prefix &prefix) {
  const auto found = owned.find(prefix);
  return found == owned.end() ? 0 : found->second;
}

uint64_t weight_after(uint64_t before, const request_row &row) {
  return row.add ? before + row.weight : before - std::min<uint64_t>(before, row.weight);
}

// What a batch leaves of the prefixes that it touches; counts what it finds there.
std::map<ip_prefix, uint64_t> weights_after(const std::map<ip_prefix, uint64_t> &owned,
                                            std::span<const request_row> rows, batch_report &report) {
  std::map<ip_prefix, uint64_t> touched;
  for (const request_row &row : rows) {
    const auto at = touched.try_emplace(row.prefix, weight_of(owned, row.prefix)).first;
    ++(row.add ? report.adds : report.deletes);
    report.present += row.add && at->second != 0 ? 1 : 0;
    report.absent += !row.add && at->second == 0 ? 1 : 0;
    at->second = weight_after(at->second, row);
  }
  return touched;
}

std::vector<held_delete> find_held(const std::map<ip_prefix, uint64_t> &owned, const history_batch &batch,
                                   const std::map<ip_prefix, uint64_t> &after) {
  std::vector<held_delete> held;
  std::map<ip_prefix, uint64_t> touched;
  for (const history_change &change : batch) {
    uint64_t &weight = touched.try_emplace(change.prefix, weight_of(owned, change.prefix)).first->second;
    if (!change.add && weight > change.weight && after.at(change.prefix) != 0) {
      held.push_back({change.prefix, change.line, change.weight, weight});
    }
    weight = weight_after(weight, {change.prefix, change.weight, change.add});
  }
  return held;
}

// Is a prefix both added and deleted? Such a request keeps its order in room mode.
bool has_opposites(std::span<const request_row> rows) {
  std::map<ip_prefix, bool> adds;
  return std::any_of(rows.begin(), rows.end(), [&](const request_row &row) {
    return adds.try_emplace(row.prefix, row.add).first->second != row.add;
  });
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

}  // namespace

live_table::live_table(const prefix_table &table, const update_history &history, const live_options &options)
    : options_(options), counts_(!options.as_written) {
  if (options_.policy == nullptr) {
    options_.policy = options.common.room ? find_policy("plain") : &default_policy();
  }
  for (const table_row &row : table.rows) {
    owned_[row.prefix] += row.weight;
  }
  start_library(options.common, needs_of_history(table, history));
  zel_v6comp_set_safe_updates(options.as_written ? 0 : 1);
  instance_.emplace(options.common);
  compress_ms_ = compress();
  forms_ = current_forms();
}

prefix_table live_table::table() const {
  prefix_table result;
  result.rows.reserve(owned_.size());
  for (const auto &[prefix, weight] : owned_) {
    result.rows.push_back({prefix, static_cast<uint32_t>(weight), 0});
  }
  return result;
}

double live_table::compress() {
  const prefix_table now = table();
  if (now.rows.size() > TCAMV6_MAX_PREFIXES && !options_.common.room) {
    throw tool_failure{exit_no,
                       {fmt::format("the table has grown to {} prefixes, at most {} fit into one request (--room on "
                                    "takes more)",
                                    now.rows.size(), +TCAMV6_MAX_PREFIXES)}};
  }
  limit_moves(false);
  const request_outcome outcome = load_table(*instance_, now);
  limit_moves(true);
  if (outcome.status != 0) {
    throw explain_full_refusal(*instance_, now, outcome.status);
  }
  counts_.fill(now);
  return outcome.ms;
}

void live_table::recompress(batch_report &report) {
  instance_->reset();
  report.ms += compress();
  report.recompressed = true;
}

live_table::forms live_table::current_forms() const {
  forms result;
  result.reserve(owned_.size() + 1);
  if (!owned_.contains({})) {
    result.emplace_back(ip_prefix{}, instance_->translate({}));
  }
  for (const auto &[prefix, weight] : owned_) {
    result.emplace_back(prefix, instance_->translate(prefix));
  }
  return result;
}

batch_report live_table::apply(const history_batch &batch) {
  batch_report report;
  const std::vector<request_row> rows = rows_of_batch(batch);
  const std::map<ip_prefix, uint64_t> wanted = weights_after(owned_, rows, report);
  std::vector<held_delete> held = find_held(owned_, batch, wanted);
  const batch_policy &policy = *options_.policy;
  const bool only_one = policy.on_refusal != nullptr;
  bool accepted = send(policy.first(rows), report);
  if (!accepted && only_one && report.refused->kind != "too_much_deleted") {
    report.refused_changes = 0;
    accepted = send(policy.on_refusal(rows), report);
  }
  if (!accepted && options_.on_refusal == refusal_action::recompress && report.refused->kind != "too_much_deleted") {
    for (const auto &[prefix, weight] : wanted) {
      set_weight(owned_, prefix, weight);
    }
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

// A table goes in whatever has to move.
void live_table::limit_moves(bool in_batches) const {
  zel_v6comp_set_move_limit(in_batches ? options_.move_limit.value_or(UINT32_MAX) : UINT32_MAX);
}

// A refused request ends the sequence, except where refusals are skipped: there it is left out.
bool live_table::send(const request_rows_list &requests, batch_report &report) {
  bool all = true;
  size_t done = 0;
  for (; done < requests.size() && (all || options_.on_refusal == refusal_action::skip); ++done) {
    all = send_request(requests[done], report) && all;
  }
  for (size_t i = done; i < requests.size(); ++i) {
    report.refused_changes += static_cast<uint64_t>(
        std::count_if(requests[i].begin(), requests[i].end(), [](const request_row &r) { return r.weight != 0; }));
  }
  if (!all && options_.on_refusal != refusal_action::recompress) {
    drop_anchors(requests, report);
  }
  return all;
}

bool live_table::send_request(const std::vector<request_row> &rows, batch_report &report) {
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
    report.moved += instance_->moves().size();
    take_over(rows, report);
    return true;
  }
  report.refused = explain(status, rows, seen);
  ++report.refusals;
  report.refused_changes += static_cast<uint64_t>(
      std::count_if(rows.begin(), rows.end(), [](const request_row &r) { return r.weight != 0; }));
  return false;
}

// Anchors sent ahead for additions that did not come would stay for good.
void live_table::drop_anchors(const request_rows_list &requests, batch_report &report) {
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

std::vector<working_record> live_table::working_list(const std::vector<request_row> &rows) const {
  std::vector<tcamv6_prefix> records;
  std::map<ip_prefix, uint64_t> touched;
  for (const request_row &row : rows) {
    const auto at = touched.try_emplace(row.prefix, weight_of(owned_, row.prefix)).first;
    const bool is_absent = !row.add && row.weight != 0 && at->second == 0;
    at->second = weight_after(at->second, row);
    if (!is_absent || options_.as_written) {
      records.push_back(record_of(row));
    }
  }
  const bool outside_in = options_.common.room && !has_opposites(rows);
  tcamv6_prefix *list = nullptr;
  uint32_t n = 0;
  const auto n_records = static_cast<uint32_t>(records.size());
  if (tcamv6_build_prefix_list(records.data(), &list, n_records, &n, 0) != TM_OK) {
    throw tool_failure{exit_undone, {"the library ran out of memory (status 12)"}};
  }
  std::vector<working_record> result;
  result.reserve(n);
  std::vector<working_record> additions;  // of room mode, which takes them last and outside in
  for (const tcamv6_prefix *r = list; r != list + n; ++r) {
    const bool is_add = (r->flags_tag & TM_PREFIX_FLAG_ADD) != 0;
    (is_add && outside_in ? additions : result)
        .push_back({{masked(key_from_bytes(r->address), r->length), r->length}, r->weight, r->anchor_ref, is_add});
  }
  std::stable_sort(additions.begin(), additions.end(),
                   [](const auto &a, const auto &b) { return a.prefix.length < b.prefix.length; });
  result.insert(result.end(), additions.begin(), additions.end());
  zel_free_named(list);
  return result;
}

void live_table::take_over(const std::vector<request_row> &rows, batch_report &report) {
  for (const working_record &record : working_list(rows)) {
    ++report.cases[static_cast<size_t>(counts_.apply(record))];
  }
  for (const request_row &row : rows) {
    if (row.weight != 0) {
      set_weight(owned_, row.prefix, weight_after(weight_of(owned_, row.prefix), row));
    }
  }
}

std::string live_table::explain_excess(const std::vector<request_row> &rows) const {
  std::map<ip_prefix, uint64_t> touched;
  for (const request_row &row : rows) {
    const auto at = touched.try_emplace(row.prefix, weight_of(owned_, row.prefix)).first;
    if (!row.add && at->second != 0 && row.weight > at->second) {
      return fmt::format("{} would be deleted with a weight of {}, it has {}", format_prefix(row.prefix), row.weight,
                         at->second);
    }
    at->second = weight_after(at->second, row);
  }
  return "more is deleted than was added";
}

std::string live_table::kind_of(uint32_t status, bool no_path) const {
  if (options_.common.room && status == -TM_ENOSPC) {
    return "move_limit";
  }
  if (no_path && !options_.common.room) {
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

std::string live_table::words_of(const refusal &r) const {
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
  if (r.kind == "move_limit") {
    return fmt::format("for {} more stored prefixes would have to move than the limit of {} allows", who,
                       options_.move_limit.value_or(UINT32_MAX));
  }
  if (r.kind == "pools") {
    return "a pool ran out at " + who;
  }
  return fmt::format("status {} at {}", r.status, who);
}

refusal live_table::explain(uint32_t status, const std::vector<request_row> &rows, const watched_batch &seen) const {
  refusal r;
  r.status = status;
  r.kind = kind_of(status, seen.no_path);
  r.prefix = seen.last;
  r.is_anchor = seen.last_is_anchor;
  if (r.kind == "too_much_deleted") {
    r.reason = explain_excess(rows);
    return r;
  }
  if (seen.last && !options_.common.room) {
    stored_counts counts = counts_;  // becomes what was stored when the record came
    for (const working_record &record : working_list(rows)) {
      if (record.add && record.prefix == *seen.last && !counts.is_stored(record.prefix)) {
        r.enclosing = counts.enclosing(record.prefix);
        r.siblings = counts.count_children(r.enclosing);
        r.case_of_prefix = case_name(counts.apply(record));
        break;
      }
      counts.apply(record);
    }
    const std::optional<translation> form = instance_->translate(r.enclosing);
    const auto added = std::find_if(seen.added_lengths.begin(), seen.added_lengths.end(),
                                    [&](const auto &a) { return a.first == r.enclosing; });
    if (form) {
      r.enclosing_bits = form->code.length;
    } else if (added != seen.added_lengths.end()) {
      r.enclosing_bits = added->second;
    }
  }
  r.reason = words_of(r);
  return r;
}

}  // namespace v6tool
