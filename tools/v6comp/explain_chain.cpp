// SPDX-License-Identifier: Apache-2.0
#include "explain_chain.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>

#include "code_needs.h"

namespace v6tool {

namespace {

void take_siblings(const stored_prefixes &stored, uint32_t at, chain_link &link) {
  std::set<unsigned> branches;
  for (uint32_t i = 0; i < stored.forest.size(); ++i) {
    if (stored.forest.parent(i) == stored.forest.parent(at) && i != at) {
      ++link.siblings;
      branches.insert(common_bits(stored.prefixes[i].key, link.prefix.key));
    }
  }
  link.branches = static_cast<uint32_t>(branches.size());
}

// `needs`: of all stored prefixes, anchors included.
chain_link link_at(const stored_prefixes &stored, const engine_view &view, const std::vector<uint8_t> &needs,
                   uint32_t at) {
  chain_link link;
  link.prefix = stored.prefixes[at];
  link.kind = stored.kinds[at];
  const translation result = view.translate(link.prefix).value_or(translation{});
  link.code = result.code;
  link.key = result.address;
  link.need_bits = needs[at];
  link.has_dummy = needs[at] != 0;
  if (const uint32_t parent = stored.forest.parent(at); parent != prefix_forest::none) {
    const uint32_t around = view.translate(stored.prefixes[parent]).value_or(translation{}).code.length;
    link.own_bits = link.code.length - std::min<uint32_t>(link.code.length, around);
    link.tight_bits = uint32_t{needs[parent]} - needs[at];
    take_siblings(stored, at, link);
  }
  return link;
}

}  // namespace

std::vector<chain_link> explain_chain(const stored_prefixes &stored, const engine_view &view, const ip_prefix &prefix) {
  const std::vector<uint8_t> needs = code_needs(stored.forest, least_need);
  uint32_t at = 0;
  for (uint32_t i = 0; i < stored.forest.size(); ++i) {
    if (contains(stored.prefixes[i], prefix)) {
      at = i;
    }
  }
  std::vector<chain_link> chain;
  for (; at != prefix_forest::none; at = stored.forest.parent(at)) {
    chain.push_back(link_at(stored, view, needs, at));
  }
  std::reverse(chain.begin(), chain.end());
  for (uint32_t depth = 0; depth < chain.size(); ++depth) {
    chain[depth].depth = depth;
  }
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
