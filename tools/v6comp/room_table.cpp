// SPDX-License-Identifier: Apache-2.0
#include "room_table.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>

#include "library_start.h"
#include "zel_v6comp.h"

namespace v6tool {

namespace {

using steady = std::chrono::steady_clock;

// A status that only a fault of the tool or of the library can bring.
int32_t checked(int32_t status) {
  if (status < 0) {
    throw tool_failure{exit_undone, {fmt::format("the library refused a question: {}", zel_v6comp_table_text(status))}};
  }
  return status;
}

std::string words_of_opening(int32_t status) {
  return status == ZEL_V6COMP_TABLE_E_MEMORY
             ? "the library cannot start: no memory for its pools; a smaller --pool-elements may help"
             : fmt::format("the library cannot open a table: {}", zel_v6comp_table_text(status));
}

// Calls the library and notes how long it takes.
template <class Call>
table_outcome timed(Call call) {
  table_outcome outcome = {ZEL_V6COMP_TABLE_OUTCOME_INIT, 0};
  const auto began = steady::now();
  call(&outcome);
  outcome.ms = std::chrono::duration<double, std::milli>(steady::now() - began).count();
  return outcome;
}

template <class Record>
Record record_of_prefix(const ip_prefix &prefix) {
  Record record = {};
  key_to_bytes(prefix.key, record.address);
  record.length = prefix.length;
  return record;
}

}  // namespace

room_table::room_table(const common_options &options, size_t expected_prefixes, std::optional<uint32_t> move_limit) {
  if (options.pool_elements != "auto" && zel_v6comp_instance(0, 0) == nullptr) {
    start_library(options, {});
  }
  zel_v6comp_table_options wishes = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  wishes.expected_prefixes = static_cast<uint32_t>(std::clamp<size_t>(expected_prefixes, 1, UINT32_MAX));
  if (move_limit) {
    wishes.move_limit = *move_limit == 0 ? ZEL_V6COMP_TABLE_NO_MOVES : *move_limit;
  }
  const int32_t status = zel_v6comp_table_open(options.processor, options.instance, &wishes, &table_);
  if (status != ZEL_V6COMP_TABLE_OK) {
    throw tool_failure{exit_undone, {words_of_opening(status)}};
  }
  set_debug_words(options);
}

table_outcome room_table::load(std::span<const ip_prefix> prefixes) {
  std::vector<zel_v6comp_table_prefix> records;
  records.reserve(prefixes.size());
  for (const ip_prefix &prefix : prefixes) {
    records.push_back(record_of_prefix<zel_v6comp_table_prefix>(prefix));
  }
  return timed([&](zel_v6comp_table_outcome *outcome) {
    zel_v6comp_table_load(table_, records.data(), records.size(), outcome);
  });
}

table_outcome room_table::apply(std::span<const table_change> changes) {
  std::vector<zel_v6comp_table_change> records;
  records.reserve(changes.size());
  for (const table_change &change : changes) {
    records.push_back(record_of_prefix<zel_v6comp_table_change>(change.prefix));
    records.back().operation = change.add ? ZEL_V6COMP_TABLE_ADD : ZEL_V6COMP_TABLE_REMOVE;
  }
  return timed([&](zel_v6comp_table_outcome *outcome) {
    zel_v6comp_table_apply(table_, records.data(), records.size(), outcome);
  });
}

table_outcome room_table::compact() {
  return timed([&](zel_v6comp_table_outcome *outcome) { zel_v6comp_table_compact(table_, outcome); });
}

std::optional<zel_v6comp_table_row> room_table::find(const ip_prefix &prefix) const {
  uint8_t address[16];
  key_to_bytes(prefix.key, address);
  zel_v6comp_table_row row = {};
  return checked(zel_v6comp_table_find(table_, address, prefix.length, &row)) != 0 ? std::optional(row) : std::nullopt;
}

std::optional<zel_v6comp_table_row> room_table::lookup(ip_key address) const {
  uint8_t bytes[16];
  key_to_bytes(address, bytes);
  zel_v6comp_table_row row = {};
  return checked(zel_v6comp_table_lookup(table_, bytes, &row)) != 0 ? std::optional(row) : std::nullopt;
}

uint64_t room_table::translate(ip_key address) const {
  uint8_t bytes[16];
  key_to_bytes(address, bytes);
  uint64_t key = 0;
  checked(zel_v6comp_table_translate(table_, bytes, 1, &key, nullptr));
  return key;
}

std::vector<zel_v6comp_table_row> room_table::rows() const {
  const uint32_t n = figures().prefixes;
  std::vector<zel_v6comp_table_row> all(n);
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  if (n != 0) {
    all.resize(static_cast<size_t>(checked(zel_v6comp_table_rows(table_, &place, all.data(), n))));
  }
  return all;
}

zel_v6comp_table_stats_record room_table::figures() const {
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  checked(zel_v6comp_table_stats(table_, &figures));
  return figures;
}

}  // namespace v6tool
