// SPDX-License-Identifier: Apache-2.0
// change_bytes.h - requests read from bytes, for fuzzers and for replaying what they found.
//
//   record   control [long: length, 16 address bytes] [short: length, base, kept bits, 3 bytes]
//   control  bit 7 add, bit 6 long, bits 0..3 weight
//
// A short record keeps bits of a prefix that came before it, so that random bytes give nested and neighbouring
// prefixes.
#ifndef CHANGE_BYTES_H
#define CHANGE_BYTES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "instance_host.h"

namespace instance_model {

// Bytes from the front; zeros after the end.
class byte_source {
 public:
  byte_source(const uint8_t *data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return at_ >= size_; }
  size_t left() const { return empty() ? 0 : size_ - at_; }
  uint8_t next() { return empty() ? uint8_t{0} : data_[at_++]; }
  uint32_t below(uint32_t n) { return next() % n; }
  uint32_t next_word() {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
      word = word << 8 | next();
    }
    return word;
  }

 private:
  const uint8_t *data_;
  size_t size_;
  size_t at_ = 0;
};

// Reads changes one after the other and remembers their prefixes as bases of later ones.
class change_reader {
 public:
  explicit change_reader(byte_source &bytes) : bytes_(bytes) {}

  v6tool::ip_prefix next_prefix(bool whole_address) {
    v6tool::ip_prefix prefix;
    prefix.length = static_cast<uint8_t>(bytes_.below(129));
    if (whole_address) {
      uint8_t address[16];
      for (uint8_t &byte : address) {
        byte = bytes_.next();
      }
      prefix.key = v6tool::key_from_bytes(address);
    } else {
      const v6tool::ip_key base = base_key(bytes_.next());
      const uint32_t kept = bytes_.below(129);
      v6tool::ip_key news = {static_cast<uint64_t>(bytes_.next()) << 56 | static_cast<uint64_t>(bytes_.next()) << 48 |
                                 static_cast<uint64_t>(bytes_.next()) << 40,
                             0};
      prefix.key = v6tool::masked(base, kept) | shifted(news, kept);
    }
    seen_.push_back(prefix.key);
    return prefix;
  }

  change next() {
    static constexpr uint32_t weights[16] = {1, 1, 1, 1, 1, 1, 1, 2, 3, 7, 0, 100, 65535, 65536, 65537, 0xFFFFFFFF};
    const uint8_t control = bytes_.next();
    change c;
    c.add = (control & 0x80) != 0;
    c.weight = weights[control & 15];
    c.prefix = next_prefix((control & 0x40) != 0);
    return c;
  }

  std::vector<change> next_changes(size_t most) {
    std::vector<change> changes;
    while (!bytes_.empty() && changes.size() < most) {
      changes.push_back(next());
    }
    return changes;
  }

 private:
  static v6tool::ip_key shifted(v6tool::ip_key key, uint32_t bits) {
    for (uint32_t i = 0; i < bits; ++i) {
      key.lo = key.lo >> 1 | key.hi << 63;
      key.hi >>= 1;
    }
    return key;
  }

  v6tool::ip_key base_key(uint8_t choice) const {
    static constexpr uint64_t stems[8] = {0,
                                          0x20010DB800000000,
                                          0x20010DB800010000,
                                          0x2400000000000000,
                                          ~uint64_t{0},
                                          0xFE80000000000000,
                                          0x20010DB8FFFF0000,
                                          0x8000000000000000};
    if (choice < 8 || seen_.empty()) {
      return {stems[choice % 8], choice == 4 ? ~uint64_t{0} : 0};
    }
    return seen_[choice % seen_.size()];
  }

  byte_source &bytes_;
  std::vector<v6tool::ip_key> seen_;
};

}  // namespace instance_model

#endif
