// SPDX-License-Identifier: Apache-2.0
#include "explain_chain.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>

#include "report_data.h"

namespace v6tool {

namespace {

// The stored prefixes as rows, so that anchors count where needs are added up. stored.prefixes are in preorder.
row_nesting nest_stored(const stored_prefixes &stored) {
  std::vector<zel_v6comp_table_row> rows(stored.prefixes.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    key_to_bytes(stored.prefixes[i].key, rows[i].address);
    rows[i].length = stored.prefixes[i].length;
  }
  return nest(rows);
}

void take_siblings(const stored_prefixes &stored, const row_nesting &nesting, size_t at, chain_link &link) {
  std::set<unsigned> branches;
  for (size_t i = 0; i < stored.prefixes.size(); ++i) {
    if (nesting.parent[i] == nesting.parent[at] && i != at) {
      ++link.siblings;
      branches.insert(common_bits(stored.prefixes[i].key, link.prefix.key));
    }
  }
  link.branches = static_cast<uint32_t>(branches.size());
}

chain_link link_at(const stored_prefixes &stored, const engine_view &view, const row_nesting &nesting, size_t at) {
  chain_link link;
  link.prefix = stored.prefixes[at];
  link.kind = stored.kinds[at];
  const translation result = view.translate(link.prefix).value_or(translation{});
  link.code = result.code;
  link.key = result.address;
  link.depth = nesting.depth[at];
  link.need_bits = nesting.need[at];
  link.has_dummy = at + 1 < stored.prefixes.size() && nesting.parent[at + 1] == at;
  if (const size_t parent = nesting.parent[at]; parent != row_nesting::none) {
    const uint32_t around = view.translate(stored.prefixes[parent]).value_or(translation{}).code.length;
    link.own_bits = link.code.length - std::min<uint32_t>(link.code.length, around);
    link.tight_bits = nesting.need[parent] - nesting.need[at];
    take_siblings(stored, nesting, at, link);
  }
  return link;
}

}  // namespace

std::vector<chain_link> explain_chain(const stored_prefixes &stored, const engine_view &view, const ip_prefix &prefix) {
  const row_nesting nesting = nest_stored(stored);
  size_t at = 0;
  for (size_t i = 0; i < stored.prefixes.size(); ++i) {
    if (contains(stored.prefixes[i], prefix)) {
      at = i;
    }
  }
  std::vector<chain_link> chain;
  for (; at != row_nesting::none; at = nesting.parent[at]) {
    chain.push_back(link_at(stored, view, nesting, at));
  }
  std::reverse(chain.begin(), chain.end());
  return chain;
}

std::string reason_of(const chain_link &link) {
  if (link.depth == 0) {
    return "it contains everything";
  }
  if (link.is_tight()) {
    return "tight: no shorter code leaves room for all beside it";
  }
  const std::string more =
      fmt::format("{} more than the tightest, room for what comes later", link.own_bits - link.tight_bits);
  return link.is_path() ? fmt::format("path: its way parts from its siblings' {} times; {}", link.branches, more)
                        : more;
}

}  // namespace v6tool
