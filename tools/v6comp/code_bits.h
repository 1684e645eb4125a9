// SPDX-License-Identifier: Apache-2.0
// code_bits.h - how many bits the compressed prefixes of a table need.
#ifndef CODE_BITS_H
#define CODE_BITS_H

#include <cstdint>

#include "prefix_forest.h"

namespace v6tool {

// What the library computes before it adds room for updates: the table fits if this is at most 64. The library says
// it in a message only. `stored` holds all prefixes that it stores, anchors and /0 included.
uint32_t required_code_bits(const prefix_forest &stored);

}  // namespace v6tool

#endif
