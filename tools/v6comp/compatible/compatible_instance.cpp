// SPDX-License-Identifier: Apache-2.0
#include "compatible_instance.h"

#include <chrono>
#include <cstring>

#include "library_start.h"
#include "tool_failure.h"

namespace v6tool {

void start_compatible(const common_options &options, const pool_needs &needs, bool safe_updates) {
  start_library(options, needs);
  set_debug_words(options);
  zel_v6comp_set_room(0);
  zel_v6comp_set_safe_updates(safe_updates ? 1 : 0);
}

tcamv6_prefix record_of(const request_row &row) {
  tcamv6_prefix record = record_of(row.prefix);
  record.flags_tag = row.add ? TM_PREFIX_FLAG_ADD : 0;
  record.weight = row.weight;
  return record;
}

std::vector<request_row> request_rows(const prefix_table &table) {
  std::vector<request_row> rows;
  rows.reserve(table.rows.size());
  for (const table_row &row : table.rows) {
    rows.push_back({row.prefix, row.weight, true});
  }
  return rows;
}

compatible_instance::compatible_instance(const common_options &options)
    : processor_(options.processor), instance_(options.instance), view_(options.processor, options.instance) {}

request_outcome compatible_instance::request(std::span<const request_row> rows) const {
  // The request lies in one piece of memory: its three words, then the records, unaligned.
  const v6comp_pref_info head = {processor_, instance_, static_cast<uint32_t>(rows.size())};
  std::vector<uint8_t> bytes(sizeof head + rows.size() * sizeof(tcamv6_prefix));
  std::memcpy(bytes.data(), &head, sizeof head);
  uint8_t *at = bytes.data() + sizeof head;
  for (const request_row &row : rows) {
    const tcamv6_prefix record = record_of(row);
    std::memcpy(at, &record, sizeof record);
    at += sizeof record;
  }
  tcamv6_cmpr_pref *codes = nullptr;
  tcamv6_cmpr_addr *addresses = nullptr;
  request_outcome outcome;
  const auto began = std::chrono::steady_clock::now();
  outcome.status = zel_v6comp_prefix_compress_prefixes(reinterpret_cast<const v6comp_pref_info *>(bytes.data()), &codes,
                                                       &addresses, nullptr);
  outcome.ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count();
  if (outcome.status == 0) {
    outcome.codes.reserve(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
      outcome.codes.push_back(code_of(codes[i]));
    }
  }
  zel_v6comp_free_compr_result(codes, addresses);
  return outcome;
}

void compatible_instance::reset() const {
  if (zel_v6comp_reset_instance(processor_, instance_) != 0) {
    throw tool_failure{exit_undone, {"the library cannot reset the instance"}};
  }
}

}  // namespace v6tool
