// SPDX-License-Identifier: Apache-2.0
// code_needs.h - how many bits of codes everything inside a prefix needs.
//
// Each prefix with others inside shares out its addresses among those next inside it and the rest that it keeps. A part
// that needs k bits takes 2^k codes; the whole needs as many bits as make room for all parts.
#ifndef CODE_NEEDS_H
#define CODE_NEEDS_H

#include <cstdint>
#include <vector>

#include "prefix_forest.h"

namespace v6tool {

// What a whole needs of whose parts (at least two) these are the needs; they may come in any order of size.
using need_rule = uint8_t (*)(const std::vector<uint8_t> &parts);

// The fewest bits that make room for all parts, 255 at the most.
uint8_t least_need(const std::vector<uint8_t> &parts);

// By position; 0 for a prefix with none inside. The rule is given the parts from the last address to the first, and
// then the rest, which needs 0.
std::vector<uint8_t> code_needs(const prefix_forest &forest, need_rule rule);

}  // namespace v6tool

#endif
