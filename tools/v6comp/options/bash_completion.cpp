// SPDX-License-Identifier: Apache-2.0
// For bash, with or without the package bash-completion.
#include "completions.h"

namespace v6tool {

namespace {

constexpr const char *head = R"(# bash completion for v6comp; made from the tool's table of options

# Words that continue what was typed; with commas, its last part.
_v6comp_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur")
}

_v6comp_list() {
  local begun=
  [[ $cur == *,* ]] && begun=${cur%,*},
  mapfile -t COMPREPLY < <(compgen -P "$begun" -W "$1" -- "${cur##*,}")
  compopt -o nospace
}

_v6comp_files() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}

_v6comp() {
  local cur=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} command= word i
  COMPREPLY=()
  # The shell cuts --option=value into three words.
  if [[ $cur == '=' ]]; then
    cur=
  elif [[ $option == '=' && COMP_CWORD -ge 2 ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $word != -* ]]; then
      command=$word
      break
    fi
  done
)";

std::string names_of_all(const command_row &command) {
  std::string names;
  for (const option_row *row : options_of(command)) {
    if (!is_argument(*row)) {
      names += (names.empty() ? "" : " ") + join_names(names_of(*row), " ");
    }
  }
  return names;
}

std::string action_of(const command_row &command, const option_row &row) {
  const std::vector<std::string> words = value_words(command, row);
  if (row.kind == value_kind::file) {
    return "_v6comp_files";
  }
  if (words.empty()) {
    return "";
  }
  return (row.kind == value_kind::fields ? "_v6comp_list '" : "_v6comp_words '") + join_names(words, " ") + "'";
}

// What follows an option that takes a value.
std::string values_of_all() {
  std::string out = "  case $command:$option in\n";
  for (const command_row &command : command_rows()) {
    for (const option_row *row : options_of(command)) {
      if (is_argument(*row) || row->kind == value_kind::flag) {
        continue;
      }
      std::string pattern;
      for (const std::string &name : names_of(*row)) {
        pattern += (pattern.empty() ? "" : " | ") + std::string(command.name) + ":" + name;
      }
      out += "    " + pattern + ")\n";
      const std::string action = action_of(command, *row);
      out += (action.empty() ? "" : "      " + action + "\n") + "      return\n      ;;\n";
    }
  }
  return out + "  esac\n";
}

std::string arguments_of_all() {
  std::string out = "  case $command in\n";
  for (const command_row &command : command_rows()) {
    std::string action;
    for (const option_row *row : arguments_of(command)) {
      const std::string wanted = action_of(command, *row);
      action = wanted.empty() ? action : wanted;
    }
    if (!action.empty()) {
      out += "    " + std::string(command.name) + ") " + action + " ;;\n";
    }
  }
  return out + "  esac\n";
}

}  // namespace

std::string bash_completion() {
  std::string out = head;
  std::string commands;
  for (const command_row &command : command_rows()) {
    commands += (commands.empty() ? "" : " ") + std::string(command.name);
  }
  out += "  if [[ -z $command ]]; then\n    if [[ $cur == -* ]]; then\n      _v6comp_words '" +
         names_of_all(tool_row()) + "'\n    else\n      _v6comp_words '" + commands + "'\n    fi\n    return\n  fi\n";
  out += values_of_all();
  out += "  if [[ $cur == -* ]]; then\n    case $command in\n";
  for (const command_row &command : command_rows()) {
    out += "      " + std::string(command.name) + ") _v6comp_words '" + names_of_all(command) + "' ;;\n";
  }
  out += "    esac\n    return\n  fi\n" + arguments_of_all();
  return out + "}\n\ncomplete -F _v6comp v6comp\n";
}

}  // namespace v6tool
