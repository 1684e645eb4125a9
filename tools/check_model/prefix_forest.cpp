// SPDX-License-Identifier: Apache-2.0
#include "prefix_forest.h"

#include <algorithm>

namespace v6tool {

prefix_forest::prefix_forest(std::span<const ip_prefix> prefixes) {
  struct entry {
    ip_prefix prefix;
    uint32_t position;
    auto operator<=>(const entry &) const = default;
  };
  std::vector<entry> entries;
  entries.reserve(prefixes.size());
  for (const ip_prefix &prefix : prefixes) {
    entries.push_back({prefix, static_cast<uint32_t>(entries.size())});
  }
  if (!std::is_sorted(entries.begin(), entries.end())) {
    std::sort(entries.begin(), entries.end());
  }
  const size_t n = entries.size();
  sorted_.reserve(n);
  order_.reserve(n);
  sorted_parent_.reserve(n);
  parents_.assign(n, none);
  uint32_t innermost = none;  // the open prefixes are this one and its ancestors
  for (const entry &e : entries) {
    while (innermost != none && !contains(sorted_[innermost], e.prefix)) {
      innermost = sorted_parent_[innermost];
    }
    sorted_parent_.push_back(innermost);
    parents_[e.position] = innermost == none ? none : order_[innermost];
    innermost = static_cast<uint32_t>(sorted_.size());
    sorted_.push_back(e.prefix);
    order_.push_back(e.position);
  }
}

uint32_t prefix_forest::longest_match(ip_key address) const {
  const auto begins_after = std::upper_bound(sorted_.begin(), sorted_.end(), ip_prefix{address, 128});
  if (begins_after == sorted_.begin()) {
    return none;
  }
  auto at = static_cast<uint32_t>(begins_after - sorted_.begin() - 1);
  while (at != none && !covers(sorted_[at], address)) {
    at = sorted_parent_[at];
  }
  return at == none ? none : order_[at];
}

std::vector<uint32_t> prefix_forest::depths() const {
  std::vector<uint32_t> depths(size(), 0);
  for (const uint32_t index : order_) {  // parents first
    if (parents_[index] != none) {
      depths[index] = depths[parents_[index]] + 1;
    }
  }
  return depths;
}

uint32_t prefix_forest::count_inner() const {
  std::vector<bool> inner(size(), false);
  for (const uint32_t parent : parents_) {
    if (parent != none) {
      inner[parent] = true;
    }
  }
  return static_cast<uint32_t>(std::count(inner.begin(), inner.end(), true));
}

uint32_t prefix_forest::first_duplicate() const {
  const auto twice = std::adjacent_find(sorted_.begin(), sorted_.end());
  return twice == sorted_.end() ? none : order_[static_cast<size_t>(twice - sorted_.begin())];
}

}  // namespace v6tool
