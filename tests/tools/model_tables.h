// SPDX-License-Identifier: Apache-2.0
// model_tables.h - random prefixes and compressed tables that are right by construction.
#ifndef MODEL_TABLES_H
#define MODEL_TABLES_H

#include <algorithm>
#include <random>
#include <vector>

#include "containment_check.h"
#include "prefix_value.h"

namespace model_tables {

using random_source = std::mt19937_64;

// Distinct prefixes no longer than max_length, in no order; much nesting when bits are few.
inline std::vector<v6tool::ip_prefix> random_prefixes(random_source &random, size_t n, unsigned max_length,
                                                      unsigned free_bits) {
  std::vector<v6tool::ip_prefix> prefixes;
  for (size_t i = 0; i < n; ++i) {
    const auto length = static_cast<uint8_t>(random() % (max_length + 1));
    const v6tool::ip_key noise = {random(), random()};
    // Only the first free_bits of an address vary: prefixes meet one another.
    prefixes.push_back({v6tool::masked(v6tool::masked(noise, free_bits), length), length});
  }
  std::sort(prefixes.begin(), prefixes.end());
  prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
  std::shuffle(prefixes.begin(), prefixes.end(), random);
  return prefixes;
}

// Each bit b of the original becomes the two bits 1b, and the address goes on with a 0 where a longer prefix would
// have its next 1: so it is covered by the codes of those that contain it and by no others.
inline v6tool::compressed_row right_row(const v6tool::ip_prefix &original) {
  v6tool::ip_key bits;
  const auto set_bit = [&](unsigned at) { (at < 64 ? bits.hi : bits.lo) |= uint64_t{1} << (63 - at % 64); };
  for (unsigned i = 0; i < original.length; ++i) {
    set_bit(2 * i);
    if (v6tool::bit_at(original.key, i)) {
      set_bit(2 * i + 1);
    }
  }
  return {original, {bits, static_cast<uint8_t>(2 * original.length)}, bits};
}

inline std::vector<v6tool::compressed_row> right_table(const std::vector<v6tool::ip_prefix> &originals) {
  std::vector<v6tool::compressed_row> rows;
  rows.reserve(originals.size());
  for (const v6tool::ip_prefix &original : originals) {
    rows.push_back(right_row(original));
  }
  return rows;
}

}  // namespace model_tables

#endif
