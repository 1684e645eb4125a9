// SPDX-License-Identifier: Apache-2.0
// tcamv6_code.h - codes as numbers: a compressed prefix, or a node of the compressed trie, whether it exists or not.
#ifndef TCAMV6_CODE_H
#define TCAMV6_CODE_H

#include "tm_key.h"
#include "tm_trie_internal.h"

struct tcamv6_code {
  uint64_t bits;  // the first bit is the highest; bits beyond len are 0
  int32_t len;    // 0..64
};

// Its first len bits set; no bit below 1, all from 64 on.
inline uint64_t tcamv6_code_mask(int32_t len) {
  if (len <= 0) {
    return 0;
  }
  return len >= 64 ? ~uint64_t{0} : ~uint64_t{0} << (64 - len);
}

// The first len bits of a code, or the code continued with zeros to that length.
inline tcamv6_code tcamv6_code_cut(tcamv6_code code, int32_t len) { return {code.bits & tcamv6_code_mask(len), len}; }

inline tcamv6_code tcamv6_code_of(const tm_util_trie_node *node) {
  const auto bits = static_cast<uint64_t>(tm_key_load(node->key) >> 64);
  return {bits & tcamv6_code_mask(node->len), node->len};
}

// Does `outer` lie above `inner`, or is it the same?
inline bool tcamv6_code_covers(tcamv6_code outer, tcamv6_code inner) {
  return outer.len <= inner.len && ((outer.bits ^ inner.bits) & tcamv6_code_mask(outer.len)) == 0;
}

// Bit at a depth of 0..63.
inline uint32_t tcamv6_code_bit(tcamv6_code code, int32_t depth) {
  return static_cast<uint32_t>(code.bits >> (63 - depth)) & 1u;
}

// The code one bit longer; the code is shorter than 64 bits.
inline tcamv6_code tcamv6_code_child(tcamv6_code code, uint32_t bit) {
  return {code.bits | (uint64_t{bit} << (63 - code.len)), code.len + 1};
}

// The longest code that covers both.
inline tcamv6_code tcamv6_code_common(tcamv6_code a, tcamv6_code b) {
  const int32_t shorter = a.len < b.len ? a.len : b.len;
  const uint64_t differing = a.bits ^ b.bits;
  const int32_t equal = differing == 0 ? 64 : __builtin_clzll(differing);
  return tcamv6_code_cut(a, equal < shorter ? equal : shorter);
}

inline void tcamv6_code_key(tcamv6_code code, uint8_t *key) { tm_key_store(key, tm_key_number{code.bits} << 64); }

#endif
