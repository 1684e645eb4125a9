// SPDX-License-Identifier: Apache-2.0
#include "switch_agent.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "batch_builder.h"
#include "prefix_text.h"

namespace v6agent {

namespace {

using std::chrono::steady_clock;

constexpr auto far_away = std::chrono::hours(1);

}  // namespace

switch_agent::switch_agent(switch_engine &engine, agent_settings settings, agent_watch watch)
    : engine_(engine), settings_(settings), watch_(std::move(watch)) {}

void switch_agent::recover() {
  const auto began = steady_clock::now();
  const reconcile_result result = engine_.recover();
  engine_.tables().visit_rows(side::destination, [this](const zel_v6comp_table_row &row) {
    if (is_route(row.word)) {
      book_.assume(prefix_of(row.address, row.length), egress_of(row.word));
    }
  });
  say(log_level::notice,
      fmt::format("replayed {} batches in {} ms: {} routes, {} rules", engine_.journal().batches(),
                  std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - began).count(),
                  book_.routes(), engine_.policy().size()));
  note(result);
  if (result.status != driver_status::done) {
    trouble_ = result.reason;
    say(log_level::error, "the switch cannot be reconciled yet: " + result.reason);
  }
}

// What every reconciliation leaves behind.
void switch_agent::note(const reconcile_result &result) {
  ++counters_.reconciliations;
  counters_.foreign_entries += result.foreign;
  if (!result.taken_back.empty()) {
    ++counters_.switch_refusals;
    say(log_level::warning, "the last batch was taken back: " + result.taken_back);
  }
  if (result.status == driver_status::done) {
    say(result.foreign != 0 ? log_level::warning : log_level::notice,
        fmt::format("the switch is in step: {} outstanding writes done, {} entries put right", result.outstanding,
                    result.foreign));
  }
}

void switch_agent::announce(const ip_prefix &prefix, uint32_t egress, clock_time now) {
  if (!book_.announce(prefix, egress, now, settings_.most_routes)) {
    ++counters_.routes_over_limit;
    lines_over_limit_.say(log_level::error, fmt::format("{} left out: there are {} routes already, which is the limit",
                                                        v6tool::format_prefix(prefix), book_.routes()));
  }
}

void switch_agent::begin_resync() {
  feed_ = feed_state::syncing;
  book_.begin_resync();
}

void switch_agent::end_resync(clock_time now) {
  feed_ = feed_state::up;
  book_.end_resync(now);
  say(log_level::notice, fmt::format("the feed is in step: {} routes, {} changes", book_.routes(), book_.pending()));
}

void switch_agent::feed_lost() {
  if (feed_ != feed_state::down) {
    say(log_level::warning, fmt::format("the feed is lost: its {} routes stay, stale", book_.routes()));
  }
  feed_ = feed_state::down;
}

std::string switch_agent::trouble() const {
  if (!trouble_.empty()) {
    return trouble_;
  }
  return aside_.empty() ? "" : fmt::format("{} routes are set aside: the library has no room for them", aside_.size());
}

bool switch_agent::has_work(clock_time now) const {
  return next_policy_.has_value() || compaction_asked_ || withdrawals_first_ || aside_is_due(now) ||
         (book_.pending() != 0 &&
          (now >= book_.oldest() + settings_.gather || book_.pending() >= settings_.most_changes));
}

clock_time switch_agent::tick(clock_time now) {
  if (now >= retry_at_) {
    check(now);
    if (!engine_.in_step() || std::exchange(reconciliation_asked_, false)) {
      mend(now);
    }
    if (engine_.in_step() && has_work(now)) {
      flush(now);
    }
  }
  if (!engine_.in_step() || retry_at_ > now) {
    return std::max(retry_at_, now);
  }
  if (next_policy_ || compaction_asked_) {
    return now;
  }
  clock_time next = book_.pending() == 0 ? now + far_away : book_.oldest() + settings_.gather;
  if (aside_may_fit_) {
    next = std::min(next, aside_retry_at_);
  }
  if (settings_.check.count() != 0) {
    next = std::min(next, next_check_);
  }
  return std::max(now, next);
}

void switch_agent::check(clock_time now) {
  if (settings_.check.count() == 0 || !engine_.in_step() || now < next_check_) {
    return;
  }
  next_check_ = now + settings_.check;
  engine_.check();
  if (!engine_.in_step()) {
    say(log_level::warning, "the switch does not answer, or has lost entries: it is read");
  }
}

std::chrono::milliseconds switch_agent::longer(std::chrono::milliseconds pause) const {
  return pause.count() == 0 ? settings_.first_retry : std::min(2 * pause, settings_.last_retry);
}

void switch_agent::wait_longer(clock_time now) {
  pause_ = longer(pause_);
  retry_at_ = std::max(now, steady_clock::now()) + pause_;
}

