// SPDX-License-Identifier: Apache-2.0
// tcamv6_fit_blocks.cpp - aligned blocks for the children of one prefix, the spare bits shared out by need.
//
// A compressed prefix of length c owns the 2^(64 - c) full codes that begin with it: an aligned block of a power of
// two. So giving children their codes means putting blocks side by side into the parent's block, and leaving one code
// over for the parent's own address.
//
// How large. Child i needs 2^cost codes, and has use for up to 2^want. All get the same number t of spare bits, as far
// as they have use for them, and 2 bits more for company beside them:
//
//     slot = cost + min(t, want - cost + 2)            t as large as the packing allows
//
// How placed. The largest blocks first need no alignment, so they fit whenever their sum does:
//
//     |  slot 3   |  slot 3   | slot 2 |1 |1 |0|.|     the tight packing; the dot is the address
//
// But a prefix that is added later between the parent and some of the children must be given a block that holds exactly
// these, and they are neighbours in the table, not of one size. So children go in the order of their keys, and those
// that share the next g bits of the key get a block of their own, with blocks inside it for the next g bits:
//
//     keys   00.. 00.. 01..   1..        g = 1 is the branching of the table,
//          | [0 0] [1] |  [ 1 ]  |       g = 128 the order of keys alone
//
// Alignment and branching waste codes, so t becomes smaller. The finest g is taken whose t is at least a quarter of
// that of the tight packing; the tight one where none is. With t = 0 the tight packing always fits, by the condition on
// the costs.
//
// One pass tries an order: children come in the order of keys, and the first key bit in which a child differs from the
// next one, cut to a multiple of g, shows which blocks begin and end between the two. The blocks that are open at a
// time are nested, so a small stack holds them.
#include "tcamv6_fit_blocks.h"

#include "tm_key.h"

