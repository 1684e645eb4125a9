// SPDX-License-Identifier: Apache-2.0
#include "nearest_name.h"

#include <algorithm>
#include <numeric>

namespace v6tool {

// Three rows of the usual matrix: an exchange looks two rows up.
size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<size_t> before(b.size() + 1);
  std::vector<size_t> above(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  std::iota(above.begin(), above.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    std::swap(before, above);
    std::swap(above, row);
  }
  return above[b.size()];
}

std::string nearest_name(std::string_view text, const std::vector<std::string> &names) {
  std::string nearest;
  size_t least = text.size();
  for (const std::string &name : names) {
    const bool begun = text.size() >= 2 && name.starts_with(text);
    const size_t distance = begun ? 1 : edit_distance(text, name);
    if (distance < least && 2 * distance < name.size()) {
      least = distance;
      nearest = name;
    }
  }
  return nearest;
}

std::string meant(std::string_view text, const std::vector<std::string> &names) {
  const std::string nearest = nearest_name(text, names);
  return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

}  // namespace v6tool
