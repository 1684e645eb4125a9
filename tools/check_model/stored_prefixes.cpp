// SPDX-License-Identifier: Apache-2.0
#include "stored_prefixes.h"

#include <algorithm>

namespace v6tool {

std::span<const uint8_t> anchor_lengths() {
  static constexpr uint8_t lengths[] = {32, 48, 64, 96};
  return lengths;
}

const char *kind_name(prefix_kind kind) {
  switch (kind) {
    case prefix_kind::table:
      return "table";
    case prefix_kind::anchor:
      return "anchor";
    case prefix_kind::default_0:
      break;
  }
  return "default";
}

uint32_t stored_prefixes::find(const ip_prefix &prefix) const {
  const auto at = std::lower_bound(prefixes.begin(), prefixes.end(), prefix);
  return at != prefixes.end() && *at == prefix ? static_cast<uint32_t>(at - prefixes.begin()) : prefix_forest::none;
}

uint32_t stored_prefixes::longest_table_match(ip_key address) const {
  uint32_t at = forest.longest_match(address);
  while (at != prefix_forest::none && kinds[at] != prefix_kind::table) {
    at = forest.parent(at);
  }
  return at;
}

stored_prefixes find_stored_prefixes(const prefix_table &table) {
  stored_prefixes stored;
  const std::vector<ip_prefix> given = distinct_prefixes(table);
  stored.prefixes = given;
  stored.prefixes.push_back({});
  for (const uint8_t length : anchor_lengths()) {
    ip_prefix last;
    for (const ip_prefix &prefix : given) {
      const ip_prefix anchor = {masked(prefix.key, length), length};
      if (prefix.length > length && anchor != last) {
        stored.prefixes.push_back(anchor);
        last = anchor;
      }
    }
  }
  std::sort(stored.prefixes.begin(), stored.prefixes.end());
  stored.prefixes.erase(std::unique(stored.prefixes.begin(), stored.prefixes.end()), stored.prefixes.end());
  stored.kinds.reserve(stored.prefixes.size());
  size_t next_given = 0;
  for (const ip_prefix &prefix : stored.prefixes) {
    if (next_given < given.size() && given[next_given] == prefix) {
      ++next_given;
      ++stored.n_table;
      stored.kinds.push_back(prefix_kind::table);
    } else if (prefix.length == 0) {
      stored.kinds.push_back(prefix_kind::default_0);
    } else {
      ++stored.n_anchors;
      stored.kinds.push_back(prefix_kind::anchor);
    }
  }
  stored.forest = prefix_forest(stored.prefixes);
  return stored;
}

}  // namespace v6tool
