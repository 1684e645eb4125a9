// SPDX-License-Identifier: Apache-2.0
// all_rows.h - the rows of a table by its walk.
#ifndef ALL_ROWS_H
#define ALL_ROWS_H

#include <optional>
#include <vector>

#include "zel_v6comp_table.h"

// So many rows a call; nothing when a call is refused.
inline std::optional<std::vector<zel_v6comp_table_row>> all_rows(const zel_v6comp_table *table, uint32_t at_once) {
  std::vector<zel_v6comp_table_row> all;
  std::vector<zel_v6comp_table_row> some(at_once);
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  int32_t n;
  while ((n = zel_v6comp_table_rows(table, &place, some.data(), at_once)) > 0) {
    all.insert(all.end(), some.begin(), some.begin() + n);
  }
  return n == 0 ? std::optional(all) : std::nullopt;
}

#endif
