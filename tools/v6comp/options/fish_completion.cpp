// SPDX-License-Identifier: Apache-2.0
#include "completions.h"

namespace v6tool {

namespace {

std::string quoted(std::string_view text) {
  std::string out = "'";
  for (const char c : text) {
    out += c == '\'' || c == '\\' ? "\\" : "";
    out += c;
  }
  return out + "'";
}

std::string when_in(std::string_view command) {
  return command.empty() ? "-n __fish_use_subcommand" : "-n '__fish_seen_subcommand_from " + std::string(command) + "'";
}

std::string option_line(const command_row &command, const option_row &row) {
  std::string out = "complete -c v6comp " + when_in(command.name);
  for (const std::string &name : names_of(row)) {
    out += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  const std::vector<std::string> words = value_words(command, row);
  if (row.kind == value_kind::file) {
    out += " -r -F";
  } else if (row.kind == value_kind::fields) {
    out += " -x -a '(__fish_append , " + join_names(words, " ") + ")'";
  } else if (row.kind != value_kind::flag) {
    out += " -x";
    out += words.empty() ? "" : " -a " + quoted(join_names(words, " "));
  }
  return out + " -d " + quoted(row.help) + "\n";
}

std::string lines_of(const command_row &command) {
  std::string out;
  for (const option_row *row : options_of(command)) {
    if (!is_argument(*row)) {
      out += option_line(command, *row);
    } else if (row->kind == value_kind::file) {
      out += "complete -c v6comp " + when_in(command.name) + " -F\n";
    } else if (const std::vector<std::string> words = value_words(command, *row); !words.empty()) {
      out += "complete -c v6comp " + when_in(command.name) + " -a " + quoted(join_names(words, " ")) + "\n";
    }
  }
  return out;
}

}  // namespace

std::string fish_completion() {
  std::string out = "# fish completion for v6comp; made from the tool's table of options\ncomplete -c v6comp -f\n";
  for (const command_row &command : command_rows()) {
    out += "complete -c v6comp -n __fish_use_subcommand -a " + std::string(command.name) + " -d " +
           quoted(command.purpose) + "\n";
  }
  out += lines_of(tool_row());
  for (const command_row &command : command_rows()) {
    out += lines_of(command);
  }
  return out;
}

}  // namespace v6tool
