// SPDX-License-Identifier: Apache-2.0
// code_bits.h - how many bits the compressed prefixes of a table need.
#ifndef CODE_BITS_H
#define CODE_BITS_H

#include <cstdint>

#include "prefix_forest.h"

namespace v6tool {

// `stored` holds all prefixes that the library stores, anchors and /0 included. In room mode this is the least that any
// code takes, and the table fits if it is at most 64. In compatible mode it is what the library computes before it adds
// room for updates, and says in a message only; in rare tables that is more.
uint32_t required_code_bits(const prefix_forest &stored, bool room);

}  // namespace v6tool

#endif
