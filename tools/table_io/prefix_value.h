// SPDX-License-Identifier: Apache-2.0
// prefix_value.h - addresses and prefixes as plain values.
#ifndef PREFIX_VALUE_H
#define PREFIX_VALUE_H

#include <bit>
#include <compare>
#include <cstdint>

namespace v6tool {

// 128 bits as two words, most significant first, so that comparing values compares addresses.
struct ip_key {
  uint64_t hi = 0;
  uint64_t lo = 0;
  auto operator<=>(const ip_key &) const = default;
};

// Ordered by address, then by length: every prefix comes before the prefixes inside it, and what lies inside
// follows without a gap.
struct ip_prefix {
  ip_key key;          // bits beyond length are 0
  uint8_t length = 0;  // bits, 0..128
  auto operator<=>(const ip_prefix &) const = default;
};

inline uint64_t word_from_bytes(const uint8_t *bytes) {
  uint64_t word = 0;
  for (int i = 0; i < 8; ++i) {
    word = word << 8 | bytes[i];
  }
  return word;
}

inline ip_key key_from_bytes(const uint8_t bytes[16]) { return {word_from_bytes(bytes), word_from_bytes(bytes + 8)}; }

inline void key_to_bytes(ip_key key, uint8_t bytes[16]) {
  for (int i = 7; i >= 0; --i) {
    bytes[i] = static_cast<uint8_t>(key.hi);
    bytes[i + 8] = static_cast<uint8_t>(key.lo);
    key.hi >>= 8;
    key.lo >>= 8;
  }
}

// Of a record with 16 bytes of address and a length, no bits set beyond it.
template <class Record>
ip_prefix prefix_of(const Record &record) {
  return {key_from_bytes(record.address), record.length};
}

// The first `length` bits set.
inline ip_key leading_ones(unsigned length) {
  const uint64_t all = ~uint64_t{0};
  if (length >= 64) {
    return {all, length >= 128 ? all : length == 64 ? 0 : ~(all >> (length - 64))};
  }
  return {length == 0 ? 0 : ~(all >> length), 0};
}

inline ip_key operator&(ip_key a, ip_key b) { return {a.hi & b.hi, a.lo & b.lo}; }
inline ip_key operator|(ip_key a, ip_key b) { return {a.hi | b.hi, a.lo | b.lo}; }
inline ip_key operator~(ip_key a) { return {~a.hi, ~a.lo}; }

inline ip_key masked(ip_key key, unsigned length) { return key & leading_ones(length); }
inline ip_key first_address(const ip_prefix &p) { return p.key; }
inline ip_key last_address(const ip_prefix &p) { return p.key | ~leading_ones(p.length); }

// The neighbours of an address; they wrap around at the ends of the address space.
inline ip_key next_key(ip_key key) {
  ++key.lo;
  key.hi += key.lo == 0 ? 1 : 0;
  return key;
}
inline ip_key previous_key(ip_key key) {
  key.hi -= key.lo == 0 ? 1 : 0;
  --key.lo;
  return key;
}

inline bool bit_at(ip_key key, unsigned index) {
  return ((index < 64 ? key.hi >> (63 - index) : key.lo >> (127 - index)) & 1) != 0;
}

// Leading bits in which two addresses agree, 0..128.
inline unsigned common_bits(ip_key a, ip_key b) {
  const uint64_t hi = a.hi ^ b.hi;
  return static_cast<unsigned>(hi != 0 ? std::countl_zero(hi) : 64 + std::countl_zero(a.lo ^ b.lo));
}

inline bool covers(const ip_prefix &p, ip_key address) { return masked(address, p.length) == p.key; }

// Is every address of b in a? True for a == b.
inline bool contains(const ip_prefix &a, const ip_prefix &b) { return a.length <= b.length && covers(a, b.key); }

}  // namespace v6tool

#endif
