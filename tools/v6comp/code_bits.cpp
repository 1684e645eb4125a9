// SPDX-License-Identifier: Apache-2.0
// Each prefix with others inside shares out its addresses among those next inside it and the rest that it keeps. A part
// that needs k bits takes 2^k codes; the whole needs as many bits as make room for the sum, and no fewer.
//
// In compatible mode the two parts that need the fewest bits are joined into one that needs a bit more than the larger,
// until one is left. That comes to the same as long as the two come first. Which do is up to the library's heap, whose
// order is not always that of the keys. So its own heap is asked, with the parts in the order in which the library has
// them: prefixes from the last address to the first, then the rest.
#include "code_bits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>
#include <vector>

#include "zel_v6comp.h"

namespace v6tool {

namespace {

// `parts`: the needs of at least two parts.
uint8_t joined_need(const std::vector<uint8_t> &parts) {
  std::vector<tm_util_heap_elem> heap(parts.size());
  for (size_t i = 0; i < parts.size(); ++i) {
    heap[i].key = parts[i];
  }
  auto count = static_cast<uint32_t>(heap.size());
  tm_util_heap_heapify(heap.data(), count);
  while (count > 2) {
    tm_util_heap_elem a = {};
    tm_util_heap_elem b = {};
    tm_util_heap_delmin(heap.data(), &count, &a);
    tm_util_heap_delmin(heap.data(), &count, &b);
    a.key = std::max(a.key, b.key) + 1;
    tm_util_heap_insert(heap.data(), &count, &a);
  }
  return static_cast<uint8_t>(std::max(heap[0].key, heap[1].key) + 1);  // the library keeps 8 bits
}

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

}  // namespace

uint32_t required_code_bits(const prefix_forest &stored, bool room) {
  std::vector<std::vector<uint8_t>> parts(stored.size());
  const std::vector<uint32_t> &preorder = stored.preorder();
  uint8_t need = 0;
  for (size_t i = preorder.size(); i-- > 0;) {  // from the last address to the first, and children first
    const uint32_t index = preorder[i];
    need = 0;
    if (!parts[index].empty()) {
      parts[index].push_back(0);
      const std::vector<uint8_t> own = std::exchange(parts[index], {});
      need = room ? least_need(own) : joined_need(own);
    }
    if (stored.parent(index) != prefix_forest::none) {
      parts[stored.parent(index)].push_back(need);
    }
  }
  return need;  // of the first in preorder: /0
}

}  // namespace v6tool
