// SPDX-License-Identifier: Apache-2.0
// tcamv6_read_index.h - answers of the two lookups, found in a few steps beside the tries.
//
// The trie of uncompressed prefixes costs a lookup a step per bit. The index has a step per byte and skips bytes that
// all prefixes below share, and it holds the answer for each prefix ready. It is a copy and nothing else: answers are
// the tries', byte for byte, and without it the tries answer.
//
// When it is there. A host asks for it (tcamv6_lookup_index.h), and it is built whole: a lookup never builds, counts or
// allocates anything, so that many threads may look up at once.
//
// When it goes. Every call that changes the stored structures drops it first (tcamv6_drop_read_index): its memory stays
// for the next time. What releases the contents of an instance releases the memory too (tcamv6_release_read_index).
//
// Memory comes from the heap, never from the pools, and is bounded (tcamv6_read_index_max_nodes).
#ifndef TCAMV6_READ_INDEX_H
#define TCAMV6_READ_INDEX_H

#include "tcamv6_state.h"
#include "tm_debug.h"
#include "tm_key.h"
#include "tm_trie.h"

// A stored prefix. Prefixes are numbered from 1 in the order of their bits, containing ones first.
struct tcamv6_read_item {
  uint64_t high;  // its bits, those beyond its length 0
  uint64_t low;
  tm_chunk_idx node;  // of the trie of uncompressed prefixes
  uint32_t parent;    // the nearest stored prefix around it; 0 = none
  uint32_t length;
};

// The answer for a stored prefix, as the records of both lookups give it.
struct tcamv6_read_answer {
  uint8_t address[TM_KEY_BYTES];
  uint8_t code[TM_KEY_BYTES];
  tcamv6_cmpr_addr cmpr_addr;
  uint16_t weight;
  uint16_t anchor_ref;
  uint16_t own_node;
  uint16_t node_aux;
  uint8_t length;
  uint8_t code_length;
  uint8_t reserved[2];
  uint32_t handle;  // the host's, of the prefix
};

TM_ASSERT_SIZE(tcamv6_read_answer, 64);

// An entry of the index: its kind in the two upper bits, and
//   node   where the node's words begin
//   skip   the same; the node stands deeper, and all prefixes below share the bits that are passed over
//   leaf   the number of the longest prefix that covers the place, 0 = none
//   one    the number of the only prefix below
// The uppermost bit ends a search.
enum : uint32_t {
  TCAMV6_READ_NODE = 0,
  TCAMV6_READ_SKIP = 1u << 30,
  TCAMV6_READ_LEAF = 2u << 30,
  TCAMV6_READ_ONE = 3u << 30,
  TCAMV6_READ_END = 1u << 31,
  TCAMV6_READ_KIND = 3u << 30
};

// The words of a node: the number of the first prefix below it, its depth (a multiple of 8 bits), an entry per byte.
enum : uint32_t {
  TCAMV6_READ_FIRST = 0,
  TCAMV6_READ_DEPTH = 1,
  TCAMV6_READ_ENTRIES = 2,
  TCAMV6_READ_FANOUT = 256,
  TCAMV6_READ_NODE_WORDS = TCAMV6_READ_ENTRIES + TCAMV6_READ_FANOUT
};

struct tcamv6_read_index {
  uint64_t live;   // 0 = dropped: only its memory is kept. Otherwise a number that no other contents ever had
  uint32_t root;   // an entry
  bool rows_only;  // anchors are left out: good for those who ask for rows, not for the two lookups
  uint32_t n_items;
  uint32_t item_room;
  uint32_t n_nodes;
  uint32_t node_room;
  uint32_t n_spread;            // nodes with a single way on, for a byte that might be passed over
  tcamv6_read_item *items;      // item_room + 1; the one of number 0 stands for no prefix
  tcamv6_read_answer *answers;  // by the same numbers, each in a cache line of its own
  void *answers_block;
  uint32_t *words;  // node_room nodes
};

// tcamv6_state.read_index is 0 or the address of the index.
inline tcamv6_read_index *tcamv6_read_index_at(uint64_t word) {
  return reinterpret_cast<tcamv6_read_index *>(static_cast<uintptr_t>(word));
}

inline bool tcamv6_has_read_index(const tcamv6_state *state) {
  const tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  return index != nullptr && index->live != 0;
}

// The table is about to change.
inline void tcamv6_drop_read_index(tcamv6_state *state) {
  if (state->read_index != 0) {
    tcamv6_read_index_at(state->read_index)->live = 0;
  }
}

// The instance lets go of its contents.
void tcamv6_release_read_index(tcamv6_state *state);

// Nodes that an index of so many prefixes may have, and of them those for a byte that might be passed over. One of rows
// only may have as many as it can come to.
uint32_t tcamv6_read_index_max_nodes(uint32_t n_prefixes, bool rows_only);
inline uint32_t tcamv6_read_index_max_spread(uint32_t n_prefixes, bool rows_only) {
  return rows_only ? n_prefixes / 8 : 0;
}

// Make the index of a compressed instance, in the memory of its last one if it had one. Its answers are not there yet,
// and it is not live. Null when no index can be had: no memory, more than the bound, or a node that is not where it
// says.
tcamv6_read_index *tcamv6_make_read_index(tcamv6_state *state, bool rows_only);

// The index is whole, or whole again after a change in place: it goes live with a number of its own. Who has copied
// from it knows by the number whether the copy is still good.
void tcamv6_read_index_go_live(tcamv6_read_index *index);

// The live index for the next of the two lookups; null when the tries are to answer it. While calls are traced the
// tries answer.
inline const tcamv6_read_index *tcamv6_read_index_for_lookup(const tcamv6_state *state) {
  const tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  return tcamv6_has_read_index(state) && !index->rows_only && tcamv6_debug_flags.trace == 0 ? index : nullptr;
}

// Fill an index from a trie of uncompressed prefixes, with the address and length of each answer and no more of it.
// Returns false when the tries have to answer.
bool tcamv6_build_read_index(tcamv6_read_index *index, const tm_util_trie_node *orig_root, uint32_t n_expected);

// Are the first bits, 0..128 of them, of two keys the same? In halves: compilers keep 128-bit numbers in memory here.
inline bool tcamv6_read_same_bits(uint64_t a_high, uint64_t a_low, uint64_t b_high, uint64_t b_low, uint32_t bits) {
  if (bits <= 64) {
    return bits == 0 || (a_high ^ b_high) >> (64 - bits) == 0;
  }
  return a_high == b_high && (a_low ^ b_low) >> (128 - bits) == 0;
}

// Are the item's bits the leading ones of a key?
inline bool tcamv6_read_item_covers(const tcamv6_read_item *item, uint64_t high, uint64_t low) {
  return tcamv6_read_same_bits(item->high, item->low, high, low, item->length);
}

#endif
