// live_options.h - what the commands that apply histories take.
#ifndef LIVE_OPTIONS_H
#define LIVE_OPTIONS_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "history_reader.h"
#include "live_table.h"
#include "tool_options.h"

namespace v6tool {

// An option with a value of a few names; that of `target` as it is now is the default. `target` outlives the parser.
template <class Value>
void add_choice(CLI::App &sub, const std::string &option, Value &target,
                const std::vector<std::pair<std::string, Value>> &choices, const std::string &help) {
  std::string names;
  std::string default_name;
  for (const auto &[name, value] : choices) {
    names += (names.empty() ? "" : "|") + name;
    default_name = value == target ? name : default_name;
  }
  const std::map<std::string, Value> by_name(choices.begin(), choices.end());
  sub.add_option_function<std::string>(
         option, [&target, by_name](const std::string &text) { target = by_name.at(text); }, help)
      ->check(CLI::Validator(
          [by_name](const std::string &text) { return by_name.contains(text) ? "" : "no such choice"; }, names))
      ->default_str(default_name);
}

void add_history_argument(CLI::App &sub, std::string &history);
void add_live_options(CLI::App &sub, live_options &options);

// Read a history; its faults go to standard error.
update_history read_command_history(const std::string &path);

}  // namespace v6tool

#endif
