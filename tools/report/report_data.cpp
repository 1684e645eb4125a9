// SPDX-License-Identifier: Apache-2.0
#include "report_data.h"

#include <algorithm>

#include "code_needs.h"

namespace v6tool {

row_nesting nest(const std::vector<zel_v6comp_table_row> &rows) {
  std::vector<ip_prefix> prefixes;
  prefixes.reserve(rows.size());
  for (const zel_v6comp_table_row &row : rows) {
    prefixes.push_back(prefix_of(row));
  }
  const prefix_forest forest(prefixes);
  return {forest.parents(), forest.depths(), code_needs(forest, least_need)};
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
