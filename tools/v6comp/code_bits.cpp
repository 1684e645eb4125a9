// SPDX-License-Identifier: Apache-2.0
// In compatible mode the two parts that need the fewest bits are joined into one that needs a bit more than the larger,
// until one is left. That comes to the fewest bits as long as the two come first. Which do is up to the library's heap,
// whose order is not always that of the keys. So its own heap is asked, with the parts in the order in which the
// library has them: prefixes from the last address to the first, then the rest.
#include "code_bits.h"

#include <algorithm>
#include <vector>

#include "code_needs.h"
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

}  // namespace

uint32_t required_code_bits(const prefix_forest &stored, bool room) {
  const std::vector<uint8_t> needs = code_needs(stored, room ? least_need : joined_need);
  return needs.empty() ? 0 : needs[stored.preorder().front()];  // of /0
}

}  // namespace v6tool
