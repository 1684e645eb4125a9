// SPDX-License-Identifier: Apache-2.0
// option_parser.h - what commands ask of the option parser.
//
// The parser's own header takes seconds to compile wherever it is included, so option_parser.cpp alone does. Every
// target is written while the command line is parsed and outlives the parser.
#ifndef OPTION_PARSER_H
#define OPTION_PARSER_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool_failure.h"

namespace CLI {
class App;
}

namespace v6tool {

// What main runs once the command line has been understood: returns an exit code.
using command = std::function<exit_code()>;

// The parser of the whole command line: `add_commands` gives it its subcommands, each of which stores its work in
// the command that it is handed. Nothing is chosen when the command line asks for no work: help, or a fault.
struct parsed_line {
  command chosen;
  exit_code code = exit_good;  // where nothing is chosen, and what is said then on standard output and error
  std::string data;
  std::string talk;
};
parsed_line parse_command_line(int argc, char **argv, const std::string &purpose, const std::string &version,
                               const std::function<void(CLI::App &app, command &chosen)> &add_commands);

// A subcommand; `work` is stored in `chosen` when it is given.
CLI::App &add_command(CLI::App &app, const std::string &name, const std::string &purpose, command &chosen,
                      command work);
void add_footer(CLI::App &sub, const std::string &text);

void add_flag(CLI::App &sub, const std::string &names, bool &target, const std::string &help);
void add_required_argument(CLI::App &sub, const std::string &name, std::string &target, const std::string &help);
void add_arguments(CLI::App &sub, const std::string &name, std::vector<std::string> &target, const std::string &help);

// A value as text; `type` is what the help calls it.
void add_text_option(CLI::App &sub, const std::string &names, std::string &target, const std::string &type,
                     const std::string &help);

// A number from `least` to `most`, both included.
struct number_limits {
  uint32_t least;
  uint32_t most;
};
void add_number_option(CLI::App &sub, const std::string &names, uint32_t &target, number_limits limits,
                       const std::string &type, const std::string &help);
// A number whose default, the target as it is now, stands in the help.
void add_number_option(CLI::App &sub, const std::string &names, uint32_t &target, const std::string &help);
void add_number_option(CLI::App &sub, const std::string &names, uint64_t &target, const std::string &help);

// Options of a group of their own in the help.
struct grouped_option {
  std::string names;
  std::string group;
  std::string help;
};
void add_flag(CLI::App &sub, const grouped_option &option, bool &target);
void add_number_option(CLI::App &sub, const grouped_option &option, uint64_t &target);
void add_number_option(CLI::App &sub, const grouped_option &option, int32_t &target, int32_t most);
void add_number_option(CLI::App &sub, const grouped_option &option, std::optional<uint32_t> &target);
// `fault_of` answers "" for good text, else what is expected.
void add_text_option(CLI::App &sub, const grouped_option &option, std::string &target, const std::string &type,
                     std::string (*fault_of)(const std::string &text));

// A value of a few names.
struct named_values {
  std::string names;   // "text|json|..."
  std::string chosen;  // the default
  std::string fault;   // what is said of any other
};
void add_named_option(CLI::App &sub, const std::string &option, const named_values &values,
                      const std::function<bool(const std::string &)> &is_one,
                      const std::function<void(const std::string &)> &take, const std::string &help);
void add_named_option(CLI::App &sub, const std::string &option, std::string &target,
                      const std::vector<std::string> &names, const std::string &help);

// An option with a value of a few names; that of `target` as it is now is the default.
template <class Value>
void add_choice(CLI::App &sub, const std::string &option, Value &target,
                const std::vector<std::pair<std::string, Value>> &choices, const std::string &help) {
  named_values values{"", "", "no such choice"};
  for (const auto &[name, value] : choices) {
    values.names += (values.names.empty() ? "" : "|") + name;
    values.chosen = value == target ? name : values.chosen;
  }
  const std::map<std::string, Value> by_name(choices.begin(), choices.end());
  add_named_option(
      sub, option, values, [by_name](const std::string &text) { return by_name.contains(text); },
      [&target, by_name](const std::string &text) { target = by_name.at(text); }, help);
}

}  // namespace v6tool

#endif
