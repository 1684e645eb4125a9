// SPDX-License-Identifier: Apache-2.0
#include "tm_prefix.h"

#include <string.h>

#include "tm_prefix_internal.h"

int tm_prefix_length_cmp(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const uint8_t x = static_cast<const tcamv6_prefix *>(a)->length;
  const uint8_t y = static_cast<const tcamv6_prefix *>(b)->length;
  return (x > y) - (x < y);
}

int tm_cmpr_pref_tag_cmp(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const uint32_t x = tm_prefix_tag(static_cast<const tcamv6_cmpr_pref *>(a)->flags_tag);
  const uint32_t y = tm_prefix_tag(static_cast<const tcamv6_cmpr_pref *>(b)->flags_tag);
  return (x > y) - (x < y);
}

int tm_cmp_v6_bits(uint8_t a_length, const uint8_t *a, uint8_t b_length, const uint8_t *b) {
  if (a_length != b_length) {
    return b_length - a_length;
  }
  const uint32_t bits = a_length > 128 ? 128u : a_length;
  const uint32_t whole = bits / 8;
  if (memcmp(a, b, whole) != 0) {
    uint32_t k = 0;
    while (a[k] == b[k]) {
      ++k;
    }
    return a[k] - b[k];
  }
  if (bits % 8 == 0) {
    return 0;
  }
  const int mask = (1 << (bits % 8)) - 1;  // the LOW bits of the partial byte
  return (a[whole] & mask) - (b[whole] & mask);
}

int tm_cmp_v6_pref(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const auto *x = static_cast<const tcamv6_prefix *>(a);
  const auto *y = static_cast<const tcamv6_prefix *>(b);
  return tm_cmp_v6_bits(x->length, x->address, y->length, y->address);
}