void switch_agent::mend(clock_time now) {
  const reconcile_result result = engine_.reconcile();
  note(result);
  if (result.status != driver_status::done) {
    if (trouble_ != result.reason) {
      say(log_level::error, "the switch cannot be reconciled: " + result.reason);
    }
    trouble_ = result.reason;
    wait_longer(now);
    return;
  }
  trouble_.clear();
  pause_ = {};
  compare_all(now);
}

// Whatever was taken back is pending again.
void switch_agent::compare_all(clock_time now) {
  const table_pair &tables = engine_.tables();
  for (const auto &[prefix, egress] : book_.wanted()) {
    zel_v6comp_table_row row;
    if (!aside_.contains(prefix) &&
        (!tables.find(side::destination, prefix, row) || row.word != word_of(egress, true))) {
      book_.touch(prefix, now);
    }
  }
  tables.visit_rows(side::destination, [this, now](const zel_v6comp_table_row &row) {
    const ip_prefix prefix = prefix_of(row.address, row.length);
    if (is_route(row.word) && !book_.wanted().contains(prefix)) {
      book_.touch(prefix, now);
    }
  });
}

void switch_agent::flush(clock_time now) {
  if (next_policy_) {
    run_policy(now);
    return;
  }
  if (compaction_asked_ || (now >= next_compaction_ && engine_.wants_compaction())) {
    compact(now);
    return;
  }
  if (aside_is_due(now)) {
    try_aside_again(now);
  }
  const bool only_withdrawals = std::exchange(withdrawals_first_, false);
  std::vector<route_change> changes =
      book_.take(settings_.most_changes, only_withdrawals ? route_book::which::withdrawals : route_book::which::all);
  if (changes.empty() && only_withdrawals) {
    changes = book_.take(settings_.most_changes);
  }
  parting_ = {steady_clock::now() + settings_.longest_parting};
  run_changes(std::move(changes), now);
  if (aside_.empty()) {
    aside_pause_ = {};
  }
}

// What every batch leaves behind, whoever refused it.
void switch_agent::take(const batch_result &result, clock_time now) {
  counters_.moved += result.moved;
  counters_.early += result.early;
  switch (result.status) {
    case batch_status::done:
      ++counters_.batches;
      counters_.writes += result.writes;
      if (!trouble_.empty()) {
        say(log_level::notice, "batches go through again");
      }
      trouble_.clear();
      pause_ = {};
      retry_at_ = {};
      return;
    case batch_status::journal_failed:
      ++counters_.journal_faults;
      trouble_ = "the journal cannot be written: " + result.reason;
      break;
    case batch_status::switch_refused:
      ++counters_.switch_refusals;
      trouble_ = "the switch refused a batch, which was taken back: " + result.reason;
      break;
    case batch_status::switch_unreachable:
      ++counters_.switch_losses;
      trouble_ = "the switch does not answer: " + result.reason;
      break;
    case batch_status::library_refused:
      trouble_ = "the library refused a batch: " + result.reason;
      break;
  }
  lines_of_batches_.say(log_level::error, trouble_);
  wait_longer(now);
}

void switch_agent::run_policy(clock_time now) {
  const table_batch batch = batch_for_policy(engine_.policy(), *next_policy_, engine_.tables());
  if (batch.empty()) {
    next_policy_.reset();
    say(log_level::info, "the rules are what they were");
    return;
  }
  const auto began = steady_clock::now();
  const batch_result result = engine_.run(batch);
  take(result, now);
  if (result.status == batch_status::journal_failed) {
    return;  // again, later
  }
  if (result.status == batch_status::library_refused || result.status == batch_status::switch_refused) {
    ++counters_.policy_refusals;
    counters_.library_refusals += result.status == batch_status::library_refused ? 1 : 0;
    say(log_level::error, "the new rules were refused, the old ones stay in force: " + result.reason);
  } else {
    ++counters_.policy_reloads;
    say(log_level::notice, fmt::format("{} rules in force, {} writes", next_policy_->size(), result.writes));
    watch_.batch_done(steady_clock::now() - began, result);
  }
  next_policy_.reset();
}

void switch_agent::compact(clock_time now) {
  compaction_asked_ = false;
  const uint64_t history = engine_.journal().changes_since_load();
  const batch_result result = engine_.compact();
  take(result, now);
  if (result.status != batch_status::done || !result.reason.empty()) {
    next_compaction_ = now + settings_.compaction_retry;
  }
  if (result.status != batch_status::done) {
    return;
  }
  ++counters_.compactions;
  aside_may_fit_ = !aside_.empty();
  aside_pause_ = {};
  aside_retry_at_ = now;
  say(log_level::notice,
      fmt::format("compacted: {} prefixes got another code, {} writes", result.moved, result.writes));
  if (result.reason.empty()) {
    say(log_level::notice, fmt::format("a history of {} changes is now a load", history));
  } else {
    say(log_level::warning, fmt::format("a history of {} changes is kept: {}", history, result.reason));
  }
}

}  // namespace v6agent
