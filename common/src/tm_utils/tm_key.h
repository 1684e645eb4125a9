// SPDX-License-Identifier: Apache-2.0
// tm_key.h - the bits of 16-byte keys.
#ifndef TM_KEY_H
#define TM_KEY_H

#include <stdint.h>
#include <string.h>

// Keys are 16 bytes; bit i is bit (7 - i mod 8) of byte i / 8: most significant bit first. A position
// outside 0..127 is never fetched: it reads as 0 and is not written.
enum { TM_KEY_BYTES = 16, TM_KEY_BITS = 128 };

inline uint32_t tm_key_bit(const uint8_t *key, int32_t bit) {
  const uint32_t i = static_cast<uint32_t>(bit);
  return i < TM_KEY_BITS ? (static_cast<uint32_t>(key[i / 8]) >> (7 - i % 8)) & 1u : 0u;
}

inline void tm_key_put_bit(uint8_t *key, int32_t bit, bool value) {
  const uint32_t i = static_cast<uint32_t>(bit);
  if (i >= TM_KEY_BITS) {
    return;
  }
  const uint32_t mask = 0x80u >> (i % 8);
  key[i / 8] = static_cast<uint8_t>(value ? key[i / 8] | mask : key[i / 8] & ~mask);
}

// A whole key as one number, bit 0 of the key being the highest bit.
__extension__ typedef unsigned __int128 tm_key_number;

// Eight bytes as one number, the first byte being the highest; and back.
inline uint64_t tm_key_load_word(const uint8_t *bytes) {
  uint64_t word;
  memcpy(&word, bytes, sizeof word);
  return __builtin_bswap64(word);
}

inline void tm_key_store_word(uint8_t *bytes, uint64_t number) {
  const uint64_t word = __builtin_bswap64(number);
  memcpy(bytes, &word, sizeof word);
}

inline tm_key_number tm_key_load(const uint8_t *key) {
  return tm_key_number{tm_key_load_word(key)} << 64 | tm_key_load_word(key + 8);
}

inline void tm_key_store(uint8_t *key, tm_key_number number) {
  tm_key_store_word(key, static_cast<uint64_t>(number >> 64));
  tm_key_store_word(key + 8, static_cast<uint64_t>(number));
}

// The number that has bit `bit` (0..127) of a key set, and the one that has its n leading bits (0..128) set.
inline tm_key_number tm_key_number_bit(int32_t bit) { return tm_key_number{1} << (TM_KEY_BITS - 1 - bit); }
constexpr tm_key_number tm_key_number_leading(int32_t n) {
  return n == 0 ? tm_key_number{0} : ~tm_key_number{0} << (TM_KEY_BITS - n);
}

// Mask of the n leading bits of a byte, n = 0..8.
inline uint8_t tm_leading_mask(uint32_t n) { return static_cast<uint8_t>(0xFF00u >> n); }

// Are the first n bits (0..128) of two keys equal?
bool tm_key_equal_bits(const uint8_t *a, const uint8_t *b, uint32_t n);

// Number of equal leading bits of two keys, at most `most` (0..128).
int32_t tm_key_common_bits(const uint8_t *a, const uint8_t *b, int32_t most);

// Copy the first n bits (0..128) of a key and clear the rest.
void tm_key_copy_bits(uint8_t *to, const uint8_t *from, uint32_t n);

#endif
