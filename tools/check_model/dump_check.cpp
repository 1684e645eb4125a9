// SPDX-License-Identifier: Apache-2.0
#include "dump_check.h"

#include <algorithm>

#include "prefix_text.h"

namespace v6tool {

std::string dump_counterexample(std::vector<ip_prefix> dumped, const stored_prefixes &stored) {
  std::sort(dumped.begin(), dumped.end());
  const auto twice = std::adjacent_find(dumped.begin(), dumped.end());
  if (twice != dumped.end()) {
    return format_prefix(*twice) + " comes twice in the rows for the hardware";
  }
  auto row = dumped.begin();
  for (size_t i = 0; i < stored.prefixes.size(); ++i) {
    const ip_prefix &prefix = stored.prefixes[i];
    if (row != dumped.end() && *row < prefix) {
      break;  // stored has no such prefix
    }
    const bool is_dumped = row != dumped.end() && *row == prefix;
    if (is_dumped && stored.kinds[i] == prefix_kind::anchor) {
      break;
    }
    if (!is_dumped && stored.kinds[i] != prefix_kind::anchor) {
      return format_prefix(prefix) + " is missing from the rows for the hardware";
    }
    row += is_dumped ? 1 : 0;
  }
  return row == dumped.end() ? "" : format_prefix(*row) + " is among the rows for the hardware, but not in the table";
}

}  // namespace v6tool
