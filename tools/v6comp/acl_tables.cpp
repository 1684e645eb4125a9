// SPDX-License-Identifier: Apache-2.0
#include "acl_tables.h"

#include <algorithm>
#include <string>

#include "tool_failure.h"

namespace v6tool {

namespace {

int32_t checked(int32_t status) {
  if (status < 0) {
    throw tool_failure{exit_undone, {std::string("the library refused a question: ") + zel_v6comp_table_text(status)}};
  }
  return status;
}

acl_row row_from(const zel_v6comp_table_row &row) {
  return {{key_from_bytes(row.address), row.length}, {row.code, row.code_length}, row.key};
}

std::vector<acl_row> all_rows(const zel_v6comp_table *table, size_t count) {
  std::vector<zel_v6comp_table_row> records(count);
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  checked(zel_v6comp_table_rows(table, &place, records.data(), static_cast<uint32_t>(count)));
  std::vector<acl_row> rows;
  rows.reserve(count);
  for (const zel_v6comp_table_row &record : records) {
    rows.push_back(row_from(record));
  }
  return rows;
}

zel_v6comp_table *open_table(int32_t instance, size_t expected) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.expected_prefixes = static_cast<uint32_t>(expected);
  zel_v6comp_table *table = nullptr;
  const int32_t status = zel_v6comp_table_open(0, instance, &options, &table);
  if (status != ZEL_V6COMP_TABLE_OK) {
    throw tool_failure{exit_undone, {std::string("the library cannot open a table: ") + zel_v6comp_table_text(status)}};
  }
  return table;
}

}  // namespace

acl_table::acl_table(int32_t instance, const char *what, const std::vector<ip_prefix> &prefixes, size_t expected)
    : what_(what), table_(open_table(instance, expected)) {
  std::vector<zel_v6comp_table_prefix> records(prefixes.size());
  for (size_t i = 0; i < prefixes.size(); ++i) {
    key_to_bytes(prefixes[i].key, records[i].address);
    records[i].length = prefixes[i].length;
  }
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const int32_t status = zel_v6comp_table_load(table_, records.data(), records.size(), &outcome);
  if (status == ZEL_V6COMP_TABLE_OK) {
    rows_ = all_rows(table_, prefixes.size());
    return;
  }
  zel_v6comp_table_close(table_);
  throw tool_failure{status == ZEL_V6COMP_TABLE_E_BITS ? exit_no : exit_undone,
                     {std::string("the table of ") + what + " is refused: " + outcome.reason}};
}

const acl_row &acl_table::row_of(const ip_prefix &prefix) const {
  return *std::lower_bound(rows_.begin(), rows_.end(), prefix,
                           [](const acl_row &row, const ip_prefix &wanted) { return row.prefix < wanted; });
}

acl_row acl_table::lookup(ip_key address) const {
  uint8_t bytes[16];
  key_to_bytes(address, bytes);
  zel_v6comp_table_row row = {};
  checked(zel_v6comp_table_lookup(table_, bytes, &row));
  return row_from(row);
}

uint32_t acl_table::bits_needed() const {
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  checked(zel_v6comp_table_stats(table_, &figures));
  return figures.bits_needed;
}

// The table that is opened first makes the pools, for both.
acl_tables::acl_tables(const std::vector<ip_prefix> &from, const std::vector<ip_prefix> &to)
    : sources(0, "sources", from, from.size() + to.size()),
      destinations(1, "destinations", to, from.size() + to.size()) {}

acl_tables::acl_tables(const rule_set &set) : acl_tables(source_prefixes(set), destination_prefixes(set)) {}

std::vector<rule_entry> acl_entries(const rule_set &set, const acl_tables &tables) {
  return make_entries(
      set, [&](const ip_prefix &prefix) { return tables.sources.row_of(prefix).code; },
      [&](const ip_prefix &prefix) { return tables.destinations.row_of(prefix).code; });
}

}  // namespace v6tool
