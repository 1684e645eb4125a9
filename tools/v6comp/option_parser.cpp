// SPDX-License-Identifier: Apache-2.0
#include "option_parser.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace v6tool {

parsed_line parse_command_line(int argc, char **argv, const std::string &purpose, const std::string &version,
                               const std::function<void(CLI::App &app, command &chosen)> &add_commands) {
  CLI::App app(purpose, "v6comp");
  app.set_version_flag("--version", version);
  app.require_subcommand(1);
  parsed_line line;
  add_commands(app, line.chosen);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    line.chosen = nullptr;
    std::ostringstream data;
    std::ostringstream talk;
    line.code = app.exit(error, data, talk) == 0 ? exit_good : exit_bad_input;
    line.data = data.str();
    line.talk = talk.str();
  }
  return line;
}

CLI::App &add_command(CLI::App &app, const std::string &name, const std::string &purpose, command &chosen,
                      command work) {
  CLI::App *sub = app.add_subcommand(name, purpose);
  sub->callback([&chosen, work = std::move(work)] { chosen = work; });
  return *sub;
}

void add_footer(CLI::App &sub, const std::string &text) { sub.footer(text); }

void add_flag(CLI::App &sub, const std::string &names, bool &target, const std::string &help) {
  sub.add_flag(names, target, help);
}

void add_required_argument(CLI::App &sub, const std::string &name, std::string &target, const std::string &help) {
  sub.add_option(name, target, help)->required();
}

void add_arguments(CLI::App &sub, const std::string &name, std::vector<std::string> &target, const std::string &help) {
  sub.add_option(name, target, help);
}

void add_text_option(CLI::App &sub, const std::string &names, std::string &target, const std::string &type,
                     const std::string &help) {
  sub.add_option(names, target, help)->type_name(type);
}

void add_number_option(CLI::App &sub, const std::string &names, uint32_t &target, number_limits limits,
                       const std::string &type, const std::string &help) {
  sub.add_option(names, target, help)->check(CLI::Range(limits.least, limits.most))->type_name(type);
}

void add_number_option(CLI::App &sub, const std::string &names, uint32_t &target, const std::string &help) {
  sub.add_option(names, target, help)->capture_default_str();
}

void add_number_option(CLI::App &sub, const std::string &names, uint64_t &target, const std::string &help) {
  sub.add_option(names, target, help)->capture_default_str();
}

void add_flag(CLI::App &sub, const grouped_option &option, bool &target) {
  sub.add_flag(option.names, target, option.help)->group(option.group);
}

void add_number_option(CLI::App &sub, const grouped_option &option, uint64_t &target) {
  sub.add_option(option.names, target, option.help)->capture_default_str()->group(option.group);
}

void add_number_option(CLI::App &sub, const grouped_option &option, int32_t &target, int32_t most) {
  sub.add_option(option.names, target, option.help)
      ->check(CLI::Range(0, most))
      ->capture_default_str()
      ->group(option.group);
}

void add_number_option(CLI::App &sub, const grouped_option &option, std::optional<uint32_t> &target) {
  sub.add_option(option.names, target, option.help)->group(option.group);
}

void add_text_option(CLI::App &sub, const grouped_option &option, std::string &target, const std::string &type,
                     std::string (*fault_of)(const std::string &text)) {
  sub.add_option(option.names, target, option.help)
      ->check(CLI::Validator(fault_of, type))
      ->capture_default_str()
      ->group(option.group);
}

void add_named_option(CLI::App &sub, const std::string &option, const named_values &values,
                      const std::function<bool(const std::string &)> &is_one,
                      const std::function<void(const std::string &)> &take, const std::string &help) {
  sub.add_option_function<std::string>(option, take, help)
      ->check(CLI::Validator(
          [is_one, fault = values.fault](const std::string &text) { return is_one(text) ? "" : fault; }, values.names))
      ->default_str(values.chosen);
}

void add_named_option(CLI::App &sub, const std::string &option, std::string &target,
                      const std::vector<std::string> &names, const std::string &help) {
  sub.add_option(option, target, help)->check(CLI::IsMember(names))->capture_default_str();
}

}  // namespace v6tool
