// SPDX-License-Identifier: Apache-2.0
// tcamv6_fit_blocks.h - aligned blocks for the children of one prefix, the spare bits shared out by need.
#ifndef TCAMV6_FIT_BLOCKS_H
#define TCAMV6_FIT_BLOCKS_H

#include "tm_api.h"

// Bits of a child's block that stay free beside it, as far as it has spare ones.
constexpr int32_t tcamv6_fit_company = 2;

// A child, and the block that it gets: 2^slot codes of full length from `place` on, counted from its parent's first.
struct tcamv6_fit_block {
  uint8_t cost;    // bits that it needs at least
  uint8_t want;    // bits beyond which more are of no use to it; at least the cost, 0 when nothing will come below it
  uint8_t common;  // leading key bits that it shares with the next child; unused in the last one
  uint8_t slot;    // out
  uint64_t place;  // out
};

// Place n children (at least 1, keys ascending) and one address in 2^lim codes of full length, lim = 1..64. The sum of
// 2^cost over the children must be less than 2^lim: then there is always a way.
//   from   length of the parent's key
//   at     out: the address's place
// Returns the spare bits that every child has got, up to what it wants.
int32_t tcamv6_fit_blocks(tcamv6_fit_block *blocks, uint32_t n, int32_t lim, int32_t from, uint64_t *at);

#endif
