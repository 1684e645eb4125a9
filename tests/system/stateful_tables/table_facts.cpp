// SPDX-License-Identifier: Apache-2.0
#include "table_facts.h"

#include <algorithm>
#include <set>

namespace stateful_tables {

words after_changes(words before, const std::vector<change> &changes) {
  for (const change &c : changes) {
    if (c.add) {
      before[c.p] = c.word;
    } else {
      before.erase(c.p);
    }
  }
  return before;
}

change_counts counts_of(const words &before, const std::vector<change> &changes, const words &after) {
  const auto only_in = [](const words &a, const words &b) {
    return static_cast<uint32_t>(
        std::count_if(a.begin(), a.end(), [&](const words::value_type &row) { return !b.contains(row.first); }));
  };
  change_counts counts = {only_in(after, before), only_in(before, after), 0, 0};
  std::set<prefix> there;
  for (const auto &[p, word] : before) {
    there.insert(p);
  }
  for (const change &c : changes) {
    const bool is_there = there.contains(c.p);
    counts.present += c.add && is_there ? 1 : 0;
    counts.absent += !c.add && !is_there ? 1 : 0;
    if (c.add) {
      there.insert(c.p);
    } else {
      there.erase(c.p);
    }
  }
  return counts;
}

const words::value_type *longest_match(const words &wanted, tm_key_number address) {
  const words::value_type *longest = nullptr;
  for (const words::value_type &row : wanted) {
    const bool covers = row.first.contains({address, TM_KEY_BITS});
    longest = covers && (longest == nullptr || row.first.length > longest->first.length) ? &row : longest;
  }
  return longest;
}

std::vector<prefix> next_rows(const words &wanted, const std::optional<prefix> &place, size_t most) {
  std::vector<prefix> rows;
  for (auto at = place ? wanted.upper_bound(*place) : wanted.begin(); at != wanted.end() && rows.size() < most; ++at) {
    rows.push_back(at->first);
  }
  return rows;
}

}  // namespace stateful_tables
