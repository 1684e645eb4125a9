// SPDX-License-Identifier: Apache-2.0
// Each prefix with others inside shares out its addresses among those next inside it and the rest that it keeps. The
// two parts that need the fewest bits are joined into one that needs a bit more than the larger, until one is left.
//
// Which two come first is up to the library's heap, whose order is not always that of the keys. So its own heap is
// asked, with the parts in the order in which the library has them: prefixes from the last address to the first,
// then the rest.
#include "code_bits.h"

#include <algorithm>
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

}  // namespace

uint32_t required_code_bits(const prefix_forest &stored) {
  std::vector<std::vector<uint8_t>> parts(stored.size());
  const std::vector<uint32_t> &preorder = stored.preorder();
  uint8_t need = 0;
  for (size_t i = preorder.size(); i-- > 0;) {  // from the last address to the first, and children first
    const uint32_t index = preorder[i];
    need = 0;
    if (!parts[index].empty()) {
      parts[index].push_back(0);
      need = joined_need(std::exchange(parts[index], {}));
    }
    if (stored.parent(index) != prefix_forest::none) {
      parts[stored.parent(index)].push_back(need);
    }
  }
  return need;  // of the first in preorder: /0
}

}  // namespace v6tool
