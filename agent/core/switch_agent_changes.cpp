// SPDX-License-Identifier: Apache-2.0
// Changes of routes on their way: parted where the library refuses them together, set aside where it refuses one alone.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "batch_builder.h"
#include "prefix_text.h"
#include "switch_agent.h"

namespace v6agent {

namespace {

using std::chrono::steady_clock;

// One culprit is soon found by taking it out. Many are sooner found by halving, which tries every route a few times
// only.
constexpr int most_culprits_out = 2;

bool is_withdrawal(const route_change &change) { return !change.egress.has_value(); }

}  // namespace

bool switch_agent::has_to_wait(clock_time now) const {
  return !engine_.in_step() || now < retry_at_ || (parting_.got_on && steady_clock::now() >= parting_.end);
}

void switch_agent::run_changes(std::vector<route_change> changes, clock_time now, int culprits_out) {
  if (has_to_wait(now)) {  // since another part of the same changes
    book_.give_back(changes);
    return;
  }
  if (parting_.pools_are_full) {
    leave_out_new(changes);
  }
  const table_batch batch = batch_for_routes(changes, engine_.tables(), engine_.policy());
  for (const route_change &change : changes) {
    aside_.erase(change.prefix);
  }
  if (batch.empty()) {
    return;
  }
  const auto began = steady_clock::now();
  const batch_result result = engine_.run(batch);
  if (result.status == batch_status::library_refused) {
    ++counters_.library_refusals;
    split(std::move(changes), batch, result, now, culprits_out);
    return;
  }
  settle(changes, result, began);
  take(result, now);
  if (result.status == batch_status::switch_refused) {
    withdrawals_first_ = std::any_of(changes.begin(), changes.end(), is_withdrawal) &&
                         !std::all_of(changes.begin(), changes.end(), is_withdrawal);
  }
}

void switch_agent::settle(const std::vector<route_change> &changes, const batch_result &result, clock_time began) {
  if (result.status == batch_status::journal_failed || result.status == batch_status::switch_refused) {
    book_.give_back(changes);
    return;
  }
  parting_.got_on = true;
  const auto now = steady_clock::now();
  counters_.changes += changes.size();
  aside_may_fit_ |= !aside_.empty() && std::any_of(changes.begin(), changes.end(), is_withdrawal);
  if (result.status == batch_status::done) {
    for (const route_change &change : changes) {
      watch_.route_done(now - change.since);
    }
    watch_.batch_done(now - began, result);
  }
}

void switch_agent::split(std::vector<route_change> changes, const table_batch &batch, const batch_result &result,
                         clock_time now, int culprits_out) {
  const std::vector<zel_v6comp_table_change> &refused = batch[result.operation].changes;
  if (changes.size() == 1) {
    parting_.pools_are_full |= result.refusal == ZEL_V6COMP_TABLE_E_POOLS;
    put_aside(changes.front().prefix, result.reason);
    return;
  }
  if (result.record < refused.size() && culprits_out < most_culprits_out) {
    const ip_prefix culprit = prefix_of(refused[result.record].address, refused[result.record].length);
    const auto at = std::find_if(changes.begin(), changes.end(),
                                 [&culprit](const route_change &change) { return change.prefix == culprit; });
    if (at != changes.end()) {
      const std::vector<route_change> alone{*at};
      changes.erase(at);
      run_changes(std::move(changes), now, culprits_out + 1);
      run_changes(alone, now);
      return;
    }
  }
  const auto withdrawals = std::stable_partition(changes.begin(), changes.end(), is_withdrawal);
  auto middle = withdrawals;
  if (middle == changes.begin() || middle == changes.end()) {
    middle = changes.begin() + static_cast<ptrdiff_t>(changes.size() / 2);
  }
  run_changes({changes.begin(), middle}, now);
  run_changes({middle, changes.end()}, now);
}

void switch_agent::put_aside(const ip_prefix &prefix, const std::string &reason) {
  parting_.got_on = true;
  aside_.insert(prefix);
  lines_aside_.say(log_level::error, fmt::format("{} set aside: {}", v6tool::format_prefix(prefix), reason));
}

// Where not one more prefix fits, trying all others one by one would take minutes.
void switch_agent::leave_out_new(std::vector<route_change> &changes) {
  const auto needs_room = [this](const route_change &change) {
    zel_v6comp_table_row row;
    return !is_withdrawal(change) && !engine_.tables().find(side::destination, change.prefix, row);
  };
  const auto first_new = std::stable_partition(changes.begin(), changes.end(), std::not_fn(needs_room));
  for (auto change = first_new; change != changes.end(); ++change) {
    put_aside(change->prefix, zel_v6comp_table_text(ZEL_V6COMP_TABLE_E_POOLS));
  }
  changes.erase(first_new, changes.end());
}

// A try that does not help is dear: they are parted from all that fits once more.
void switch_agent::try_aside_again(clock_time now) {
  for (const ip_prefix &prefix : std::exchange(aside_, {})) {
    book_.touch(prefix, now);
  }
  aside_may_fit_ = false;
  aside_pause_ = longer(aside_pause_);
  aside_retry_at_ = now + aside_pause_;
}

}  // namespace v6agent
