// SPDX-License-Identifier: Apache-2.0
// route_book.h - the routes that the feed wants, and which of them the switch does not have yet.
//
// Many changes of one prefix are one in the end: what is pending grows with the prefixes, not with the changes.
#ifndef ROUTE_BOOK_H
#define ROUTE_BOOK_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "switch_entries.h"

namespace v6agent {

using clock_time = std::chrono::steady_clock::time_point;

// A route that comes, or one that goes.
struct route_change {
  ip_prefix prefix;
  std::optional<uint32_t> egress;  // none: it goes
  clock_time since;                // when the feed said so first
};

class route_book {
 public:
  // False: the prefix is new and there are `limit` routes already; nothing has changed.
  bool announce(const ip_prefix &prefix, uint32_t egress, clock_time now, size_t limit = SIZE_MAX);
  void withdraw(const ip_prefix &prefix, clock_time now);

  // Between the two, the feed announces all that it has; what it does not, goes.
  void begin_resync();
  void end_resync(clock_time now);

  // Between the two: routes that the feed has not spoken of.
  size_t awaited() const { return unseen_.size(); }

  // The routes are those that the switch has: how an agent begins.
  void assume(const ip_prefix &prefix, uint32_t egress) { wanted_.insert_or_assign(prefix, egress); }

  enum class which { all, withdrawals };
  // Pending changes, at most `most`; they are no longer pending.
  std::vector<route_change> take(size_t most, which kinds = which::all);
  // They are pending again, unless the feed has spoken since.
  void give_back(const std::vector<route_change> &changes);
  // One prefix is pending again, whatever is known of it.
  void touch(const ip_prefix &prefix, clock_time now) { pending_.try_emplace(prefix, now); }

  size_t routes() const { return wanted_.size(); }
  size_t pending() const { return pending_.size(); }
  // Since when something has been pending; only where pending() is not 0.
  clock_time oldest() const { return oldest_; }
  const std::map<ip_prefix, uint32_t> &wanted() const { return wanted_; }

 private:
  void mark(const ip_prefix &prefix, clock_time now);

  std::map<ip_prefix, uint32_t> wanted_;  // prefix -> egress
  std::map<ip_prefix, clock_time> pending_;
  clock_time oldest_{};
  std::set<ip_prefix> unseen_;  // during a resync: what the feed has not announced yet
  bool resync_ = false;
};

}  // namespace v6agent

#endif
