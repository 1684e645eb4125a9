// SPDX-License-Identifier: Apache-2.0
#include "stored_counts.h"

#include "stored_prefixes.h"

namespace v6tool {

const char *case_name(record_case which) {
  constexpr const char *names[n_record_cases] = {"present", "below_leaf", "beside",      "new_level",
                                                 "absent",  "shared",     "delete_leaf", "delete_inner"};
  return names[static_cast<size_t>(which)];
}

void stored_counts::fill(const prefix_table &table) {
  counts_.clear();
  counts_[{}].all = 1;
  for (const table_row &row : table.rows) {
    const auto weight = static_cast<uint16_t>(row.weight);
    counters &own = counts_[row.prefix];
    own.all = static_cast<uint16_t>(own.all + weight);
    for (const uint8_t length : anchor_lengths()) {
      if (row.prefix.length > length) {
        counters &anchor = counts_[{masked(row.prefix.key, length), length}];
        anchor.all = static_cast<uint16_t>(anchor.all + weight);
        anchor.from_anchors = static_cast<uint16_t>(anchor.from_anchors + weight);
      }
    }
  }
}

bool stored_counts::is_inner(const ip_prefix &prefix) const {
  const auto next = counts_.upper_bound(prefix);
  return next != counts_.end() && contains(prefix, next->first);
}

ip_prefix stored_counts::enclosing(const ip_prefix &prefix) const {
  for (uint8_t length = prefix.length; length > 0;) {
    --length;
    const ip_prefix candidate = {masked(prefix.key, length), length};
    if (counts_.contains(candidate)) {
      return candidate;
    }
  }
  return {};
}

uint32_t stored_counts::count_children(const ip_prefix &prefix) const {
  uint32_t children = 0;
  auto at = counts_.upper_bound(prefix);
  while (at != counts_.end() && contains(prefix, at->first)) {
    ++children;
    const ip_prefix child = at->first;
    while (at != counts_.end() && contains(child, at->first)) {
      ++at;
    }
  }
  return children;
}

record_case stored_counts::add(const working_record &record) {
  record_case which = record_case::present;
  if (!is_stored(record.prefix)) {
    which = is_inner(record.prefix)              ? record_case::new_level
            : is_inner(enclosing(record.prefix)) ? record_case::beside
                                                 : record_case::below_leaf;
  }
  counters &c = counts_[record.prefix];
  c.all = static_cast<uint16_t>(c.all + record.weight);
  c.from_anchors = static_cast<uint16_t>(c.from_anchors + record.anchor_ref);
  return which;
}

record_case stored_counts::remove(const working_record &record) {
  const auto found = counts_.find(record.prefix);
  const bool is_anchor = record.weight == record.anchor_ref;
  if (found == counts_.end() || (safe_ && !is_anchor && found->second.all == found->second.from_anchors)) {
    return record_case::absent;
  }
  counters &c = found->second;
  c.all = static_cast<uint16_t>(c.all - record.weight);
  c.from_anchors = static_cast<uint16_t>(c.from_anchors - record.anchor_ref);
  if (c.all != 0) {
    return record_case::shared;
  }
  if (record.prefix.length == 0) {
    c.all = 1;  // ::/0 never goes
    return record_case::shared;
  }
  const record_case which = is_inner(record.prefix) ? record_case::delete_inner : record_case::delete_leaf;
  counts_.erase(found);
  return which;
}

record_case stored_counts::apply(const working_record &record) { return record.add ? add(record) : remove(record); }

}  // namespace v6tool
