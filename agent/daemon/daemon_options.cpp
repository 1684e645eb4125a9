// SPDX-License-Identifier: Apache-2.0
#include "daemon_options.h"

#include <net/if.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <utility>

#include "zel_v6comp.h"

namespace v6agent {

namespace {

bool parse_number(std::string_view text, uint32_t &out) {
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), out);
  return fault == std::errc{} && end == text.data() + text.size() && !text.empty();
}

// INTERFACE=PORT, the interface by index or by the name that it has here.
std::string take_port(const std::string &text, daemon_options &options) {
  const size_t equals = text.find('=');
  uint32_t interface = 0;
  uint32_t port = 0;
  if (equals == std::string::npos || !parse_number(std::string_view(text).substr(equals + 1), port) || port > 65535) {
    return text + ": INTERFACE=PORT is expected, the port 0 to 65535";
  }
  const std::string name = text.substr(0, equals);
  if (!parse_number(name, interface)) {
    interface = if_nametoindex(name.c_str());
  }
  if (interface == 0) {
    return name + ": no such interface";
  }
  options.ports[interface] = port;
  return "";
}

// Whether there is such a level.
bool parse_level(const std::string &text, log_level &out) {
  constexpr std::pair<std::string_view, log_level> levels[] = {{"error", log_level::error},
                                                               {"warning", log_level::warning},
                                                               {"notice", log_level::notice},
                                                               {"info", log_level::info},
                                                               {"debug", log_level::debug}};
  const auto *found = std::find_if(std::begin(levels), std::end(levels), [&](auto &l) { return l.first == text; });
  out = found == std::end(levels) ? out : found->second;
  return found != std::end(levels);
}

// As they are given; what they mean is found when all options are there.
struct option_texts {
  std::vector<std::string> ports;
  std::string rules_format = "auto";
  std::string level = "info";
};

// What is wrong with them, "" = nothing.
std::string take_texts(const option_texts &texts, daemon_options &options) {
  for (const std::string &port : texts.ports) {
    if (const std::string fault = take_port(port, options); !fault.empty()) {
      return "--port " + fault;
    }
  }
  if (!v6tool::parse_rules_format(texts.rules_format, options.rules_options.format)) {
    return "--rules-format " + texts.rules_format + ": auto, nft, ip6tables or csv is expected";
  }
  if (!parse_level(texts.level, options.level)) {
    return "--log-level " + texts.level + ": error, warning, notice, info or debug is expected";
  }
  return "";
}

void add_options(CLI::App &app, daemon_options &options, option_texts &texts) {
  app.set_config("--config", "", "Options from a file, one NAME=VALUE a line");
  auto *feed = app.add_option_group("feed", "Where routes come from: one of these");
  feed->add_option("--fpm", options.fpm, "A routing daemon that connects to ADDRESS:PORT and speaks FPM over netlink");
  feed->add_flag("--kernel", options.kernel, "The kernel's IPv6 routes");
  feed->add_option("--table", options.table, "A table in a file, read again when it changes");
  feed->require_option(1);
  auto *out = app.add_option_group("switch", "Where entries go: one of these");
  out->add_option("--openflow", options.openflow, "A bridge of Open vSwitch, or a connection to a switch");
  out->add_option("--trace", options.trace, "Lines in a file, which also is the switch's memory; - is standard output");
  out->require_option(1);
  app.add_option("--rules", options.rules, "Rules: nftables JSON, ip6tables-save or CSV. Without: all is permitted");
  app.add_option("--rules-format", texts.rules_format, "auto, nft, ip6tables or csv")->capture_default_str();
  app.add_option("--chain", options.rules_options.chain, "The chain to take from a file of rules");
  app.add_option("--journal", options.journal, "The history, an SQLite file")->capture_default_str();
  app.add_option("--control", options.control, "The socket for v6compctl")->capture_default_str();
  app.add_option("--metrics", options.metrics, "ADDRESS:PORT of /metrics and /healthz; empty: none")
      ->capture_default_str();
  app.add_option("--port", texts.ports, "INTERFACE=PORT: routes by this interface leave by this port of the switch");
  app.add_option("--other-port", options.other_port, "The port for all other interfaces")
      ->capture_default_str()
      ->check(CLI::Range(0, 65535));
  app.add_option("--gather-ms", options.gather_ms, "From the first change to its batch")
      ->capture_default_str()
      ->check(CLI::Range(0, 60000));
  app.add_option("--check-s", options.check_s, "From one look at the switch's entries to the next; 0: never")
      ->capture_default_str()
      ->check(CLI::Range(0, 86400));
  app.add_option("--quiet-ms", options.quiet_ms, "FPM: so long without a route ends the first table")
      ->capture_default_str()
      ->check(CLI::Range(100, 600000));
  app.add_option("--expected-prefixes", options.expected_prefixes, "Most prefixes of both tables together")
      ->capture_default_str()
      ->check(CLI::Range(1024, 8000000));
  app.add_option("--most-routes", options.most_routes, "Routes beyond are left out, and said")->capture_default_str();
  app.add_option("--move-limit", options.move_limit, "Most prefixes that one batch may move; 0: any number")
      ->capture_default_str();
  app.add_option("--kernel-table", options.kernel_table, "The routing table to take routes of")->capture_default_str();
  app.add_option("--log-level", texts.level, "error, warning, notice, info or debug")->capture_default_str();
  app.set_version_flag("--version", std::string("v6compd ") + zel_v6comp_version());
}

}  // namespace

std::optional<daemon_options> parse_daemon_options(int argc, char **argv, int &exit_status) {
  CLI::App app("Keep a switch's narrow entries equal to a routing table and a set of rules", "v6compd");
  daemon_options options;
  option_texts texts;
  add_options(app, options, texts);
  exit_status = 2;
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    exit_status = app.exit(error) == 0 ? 0 : 2;
    return std::nullopt;
  }
  if (const std::string fault = take_texts(texts, options); !fault.empty()) {
    say(log_level::error, fault);
    return std::nullopt;
  }
  return options;
}

}  // namespace v6agent
