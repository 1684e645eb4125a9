#include "live_options.h"

#include "zel_v6comp.h"

namespace v6tool {

void add_history_argument(CLI::App &sub, std::string &history) {
  sub.add_option("HISTORY", history, "file of batches of changes, - for standard input")->required();
}

void add_live_options(CLI::App &sub, live_options &options) {
  add_choice<refusal_action>(
      sub, "--on-refusal", options.on_refusal,
      {{"recompress", refusal_action::recompress}, {"stop", refusal_action::stop}, {"skip", refusal_action::skip}},
      "when a batch is refused: compress the whole table anew, stop, or leave the batch out");
  sub.add_option_function<std::string>(
         "--policy", [&options](const std::string &name) { options.policy = find_policy(name); },
         "in which requests a batch is sent, see below")
      ->check(CLI::Validator([](const std::string &name) { return find_policy(name) ? "" : "no such policy"; },
                             policy_names()))
      ->default_str(default_policy().name);
  sub.add_flag("--as-written", options.as_written, "turn safe updates off");
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
