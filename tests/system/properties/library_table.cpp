// SPDX-License-Identifier: Apache-2.0
#include "library_table.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace library_table {

namespace {

std::vector<v6tool::ip_prefix> result_codes;
std::optional<uint32_t> bits;

tcamv6_prefix record_of(const v6tool::ip_prefix &prefix) {
  tcamv6_prefix record = {};
  record.length = prefix.length;
  v6tool::key_to_bytes(prefix.key, record.address);
  return record;
}

v6tool::ip_prefix prefix_of(const uint8_t address[16], uint8_t length) {
  return {v6tool::masked(v6tool::key_from_bytes(address), length), length};
}

tcamv6_state *instance() { return zel_v6comp_instance(0, 0); }

}  // namespace

void start() {
  static bool started = false;
  if (std::exchange(started, true)) {
    return;
  }
  for (tm_raw_blk_row &row : raw_blk) {
    if (row.enabled != 0 && row.elem_size != 0) {
      row.n_elems = uint64_t{1} << 20;
    }
  }
  if (zel_v6comp_init_global_state(1, 1) != 0) {
    std::abort();
  }
  zel_v6comp_dbg_error_set(0);
}

uint32_t compress(const v6tool::prefix_table &table) {
  result_codes.clear();
  bits.reset();
  zel_v6comp_reset_instance(0, 0);
  std::vector<uint8_t> request(sizeof(v6comp_pref_info) + table.rows.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(table.rows.size())};
  std::memcpy(request.data(), &head, sizeof head);
  for (size_t i = 0; i < table.rows.size(); ++i) {
    tcamv6_prefix record = record_of(table.rows[i].prefix);
    record.flags_tag = TM_PREFIX_FLAG_ADD;
    record.weight = table.rows[i].weight;
    std::memcpy(request.data() + sizeof head + i * sizeof record, &record, sizeof record);
  }
  tcamv6_cmpr_pref *codes = nullptr;
  tcamv6_cmpr_addr *addresses = nullptr;
  const uint32_t status = zel_v6comp_prefix_compress_prefixes(
      reinterpret_cast<const v6comp_pref_info *>(request.data()), &codes, &addresses, nullptr);
  for (size_t i = 0; status == 0 && i < table.rows.size(); ++i) {
    result_codes.push_back(prefix_of(codes[i].key, codes[i].length));
  }
  zel_v6comp_free_compr_result(codes, addresses);
  return status;
}

v6tool::ip_prefix result_code(size_t row) { return result_codes.at(row); }

std::optional<v6tool::compressed_row> translate(const v6tool::ip_prefix &prefix) {
  const tcamv6_prefix record = record_of(prefix);
  tcamv6_cmpr_pref code = {};
  tcamv6_cmpr_addr address = {};
  if (tcamv6_lookup_prefix(instance(), &record, &code, &address) != 0) {
    return std::nullopt;
  }
  return v6tool::compressed_row{prefix, prefix_of(code.key, code.length), v6tool::key_from_bytes(address.bytes)};
}

std::optional<found_address> find(v6tool::ip_key address) {
  uint8_t bytes[16];
  v6tool::key_to_bytes(address, bytes);
  tcamv6_prefix match = {};
  tcamv6_cmpr_pref code = {};
  tcamv6_cmpr_addr code_address = {};
  if (tcamv6_lookup_address(instance(), bytes, &match, &code, &code_address) != 0) {
    return std::nullopt;
  }
  return found_address{prefix_of(match.address, match.length), prefix_of(code.key, code.length),
                       v6tool::key_from_bytes(code_address.bytes)};
}

std::vector<v6tool::compressed_row> dump() {
  uint32_t n = 0;
  uint32_t written = 0;
  std::vector<v6tool::compressed_row> rows;
  if (tcamv6_dump_n_prefixes(instance(), &n) != 0) {
    return rows;
  }
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  if (tcamv6_dump_cmpr_tbl(instance(), static_cast<int32_t>(n), prefixes.data(), codes.data(), addresses.data(),
                           &written) != 0) {
    return rows;
  }
  for (uint32_t i = 0; i < written; ++i) {
    rows.push_back({prefix_of(prefixes[i].address, prefixes[i].length), prefix_of(codes[i].key, codes[i].length),
                    v6tool::key_from_bytes(addresses[i].bytes)});
  }
  return rows;
}

std::optional<uint32_t> reported_bits() { return bits; }

}  // namespace library_table

// This program is the host: it reads the library's messages instead of printing them.
extern "C" void zel_buginf(const char *format, ...) {
  if (std::strstr(format, "Bits Required") == nullptr) {
    return;
  }
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  unsigned value = 0;
  if (std::sscanf(std::strstr(line, "Bits Required"), "Bits Required: %u", &value) == 1) {
    library_table::bits = value;
  }
}