namespace {

constexpr int32_t share = 4;  // keeping the branching may cost the children all but this part of their spare bits
constexpr int32_t steps[] = {1, 2, 4, 8, 16, 32, TM_KEY_BITS};  // key bits of a level of branching

using codes = tm_key_number;  // up to 2^64 of them

codes block_of(int32_t bits) { return codes{1} << bits; }

codes align(codes at, codes block) { return (at + block - 1) & ~(block - 1); }

// The smallest power of two that is not less; n is at least 1.
codes next_power(codes n) {
  const auto high = static_cast<uint64_t>((n - 1) >> 64);
  const auto low = static_cast<uint64_t>(n - 1);
  if (high != 0) {
    return block_of(128 - __builtin_clzll(high));
  }
  return low == 0 ? 1 : block_of(64 - __builtin_clzll(low));
}

int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

// The slots for t spare bits. Returns the sum of the blocks.
codes set_slots(tcamv6_fit_block *blocks, uint32_t n, int32_t t) {
  codes sum = 0;
  for (uint32_t i = 0; i < n; ++i) {
    const int32_t use = blocks[i].want > blocks[i].cost ? blocks[i].want - blocks[i].cost : 0;
    blocks[i].slot = static_cast<uint8_t>(blocks[i].cost + smaller(t, use + tcamv6_fit_company));
    sum += block_of(blocks[i].slot);
  }
  return sum;
}

// Largest block first, in the order of keys among equal ones.
void place_tight(tcamv6_fit_block *blocks, uint32_t n, int32_t lim) {
  codes at[TM_KEY_BITS / 2 + 1] = {};  // by slot: first the number of its blocks, then where the next one goes
  for (uint32_t i = 0; i < n; ++i) {
    ++at[blocks[i].slot];
  }
  codes next = 0;
  for (int32_t slot = lim; slot >= 0; --slot) {
    const codes room = at[slot] << slot;
    at[slot] = next;
    next += room;
  }
  for (uint32_t i = 0; i < n; ++i) {
    blocks[i].place = static_cast<uint64_t>(at[blocks[i].slot]);
    at[blocks[i].slot] += block_of(blocks[i].slot);
  }
}

// A block that is being filled: the children from `first` on, which share `level` steps of key bits.
struct open_block {
  int32_t level;
  uint32_t first;
  codes at;  // where the next one inside goes
};

// One try of an order: the open blocks, the parent's own at the bottom.
struct packing {
  tcamv6_fit_block *blocks;
  bool writes;  // places, or only tries
  codes hole;   // the last one that alignment left between the parent's own blocks; 0 = none
  open_block stack[TM_KEY_BITS + 2];
  int32_t top;
};

void open_one(packing *p, int32_t level, uint32_t first) { p->stack[++p->top] = {level, first, 0}; }

// Put something behind what is in the top block. Returns its place there.
codes put(packing *p, codes size) {
  open_block *block = &p->stack[p->top];
  const codes at = align(block->at, size);
  if (p->top == 0 && at > block->at) {
    p->hole = block->at;
  }
  block->at = at + size;
  return at;
}

// Close the top block behind child i and put it into the one around it, which shares `level` steps.
void close_one(packing *p, int32_t level, uint32_t i) {
  const open_block inner = p->stack[p->top--];
  if (p->stack[p->top].level < level) {
    open_one(p, level, inner.first);
  }
  const codes at = put(p, next_power(inner.at));
  for (uint32_t k = inner.first; p->writes && k <= i; ++k) {
    p->blocks[k].place += static_cast<uint64_t>(at);
  }
}

// Children in the order of keys, branching by g bits. Returns false when they do not fit; places are written if asked.
bool place_in_order(packing *p, uint32_t n, int32_t lim, int32_t from, int32_t g) {
  p->top = -1;
  p->hole = 0;
  open_one(p, 0, 0);
  int32_t before = 0;  // steps shared with the child before
  for (uint32_t i = 0; i < n; ++i) {
    const int32_t after = i + 1 < n ? (p->blocks[i].common - from) / g : 0;
    if (after > before) {
      open_one(p, after, i);
    }
    const codes at = put(p, block_of(p->blocks[i].slot));
    if (p->writes) {
      p->blocks[i].place = static_cast<uint64_t>(at);
    }
    // A block that is too large ends the try before those around it, twice as large each, leave the numbers behind.
    while (p->stack[p->top].at <= block_of(lim) && p->stack[p->top].level > after) {
      close_one(p, after, i);
    }
    if (p->stack[p->top].at > block_of(lim)) {
      return false;
    }
    before = after;
  }
  return p->stack[0].at < block_of(lim) || p->hole != 0;
}

// The largest t from `most` down to `least` with which an order fits; -1 when there is none. The slots are set.
int32_t widest(packing *p, uint32_t n, int32_t lim, int32_t from, int32_t g, int32_t most, int32_t least) {
  for (int32_t t = most; t >= least; --t) {
    if (set_slots(p->blocks, n, t) < block_of(lim) && place_in_order(p, n, lim, from, g)) {
      return t;
    }
  }
  return -1;
}

}  // namespace

int32_t tcamv6_fit_blocks(tcamv6_fit_block *blocks, uint32_t n, int32_t lim, int32_t from, uint64_t *at) {
  *at = static_cast<uint64_t>(block_of(lim) - 1);
  int32_t tight = lim;
  while (tight > 0 && set_slots(blocks, n, tight) >= block_of(lim)) {
    --tight;
  }
  packing p = {};
  p.blocks = blocks;
  const int32_t least = (tight + share - 1) / share;
  for (const int32_t g : steps) {
    const int32_t t = widest(&p, n, lim, from, g, tight, least);
    if (t >= 0) {
      p.writes = true;
      place_in_order(&p, n, lim, from, g);
      if (p.stack[0].at == block_of(lim)) {
        *at = static_cast<uint64_t>(p.hole);
      }
      return t;
    }
  }
  set_slots(blocks, n, tight);
  place_tight(blocks, n, lim);
  return tight;
}
