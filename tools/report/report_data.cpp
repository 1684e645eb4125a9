// SPDX-License-Identifier: Apache-2.0
#include "report_data.h"

#include <algorithm>

#include "prefix_value.h"

namespace v6tool {

namespace {

// A number of blocks may be one more than 2^64: a row's inside and its own place.
__extension__ using block_count = unsigned __int128;

uint32_t bits_for(block_count blocks) {
  uint32_t bits = 0;
  while (bits < 127 && (block_count{1} << bits) < blocks) {
    ++bits;
  }
  return bits;
}

ip_prefix prefix_of(const zel_v6comp_table_row &row) { return {key_from_bytes(row.address), row.length}; }

}  // namespace

// Rows come with what contains them first, so the rows around the last one are a stack. Backwards, every row's inside
// is known before the row itself: its blocks, and one for the addresses that only the row covers.
row_nesting nest(const std::vector<zel_v6comp_table_row> &rows) {
  row_nesting nesting;
  nesting.parent.assign(rows.size(), row_nesting::none);
  nesting.depth.assign(rows.size(), 0);
  nesting.need.assign(rows.size(), 0);
  std::vector<size_t> around;
  for (size_t i = 0; i < rows.size(); ++i) {
    const ip_prefix prefix = prefix_of(rows[i]);
    while (!around.empty() && !contains(prefix_of(rows[around.back()]), prefix)) {
      around.pop_back();
    }
    nesting.parent[i] = around.empty() ? row_nesting::none : around.back();
    nesting.depth[i] = static_cast<uint32_t>(around.size());
    around.push_back(i);
  }
  std::vector<block_count> inside(rows.size(), 0);
  for (size_t i = rows.size(); i-- > 0;) {
    nesting.need[i] = inside[i] == 0 ? 0 : bits_for(inside[i] + 1);
    if (nesting.parent[i] != row_nesting::none) {
      inside[nesting.parent[i]] += block_count{1} << std::min(nesting.need[i], 64U);
    }
  }
  return nesting;
}

std::vector<depth_figures> figures_by_depth(const std::vector<zel_v6comp_table_row> &rows, const row_nesting &nesting) {
  std::vector<std::vector<uint32_t>> headrooms;
  std::vector<depth_figures> depths;
  for (size_t i = 0; i < rows.size(); ++i) {
    const uint32_t depth = nesting.depth[i];
    for (auto next = static_cast<uint32_t>(depths.size()); next <= depth; ++next) {
      depths.push_back({next, 0, 0, 0, 0, 64, 0});
      headrooms.emplace_back();
    }
    depth_figures &d = depths[depth];
    ++d.prefixes;
    d.shortest = std::min<uint32_t>(d.shortest, rows[i].code_length);
    d.longest = std::max<uint32_t>(d.longest, rows[i].code_length);
    headrooms[depth].push_back(headroom(rows[i], nesting.need[i]));
  }
  for (depth_figures &d : depths) {
    std::vector<uint32_t> &values = headrooms[d.depth];
    std::sort(values.begin(), values.end());
    d.least = values.front();
    d.median = values[values.size() / 2];
    d.most = values.back();
  }
  return depths;
}

}  // namespace v6tool
