// SPDX-License-Identifier: Apache-2.0
#include "tm_array.h"

#include <string.h>

void *tm_util_array_insert(const void *element, void *array, int32_t count, uint32_t elem_size,
                           int (*cmp)(const void *, const void *)) {
  if (element == nullptr || array == nullptr || cmp == nullptr) {
    return nullptr;
  }
  auto *slot = static_cast<uint8_t *>(array);
  int32_t i = 0;
  while (i < count && cmp(element, slot) >= 0) {
    slot += elem_size;
    ++i;
  }
  if (i < count) {
    memmove(slot + elem_size, slot, static_cast<size_t>(count - i) * elem_size);
  }
  memcpy(slot, element, elem_size);
  return slot;
}
