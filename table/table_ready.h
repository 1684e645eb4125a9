// SPDX-License-Identifier: Apache-2.0
// table_ready.h - a table's answers, ready to be read: what its lookups need beside the instance's read index.
//
// The index, of rows only, finds the number of the longest prefix. Here the row of every number lies in half a cache
// line; and where it pays, two bytes of an address lead straight to their place in the index, past all bytes that are
// the same in all prefixes.
//
// A way down an index does not look at the bits that are passed over, so what it ends at is compared with the whole
// address: always, because a branch for the ends that could do without is foreseen too rarely. For the same reason
// lengths are compared by masks.
#ifndef TABLE_READY_H
#define TABLE_READY_H

#include <string.h>

#include "tcamv6_read_index_find.h"
#include "zel_v6comp_table.h"

// The row of a number. Its code is the beginning of its key.
struct table_end {
  uint8_t address[TM_KEY_BYTES];
  uint64_t key;
  uint32_t word;
  uint8_t length;
  uint8_t code_length;
  uint8_t is_row;  // 0 = of number 0: an empty prefix, with the key of what no row covers
  uint8_t reserved;
};

TM_ASSERT_SIZE(table_end, 32);

struct table_ready {
  const tcamv6_read_index *index;  // that it belongs to; null = nothing is ready
  uint64_t live;                   // the number of the index's contents
  const uint32_t *words;           // the index's
  table_end *ends;                 // by number, each within a cache line
  void *ends_block;
  uint32_t *start;          // by two bytes of an address, an entry; null = all begin at the root
  uint32_t root;            // an entry
  uint32_t bytes_of_root;   // of an address, that are behind it at the root
  uint32_t bytes_of_start;  // at its first entry
  uint32_t bytes_of_steps;  // after the steps that nearly all ways have
};

// Get all answers of a live index of rows ready; `rest` is the key of addresses that no row covers. Returns false when
// memory is refused: nothing is ready then.
bool table_make_ready(table_ready *ready, const tcamv6_read_index *index, uint64_t rest);

void table_drop_ready(table_ready *ready);

// The word of a number has been changed in the index.
void table_ready_set_word(table_ready *ready, uint32_t number, uint32_t word);

// Do the answers belong to what the instance has in its index now? It may have been changed behind the table's back.
inline bool table_is_ready(const table_ready *ready, const tcamv6_state *state) {
  const tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  return index != nullptr && index == ready->index && index->live == ready->live;
}

inline uint32_t table_first_entry(const table_ready *ready, const uint8_t *address) {
  const uint8_t *byte = address + ready->bytes_of_root;
  return ready->start != nullptr ? ready->start[uint32_t{byte[0]} << 8 | byte[1]] : ready->root;
}

// From an entry to its end; `byte` is the next one of the address, unless the entry passes over some.
inline uint32_t table_walk_down(const uint32_t *words, const uint8_t *address, const uint8_t *byte, uint32_t entry) {
  for (;;) {
    while (entry < TCAMV6_READ_SKIP) {
      entry = words[entry + TCAMV6_READ_ENTRIES + *byte++];
    }
    if (tcamv6_read_is_end(entry)) {
      return entry;
    }
    const uint32_t *node = words + tcamv6_read_value(entry);
    byte = address + node[TCAMV6_READ_DEPTH] / 8;
    entry = node[TCAMV6_READ_ENTRIES + *byte++];
  }
}

// The whole way down of an address. Its first steps stand one by one, so that each has a branch of its own to foresee.
inline uint32_t table_way_down(const table_ready *ready, const uint8_t *address) {
  constexpr int32_t n_first_steps = 4;
  const uint32_t *words = ready->words;
  const uint8_t *byte = address + ready->bytes_of_start;
  uint32_t entry = table_first_entry(ready, address);
  for (int32_t i = 0; i < n_first_steps && entry < TCAMV6_READ_SKIP; ++i) {
    entry = words[entry + TCAMV6_READ_ENTRIES + *byte++];
  }
  return table_walk_down(words, address, byte, entry);
}

// The leading bits of every length, as they lie in memory.
struct table_masks {
  uint8_t bytes[TM_KEY_BITS + 1][TM_KEY_BYTES];
};

extern const table_masks table_leading_masks;

inline bool table_covers(const table_end *end, const uint8_t *address) {
  uint64_t bits[2];
  uint64_t at[2];
  uint64_t mask[2];
  memcpy(bits, end->address, sizeof bits);
  memcpy(at, address, sizeof at);
  memcpy(mask, table_leading_masks.bytes[end->length], sizeof mask);
  return (((bits[0] ^ at[0]) & mask[0]) | ((bits[1] ^ at[1]) & mask[1])) == 0;
}

// The nearest row around a number that covers an address; number 0 covers all.
const table_end *table_climb(const table_ready *ready, uint32_t number, const uint8_t *address);

// What covers an address stands around whatever its way down ends at: the number, nearly always, or one around it.
inline const table_end *table_end_around(const table_ready *ready, uint32_t number, const uint8_t *address) {
  const table_end *end = &ready->ends[number];
  return __builtin_expect(table_covers(end, address), 1) ? end : table_climb(ready, number, address);
}

inline void table_read_row(const table_end *end, zel_v6comp_table_row *row) {
  memcpy(row->address, end->address, sizeof row->address);
  row->code = end->key & tm_key_load_word(table_leading_masks.bytes[end->code_length]);
  row->key = end->key;
  row->word = end->word;
  row->length = end->length;
  row->code_length = end->code_length;
  row->reserved[0] = 0;
  row->reserved[1] = 0;
}

#endif
