// SPDX-License-Identifier: Apache-2.0
#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <stdexcept>

#include "help_page.h"
#include "nearest_name.h"
#include "prefix_text.h"

namespace v6tool {

struct command_line::parser {
  CLI::App app{std::string(tool_row().purpose), "v6comp"};
  std::map<std::string, CLI::App *> commands;
  std::map<std::string, std::vector<const option_row *>> bound;
  std::string version;
  command_work chosen;
  bool quiet = false;                 // of the tool itself, before any command
  std::vector<bool *> quiet_targets;  // of the commands
  std::string help_of;                // argument of the command `help`
};

namespace {

// What the rows say and what the code does with them must fit; a user never sees this.
[[noreturn]] void misfit(const std::string &what) { throw std::logic_error("option table: " + what); }

bool is_answered_by_the_parser(const option_row &row) { return has_name(row, "--help") || has_name(row, "--version"); }

void add_help_and_version(CLI::App &app, const std::string &version) {
  for (const option_row *row : options_of(tool_row())) {
    if (has_name(*row, "--help")) {
      app.set_help_flag(std::string(row->names), std::string(row->help));
    } else if (has_name(*row, "--version")) {
      app.set_version_flag(std::string(row->names), version, std::string(row->help));
    }
  }
}

CLI::Option &add_row(CLI::App &app, const option_row &row, std::function<void(const std::string &)> take) {
  const std::string names = is_argument(row) ? argument_name(row) : std::string(row.names);
  CLI::Option *option = nullptr;
  if (is_list(row)) {
    option = app.add_option_function<std::vector<std::string>>(
        names,
        [take = std::move(take)](const std::vector<std::string> &all) { std::for_each(all.begin(), all.end(), take); });
  } else {
    option = app.add_option_function<std::string>(names, take);
    option->required(is_argument(row) && !is_optional(row));
    option->check(CLI::Validator([&row](const std::string &value) { return value_fault(row, value); }, ""));
  }
  return *option;
}

// "fault", where to read on, a line each.
parsed_line usage_fault(const std::string &command, const std::string &fault) {
  const std::string name = command.empty() ? "v6comp" : "v6comp " + command;
  return {nullptr, exit_bad_input, "", name + ": " + fault + "\nRun `" + name + " --help` for more.\n"};
}

std::vector<std::string> command_names() {
  std::vector<std::string> names;
  for (const command_row &row : command_rows()) {
    names.emplace_back(row.name);
  }
  return names;
}

std::string no_such_command(const std::string &text) {
  return "no command \"" + printable(text) + "\"; there are " + join_names(command_names(), ", ") +
         meant(text, command_names());
}

// The first argument that the parser did not know.
std::string unknown_argument(const command_row &row, const std::string &text) {
  if (!text.starts_with("-")) {
    return "\"" + printable(text) + "\" is one argument too many; usage: " + usage_of(row);
  }
  std::vector<std::string> names;
  for (const option_row *option : options_of(row)) {
    if (!is_argument(*option)) {
      const std::vector<std::string> more = names_of(*option);
      names.insert(names.end(), more.begin(), more.end());
    }
  }
  const std::string given = text.substr(0, text.find('='));
  return "no option " + printable(given) + meant(given, names);
}

// The parser counts what is missing, in words of its own.
std::string plain_fault(const CLI::ParseError &error) {
  const std::string fault = error.what();
  const bool is_missing = dynamic_cast<const CLI::ArgumentMismatch *>(&error) != nullptr && fault.ends_with(" missing");
  return is_missing ? fault.substr(0, fault.find(':')) + ": a value is missing" : fault;
}

}  // namespace

command_line::command_line(const std::string &version) : parser_(std::make_unique<parser>()) {
  parser_->version = version;
  parser_->app.require_subcommand(1);
  add_help_and_version(parser_->app, version);
  for (const option_row *row : options_of(tool_row())) {
    if (has_name(*row, "--quiet")) {
      parser_->app.add_flag(std::string(row->names), parser_->quiet, std::string(row->help));
    } else if (!is_answered_by_the_parser(*row)) {
      misfit(std::string(row->names) + " of the tool goes nowhere");
    }
  }
}

command_line::~command_line() = default;

namespace {

void check_all_bound(const std::map<std::string, std::vector<const option_row *>> &bound) {
  for (const command_row &row : command_rows()) {
    const auto found = bound.find(std::string(row.name));
    if (found == bound.end()) {
      misfit("nothing runs the command " + std::string(row.name));
    }
    for (const option_row *option : options_of(row)) {
      if (!is_answered_by_the_parser(*option) &&
          std::find(found->second.begin(), found->second.end(), option) == found->second.end()) {
        misfit(std::string(option->names) + " of " + std::string(row.name) + " goes nowhere");
      }
    }
  }
}

// The first word that is no option: in front of it stand options of the tool itself, which take no values.
std::string first_word(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] != '-') {
      return argv[i];
    }
  }
  return "";
}

}  // namespace

