// SPDX-License-Identifier: Apache-2.0
#include "code_needs.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace v6tool {

// The least n with 2^n codes for all parts: the sum of 2^part, rounded up to a power of two. It is taken from the low
// bits up, and what overflows a bit is rounded up into the next one, which every larger part allows.
uint8_t least_need(const std::vector<uint8_t> &parts) {
  std::array<uint32_t, 256> with_need = {};
  for (const uint8_t part : parts) {
    ++with_need[part];
  }
  const uint8_t largest = *std::max_element(parts.begin(), parts.end());
  uint32_t blocks = 0;
  for (unsigned need = 0; need <= largest; ++need) {
    blocks = (blocks + 1) / 2 + with_need[need];
  }
  const unsigned bits = largest + static_cast<unsigned>(std::bit_width(blocks - 1));
  return static_cast<uint8_t>(std::min(bits, 255U));
}

std::vector<uint8_t> code_needs(const prefix_forest &forest, need_rule rule) {
  std::vector<std::vector<uint8_t>> parts(forest.size());
  std::vector<uint8_t> needs(forest.size(), 0);
  const std::vector<uint32_t> &preorder = forest.preorder();
  for (size_t i = preorder.size(); i-- > 0;) {  // from the last address to the first, and children first
    const uint32_t index = preorder[i];
    if (!parts[index].empty()) {
      parts[index].push_back(0);
      needs[index] = rule(std::exchange(parts[index], {}));
    }
    if (forest.parent(index) != prefix_forest::none) {
      parts[forest.parent(index)].push_back(needs[index]);
    }
  }
  return needs;
}

}  // namespace v6tool
