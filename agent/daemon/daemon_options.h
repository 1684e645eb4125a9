// SPDX-License-Identifier: Apache-2.0
// daemon_options.h - the command line and the configuration file of v6compd.
#ifndef DAEMON_OPTIONS_H
#define DAEMON_OPTIONS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent_log.h"
#include "rules_reader.h"

namespace v6agent {

struct daemon_options {
  // one feed
  std::string fpm;  // address to listen at
  bool kernel = false;
  std::string table;  // path
  // one switch
  std::string openflow;  // bridge
  std::string trace;     // path

  std::string rules;  // path; "" = every packet is permitted
  v6tool::rules_options rules_options;
  std::string journal = "/var/lib/v6compd/journal";
  std::string control = "/run/v6compd/control";
  std::string metrics = "127.0.0.1:9469";  // "" = none
  std::map<uint32_t, uint32_t> ports;      // interface index -> switch port
  uint32_t other_port = 1;
  uint32_t gather_ms = 50;
  uint32_t check_s = 10;
  uint32_t quiet_ms = 2000;
  uint32_t expected_prefixes = 262144;
  uint32_t most_routes = 250000;
  uint32_t move_limit = 0;
  uint32_t kernel_table = 254;
  log_level level = log_level::info;
};

// None: the process has to end with `exit_status`; what there was to say has been said.
std::optional<daemon_options> parse_daemon_options(int argc, char **argv, int &exit_status);

}  // namespace v6agent

#endif
