// SPDX-License-Identifier: Apache-2.0
#include "live_options.h"

#include <fmt/core.h>

#include "batch_policy.h"
#include "prefix_text.h"
#include "weight_check.h"
#include "zel_v6comp.h"
#include "zel_v6comp_table.h"

namespace v6tool {

void add_live_options(command_options &command, live_options &options) {
  command.choice(
      "--on-refusal", options.on_refusal,
      {{"recompress", refusal_action::recompress}, {"stop", refusal_action::stop}, {"skip", refusal_action::skip}});
  command.check_choices("--policy", split_names(policy_names(), '|'));
  command.each("--policy", [&options](const std::string &name) { options.policy = find_policy(name); });
  command.choice("--safe-updates", options.safe_updates, {{"on", true}, {"off", false}});
  command.number("--move-limit", options.move_limit);
}

void check_live_options(const live_options &options) {
  const auto refuse = [](const char *why) { throw tool_failure{exit_bad_input, {why}}; };
  if (options.common.room && options.policy != nullptr) {
    refuse("--policy needs --room off: in room mode a batch is one request, whatever its order");
  }
  if (options.common.room && !options.safe_updates) {
    refuse("--safe-updates off needs --room off: room mode implies safe updates");
  }
  if (!options.common.room && options.move_limit) {
    refuse("--move-limit needs --room on: compatible mode moves nothing");
  }
}

size_t most_changes(bool room) { return room ? size_t{ZEL_V6COMP_TABLE_MAX_RECORDS} : size_t{TCAMV6_MAX_PREFIXES}; }

update_history read_command_history(const std::string &path, const prefix_table &table, bool room) {
  update_history history;
  read_report report;
  if (read_history(path, most_changes(room), history, report) && !room) {
    check_weights(table, history, report);
  }
  take_report(report, false);
  return history;
}

void add_held_deletes(message_list &warnings, const std::string &history, const batch_report &report) {
  for (const held_delete &held : report.held) {
    warnings.add(fmt::format("{}:{}: {} stays in the table: the delete takes {} of its weight of {}", history,
                             held.line, format_prefix(held.prefix), held.taken, held.weight));
  }
}

}  // namespace v6tool
