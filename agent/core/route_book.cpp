// SPDX-License-Identifier: Apache-2.0
#include "route_book.h"

#include <algorithm>

namespace v6agent {

void route_book::mark(const ip_prefix &prefix, clock_time now) {
  if (pending_.empty()) {
    oldest_ = now;
  }
  pending_.try_emplace(prefix, now);
}

bool route_book::announce(const ip_prefix &prefix, uint32_t egress, clock_time now, size_t limit) {
  if (resync_) {
    unseen_.erase(prefix);
  }
  const auto at = wanted_.lower_bound(prefix);
  if (at != wanted_.end() && at->first == prefix) {
    if (at->second != egress) {
      at->second = egress;
      mark(prefix, now);
    }
    return true;
  }
  if (wanted_.size() >= limit) {
    return false;
  }
  wanted_.emplace_hint(at, prefix, egress);
  mark(prefix, now);
  return true;
}

void route_book::withdraw(const ip_prefix &prefix, clock_time now) {
  if (resync_) {
    unseen_.erase(prefix);
  }
  if (wanted_.erase(prefix) != 0) {
    mark(prefix, now);
  }
}

void route_book::begin_resync() {
  unseen_.clear();
  for (const auto &[prefix, egress] : wanted_) {
    unseen_.insert(unseen_.end(), prefix);
  }
  resync_ = true;
}

void route_book::end_resync(clock_time now) {
  const std::set<ip_prefix> gone = std::move(unseen_);
  unseen_.clear();
  resync_ = false;
  for (const ip_prefix &prefix : gone) {
    withdraw(prefix, now);
  }
}

std::vector<route_change> route_book::take(size_t most, which kinds) {
  std::vector<route_change> taken;
  for (auto at = pending_.begin(); at != pending_.end() && taken.size() < most;) {
    const auto wanted = wanted_.find(at->first);
    if (kinds == which::withdrawals && wanted != wanted_.end()) {
      ++at;
      continue;
    }
    taken.push_back({at->first, wanted == wanted_.end() ? std::nullopt : std::optional(wanted->second), at->second});
    at = pending_.erase(at);
  }
  if (!pending_.empty()) {
    oldest_ = std::min_element(pending_.begin(), pending_.end(), [](const auto &a, const auto &b) {
                return a.second < b.second;
              })->second;
  }
  return taken;
}

void route_book::give_back(const std::vector<route_change> &changes) {
  for (const route_change &change : changes) {
    oldest_ = pending_.empty() ? change.since : std::min(oldest_, change.since);
    const auto [at, is_new] = pending_.try_emplace(change.prefix, change.since);
    at->second = std::min(at->second, change.since);
  }
}

}  // namespace v6agent
