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
  const tm_key_number x = tm_prefix_compared_bits(a, a_length);
  const tm_key_number y = tm_prefix_compared_bits(b, b_length);
  if (x == y) {
    return 0;
  }
  int32_t behind = TM_KEY_BITS - 8;  // bits behind the first byte that differs
  while (x >> behind == y >> behind) {
    behind -= 8;
  }
  return static_cast<uint8_t>(x >> behind) - static_cast<uint8_t>(y >> behind);
}

int tm_cmp_v6_pref(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const auto *x = static_cast<const tcamv6_prefix *>(a);
  const auto *y = static_cast<const tcamv6_prefix *>(b);
  return tm_cmp_v6_bits(x->length, x->address, y->length, y->address);
}
