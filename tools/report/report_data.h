// SPDX-License-Identifier: Apache-2.0
// report_data.h - what a report shows: the rows of a table, figures of it, and what became of a history.
#ifndef REPORT_DATA_H
#define REPORT_DATA_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "prefix_forest.h"
#include "zel_v6comp_table.h"

namespace v6tool {

// One batch of the history.
struct report_batch {
  size_t number = 0;  // 1-based
  uint64_t added = 0, removed = 0, moved = 0, writes = 0;
  uint64_t prefixes = 0;  // in the table after it
  double ms = 0;          // inside the library
  std::string refused;    // why, "" when it was accepted
};

struct report_data {
  std::string table;
  std::string history;  // "" when there is none
  std::string version;
  std::vector<zel_v6comp_table_row> rows;  // by address, containing prefixes first
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  std::vector<report_batch> batches;
};

// How the rows nest, by index.
struct row_nesting {
  static constexpr uint32_t none = prefix_forest::none;
  std::vector<uint32_t> parent;  // the row that is next around one
  std::vector<uint32_t> depth;   // rows around one
  std::vector<uint8_t> need;     // bits that everything inside takes, packed as tightly as it can be
};

row_nesting nest(const std::vector<zel_v6comp_table_row> &rows);

// Bits that are left behind a row's code when its inside is packed tightly.
inline uint32_t headroom(const zel_v6comp_table_row &row, uint32_t need) {
  return row.code_length + need >= 64 ? 0 : 64 - row.code_length - need;
}

// Of the rows of one depth.
struct depth_figures {
  uint32_t depth = 0;
  uint64_t prefixes = 0;
  uint32_t least = 0, median = 0, most = 0;  // headroom
  uint32_t shortest = 0, longest = 0;        // codes
};

std::vector<depth_figures> figures_by_depth(const std::vector<zel_v6comp_table_row> &rows, const row_nesting &nesting);

}  // namespace v6tool

#endif
