// SPDX-License-Identifier: Apache-2.0
// tcamv6_layout.cpp - blocks, the largest first.
//
// A prefix with a cost of c bits needs a block of 2^c addresses: one for its own address and a block for each of its
// children, so c is the least number with 2^c >= 1 + the sum of the children's blocks. A leaf costs 0. Packed by size,
// the largest first, every block of a power of two falls on a multiple of its size, and none is wasted in between:
//
//     children that cost 2, 1 and 0, and the address A            2^2 + 2^1 + 2^0 + 1 = 8: costs 3
//
//     |   2   |   2   |   2   |   2   |   1   |   1   |   0   |   A   |
//
// When the block at hand has more bits than are needed, all blocks grow alike, by 2^spare. A child's code goes some of
// its spare bits down in its own block, as its length deserves, and what is beside it there is free for later ones, as
// is what the packing leaves at the end. Children of one size stand in the order of their addresses.
//
// Cost: the prefixes, and sorting each one's children.
#include "tcamv6_layout.h"

#include <string.h>

#include "tcamv6_incr_add.h"
#include "tm_memory.h"
#include "tm_stable_sort.h"

namespace {

constexpr int32_t kept_bits = 2;  // below a code that is not a full-length prefix's, where there are spare ones

int32_t larger(int32_t a, int32_t b) { return a > b ? a : b; }
int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

// Least c with 2^c >= sum; sum is not 0.
int32_t bits_for(tm_key_number sum) {
  int32_t bits = 0;
  while (bits < TCAMV6_COST_TOO_HIGH && (tm_key_number{1} << bits) < sum) {
    ++bits;
  }
  return bits;
}

int32_t cost_of_children(const tcamv6_recoding *recoding, uint32_t at) {
  const uint32_t end = at + recoding->list[at].subtree;
  tm_key_number sum = 1;
  for (uint32_t i = at + 1; i < end; i += recoding->list[i].subtree) {
    sum += tm_key_number{1} << recoding->list[i].cost;
    if (recoding->list[i].cost == TCAMV6_COST_TOO_HIGH) {
      return TCAMV6_COST_TOO_HIGH;
    }
  }
  return bits_for(sum);
}

// A child waiting for its block.
struct packed_child {
  uint32_t index;
  int32_t cost;
  const tm_util_trie_node *stored;
};

int compare_children(const void *a, const void *b) {
  const auto *x = static_cast<const packed_child *>(a);
  const auto *y = static_cast<const packed_child *>(b);
  if (x->cost != y->cost) {
    return x->cost > y->cost ? -1 : 1;
  }
  return memcmp(x->stored->key, y->stored->key, TM_KEY_BYTES);
}

struct layout {
  tcamv6_recoding *recoding;
  packed_child *children;  // those of the prefix at hand from `used` on
  uint32_t used;
  int32_t most;
};

// How far down in its own block a child goes.
int32_t depth_in(const layout *l, const packed_child *child, tcamv6_code block, int32_t spare) {
  const int32_t length = child->stored->len;
  const int32_t wanted = larger(0, tcamv6_target_length(length, l->most) - block.len);
  int32_t depth = block.len + smaller(child->cost > 0 ? spare / 2 : spare, wanted);
  if (length < TCAMV6_MAX_PREF_LEN) {
    depth = larger(block.len, smaller(depth, l->most - kept_bits));
  }
  return depth;
}

void lay_children(layout *l, uint32_t at) {
  tcamv6_recoded *list = l->recoding->list;
  const uint32_t end = at + list[at].subtree;
  const tcamv6_code top = list[at].new_code;
  packed_child *children = &l->children[l->used];
  uint32_t n = 0;
  for (uint32_t i = at + 1; i < end; i += list[i].subtree) {
    children[n++] = {i, list[i].cost, tm_trie_node(tcamv6_anc_data_of(list[i].node)->orig)};
  }
  tm_stable_sort(children, n, sizeof *children, compare_children);
  l->used += n;
  // An address is the place of a block in units of the most bits; 64 of them are the whole word.
  const int32_t spare = l->most - top.len - list[at].cost;
  tm_key_number next = 0;
  const auto place_of_next = [&]() { return top.bits | (static_cast<uint64_t>(next << spare) << (64 - l->most)); };
  for (uint32_t i = 0; i < n; ++i) {
    const tcamv6_code block = {place_of_next(), l->most - spare - children[i].cost};
    tcamv6_recoded *child = &list[children[i].index];
    child->new_code = tcamv6_code_cut(block, depth_in(l, &children[i], block, spare));
    next += tm_key_number{1} << children[i].cost;
    lay_children(l, children[i].index);
  }
  list[at].new_address = n == 0 ? tcamv6_code_cut(top, l->most) : tcamv6_code{place_of_next(), l->most};
  // A leaf can still have the dummy that it needed before. Where its code has all bits, there is no room below it.
  list[at].drops_dummy = n == 0 && top.len == l->most;
  l->used -= n;
}

}  // namespace

int32_t tcamv6_layout_cost(tcamv6_recoding *recoding) {
  for (uint32_t i = recoding->count; i-- > 0;) {
    recoding->list[i].cost = cost_of_children(recoding, i);
  }
  return recoding->list[0].cost;
}

int32_t tcamv6_layout(tcamv6_recoding *recoding, tcamv6_code top) {
  auto *children =
      static_cast<packed_child *>(zel_malloc_named(TM_MEM_TAG_LIST, recoding->count * sizeof(packed_child)));
  if (children == nullptr) {
    return TM_ENOMEM;
  }
  layout l = {recoding, children, 0, static_cast<int32_t>(recoding->state->max_cmpr_len)};
  recoding->list[0].new_code = top;
  lay_children(&l, 0);
  zel_free_named(children);
  return TM_OK;
}
