// SPDX-License-Identifier: Apache-2.0
// v6compd - keeps a switch equal to a routing table and a set of rules, on 64-bit keys.
//
// One thread does all the work; two more answer HTTP. Exit: 0 asked to stop, 2 usage, 3 it could not be done.
#include <fmt/format.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <memory>
#include <stdexcept>

#include "agent_log.h"
#include "agent_metrics.h"
#include "control_answers.h"
#include "control_server.h"
#include "daemon_options.h"
#include "early_warnings.h"
#include "openflow_driver.h"
#include "policy_reader.h"
#include "route_feed.h"
#include "switch_agent.h"
#include "trace_driver.h"

namespace {

using namespace v6agent;
using std::chrono::steady_clock;

constexpr auto figures_pause = std::chrono::seconds(2);

// Routes as they come go to the agent.
class agent_sink final : public route_sink {
 public:
  agent_sink(switch_agent &agent, agent_metrics *metrics) : agent_(agent), metrics_(metrics) {}
  void announce(const ip_prefix &prefix, uint32_t egress) override {
    agent_.announce(prefix, egress, steady_clock::now());
  }
  void withdraw(const ip_prefix &prefix) override { agent_.withdraw(prefix, steady_clock::now()); }
  void begin_resync() override { agent_.begin_resync(); }
  void end_resync() override { agent_.end_resync(steady_clock::now()); }
  void lost() override { agent_.feed_lost(); }
  size_t awaited() const override { return agent_.book().awaited(); }
  void bad_input(const char *what) override {
    lines_.say(log_level::error, fmt::format("left out: {}", what));
    if (metrics_ != nullptr) {
      metrics_->bad_input();
    }
  }

 private:
  switch_agent &agent_;
  agent_metrics *metrics_;
  line_limit lines_{std::chrono::seconds(5)};
};

std::unique_ptr<switch_driver> make_driver(const daemon_options &options) {
  if (!options.openflow.empty()) {
    openflow_options openflow;
    openflow.bridge = options.openflow;
    return std::make_unique<openflow_driver>(openflow);
  }
  return std::make_unique<trace_driver>(options.trace);
}

std::unique_ptr<route_feed> make_feed(event_loop &loop, route_sink &sink, const daemon_options &options) {
  feed_settings settings;
  settings.rules.egress = {options.ports, options.other_port};
  settings.rules.table = options.kernel_table;
  settings.quiet = std::chrono::milliseconds(options.quiet_ms);
  if (!options.fpm.empty()) {
    return make_fpm_feed(loop, sink, settings, options.fpm);
  }
  return options.kernel ? make_kernel_feed(loop, sink, settings) : make_file_feed(loop, sink, settings, options.table);
}

const packet_policy permit_all{{ip_prefix{}, ip_prefix{}, {packet_match{}}, rule_action::permit}};

// Faults are said; then the rules that stand stay in force.
std::vector<std::string> reload_rules(const daemon_options &options, switch_agent &agent) {
  packet_policy policy = permit_all;
  std::vector<std::string> faults;
  if (!options.rules.empty()) {
    faults = read_policy(options.rules, options.rules_options, policy);
  }
  if (faults.empty()) {
    agent.set_policy(std::move(policy));
    return faults;
  }
  for (const std::string &fault : faults) {
    say(log_level::error, fault);
  }
  agent.policy_fault();
  say(log_level::error, "the rules cannot be read: the old ones stay in force");
  return faults;
}

room_figures room_of(const switch_agent &agent, const daemon_options &options) {
  const table_pair &tables = agent.engine().tables();
  return {tables.figures(side::source), tables.figures(side::destination), agent.book().routes(), options.most_routes};
}

// SIGHUP, SIGINT and SIGTERM as a file. Blocked for all threads, so before any starts.
int open_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    sigaddset(&set, number);
  }
  sigprocmask(SIG_BLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_IGN);
  return signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
}

class service {
 public:
  explicit service(const daemon_options &options);
  ~service();
  service(const service &) = delete;
  service &operator=(const service &) = delete;
  void run();

