// SPDX-License-Identifier: Apache-2.0
// csv_fields.h - the fields of a line of CSV.
#ifndef CSV_FIELDS_H
#define CSV_FIELDS_H

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace v6tool {

// Fields of one line, quotes undone. Nothing when a quoted field does not end.
std::optional<std::vector<std::string>> split_csv_fields(std::string_view line, char separator);

// Equal but for the case of ASCII letters; `lower` is in lower case.
inline bool same_letters(std::string_view text, std::string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                    [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + ('a' - 'A') : a) == b; });
}

}  // namespace v6tool

#endif
