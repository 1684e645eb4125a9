// SPDX-License-Identifier: Apache-2.0
// switch_agent.h - the agent without its sockets: it takes routes and rules, gathers them into batches, and deals with
// whatever refuses them.
//
//   the library refuses a batch   it is parted until the routes at fault stand alone; these are set aside
//   the switch refuses a batch    withdrawals go first; the rest is tried again, later and later
//   the journal cannot be written nothing new until it can; the data plane stays as it is
//   the switch is gone            what is outstanding follows when it is back
#ifndef SWITCH_AGENT_H
#define SWITCH_AGENT_H

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "agent_log.h"
#include "route_book.h"
#include "switch_engine.h"

namespace v6agent {

struct agent_settings {
  std::chrono::milliseconds gather{50};  // from the first change to its batch
  size_t most_changes = 65536;           // of a batch
  size_t most_routes = 250000;
  std::chrono::milliseconds check{10000};           // from one look at the switch to the next; 0 = never
  std::chrono::milliseconds longest_parting{1000};  // of a batch that the library refuses, in one tick
  std::chrono::milliseconds first_retry{500};
  std::chrono::milliseconds last_retry{30000};
  std::chrono::milliseconds compaction_retry{600000};
};

enum class feed_state : uint8_t { down, syncing, up };
constexpr const char *name_of(feed_state state) {
  return state == feed_state::down ? "down" : state == feed_state::syncing ? "syncing" : "up";
}

struct agent_counters {
  uint64_t batches = 0;  // in the switch
  uint64_t changes = 0;  // of routes, in those batches
  uint64_t writes = 0;   // to the switch
  uint64_t moved = 0;    // prefixes that got another code
  uint64_t early = 0;    // removals before their time
  uint64_t library_refusals = 0;
  uint64_t switch_refusals = 0;
  uint64_t journal_faults = 0;
  uint64_t switch_losses = 0;  // nobody answered
  uint64_t reconciliations = 0;
  uint64_t foreign_entries = 0;  // put right by them
  uint64_t compactions = 0;
  uint64_t routes_over_limit = 0;
  uint64_t policy_reloads = 0;
  uint64_t policy_refusals = 0;
};

// Told of what happens, for figures.
struct agent_watch {
  std::function<void(std::chrono::steady_clock::duration from_route_to_switch)> route_done = [](auto) {};
  std::function<void(std::chrono::steady_clock::duration, const batch_result &)> batch_done = [](auto, auto &) {};
};

class switch_agent {
 public:
  switch_agent(switch_engine &engine, agent_settings settings, agent_watch watch = {});

  // Replay and reconcile. A switch that is not there yet is waited for in tick. Throws std::runtime_error.
  void recover();

  // The feed.
  void announce(const ip_prefix &prefix, uint32_t egress, clock_time now);
  void withdraw(const ip_prefix &prefix, clock_time now) { book_.withdraw(prefix, now); }
  void begin_resync();
  void end_resync(clock_time now);
  void feed_lost();

  // Other rules, in force with the next tick. What stands stays in force when they are refused.
  void set_policy(packet_policy policy) { next_policy_ = std::move(policy); }
  // A file that could not be read.
  void policy_fault() { ++counters_.policy_refusals; }

  // Do what is due. Returns when there is something to do again.
  clock_time tick(clock_time now);

  // Read the switch and put right what somebody else has changed, with the next tick.
  void ask_reconciliation() { reconciliation_asked_ = true; }

  // Compress anew with the next tick.
  void ask_compaction() { compaction_asked_ = true; }

  const agent_counters &counters() const { return counters_; }
  const route_book &book() const { return book_; }
  const switch_engine &engine() const { return engine_; }
  feed_state feed() const { return feed_; }
  size_t set_aside() const { return aside_.size(); }
  // "" = all is well; else what keeps the switch from being what it should, in words.
  std::string trouble() const;

 private:
  void check(clock_time now);
  void mend(clock_time now);
  void note(const reconcile_result &result);
  void flush(clock_time now);
  bool has_to_wait(clock_time now) const;
  void run_changes(std::vector<route_change> changes, clock_time now, int culprits_out = 0);
  void settle(const std::vector<route_change> &changes, const batch_result &result, clock_time began);
  void split(std::vector<route_change> changes, const table_batch &batch, const batch_result &result, clock_time now,
             int culprits_out);
  void try_aside_again(clock_time now);
  void put_aside(const ip_prefix &prefix, const std::string &reason);
  void leave_out_new(std::vector<route_change> &changes);
  void run_policy(clock_time now);
  void compact(clock_time now);
  void wait_longer(clock_time now);
  void compare_all(clock_time now);
  void take(const batch_result &result, clock_time now);
  bool has_work(clock_time now) const;
  bool aside_is_due(clock_time now) const { return aside_may_fit_ && now >= aside_retry_at_; }
  std::chrono::milliseconds longer(std::chrono::milliseconds pause) const;

  switch_engine &engine_;
  agent_settings settings_;
  agent_watch watch_;
  route_book book_;
  agent_counters counters_;
  std::optional<packet_policy> next_policy_;
  std::set<ip_prefix> aside_;   // routes that the library refused
  bool aside_may_fit_ = false;  // something has gone since
  clock_time aside_retry_at_{};
  std::chrono::milliseconds aside_pause_{0};
  struct {
    clock_time end{};             // then the rest waits for the next tick
    bool got_on = false;          // a part is done, or a route set aside
    bool pools_are_full = false;  // so there is no room for any other new route
  } parting_;                     // of the changes of this tick
  bool reconciliation_asked_ = false;
  bool compaction_asked_ = false;
  clock_time next_compaction_{};  // the agent's own; after one that failed
  bool withdrawals_first_ = false;
  feed_state feed_ = feed_state::down;
  std::string trouble_;  // of the last batch or reconciliation
  clock_time next_check_{};
  clock_time retry_at_{};
  std::chrono::milliseconds pause_{0};
  // Each counts what it holds back of its own kind.
  line_limit lines_over_limit_{std::chrono::seconds(10)};
  line_limit lines_aside_{std::chrono::seconds(10)};
  line_limit lines_of_batches_{std::chrono::seconds(10)};
};

}  // namespace v6agent

#endif
