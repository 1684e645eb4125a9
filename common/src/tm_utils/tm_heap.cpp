// SPDX-License-Identifier: Apache-2.0
#include "tm_heap.h"

namespace {

void sift_down(tm_util_heap_elem *array, uint32_t count, uint32_t slot) {
  const tm_util_heap_elem moving = array[slot];
  for (uint64_t child = 2 * uint64_t{slot} + 1; child < count; child = 2 * uint64_t{slot} + 1) {
    if (child + 1 < count && array[child + 1].key < array[child].key) {
      ++child;
    }
    if (moving.key <= array[child].key) {
      break;
    }
    array[slot] = array[child];
    slot = static_cast<uint32_t>(child);
  }
  array[slot] = moving;
}

}  // namespace

int32_t tm_util_heap_heapify(tm_util_heap_elem *array, uint32_t count) {
  if (array == nullptr || count == 0) {
    return TM_EINVAL;
  }
  for (uint32_t slot = (count - 1) / 2 + 1; slot-- > 0;) {
    sift_down(array, count, slot);
  }
  return TM_OK;
}

int32_t tm_util_heap_delmin(tm_util_heap_elem *array, uint32_t *count, tm_util_heap_elem *result) {
  if (array == nullptr || count == nullptr || result == nullptr || *count == 0) {
    return TM_EINVAL;
  }
  *result = array[0];
  array[0] = array[--*count];
  if (*count >= 2) {
    sift_down(array, *count, 0);
  }
  return TM_OK;
}

int32_t tm_util_heap_insert(tm_util_heap_elem *array, uint32_t *count, const tm_util_heap_elem *element) {
  if (array == nullptr || count == nullptr || element == nullptr || *count == UINT32_MAX) {
    return TM_EINVAL;
  }
  const tm_util_heap_elem moving = *element;  // element may lie in the array
  uint32_t slot = (*count)++;
  array[slot] = moving;
  while (slot > 0) {
    const uint32_t parent = (slot - 1) / 2;
    // After the first step, slot holds the key that was just moved down, not the new element's.
    if (array[parent].key < array[slot].key) {
      break;
    }
    array[slot] = array[parent];
    slot = parent;
  }
  array[slot] = moving;
  return TM_OK;
}
