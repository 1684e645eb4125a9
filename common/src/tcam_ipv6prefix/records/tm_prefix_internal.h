// SPDX-License-Identifier: Apache-2.0
// tm_prefix_internal.h - tags, anchors and the compare core of prefix records.
#ifndef TM_PREFIX_INTERNAL_H
#define TM_PREFIX_INTERNAL_H

#include "tm_prefix.h"

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