parsed_line command_line::parse(int argc, char **argv, unsigned help_width) {
  command_options help(*this, "help", nullptr);
  bool quiet = false;
  help.text("COMMAND", parser_->help_of);
  help.flag("--quiet", quiet);
  check_all_bound(parser_->bound);
  const std::string word = first_word(argc, argv);
  const command_row *row = find_command(word);
  const command_row &asked = row == nullptr ? tool_row() : *row;
  try {
    parser_->app.parse(argc, argv);
  } catch (const CLI::CallForHelp &) {
    return {nullptr, exit_good, help_page(asked, help_width), ""};
  } catch (const CLI::CallForVersion &) {
    return {nullptr, exit_good, parser_->version + '\n', ""};
  } catch (const CLI::ParseError &error) {
    if (row == nullptr && !word.empty()) {
      return usage_fault("", no_such_command(word));
    }
    CLI::App &app = row == nullptr ? parser_->app : *parser_->commands.at(word);
    const std::vector<std::string> unknown = app.remaining(true);
    const bool is_extra = dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr;
    if (!unknown.empty() && (is_extra || row == nullptr || unknown.front().starts_with("-"))) {
      return usage_fault(word, unknown_argument(asked, unknown.front()));
    }
    return usage_fault(word, row == nullptr ? "a command is missing; there are " + join_names(command_names(), ", ")
                                            : plain_fault(error));
  }
  if (word == "help") {
    const command_row *wanted = parser_->help_of.empty() ? &tool_row() : find_command(parser_->help_of);
    return wanted == nullptr ? usage_fault("", no_such_command(parser_->help_of))
                             : parsed_line{nullptr, exit_good, help_page(*wanted, help_width), ""};
  }
  if (parser_->quiet) {
    std::for_each(parser_->quiet_targets.begin(), parser_->quiet_targets.end(), [](bool *target) { *target = true; });
  }
  return {parser_->chosen, exit_good, "", ""};
}

namespace {

const command_row &row_of_command(const std::string &name) {
  const command_row *row = find_command(name);
  if (row == nullptr) {
    misfit("no command " + name);
  }
  return *row;
}

}  // namespace

command_options::command_options(command_line &line, std::string name, command_work work)
    : parser_(*line.parser_), row_(row_of_command(name)) {
  CLI::App *app = parser_.app.add_subcommand(name, std::string(row_.purpose));
  app->callback([&chosen = parser_.chosen, work = std::move(work)] { chosen = work; });
  add_help_and_version(*app, parser_.version);
  parser_.bound[name];
  parser_.commands.emplace(std::move(name), app);
}

const option_row &command_options::row_of(const std::string &name) const {
  for (const option_row *row : options_of(row_)) {
    if (has_name(*row, name)) {
      return *row;
    }
  }
  misfit("no " + name + " of " + std::string(row_.name));
}

void command_options::each(const std::string &name, std::function<void(const std::string &value)> take) {
  const option_row &row = row_of(name);
  parser_.bound[std::string(row_.name)].push_back(&row);
  add_row(*parser_.commands.at(std::string(row_.name)), row, std::move(take));
}

void command_options::flag(const std::string &name, bool &target) {
  const option_row &row = row_of(name);
  if (row.kind != value_kind::flag) {
    misfit(name + " takes a value");
  }
  parser_.bound[std::string(row_.name)].push_back(&row);
  parser_.commands.at(std::string(row_.name))->add_flag(std::string(row.names), target);
  if (has_name(row, "--quiet")) {
    parser_.quiet_targets.push_back(&target);
  }
}

void command_options::text(const std::string &name, std::string &target) {
  each(name, [&target](const std::string &value) { target = value; });
}

void command_options::texts(const std::string &name, std::vector<std::string> &target) {
  each(name, [&target](const std::string &value) { target.push_back(value); });
}

void command_options::each_number(const std::string &name, std::function<void(uint64_t value)> take) {
  each(name, [take = std::move(take)](const std::string &value) { take(std::stoull(value)); });
}

void command_options::check_limits(const std::string &name, bool is_signed, size_t bytes) const {
  const option_row &row = row_of(name);
  const auto bits = static_cast<unsigned>(8 * bytes - (is_signed ? 1 : 0));
  if (row.kind != value_kind::number || !row.choices.empty() || (bits < 64 && row.most >> bits != 0)) {
    misfit(name + " is no number of this size");
  }
}

void command_options::check_choices(const std::string &name, const std::vector<std::string> &known) const {
  if (choices_of(row_of(name)) != known) {
    misfit(name + " has the choices " + join_names(choices_of(row_of(name)), "|") + ", the tool knows " +
           join_names(known, "|"));
  }
}

void command_options::check_most(const std::string &name, uint64_t most) const {
  if (row_of(name).most != most) {
    misfit(name + " goes up to " + std::to_string(most));
  }
}

}  // namespace v6tool
