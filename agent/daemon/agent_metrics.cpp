// SPDX-License-Identifier: Apache-2.0
#include "agent_metrics.h"

#include <CivetServer.h>
#include <prometheus/counter.h>
#include <prometheus/exposer.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>

namespace v6agent {

namespace {

using prometheus::BuildCounter;
using prometheus::BuildGauge;
using prometheus::BuildHistogram;
using prometheus::Registry;

// The HTTP threads ask, the agent's thread tells.
std::mutex health_lock;
std::string health_trouble = "starting";

int answer_health(mg_connection *connection) {
  const mg_request_info *request = mg_get_request_info(connection);
  if (std::strcmp(request->local_uri, "/healthz") != 0) {
    return 0;  // somebody else's
  }
  std::string trouble;
  {
    const std::lock_guard<std::mutex> lock(health_lock);
    trouble = health_trouble;
  }
  const std::string body = (trouble.empty() ? "good" : trouble) + "\n";
  mg_printf(connection, "HTTP/1.1 %s\r\nContent-Type: text/plain\r\nContent-Length: %zu\r\nConnection: close\r\n\r\n%s",
            trouble.empty() ? "200 OK" : "503 Service Unavailable", body.size(), body.c_str());
  return trouble.empty() ? 200 : 503;
}

CivetCallbacks health_callbacks() {
  CivetCallbacks callbacks;
  callbacks.begin_request = answer_health;
  return callbacks;
}

const prometheus::Histogram::BucketBoundaries seconds{0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 30};
const prometheus::Histogram::BucketBoundaries counts{1, 3, 10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000, 300000};

}  // namespace

struct agent_metrics::families {
  std::shared_ptr<Registry> registry = std::make_shared<Registry>();
  CivetCallbacks callbacks = health_callbacks();
  std::unique_ptr<prometheus::Exposer> exposer;
  std::map<std::string, prometheus::Counter *> counters;
  std::map<std::string, prometheus::Gauge *> gauges;
  prometheus::Histogram *route_latency = nullptr;
  prometheus::Histogram *batch_time = nullptr;
  prometheus::Histogram *batch_writes = nullptr;
  prometheus::Counter *bad_inputs = nullptr;

