// SPDX-License-Identifier: Apache-2.0
// command_line.h - from the option table to the places where a command wants its values.
//
// A command announces itself with its name and its work, and says for each of its rows where the value goes; a row that
// goes nowhere, or a place that has no row, stops the tool at its start. The parser's own header takes seconds to
// compile wherever it is included, so command_line.cpp alone does.
#ifndef COMMAND_LINE_H
#define COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "option_table.h"
#include "tool_failure.h"

namespace v6tool {

// What main runs once the command line has been understood: returns an exit code.
using command_work = std::function<exit_code()>;

// Nothing is chosen when the command line asks for no work: help, the version, or a fault.
struct parsed_line {
  command_work chosen;
  exit_code code = exit_good;  // where nothing is chosen, and what is said then on standard output and error
  std::string data;
  std::string talk;
};

class command_line {
 public:
  explicit command_line(const std::string &version);
  ~command_line();
  command_line(const command_line &) = delete;
  command_line &operator=(const command_line &) = delete;

  // Every command of the table must have announced itself. `help_width`: columns of the help.
  parsed_line parse(int argc, char **argv, unsigned help_width);

 private:
  friend class command_options;
  struct parser;
  std::unique_ptr<parser> parser_;
};

// The rows of one command. Targets are written while the command line is parsed and outlive it.
class command_options {
 public:
  command_options(command_line &line, std::string name, command_work work);

  // The name is any of the row's: "-f" or "--format"; of an argument "TABLE".
  void flag(const std::string &name, bool &target);
  void text(const std::string &name, std::string &target);
  void texts(const std::string &name, std::vector<std::string> &target);

  template <class Number>
  void number(const std::string &name, Number &target) {
    if constexpr (std::is_integral_v<Number>) {
      check_limits(name, std::is_signed_v<Number>, sizeof(Number));
      each_number(name, [&target](uint64_t value) { target = static_cast<Number>(value); });
    } else {  // optional
      using inner = typename Number::value_type;
      check_limits(name, std::is_signed_v<inner>, sizeof(inner));
      each_number(name, [&target](uint64_t value) { target = static_cast<inner>(value); });
    }
  }

  // The names must be those of the row.
  template <class Value>
  void choice(const std::string &name, Value &target,
              const std::vector<std::pair<std::string, std::type_identity_t<Value>>> &choices) {
    std::vector<std::string> names;
    names.reserve(choices.size());
    for (const auto &[choice_name, value] : choices) {
      names.push_back(choice_name);
    }
    check_choices(name, names);
    each(name, [&target, choices](const std::string &given) {
      for (const auto &[choice_name, value] : choices) {
        target = choice_name == given ? value : target;
      }
    });
  }

  // For values of other kinds: `take` gets every value that the row allows.
  void each(const std::string &name, std::function<void(const std::string &value)> take);

  // The names that code knows must be those of the row.
  void check_choices(const std::string &name, const std::vector<std::string> &known) const;

  // The most that code can take must be what the row allows.
  void check_most(const std::string &name, uint64_t most) const;

 private:
  const option_row &row_of(const std::string &name) const;
  void each_number(const std::string &name, std::function<void(uint64_t value)> take);
  void check_limits(const std::string &name, bool is_signed, size_t bytes) const;

  command_line::parser &parser_;
  const command_row &row_;
};

}  // namespace v6tool

#endif
