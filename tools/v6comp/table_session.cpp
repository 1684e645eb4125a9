// SPDX-License-Identifier: Apache-2.0
#include "table_session.h"

#include "code_bits.h"
#include "compatible_refusal.h"
#include "full_refusal.h"
#include "pool_counters.h"
#include "pool_sizing.h"
#include "prefix_text.h"
#include "progress_note.h"

namespace v6tool {

table_session::table_session(const prefix_table &table, const common_options &options) {
  const progress_note note("compressing", options.quiet);
  stored_ = find_stored_prefixes(table);
  if (options.room) {
    compress_in_room_mode(table, options);
  } else {
    compress_in_compatible_mode(table, options);
  }
}

void table_session::compress_in_room_mode(const prefix_table &table, const common_options &options) {
  room_.emplace(options, stored_.n_table);
  view_.emplace(options.processor, options.instance);
  const table_outcome outcome = load_rows(*room_, table);
  if (!outcome.accepted()) {
    throw explain_full_refusal(table, outcome, options);
  }
  compress_ms_ = outcome.ms;
}

void table_session::compress_in_compatible_mode(const prefix_table &table, const common_options &options) {
  start_compatible(options, find_pool_needs(stored_), false);
  const compatible_instance instance(options);
  view_.emplace(options.processor, options.instance);
  request_outcome outcome = instance.compress(table);
  if (outcome.status != 0) {
    throw explain_compatible_refusal(instance, table, outcome.status);
  }
  result_codes_ = std::move(outcome.codes);
  compress_ms_ = outcome.ms;
}

translation table_session::translate_stored(const ip_prefix &prefix) const {
  const std::optional<translation> result = view_->translate(prefix);
  if (!result) {
    throw tool_failure{exit_undone, {"the library does not find " + format_prefix(prefix) + ", which it was given"}};
  }
  return *result;
}

ip_key table_session::key_of(ip_key address) const {
  if (room_) {
    return {room_->translate(address), 0};
  }
  const std::optional<address_answer> found = view_->find(address);
  return found ? found->result.address : ip_key{};
}

uint32_t table_session::required_bits() const {
  return room_ ? room_->figures().bits_needed : required_code_bits(stored_.forest, false);
}

std::vector<pool_use> table_session::pools() const {
  std::vector<pool_use> uses;
  for (const tm_raw_blk_row &row : raw_blk) {
    const tm_chunk_info &info = gbl_chunk_info[row.type];
    if (info.handle != 0) {
      uses.push_back({row.name, info.n_elems, info.allocated, pool_peak(row.name)});
    }
  }
  return uses;
}

}  // namespace v6tool
