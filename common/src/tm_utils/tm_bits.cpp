// SPDX-License-Identifier: Apache-2.0
#include "tm_bits.h"

uint32_t tm_util_bit_cnt_1(uint32_t word) { return static_cast<uint32_t>(__builtin_popcount(word)); }

uint32_t tm_util_bit_find_first_set(uint32_t word) {
  return word == 0 ? 0u : static_cast<uint32_t>(__builtin_clz(word)) + 1u;
}

int tm_util_cmp_int(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const int32_t x = *static_cast<const int32_t *>(a);
  const int32_t y = *static_cast<const int32_t *>(b);
  return (x > y) - (x < y);
}
