// SPDX-License-Identifier: Apache-2.0
#include "hardware_list.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

#include "prefix_value.h"
#include "tool_failure.h"

namespace v6tool {

namespace {

using folded_key = std::pair<uint8_t, ip_key>;  // length, and the bits as the list has them

ip_key folded(const ip_prefix &prefix) {
  uint8_t bytes[16];
  key_to_bytes(prefix.key, bytes);
  if (prefix.length % 8 != 0) {
    uint8_t &partial = bytes[prefix.length / 8];
    partial = static_cast<uint8_t>(partial >> (8 - prefix.length % 8));
  }
  return key_from_bytes(bytes);
}

// What the list did not see: 7 equal bytes, and another eighth one.
uint32_t mark_eighth_bytes(tm_incr_update_list &list, const std::vector<first_stage_row> &rows) {
  std::map<folded_key, uint8_t> wanted;
  for (const first_stage_row &row : rows) {
    wanted[{row.prefix.length, folded(row.prefix)}] = static_cast<uint8_t>(row.result);
  }
  uint32_t marked = 0;
  for (uint32_t i = 0; i < list.count; ++i) {
    tm_incr_update_entry &slot = list.entries[i];
    const auto found = wanted.find({slot.length, key_from_bytes(slot.prefix)});
    if (found == wanted.end() || slot.cmpr_addr[7] == found->second) {
      continue;
    }
    slot.cmpr_addr[7] = found->second;
    if (slot.state == TM_INCR_IN_HW) {
      slot.state = TM_INCR_UPDATE;
      ++marked;
    }
  }
  return marked;
}

uint32_t count_state(const tm_incr_update_list &list, uint32_t state) {
  return static_cast<uint32_t>(std::count_if(list.entries, list.entries + list.count,
                                             [&](const tm_incr_update_entry &slot) { return slot.state == state; }));
}

void check_size(size_t rows) {
  if (rows > TM_INCR_SLOTS) {
    throw tool_failure{exit_no,
                       {fmt::format("the table has {} rows, an update list holds {}: plan from table to table instead",
                                    rows, +TM_INCR_SLOTS)}};
  }
}

}  // namespace

pending_counts hardware_list::plan(const std::vector<first_stage_row> &rows) {
  std::vector<tcamv6_prefix> prefixes(rows.size());
  std::vector<tcamv6_cmpr_addr> addresses(rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    prefixes[i].length = rows[i].prefix.length;
    key_to_bytes(folded(rows[i].prefix), prefixes[i].address);
    key_to_bytes({rows[i].result, 0}, addresses[i].bytes);
  }
  uint32_t corrupted = 0;
  check_size(rows.size());
  tm_build_incremental_update_prefixes_list(list_.get(), prefixes.data(), nullptr, addresses.data(),
                                            static_cast<uint32_t>(rows.size()), list_->count, &corrupted, 0);
  if (corrupted != 0) {
    throw tool_failure{exit_undone, {"the library finds the update list corrupted"}};
  }
  pending_counts pending;
  pending.eighth_byte = mark_eighth_bytes(*list_, rows);
  pending.deletes = count_state(*list_, TM_INCR_DELETE);
  pending.updates = count_state(*list_, TM_INCR_UPDATE);
  pending.inserts = list_->n_insert;
  check_size(list_->count + list_->n_insert);
  return pending;
}

void hardware_list::confirm(const pending_counts &pending) {
  tm_clear_pending_state(list_.get(), 0, list_->count, TM_INCR_DELETE);
  tm_clear_pending_state(list_.get(), 0, list_->count, TM_INCR_UPDATE);
  list_->count -= pending.deletes;
  tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list_.get(), pending.deletes, pending.inserts, 0);
  tm_clear_pending_state(list_.get(), 0, list_->count, TM_INCR_INSERT);
}

}  // namespace v6tool
