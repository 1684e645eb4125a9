// SPDX-License-Identifier: Apache-2.0
#include "engine_view.h"

#include <fmt/core.h>

#include "tool_failure.h"

namespace v6tool {

namespace {

translation translation_of(const tcamv6_cmpr_pref &code, const tcamv6_cmpr_addr &address) {
  return {code_of(code), key_from_bytes(address.bytes)};
}

}  // namespace

tcamv6_prefix record_of(const ip_prefix &prefix) {
  tcamv6_prefix record = {};
  record.length = prefix.length;
  key_to_bytes(prefix.key, record.address);
  return record;
}

ip_prefix code_of(const tcamv6_cmpr_pref &record) {
  return {masked(key_from_bytes(record.key), record.length), record.length};
}

std::optional<translation> engine_view::translate(const ip_prefix &prefix) const {
  const tcamv6_prefix record = record_of(prefix);
  tcamv6_cmpr_pref code = {};
  tcamv6_cmpr_addr address = {};
  if (tcamv6_lookup_prefix(state_, &record, &code, &address) != TM_OK) {
    return std::nullopt;
  }
  return translation_of(code, address);
}

std::optional<address_answer> engine_view::find(ip_key address) const {
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

uint32_t engine_view::count_stored() const {
  uint32_t n = 0;
  return tcamv6_dump_n_prefixes(state_, &n) == TM_OK ? n : 0;
}

std::vector<dump_row> engine_view::dump() const {
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
