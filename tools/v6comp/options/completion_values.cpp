// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "completions.h"
#include "row_table.h"

namespace v6tool {

namespace {

std::vector<std::string> field_names(const command_row &command) {
  std::vector<std::string> names;
  for (const row_kind *kind : row_kinds_of(command.name)) {
    for (const column &c : kind->columns) {
      if (std::find(names.begin(), names.end(), c.name) == names.end()) {
        names.emplace_back(c.name);
      }
    }
  }
  return names;
}

}  // namespace

std::vector<std::string> value_words(const command_row &command, const option_row &row) {
  if (row.kind == value_kind::fields) {
    return field_names(command);
  }
  if (is_argument(row) && argument_name(row) == "COMMAND") {
    std::vector<std::string> names;
    for (const command_row &other : command_rows()) {
      names.emplace_back(other.name);
    }
    return names;
  }
  return choices_of(row);
}

}  // namespace v6tool
