// SPDX-License-Identifier: Apache-2.0
#include "completions.h"

namespace v6tool {

namespace {

// Inside '...', and inside [...] of what _arguments takes.
std::string quoted(std::string_view text, std::string_view special) {
  std::string out;
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      out += special.find(c) == std::string_view::npos ? "" : "\\";
      out += c;
    }
  }
  return out;
}

std::string action_of(const command_row &command, const option_row &row) {
  if (row.kind == value_kind::file) {
    return "_files";
  }
  const std::vector<std::string> words = value_words(command, row);
  if (words.empty()) {
    return " ";
  }
  return row.kind == value_kind::fields ? "_values -s , field " + join_names(words, " ")
                                        : "(" + join_names(words, " ") + ")";
}

// '(-f --format)'{-f+,--format=}'[how rows are written]:text|json:(text json)'
std::string option_entry(const command_row &command, const option_row &row) {
  const std::vector<std::string> names = names_of(row);
  const bool takes = row.kind != value_kind::flag;
  std::string out = "'(" + join_names(names, " ") + ")'";
  std::string forms;
  for (const std::string &name : names) {
    const char *ending = !takes ? "" : name.starts_with("--") ? "=" : "+";
    forms += (forms.empty() ? "" : ",") + name + ending;
  }
  out += names.size() > 1 ? "{" + forms + "}'" : forms + "'";
  out += "[" + quoted(row.help, "[]\\") + "]";
  if (takes) {
    out += ":" + quoted(value_name(row), ":\\") + ":" + quoted(action_of(command, row), "");
  }
  return out + "'";
}

std::string argument_entry(const command_row &command, const option_row &row, size_t place) {
  const std::string where = is_list(row) ? "*" : std::to_string(place);
  return "'" + where + ":" + argument_name(row) + ":" + quoted(action_of(command, row), "") + "'";
}

std::string entries(const command_row &command, const char *indent) {
  std::string out;
  size_t place = 0;
  for (const option_row *row : options_of(command)) {
    out += " \\\n" + std::string(indent) +
           (is_argument(*row) ? argument_entry(command, *row, ++place) : option_entry(command, *row));
  }
  return out;
}

}  // namespace

std::string zsh_completion() {
  std::string out =
      "#compdef v6comp\n# zsh completion for v6comp; made from the tool's table of options\n\n"
      "_v6comp() {\n  local curcontext=$curcontext state line\n  typeset -A opt_args\n"
      "  _arguments -C -s -S" +
      entries(tool_row(), "    ") +
      " \\\n    '1:command:->command' \\\n    '*::argument:->argument' && return\n"
      "  case $state in\n    command)\n      local -a commands=(\n";
  for (const command_row &command : command_rows()) {
    out += "        '" + std::string(command.name) + ":" + quoted(command.purpose, ":\\") + "'\n";
  }
  out += "      )\n      _describe command commands\n      ;;\n    argument)\n      case $words[1] in\n";
  for (const command_row &command : command_rows()) {
    out += "        " + std::string(command.name) + ")\n          _arguments -s -S" + entries(command, "            ") +
           "\n          ;;\n";
  }
  return out + "      esac\n      ;;\n  esac\n}\n\n_v6comp \"$@\"\n";
}

}  // namespace v6tool
