// SPDX-License-Identifier: Apache-2.0
#include "table_pair.h"

#include <stdexcept>
#include <vector>

namespace v6agent {

table_pair::table_pair(const table_limits &limits) : limits_(limits) { open(); }

table_pair::~table_pair() { close(); }

void table_pair::open() {
  for (const side which : both_sides) {
    zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
    options.expected_prefixes = 2 * limits_.expected_prefixes;  // loads_alike has a table of its own
    options.move_limit = limits_.move_limit;
    const int32_t status = zel_v6comp_table_open(0, static_cast<int32_t>(which), &options, &table(which));
    if (status != ZEL_V6COMP_TABLE_OK) {
      close();
      throw std::runtime_error(std::string("cannot open the table of ") + name_of(which) +
                               " prefixes: " + zel_v6comp_table_text(status));
    }
  }
}

void table_pair::close() {
  for (const side which : both_sides) {
    zel_v6comp_table_close(table(which));
    table(which) = nullptr;
  }
}

void table_pair::reset() {
  close();
  open();
}

int32_t table_pair::apply(side which, std::span<const zel_v6comp_table_change> changes,
                          zel_v6comp_table_outcome &outcome) {
  return zel_v6comp_table_apply(table(which), changes.data(), changes.size(), &outcome);
}

int32_t table_pair::load(side which, std::span<const zel_v6comp_table_prefix> prefixes,
                         zel_v6comp_table_outcome &outcome) {
  return zel_v6comp_table_load(table(which), prefixes.data(), prefixes.size(), &outcome);
}

int32_t table_pair::compact(side which, zel_v6comp_table_outcome &outcome) {
  return zel_v6comp_table_compact(table(which), &outcome);
}

bool table_pair::find(side which, const ip_prefix &prefix, zel_v6comp_table_row &row) const {
  uint8_t address[16];
  v6tool::key_to_bytes(prefix.key, address);
  return zel_v6comp_table_find(table(which), address, prefix.length, &row) == 1;
}

bool table_pair::lookup(side which, ip_key address, zel_v6comp_table_row &row) const {
  uint8_t bytes[16];
  v6tool::key_to_bytes(address, bytes);
  return zel_v6comp_table_lookup(table(which), bytes, &row) == 1;
}

void table_pair::visit_rows(side which, const std::function<void(const zel_v6comp_table_row &)> &visit) const {
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  std::vector<zel_v6comp_table_row> rows(1024);
  for (;;) {
    const int32_t n = zel_v6comp_table_rows(table(which), &place, rows.data(), static_cast<uint32_t>(rows.size()));
    if (n <= 0) {
      return;
    }
    for (int32_t i = 0; i < n; ++i) {
      visit(rows[static_cast<size_t>(i)]);
    }
  }
}

zel_v6comp_table_stats_record table_pair::figures(side which) const {
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  zel_v6comp_table_stats(table(which), &figures);
  return figures;
}

bool table_pair::loads_alike(side which, std::span<const zel_v6comp_table_prefix> prefixes) const {
  zel_v6comp_table *fresh = nullptr;
  if (zel_v6comp_table_open(1, 0, nullptr, &fresh) != ZEL_V6COMP_TABLE_OK) {
    return false;
  }
  bool alike = zel_v6comp_table_load(fresh, prefixes.data(), prefixes.size(), nullptr) == ZEL_V6COMP_TABLE_OK;
  visit_rows(which, [&](const zel_v6comp_table_row &row) {
    zel_v6comp_table_row again;
    alike = alike && zel_v6comp_table_find(fresh, row.address, row.length, &again) == 1 && again.code == row.code &&
            again.code_length == row.code_length && again.key == row.key;
  });
  zel_v6comp_table_close(fresh);
  return alike;
}

ip_prefix prefix_of(const uint8_t address[16], uint8_t length) { return {v6tool::key_from_bytes(address), length}; }

zel_v6comp_table_change change_of(const ip_prefix &prefix, bool add, uint32_t word) {
  zel_v6comp_table_change change{};
  v6tool::key_to_bytes(prefix.key, change.address);
  change.length = prefix.length;
  change.operation = add ? ZEL_V6COMP_TABLE_ADD : ZEL_V6COMP_TABLE_REMOVE;
  change.word = add ? word : 0;
  return change;
}

}  // namespace v6agent
