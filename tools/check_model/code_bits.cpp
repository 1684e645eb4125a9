// Codes under one prefix must not cover each other, so parts that need w1, w2, ... bits of their own fit into b bits
// exactly when 2^w1 + 2^w2 + ... <= 2^b. The least b is found by carrying: two parts of w bits fill one of w + 1, and
// one left over takes the place of one.
//
//   needs 0 0 0 2     w = 0: three of them -> two of 1     w = 1: two -> one of 2     w = 2: two -> one of 3     b = 3
#include "code_bits.h"

#include <algorithm>
#include <map>
#include <vector>

namespace v6tool {

namespace {

// `needs`: how many parts there are of each need, at least two in all.
uint32_t joined_need(std::map<uint32_t, uint32_t> needs) {
  while (true) {
    const auto [need, parts] = *needs.begin();
    if (parts == 1 && needs.size() == 1) {
      return need;
    }
    needs.erase(needs.begin());
    needs[need + 1] += (parts + 1) / 2;
  }
}

}  // namespace

uint32_t required_code_bits(const prefix_forest &stored) {
  std::vector<std::map<uint32_t, uint32_t>> needs(size_t{stored.size()} + 1);  // the last one: above all roots
  const auto needs_above = [&](uint32_t index) -> std::map<uint32_t, uint32_t> & {
    const uint32_t parent = stored.parent(index);
    return needs[parent == prefix_forest::none ? stored.size() : parent];
  };
  const std::vector<uint32_t> &preorder = stored.preorder();
  for (size_t i = preorder.size(); i-- > 0;) {  // children first
    const uint32_t index = preorder[i];
    uint32_t need = 0;
    if (!needs[index].empty()) {
      ++needs[index][0];
      need = joined_need(std::move(needs[index]));
      needs[index].clear();
    }
    ++needs_above(index)[need];
  }
  return needs.back().empty() ? 0 : joined_need(std::move(needs.back()));
}

uint32_t count_inner(const prefix_forest &stored) {
  std::vector<bool> inner(stored.size(), false);
  for (uint32_t i = 0; i < stored.size(); ++i) {
    if (stored.parent(i) != prefix_forest::none) {
      inner[stored.parent(i)] = true;
    }
  }
  return static_cast<uint32_t>(std::count(inner.begin(), inner.end(), true));
}

}  // namespace v6tool
