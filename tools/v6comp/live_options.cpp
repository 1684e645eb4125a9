#include "live_options.h"

#include <map>

#include "zel_v6comp.h"

namespace v6tool {

void add_history_argument(CLI::App &sub, std::string &history) {
  sub.add_option("history", history, "batches of changes to the table, - for standard input")
      ->required()
      ->type_name("HISTORY");
}

void add_live_options(CLI::App &sub, live_options &options) {
  sub.add_option("--on-refusal", options.on_refusal, "when a batch is refused: recompress the table, stop, or skip it")
      ->transform(
          CLI::CheckedTransformer(std::map<std::string, refusal_action>{{"recompress", refusal_action::recompress},
                                                                        {"stop", refusal_action::stop},
                                                                        {"skip", refusal_action::skip}},
                                  CLI::ignore_case))
      ->type_name("recompress|stop|skip")
      ->default_str("recompress");
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