 private:
  void take_signal();
  void show_figures();
  static void still_alive() { sd_notify(0, "WATCHDOG=1"); }

  const daemon_options &options_;
  int signals_;
  bool stop_ = false;
  event_loop loop_;
  std::unique_ptr<agent_metrics> metrics_;
  batch_journal journal_;  // its lock keeps a second agent away
  table_pair tables_;
  std::unique_ptr<switch_driver> driver_;
  switch_engine engine_;
  switch_agent agent_;
  agent_sink sink_;
  std::unique_ptr<control_server> control_;
  std::unique_ptr<route_feed> feed_;
  early_warnings warnings_;
  steady_clock::duration watchdog_ = std::chrono::hours(1);
};

agent_settings settings_of(const daemon_options &options) {
  agent_settings settings;
  settings.gather = std::chrono::milliseconds(options.gather_ms);
  settings.most_routes = options.most_routes;
  settings.check = std::chrono::seconds(options.check_s);
  return settings;
}

agent_watch watch_of(agent_metrics *metrics) {
  agent_watch watch;
  if (metrics != nullptr) {
    watch.route_done = [metrics](auto took) { metrics->route_done(took); };
    watch.batch_done = [metrics](auto took, const batch_result &result) { metrics->batch_done(took, result); };
  }
  return watch;
}

service::service(const daemon_options &options)
    : options_(options),
      signals_(open_signals()),
      metrics_(options.metrics.empty() ? nullptr : std::make_unique<agent_metrics>(options.metrics)),
      journal_(options.journal),
      tables_({options.expected_prefixes, options.move_limit}),
      driver_(make_driver(options)),
      engine_(tables_, journal_, *driver_, {still_alive}),
      agent_(engine_, settings_of(options), watch_of(metrics_.get())),
      sink_(agent_, metrics_.get()) {
  loop_.watch(signals_, EPOLLIN, [this](uint32_t) { take_signal(); });
  agent_.recover();
  reload_rules(options_, agent_);
  control_ = std::make_unique<control_server>(loop_, options.control, [this](std::string_view request) {
    return answer_request(request, agent_, {[this] { return reload_rules(options_, agent_); }});
  });
  feed_ = make_feed(loop_, sink_, options_);
  uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) > 0) {
    watchdog_ = std::chrono::microseconds(microseconds / 3);
  }
}

service::~service() { close(signals_); }

void service::take_signal() {
  signalfd_siginfo info;
  while (read(signals_, &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGHUP) {
      say(log_level::notice, "asked to read the rules again");
      reload_rules(options_, agent_);
    } else {
      say(log_level::notice, "asked to stop; the switch keeps what it has");
      stop_ = true;
    }
  }
}

void service::show_figures() {
  const std::string trouble = agent_.trouble();
  agent_metrics::set_health(trouble);
  if (metrics_ != nullptr) {
    metrics_->update(agent_);
  }
  warnings_.look(room_of(agent_, options_));
  sd_notifyf(0, "STATUS=%s; feed %s, %zu routes, %zu rules", trouble.empty() ? "good" : trouble.c_str(),
             name_of(agent_.feed()), agent_.book().routes(), engine_.policy().size());
}

void service::run() {
  sd_notify(0, "READY=1");
  steady_clock::time_point next_figures{};
  while (!stop_) {
    const steady_clock::time_point now = steady_clock::now();
    steady_clock::time_point next = std::min(agent_.tick(now), feed_->tick(now));
    if (now >= next_figures) {
      show_figures();
      next_figures = now + figures_pause;
    }
    still_alive();
    next = std::min({next, next_figures, now + watchdog_});
    loop_.run_once(next);
  }
  sd_notify(0, "STOPPING=1");
}

}  // namespace

int main(int argc, char **argv) {
  int exit_status = 0;
  const std::optional<daemon_options> options = parse_daemon_options(argc, argv, exit_status);
  if (!options) {
    return exit_status;
  }
  set_log(options->level, getenv("JOURNAL_STREAM") != nullptr);
  try {
    service(*options).run();
    return 0;
  } catch (const std::exception &error) {
    say(log_level::error, error.what());
    return 3;
  }
}
