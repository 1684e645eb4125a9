// SPDX-License-Identifier: Apache-2.0
// tight_bits.h - how many bits the tightest code of a table takes, by the definition.
#ifndef TIGHT_BITS_H
#define TIGHT_BITS_H

#include <vector>

#include "prefix_value.h"

// A prefix and all below it need 2^c codes, the fewest that hold its own address and its children's blocks. `stored` is
// in order, /0 first; the result is cut at 80.
inline uint32_t tight_bits(const std::vector<v6tool::ip_prefix> &stored) {
  __extension__ using wide = unsigned __int128;
  constexpr uint32_t enough = 80;
  struct open_prefix {
    v6tool::ip_prefix prefix;
    wide codes;
  };
  std::vector<open_prefix> path;
  uint32_t bits = 0;
  const auto close_last = [&] {
    bits = 0;
    while (bits < enough && (wide{1} << bits) < path.back().codes) {
      ++bits;
    }
    path.pop_back();
    if (!path.empty()) {
      path.back().codes += wide{1} << bits;
    }
  };
  for (const v6tool::ip_prefix &prefix : stored) {
    while (!path.empty() && !v6tool::contains(path.back().prefix, prefix)) {
      close_last();
    }
    path.push_back({prefix, 1});
  }
  while (!path.empty()) {
    close_last();
  }
  return bits;
}

#endif
