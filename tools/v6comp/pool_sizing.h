// SPDX-License-Identifier: Apache-2.0
// pool_sizing.h - how many pool elements a table can need.
#ifndef POOL_SIZING_H
#define POOL_SIZING_H

#include <array>
#include <cstdint>

#include "stored_prefixes.h"
#include "zel_v6comp.h"

namespace v6tool {

struct pool_need {
  uint64_t least = 0;  // no compression of the table gets by with less
  uint64_t most = 0;   // every full compression of the table gets by with this
};

// By chunk type; zeros for types without a pool.
using pool_needs = std::array<pool_need, TM_CHUNK_TYPES>;

pool_needs find_pool_needs(const stored_prefixes &stored);

}  // namespace v6tool

#endif
