// SPDX-License-Identifier: Apache-2.0
// What the rows of the option table say, asked in the words of those who read it.
#include <algorithm>
#include <charconv>

#include "nearest_name.h"
#include "option_table.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

using enum value_kind;

bool holds_word(std::string_view words, std::string_view word) {
  const std::vector<std::string> all = split_names(words, ' ');
  return std::find(all.begin(), all.end(), word) != all.end();
}

bool is_taken(const option_row &row, const command_row &command) {
  if (!command.name.empty() && holds_word(row.of, command.name)) {
    return true;
  }
  const std::vector<std::string> of_command = split_names(command.sets, ' ');
  return std::any_of(of_command.begin(), of_command.end(),
                     [&](const std::string &set) { return holds_word(row.of, "@" + set); });
}

std::string number_fault(const option_row &row, const std::string &value) {
  uint64_t number_given = 0;
  const char *end = value.data() + value.size();
  const auto [at, error] = std::from_chars(value.data(), end, number_given);
  if (at == end && error == std::errc() && number_given >= row.least && number_given <= row.most) {
    return "";
  }
  std::string expected = "expected ";
  for (const std::string &name : choices_of(row)) {
    expected += name + ", ";
  }
  expected += choices_of(row).empty() ? "a number" : "or a number";
  expected += " from " + std::to_string(row.least) + " to " + std::to_string(row.most);
  return expected + ", not " + printable(value);
}

}  // namespace

const command_row *find_command(std::string_view name) {
  const std::span<const command_row> commands = command_rows();
  const auto found =
      std::find_if(commands.begin(), commands.end(), [&](const command_row &c) { return c.name == name; });
  return found == commands.end() ? nullptr : &*found;
}

std::vector<const option_row *> options_of(const command_row &command) {
  std::vector<const option_row *> taken;
  for (const option_row &row : option_rows()) {
    if (is_taken(row, command)) {
      taken.push_back(&row);
    }
  }
  return taken;
}

std::vector<const option_row *> arguments_of(const command_row &command) {
  std::vector<const option_row *> taken = options_of(command);
  std::erase_if(taken, [](const option_row *row) { return !is_argument(*row); });
  return taken;
}

std::vector<const option_row *> options_in_set(const command_row &command, std::string_view set) {
  std::vector<const option_row *> taken = options_of(command);
  std::erase_if(taken, [&](const option_row *row) {
    const bool own = !command.name.empty() && holds_word(row->of, command.name);
    return is_argument(*row) || (set.empty() ? !own : own || !holds_word(row->of, "@" + std::string(set)));
  });
  return taken;
}

bool is_argument(const option_row &row) { return !row.names.starts_with('-'); }
bool is_list(const option_row &row) { return row.names.ends_with("..."); }
bool is_optional(const option_row &row) { return row.names.starts_with('[') || is_list(row); }

std::string argument_name(const option_row &row) {
  std::string name(row.names);
  std::erase_if(name, [](char c) { return c == '.' || c == '[' || c == ']'; });
  return name;
}

std::vector<std::string> names_of(const option_row &row) { return split_names(row.names, ','); }

std::string long_name(const option_row &row) { return names_of(row).back(); }

std::string value_name(const option_row &row) {
  if (row.kind == choice && !row.value.empty()) {
    return std::string(row.value);
  }
  std::string name(row.choices);
  name += name.empty() || row.value.empty() ? "" : "|";
  return name + std::string(row.value);
}

std::vector<std::string> choices_of(const option_row &row) { return split_names(row.choices, '|'); }

bool has_name(const option_row &row, std::string_view name) {
  const std::vector<std::string> names = names_of(row);
  return is_argument(row) ? argument_name(row) == name : std::find(names.begin(), names.end(), name) != names.end();
}

std::string value_fault(const option_row &row, const std::string &value) {
  const std::vector<std::string> names = choices_of(row);
  if (std::find(names.begin(), names.end(), value) != names.end() || (row.kind != choice && row.kind != number)) {
    return "";
  }
  if (row.kind == number) {
    return number_fault(row, value);
  }
  return "no \"" + printable(value) + "\"; there are " + join_names(names, ", ") + meant(value, names);
}

std::string usage_of(const command_row &command) {
  std::string usage = "v6comp";
  usage += command.name.empty() ? "" : " " + std::string(command.name);
  usage += command.name.empty() ? " [OPTIONS] COMMAND ..." : " [OPTIONS]";
  for (const option_row *row : arguments_of(command)) {
    usage += is_list(*row) ? " [" + std::string(row->names) + "]" : " " + std::string(row->names);
  }
  return usage;
}

std::vector<term> exit_codes_of(const command_row &command) {
  std::vector<term> codes = {{"0", std::string(command.good)}};
  if (!command.no.empty()) {
    codes.push_back({"1", std::string(command.no)});
  }
  codes.push_back({"2", "usage or bad input"});
  codes.push_back({"3", "it could not be done"});
  return codes;
}

std::vector<std::string> split_names(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(separator, at), text.size());
    if (end > at) {
      parts.emplace_back(text.substr(at, end - at));
    }
    at = end + 1;
  }
  return parts;
}

std::string join_names(const std::vector<std::string> &names, std::string_view separator) {
  std::string text;
  for (const std::string &name : names) {
    text += text.empty() ? "" : separator;
    text += name;
  }
  return text;
}

}  // namespace v6tool
