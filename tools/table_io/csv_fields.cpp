// SPDX-License-Identifier: Apache-2.0
#include "csv_fields.h"

namespace v6tool {

std::optional<std::vector<std::string>> split_csv_fields(std::string_view line, char separator) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"') {
      fields.back() += c;
      ++i;
    } else if (c == '"') {
      quoted = !quoted;
    } else if (c == separator && !quoted) {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return quoted ? std::nullopt : std::optional(fields);
}

}  // namespace v6tool
