// SPDX-License-Identifier: Apache-2.0
#include "library_instance.h"

#include <fmt/core.h>

#include <chrono>
#include <cstring>

namespace v6tool {

namespace {

ip_prefix code_of(const tcamv6_cmpr_pref &record) {
  return {masked(key_from_bytes(record.key), record.length), record.length};
}

translation translation_of(const tcamv6_cmpr_pref &code, const tcamv6_cmpr_addr &address) {
  return {code_of(code), key_from_bytes(address.bytes)};
}

void write_pool_sizes(const std::string &choice, const pool_needs &needs) {
  if (choice == "default") {
    return;
  }
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.enabled != 0 && row.elem_size != 0) {
      row.n_elems = choice == "auto" ? needs[row.type].most : std::stoul(choice);
    }
  }
}

}  // namespace

void start_library(const common_options &options, const pool_needs &needs) {
  write_pool_sizes(options.pool_elements, needs);
  const uint32_t status = zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS);
  if (status != 0) {
    throw tool_failure{exit_undone,
                       {fmt::format("the library cannot start, status {}: no memory for its pools; a smaller "
                                    "--pool-elements may help",
                                    status)}};
  }
  zel_v6comp_set_room(options.room ? 1 : 0);
  // Only now: starting the library resets its debug words. Left to itself it prints errors, which for a tool that
  // explains its failures, and for tables that are merely tight, is only noise.
  if (options.debug_level) {
    zel_v6comp_dbg_set_by_level(*options.debug_level);
  } else {
    zel_v6comp_dbg_error_set(0);
  }
}

tcamv6_prefix record_of(const ip_prefix &prefix) {
  tcamv6_prefix record = {};
  record.length = prefix.length;
  key_to_bytes(prefix.key, record.address);
  return record;
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

library_instance::library_instance(const common_options &options)
    : processor_(options.processor),
      instance_(options.instance),
      state_(zel_v6comp_instance(options.processor, options.instance)) {}

request_outcome library_instance::request(std::span<const request_row> rows) const {
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

void library_instance::reset() const {
  if (zel_v6comp_reset_instance(processor_, instance_) != 0) {
    throw tool_failure{exit_undone, {"the library cannot reset the instance"}};
  }
}

std::span<const zel_v6comp_move> library_instance::moves() const {
  const zel_v6comp_move *moves = nullptr;
  uint32_t n = 0;
  if (zel_v6comp_moves(processor_, instance_, &moves, &n) != 0) {
    throw tool_failure{exit_undone, {"the library does not tell what it moved"}};
  }
  return {moves, n};
}

std::optional<translation> library_instance::translate(const ip_prefix &prefix) const {
  const tcamv6_prefix record = record_of(prefix);
  tcamv6_cmpr_pref code = {};
  tcamv6_cmpr_addr address = {};
  if (tcamv6_lookup_prefix(state_, &record, &code, &address) != TM_OK) {
    return std::nullopt;
  }
  return translation_of(code, address);
}

std::optional<address_answer> library_instance::find(ip_key address) const {
  uint8_t bytes[16];
  key_to_bytes(address, bytes);
  tcamv6_prefix match = {};
  tcamv6_cmpr_pref code = {};
  tcamv6_cmpr_addr code_address = {};
  if (tcamv6_lookup_address(state_, bytes, &match, &code, &code_address) != TM_OK) {
    return std::nullopt;
  }
  const ip_prefix prefix = {masked(key_from_bytes(match.address), match.length), match.length};
  return address_answer{prefix, translation_of(code, code_address)};
}

uint32_t library_instance::count_stored() const {
  uint32_t n = 0;
  return tcamv6_dump_n_prefixes(state_, &n) == TM_OK ? n : 0;
}

std::vector<dump_row> library_instance::dump() const {
  const uint32_t n = count_stored();
  uint32_t written = 0;
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  const int32_t status =
      tcamv6_dump_cmpr_tbl(state_, static_cast<int32_t>(n), prefixes.data(), codes.data(), addresses.data(), &written);
  if (status != TM_OK) {
    throw tool_failure{exit_undone, {fmt::format("the library cannot dump the table: {}", status)}};
  }
  std::vector<dump_row> rows;
  rows.reserve(written);
  for (uint32_t i = 0; i < written; ++i) {
    rows.push_back({{masked(key_from_bytes(prefixes[i].address), prefixes[i].length), prefixes[i].length},
                    translation_of(codes[i], addresses[i])});
  }
  return rows;
}

}  // namespace v6tool
