// SPDX-License-Identifier: Apache-2.0
// fixed_random.h - random numbers that are the same on every machine and with every library.
//
// The state is a counter of odd step, mixed by shifts and products until all bits depend on all (SplitMix64).
#ifndef FIXED_RANDOM_H
#define FIXED_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

class fixed_random {
 public:
  explicit fixed_random(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
  }

  // 0 .. count - 1, each as likely as the others; count is at least 1.
  uint64_t below(uint64_t count) {
    const uint64_t unfair = (0 - count) % count;  // 2^64 modulo count: so many values are one too many
    uint64_t value = next();
    while (value < unfair) {
      value = next();
    }
    return value % count;
  }

  ip_key key() {
    const uint64_t hi = next();
    return {hi, next()};
  }

  template <class Value>
  void shuffle(std::vector<Value> &values) {
    for (size_t i = values.size(); i > 1; --i) {
      std::swap(values[i - 1], values[below(i)]);
    }
  }

 private:
  uint64_t state_;
};

}  // namespace v6tool

#endif
