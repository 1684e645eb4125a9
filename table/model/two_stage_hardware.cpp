// SPDX-License-Identifier: Apache-2.0
#include "two_stage_hardware.h"

#include <arpa/inet.h>

#include <algorithm>

namespace table_model {

namespace {

uint64_t leading(unsigned n) { return n == 0 ? 0 : ~uint64_t{0} << (64 - n); }

prefix prefix_of(const zel_v6comp_table_write &write) { return {tm_key_load(write.address), write.length}; }

}  // namespace

std::string text_of(const prefix &p) {
  uint8_t bytes[16];
  tm_key_store(bytes, p.address);
  char text[INET6_ADDRSTRLEN];
  inet_ntop(AF_INET6, bytes, text, sizeof text);
  return std::string(text) + "/" + std::to_string(p.length);
}

prefix prefix_of(const zel_v6comp_table_row &row) { return {tm_key_load(row.address), row.length}; }

void two_stage_hardware::put(const zel_v6comp_table_write &write) {
  const prefix p = prefix_of(write);
  const code c = {write.code, write.code_length};
  switch (write.kind) {
    case ZEL_V6COMP_TABLE_ADD_CODE:
      codes_[p].insert(c);
      by_code_[c].insert(p);
      return;
    case ZEL_V6COMP_TABLE_REMOVE_CODE:
      codes_[p].erase(c);
      by_code_[c].erase(p);
      if (codes_[p].empty()) {
        codes_.erase(p);
      }
      if (by_code_[c].empty()) {
        by_code_.erase(c);
      }
      return;
    default:
      break;
  }
  const auto old = keys_.find(p);
  if (old != keys_.end()) {
    by_key_[old->second].erase(p);
    if (by_key_[old->second].empty()) {
      by_key_.erase(old->second);
    }
    keys_.erase(old);
  }
  if (write.kind != ZEL_V6COMP_TABLE_REMOVE_KEY) {
    keys_[p] = write.key;
    by_key_[write.key].insert(p);
  }
}

bool two_stage_hardware::matches(const prefix &rule, uint64_t key) const {
  const auto found = codes_.find(rule);
  return found != codes_.end() && std::any_of(found->second.begin(), found->second.end(), [key](const code &c) {
           return ((c.first ^ key) & leading(c.second)) == 0;
         });
}

std::string two_stage_hardware::fault_of_key(const prefix &p, uint64_t key, const change_of_table &change) const {
  for (unsigned length = 0; length <= 64; ++length) {
    const auto found = by_code_.find({key & leading(length), length});
    if (found == by_code_.end()) {
      continue;
    }
    for (const prefix &q : found->second) {
      if (!q.contains(p)) {
        return "a rule on " + text_of(q) + " matches addresses of " + text_of(p);
      }
    }
  }
  for (unsigned length = 0; length <= p.length; ++length) {
    const prefix around = p.cut(length);
    const bool is_stored = keys_.contains(around);
    const bool both = is_stored && !change.added.contains(around) && !change.removed.contains(around);
    if ((both || around == p) && !matches(around, key)) {
      return "a rule on " + text_of(around) + " misses addresses of " + text_of(p);
    }
  }
  return "";
}

// The longest match of the addresses of `p` that no longer prefix covers: now, in the old and in the new table.
std::string two_stage_hardware::fault_of_match(const prefix &p, const change_of_table &change) const {
  int now = -1;
  int before = -1;
  int after = -1;
  for (unsigned length = 0; length <= p.length; ++length) {
    const prefix around = p.cut(length);
    const bool is_there = keys_.contains(around);
    const bool comes = change.added.contains(around);
    const bool goes = change.removed.contains(around);
    now = is_there ? static_cast<int>(length) : now;
    before = goes || (is_there && !comes) ? static_cast<int>(length) : before;
    after = comes || (is_there && !goes) ? static_cast<int>(length) : after;
  }
  return now == before || now == after ? "" : "a third answer for addresses of " + text_of(p);
}

// An entry came or went: it concerns its own addresses, and those of what comes or goes inside it.
std::string two_stage_hardware::fault_of_detail(const prefix &p, const change_of_table &change) const {
  std::string fault = fault_of_match(p, change);
  for (const std::set<prefix> *set : {&change.added, &change.removed}) {
    for (auto inside = set->lower_bound(p); fault.empty() && inside != set->end() && p.contains(*inside); ++inside) {
      fault = fault_of_match(*inside, change);
    }
  }
  return fault;
}

// All entries whose keys begin with a code that came or went.
std::string two_stage_hardware::fault_below(const code &c, const prefix &q, const change_of_table &change) const {
  const uint64_t last = c.first | ~leading(c.second);
  for (auto at = by_key_.lower_bound(c.first); at != by_key_.end() && at->first <= last; ++at) {
    for (const prefix &p : at->second) {
      const bool around_in_both = q.contains(p) && !change.added.contains(q) && !change.removed.contains(q);
      if (matches(q, at->first) && !q.contains(p)) {
        return "a rule on " + text_of(q) + " matches addresses of " + text_of(p);
      }
      if ((around_in_both || p == q) && !matches(q, at->first)) {
        return "a rule on " + text_of(q) + " misses addresses of " + text_of(p);
      }
    }
  }
  return "";
}

std::string two_stage_hardware::fault_after(const zel_v6comp_table_write &write, const change_of_table &change) const {
  const prefix p = prefix_of(write);
  if (write.kind == ZEL_V6COMP_TABLE_ADD_CODE || write.kind == ZEL_V6COMP_TABLE_REMOVE_CODE) {
    return fault_below({write.code, write.code_length}, p, change);
  }
  std::string fault;
  if (write.kind != ZEL_V6COMP_TABLE_REMOVE_KEY) {
    fault = fault_of_key(p, write.key, change);
  }
  if (fault.empty() && write.kind != ZEL_V6COMP_TABLE_CHANGE_KEY) {
    fault = fault_of_detail(p, change);
  }
  return fault;
}

two_stage_hardware::change_of_table two_stage_hardware::summary(std::span<const zel_v6comp_table_write> writes) {
  change_of_table change;
  for (const zel_v6comp_table_write &write : writes) {
    if (write.kind == ZEL_V6COMP_TABLE_ADD_KEY) {
      change.added.insert(prefix_of(write));
    } else if (write.kind == ZEL_V6COMP_TABLE_REMOVE_KEY) {
      change.removed.insert(prefix_of(write));
    }
  }
  return change;
}

std::string two_stage_hardware::follow(std::span<const zel_v6comp_table_write> writes) {
  const change_of_table change = summary(writes);
  std::string first;
  for (size_t i = 0; i < writes.size(); ++i) {
    const prefix p = prefix_of(writes[i]);
    const bool is_there = keys_.contains(p);
    const code c = {writes[i].code, writes[i].code_length};
    const bool has_code = codes_.contains(p) && codes_.at(p).contains(c);
    const uint8_t kind = writes[i].kind;
    const bool fits = kind == ZEL_V6COMP_TABLE_ADD_CODE      ? !has_code
                      : kind == ZEL_V6COMP_TABLE_REMOVE_CODE ? has_code
                      : kind == ZEL_V6COMP_TABLE_ADD_KEY     ? !is_there
                                                             : is_there;
    put(writes[i]);
    const std::string fault =
        fits ? fault_after(writes[i], change) : "kind " + std::to_string(kind) + " does not fit " + text_of(p);
    faults_ += fault.empty() ? 0 : 1;
    if (first.empty() && !fault.empty()) {
      first = fault + ", after write " + std::to_string(i) + " of " + std::to_string(writes.size());
    }
  }
  return first;
}

void two_stage_hardware::follow_blindly(std::span<const zel_v6comp_table_write> writes) {
  for (const zel_v6comp_table_write &write : writes) {
    put(write);
  }
}

std::string two_stage_hardware::difference(const std::vector<zel_v6comp_table_row> &rows) const {
  if (rows.size() != keys_.size() || rows.size() != codes_.size()) {
    return std::to_string(rows.size()) + " rows, " + std::to_string(keys_.size()) + " keys, codes of " +
           std::to_string(codes_.size());
  }
  for (const zel_v6comp_table_row &row : rows) {
    const prefix p = prefix_of(row);
    const auto key = keys_.find(p);
    const auto codes = codes_.find(p);
    if (key == keys_.end() || key->second != row.key) {
      return "another key for " + text_of(p);
    }
    if (codes == codes_.end() || codes->second != std::set<code>{{row.code, row.code_length}}) {
      return "other codes for " + text_of(p);
    }
  }
  return "";
}

}  // namespace table_model
