// SPDX-License-Identifier: Apache-2.0
#include "help_page.h"

#include <algorithm>

#include "text_words.h"

namespace v6tool {

namespace {

constexpr unsigned term_column = 2;
constexpr unsigned meaning_column = 26;

// A term, and its meaning in a column of its own; a long term has a line to itself.
void append_term(std::string &out, const std::string &term, const std::string &meaning, unsigned width,
                 unsigned column = meaning_column) {
  std::string line(term_column, ' ');
  line += term;
  if (line.size() + 2 > column) {
    out += line + '\n';
    line.clear();
  }
  line.resize(column, ' ');
  out += line + wrapped(meaning, width - column, column) + '\n';
}

void append_options(std::string &out, const command_row &command, std::string_view set, const std::string &heading,
                    unsigned width) {
  const std::vector<const option_row *> rows = options_in_set(command, set);
  if (rows.empty()) {
    return;
  }
  out += '\n' + heading + ":\n";
  for (const option_row *row : rows) {
    append_term(out, option_synopsis(*row), option_help(*row), width);
  }
}

void append_all_options(std::string &out, const command_row &command, unsigned width) {
  if (!arguments_of(command).empty()) {
    out += "\nArguments:\n";
  }
  for (const option_row *row : arguments_of(command)) {
    append_term(out, argument_name(*row), std::string(row->help), width);
  }
  append_options(out, command, "", "Options", width);
  for (const std::string &taken : split_names(command.sets, ' ')) {
    const std::span<const option_set> sets = option_sets();
    const auto set = std::find_if(sets.begin(), sets.end(), [&](const option_set &s) { return s.name == taken; });
    append_options(out, command, taken, set == sets.end() ? taken : std::string(set->heading), width);
  }
}

void append_commands(std::string &out, unsigned width) {
  constexpr unsigned column = 12;
  out += "\nCommands:\n";
  for (const command_row &row : command_rows()) {
    append_term(out, std::string(row.name), std::string(row.purpose), width, column);
  }
}

}  // namespace

std::string wrapped(std::string_view text, unsigned width, unsigned indent) {
  std::string out;
  size_t used = 0;
  while (!text.empty()) {
    const std::string_view word = take_word(text);
    if (used != 0 && used + 1 + word.size() > width) {
      out += '\n' + std::string(indent, ' ');
      used = 0;
    }
    out += used == 0 ? "" : " ";
    used += word.size() + (used == 0 ? 0 : 1);
    out += word;
  }
  return out;
}

std::string option_synopsis(const option_row &row) {
  std::string text = names_of(row).size() == 1 ? "    " : "";
  text += join_names(names_of(row), ", ");
  const std::string value = value_name(row);
  return value.empty() ? text : text + ' ' + value;
}

std::string option_help(const option_row &row) {
  std::string text(row.help);
  return row.standard.empty() ? text : text + " (default: " + std::string(row.standard) + ")";
}

std::string help_page(const command_row &command, unsigned width) {
  std::string out = wrapped(std::string(command.purpose) + ".", width, 0) + "\n\nUsage: " + usage_of(command) + '\n';
  if (command.name.empty()) {
    append_commands(out, width);
  }
  append_all_options(out, command, width);
  for (std::string_view rest = command.description; !rest.empty();) {
    const size_t end = std::min(rest.find("\n\n"), rest.size());
    out += '\n' + wrapped(rest.substr(0, end), width, 0) + '\n';
    rest.remove_prefix(std::min(end + 2, rest.size()));
  }
  if (command.terms != nullptr) {
    out += '\n' + std::string(command.terms_heading) + ":\n";
    for (const term &t : command.terms()) {
      append_term(out, t.name, t.meaning, width, 18);
    }
  }
  out += "\nExamples:\n";
  for (std::string_view rest = command.examples; !rest.empty();) {
    const std::string_view line = take_line(rest);
    const size_t end = line.find("  ");
    append_term(out, std::string(line.substr(0, end)), std::string(trimmed(line.substr(end))), width, 6);
  }
  out += "\nExit: ";
  std::string codes;
  for (const term &code : exit_codes_of(command)) {
    codes += (codes.empty() ? "" : "; ") + code.name + ' ' + code.meaning;
  }
  return out + wrapped(codes + '.', width - 6, 6) + '\n';
}

}  // namespace v6tool
