// SPDX-License-Identifier: Apache-2.0
#include "live_options.h"

#include "zel_v6comp.h"

namespace v6tool {

void add_history_argument(CLI::App &sub, std::string &history) {
  add_required_argument(sub, "HISTORY", history, "file of batches of changes, - for standard input");
}

void add_live_options(CLI::App &sub, live_options &options) {
  add_choice<refusal_action>(
      sub, "--on-refusal", options.on_refusal,
      {{"recompress", refusal_action::recompress}, {"stop", refusal_action::stop}, {"skip", refusal_action::skip}},
      "when a batch is refused: compress the whole table anew, stop, or leave the batch out");
  add_named_option(
      sub, "--policy", {policy_names(), default_policy().name, "no such policy"},
      [](const std::string &name) { return find_policy(name) != nullptr; },
      [&options](const std::string &name) { options.policy = find_policy(name); },
      "in which requests a batch is sent, see below");
  add_flag(sub, "--as-written", options.as_written, "turn safe updates off");
}

update_history read_command_history(const std::string &path) {
  update_history history;
  read_report report;
  if (!read_history(path, TCAMV6_MAX_PREFIXES, history, report)) {
    throw tool_failure{exit_bad_input, report.faults.lines(), true};
  }
  return history;
}

}  // namespace v6tool
