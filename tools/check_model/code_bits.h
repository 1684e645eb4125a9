// code_bits.h - how many bits the codes of a table need at least.
#ifndef CODE_BITS_H
#define CODE_BITS_H

#include <cstdint>

#include "prefix_forest.h"

namespace v6tool {

// The length of the longest code when all codes are as short as can be: each prefix with prefixes inside gives one
// code to each of those next inside it and one to the rest of itself. `stored` holds all prefixes that receive a
// code, anchors and /0 included.
uint32_t required_code_bits(const prefix_forest &stored);

// How many of the prefixes have others inside them.
uint32_t count_inner(const prefix_forest &stored);

}  // namespace v6tool

#endif
