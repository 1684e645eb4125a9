#include "library_session.h"

#include <fmt/format.h>

#include <chrono>
#include <cstring>

#include "code_bits.h"
#include "pool_counters.h"
#include "pool_sizing.h"
#include "prefix_text.h"
#include "progress_note.h"

namespace v6tool {

namespace {

tcamv6_prefix record_of(const ip_prefix &prefix) {
  tcamv6_prefix record = {};
  record.length = prefix.length;
  key_to_bytes(prefix.key, record.address);
  return record;
}

ip_prefix code_of(const tcamv6_cmpr_pref &record) {
  return {masked(key_from_bytes(record.key), record.length), record.length};
}

translation translation_of(const tcamv6_cmpr_pref &code, const tcamv6_cmpr_addr &address) {
  return {code_of(code), key_from_bytes(address.bytes)};
}

// The request lies in one piece of memory: its three words, then the records, unaligned.
std::vector<uint8_t> make_request(const prefix_table &table, const common_options &options) {
  const v6comp_pref_info head = {options.processor, options.instance, static_cast<uint32_t>(table.rows.size())};
  std::vector<uint8_t> request(sizeof head + table.rows.size() * sizeof(tcamv6_prefix));
  std::memcpy(request.data(), &head, sizeof head);
  uint8_t *at = request.data() + sizeof head;
  for (const table_row &row : table.rows) {
    tcamv6_prefix record = record_of(row.prefix);
    record.flags_tag = TM_PREFIX_FLAG_ADD;
    record.weight = row.weight;
    std::memcpy(at, &record, sizeof record);
    at += sizeof record;
  }
  return request;
}

void write_pool_sizes(const std::string &choice, const stored_prefixes &stored) {
  if (choice == "default") {
    return;
  }
  const pool_needs needs = find_pool_needs(stored);
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.enabled != 0 && row.elem_size != 0) {
      row.n_elems = choice == "auto" ? needs[row.type].most : std::stoul(choice);
    }
  }
}

}  // namespace

library_session::library_session(const prefix_table &table, const common_options &options) {
  const progress_note note("compressing", options.quiet);
  stored_ = find_stored_prefixes(table);
  start(options);
  compress(table, options);
}

void library_session::start(const common_options &options) {
  write_pool_sizes(options.pool_elements, stored_);
  const uint32_t status = zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS);
  if (status != 0) {
    throw tool_failure{exit_no,
                       {fmt::format("the library cannot start, status {}: no memory for its pools; a smaller "
                                    "--pool-elements may help",
                                    status)}};
  }
  // Only now: starting the library resets its debug words. Left to itself it prints errors, which for a tool that
  // explains its failures, and for tables that are merely tight, is only noise.
  if (options.debug_level) {
    zel_v6comp_dbg_set_by_level(*options.debug_level);
  } else {
    zel_v6comp_dbg_error_set(0);
  }
  state_ = zel_v6comp_instance(options.processor, options.instance);
}

void library_session::compress(const prefix_table &table, const common_options &options) {
  const std::vector<uint8_t> request = make_request(table, options);
  tcamv6_cmpr_pref *codes = nullptr;
  tcamv6_cmpr_addr *addresses = nullptr;
  const auto began = std::chrono::steady_clock::now();
  const uint32_t status = zel_v6comp_prefix_compress_prefixes(
      reinterpret_cast<const v6comp_pref_info *>(request.data()), &codes, &addresses, nullptr);
  compress_ms_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count();
  if (status == 0) {
    result_codes_.reserve(table.rows.size());
    for (size_t i = 0; i < table.rows.size(); ++i) {
      result_codes_.push_back(code_of(codes[i]));
    }
  }
  zel_v6comp_free_compr_result(codes, addresses);
  if (status != 0) {
    throw tool_failure{exit_no, explain(status)};
  }
}

std::vector<std::string> library_session::explain_pools() const {
  const pool_needs needs = find_pool_needs(stored_);
  std::vector<std::string> lines;
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    const tm_chunk_info &info = gbl_chunk_info[type];
    if (info.failed != 0) {
      lines.push_back(
          fmt::format("the table does not fit: pool {} ran out at {} elements; the table needs {} at "
                      "least, {} are enough",
                      raw_blk[type].name, info.n_elems, needs[type].least, needs[type].most));
    }
  }
  if (!lines.empty()) {
    lines.emplace_back("--pool-elements auto makes every pool large enough for the table");
  }
  return lines;
}

std::vector<std::string> library_session::explain(uint32_t status) const {
  const uint32_t bits = required_code_bits(stored_.forest);
  const std::string advice =
      "no option helps: split the table, for example over two instances, or leave out levels of nested prefixes";
  switch (status) {
    case -TM_ENOMEM: {
      const std::vector<std::string> pools = explain_pools();
      return pools.empty() ? std::vector<std::string>{"the library ran out of memory (status 12)"} : pools;
    }
    case -TM_EOVERFLOW:
      return {fmt::format("the table does not fit: its compressed prefixes need {} bits, at most {} are possible", bits,
                          +TCAMV6_MAX_CMPR_LEN),
              advice};
    case -TM_EFAULT:
      return {fmt::format("the table does not fit: {} of {} bits are enough for its compressed prefixes, but not for "
                          "the room that later updates need between them (status 14)",
                          bits, +TCAMV6_MAX_CMPR_LEN),
              advice};
    default:
      return {fmt::format("the library refused the table with status {}; --debug-level 7 shows what it says", status)};
  }
}

std::optional<translation> library_session::translate(const ip_prefix &prefix) const {
  const tcamv6_prefix record = record_of(prefix);
  tcamv6_cmpr_pref code = {};
  tcamv6_cmpr_addr address = {};
  if (tcamv6_lookup_prefix(state_, &record, &code, &address) != TM_OK) {
    return std::nullopt;
  }
  return translation_of(code, address);
}

translation library_session::translate_stored(const ip_prefix &prefix) const {
  const std::optional<translation> result = translate(prefix);
  if (!result) {
    throw tool_failure{exit_no, {"the library does not find " + format_prefix(prefix) + ", which it was given"}};
  }
  return *result;
}

std::optional<address_answer> library_session::find(ip_key address) const {
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

std::vector<dump_row> library_session::dump() const {
  uint32_t n = 0;
  uint32_t written = 0;
  int32_t status = tcamv6_dump_n_prefixes(state_, &n);
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  if (status == TM_OK) {
    status = tcamv6_dump_cmpr_tbl(state_, static_cast<int32_t>(n), prefixes.data(), codes.data(), addresses.data(),
                                  &written);
  }
  if (status != TM_OK) {
    throw tool_failure{exit_no, {fmt::format("the library cannot dump the table: {}", status)}};
  }
  std::vector<dump_row> rows;
  rows.reserve(written);
  for (uint32_t i = 0; i < written; ++i) {
    rows.push_back({{masked(key_from_bytes(prefixes[i].address), prefixes[i].length), prefixes[i].length},
                    translation_of(codes[i], addresses[i])});
  }
  return rows;
}

std::vector<pool_use> library_session::pools() const {
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
