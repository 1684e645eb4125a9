// SPDX-License-Identifier: Apache-2.0
#include "tm_key.h"

bool tm_key_equal_bits(const uint8_t *a, const uint8_t *b, uint32_t n) {
  const uint32_t whole = n / 8;
  if (memcmp(a, b, whole) != 0) {
    return false;
  }
  return n % 8 == 0 || ((a[whole] ^ b[whole]) & tm_leading_mask(n % 8)) == 0;
}

int32_t tm_key_common_bits(const uint8_t *a, const uint8_t *b, int32_t most) {
  const tm_key_number differing = tm_key_load(a) ^ tm_key_load(b);
  const auto high = static_cast<uint64_t>(differing >> 64);
  const auto low = static_cast<uint64_t>(differing);
  int32_t bits = TM_KEY_BITS;
  if (high != 0) {
    bits = __builtin_clzll(high);
  } else if (low != 0) {
    bits = 64 + __builtin_clzll(low);
  }
  return bits < most ? bits : most;
}

void tm_key_copy_bits(uint8_t *to, const uint8_t *from, uint32_t n) {
  const uint32_t whole = n / 8;
  memset(to, 0, TM_KEY_BYTES);
  memcpy(to, from, whole);
  if (n % 8 != 0) {
    to[whole] = static_cast<uint8_t>(from[whole] & tm_leading_mask(n % 8));
  }
}