  // Counters are kept by the agent: bring ours up to them.
  void count(const char *name, const char *help, uint64_t value) {
    auto &counter = counters[name];
    if (counter == nullptr) {
      counter = &BuildCounter().Name(name).Help(help).Register(*registry).Add({});
    }
    counter->Increment(static_cast<double>(value) - counter->Value());
  }
  void set(const char *name, const char *help, double value, const prometheus::Labels &labels = {}) {
    std::string key = name;
    for (const auto &[label, text] : labels) {
      key += "|" + label + "=" + text;
    }
    auto &gauge = gauges[key];
    if (gauge == nullptr) {
      gauge = &BuildGauge().Name(name).Help(help).Register(*registry).Add(labels);
    }
    gauge->Set(value);
  }
  void set_tables(const switch_agent &agent);
  void count_all(const agent_counters &now);
};

agent_metrics::agent_metrics(const std::string &address) : families_(std::make_unique<families>()) {
  try {
    families_->exposer = std::make_unique<prometheus::Exposer>(address, 2, &families_->callbacks);
  } catch (const std::exception &error) {
    throw std::runtime_error("metrics at " + address + ": " + error.what());
  }
  Registry &registry = *families_->registry;
  families_->route_latency = &BuildHistogram()
                                  .Name("v6comp_route_to_switch_seconds")
                                  .Help("From a route's arrival to the switch's acknowledgement")
                                  .Register(registry)
                                  .Add({}, seconds);
  families_->batch_time = &BuildHistogram()
                               .Name("v6comp_batch_seconds")
                               .Help("A batch: journal, tables and switch")
                               .Register(registry)
                               .Add({}, seconds);
  families_->batch_writes =
      &BuildHistogram().Name("v6comp_batch_writes").Help("Writes to the switch").Register(registry).Add({}, counts);
  families_->bad_inputs = &BuildCounter()
                               .Name("v6comp_bad_inputs_total")
                               .Help("Frames, messages and files that made no sense")
                               .Register(registry)
                               .Add({});
  families_->exposer->RegisterCollectable(families_->registry);
}

agent_metrics::~agent_metrics() = default;

void agent_metrics::route_done(std::chrono::steady_clock::duration from_route_to_switch) {
  families_->route_latency->Observe(std::chrono::duration<double>(from_route_to_switch).count());
}

void agent_metrics::batch_done(std::chrono::steady_clock::duration took, const batch_result &result) {
  families_->batch_time->Observe(std::chrono::duration<double>(took).count());
  families_->batch_writes->Observe(static_cast<double>(result.writes));
}

void agent_metrics::bad_input() { families_->bad_inputs->Increment(); }

void agent_metrics::families::count_all(const agent_counters &now) {
  count("v6comp_batches_total", "Batches that the switch has", now.batches);
  count("v6comp_route_changes_total", "Changes of routes in batches", now.changes);
  count("v6comp_switch_writes_total", "Entries written to the switch", now.writes);
  count("v6comp_moved_prefixes_total", "Prefixes that got another code", now.moved);
  count("v6comp_early_removals_total", "Removals that had to come before their time", now.early);
  count("v6comp_library_refusals_total", "Batches, or parts of them, that the library refused", now.library_refusals);
  count("v6comp_switch_refusals_total", "Batches that the switch refused", now.switch_refusals);
  count("v6comp_switch_losses_total", "Batches that the switch did not answer", now.switch_losses);
  count("v6comp_journal_faults_total", "Batches that could not be written to the journal", now.journal_faults);
  count("v6comp_reconciliations_total", "Times that the switch was read and compared", now.reconciliations);
  count("v6comp_foreign_entries_total", "Entries that somebody else had changed", now.foreign_entries);
  count("v6comp_compactions_total", "Compactions", now.compactions);
  count("v6comp_routes_over_limit_total", "Routes left out since there are too many", now.routes_over_limit);
  count("v6comp_policy_reloads_total", "Policies put in force", now.policy_reloads);
  count("v6comp_policy_refusals_total", "Policies that were refused or could not be read", now.policy_refusals);
}

void agent_metrics::families::set_tables(const switch_agent &agent) {
  for (const side which : both_sides) {
    const zel_v6comp_table_stats_record figures = agent.engine().tables().figures(which);
    const prometheus::Labels labels{{"table", name_of(which)}};
    set("v6comp_prefixes", "Prefixes in a table", figures.prefixes, labels);
    set("v6comp_bits_left", "Bits of 64 that the tightest code leaves", 64.0 - figures.bits_needed, labels);
    set("v6comp_deepest_code_bits", "Bits of the longest code in use", figures.deepest_code, labels);
    for (int i = 0; i < ZEL_V6COMP_TABLE_POOLS && which == side::source; ++i) {
      const prometheus::Labels pool{{"pool", pool_names[i]}};
      set("v6comp_pool_size", "Elements that a pool has", figures.pools[i].size, pool);
      set("v6comp_pool_in_use", "Elements of a pool that are in use", figures.pools[i].in_use, pool);
    }
  }
}

void agent_metrics::update(const switch_agent &agent) {
  families_->count_all(agent.counters());
  families_->set_tables(agent);
  families_->set("v6comp_routes", "Routes that the feed wants", static_cast<double>(agent.book().routes()));
  families_->set("v6comp_pending_changes", "Changes that are not in a batch yet",
                 static_cast<double>(agent.book().pending()));
  families_->set("v6comp_set_aside", "Routes that the library refused", static_cast<double>(agent.set_aside()));
  families_->set("v6comp_rules", "Rules in force", static_cast<double>(agent.engine().policy().size()));
  families_->set("v6comp_lookup_entries", "Entries in the switch's lookup tables",
                 static_cast<double>(agent.engine().image().lookups.size()));
  families_->set("v6comp_rule_entries", "Entries in the switch's rule table",
                 static_cast<double>(agent.engine().image().rules.size()));
  families_->set("v6comp_journal_changes", "Changes in the journal since the last load",
                 static_cast<double>(agent.engine().journal().changes_since_load()));
  families_->set("v6comp_switch_in_step", "1 = the switch holds what it should", agent.engine().in_step() ? 1 : 0);
  for (const feed_state state : {feed_state::down, feed_state::syncing, feed_state::up}) {
    families_->set("v6comp_feed", "1 = the feed is in this state", agent.feed() == state ? 1 : 0,
                   {{"state", name_of(state)}});
  }
}

void agent_metrics::set_health(const std::string &trouble) {
  const std::lock_guard<std::mutex> lock(health_lock);
  health_trouble = trouble;
}

}  // namespace v6agent
