// SPDX-License-Identifier: Apache-2.0
// tm_prefix_internal.h - tags, anchors and the compare core of prefix records.
#ifndef TM_PREFIX_INTERNAL_H
#define TM_PREFIX_INTERNAL_H

#include "tm_prefix.h"

// The compare core of tm_cmp_v6_pref on lengths and 16-byte addresses. Lengths above 128 count as 128.
int tm_cmp_v6_bits(uint8_t a_length, const uint8_t *a, uint8_t b_length, const uint8_t *b);

inline uint32_t tm_prefix_tag(uint32_t flags_tag) { return flags_tag >> TM_PREFIX_TAG_SHIFT; }

// Put a tag (its low 20 bits) into a flags word, keeping the flags.
inline uint32_t tm_prefix_with_tag(uint32_t flags_tag, uint32_t tag) {
  return (flags_tag & TM_PREFIX_FLAGS_MASK) | (tag << TM_PREFIX_TAG_SHIFT);
}

inline bool tm_prefix_is_anchor(const tcamv6_prefix *prefix) { return prefix->weight == prefix->anchor_ref; }

inline const char *tm_anchor_text(bool is_anchor) { return is_anchor ? "Anchor Prefix" : ""; }

#endif
