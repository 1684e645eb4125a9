// SPDX-License-Identifier: Apache-2.0
// tm_prefix_internal.h - tags, anchors and the compare core of prefix records.
#ifndef TM_PREFIX_INTERNAL_H
#define TM_PREFIX_INTERNAL_H

#include "tm_key.h"
#include "tm_prefix.h"

// Bits of an address that the comparisons of prefixes see, by length: whole bytes, and of a last, partial one the LOW
// bits, as many as it has (tm_cmp_v6_pref).
struct tm_prefix_masks {
  tm_key_number of[TM_KEY_BITS + 1];
};

constexpr tm_prefix_masks tm_prefix_make_masks() {
  tm_prefix_masks masks = {};
  for (int32_t length = 0; length <= TM_KEY_BITS; ++length) {
    const int32_t whole = length / 8 * 8;
    const tm_key_number partial = (tm_key_number{1} << (length - whole)) - 1;
    masks.of[length] = tm_key_number_leading(whole) | (whole < TM_KEY_BITS ? partial << (TM_KEY_BITS - 8 - whole) : 0);
  }
  return masks;
}

static constexpr tm_prefix_masks tm_prefix_compared = tm_prefix_make_masks();

static_assert(tm_prefix_compared.of[44] == tm_key_number{0xFFFFFFFFFF0F0000} << 64);
static_assert(static_cast<uint64_t>(tm_prefix_compared.of[127]) == 0xFFFFFFFFFFFFFF7F);
static_assert(tm_prefix_compared.of[0] == 0 && tm_prefix_compared.of[128] == ~tm_key_number{0});

// Those of an address with a length of any size: above 128 it counts as 128.
static inline tm_key_number tm_prefix_compared_bits(const uint8_t *address, uint8_t length) {
  return tm_key_load(address) & tm_prefix_compared.of[length < TM_KEY_BITS ? length : uint8_t{TM_KEY_BITS}];
}

// The compare core of tm_cmp_v6_pref on lengths and 16-byte addresses. Of an address at most 128 bits are read.
int tm_cmp_v6_bits(uint8_t a_length, const uint8_t *a, uint8_t b_length, const uint8_t *b);

inline uint32_t tm_prefix_tag(uint32_t flags_tag) { return flags_tag >> TM_PREFIX_TAG_SHIFT; }

// Put a tag (its low 20 bits) into a flags word, keeping the flags.
inline uint32_t tm_prefix_with_tag(uint32_t flags_tag, uint32_t tag) {
  return (flags_tag & TM_PREFIX_FLAGS_MASK) | (tag << TM_PREFIX_TAG_SHIFT);
}

inline bool tm_prefix_is_anchor(const tcamv6_prefix *prefix) { return prefix->weight == prefix->anchor_ref; }

// Are these records, and as many as they say: no null array, no negative count, no length above 128?
inline bool tcamv6_are_prefixes(const tcamv6_prefix *records, uint32_t count) {
  if (records == nullptr || count > INT32_MAX) {
    return false;
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (records[i].length > 128) {
      return false;
    }
  }
  return true;
}

inline const char *tm_anchor_text(bool is_anchor) { return is_anchor ? "Anchor Prefix" : ""; }

#endif
