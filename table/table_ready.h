// SPDX-License-Identifier: Apache-2.0
// table_ready.h - a table's answers, ready to be copied: what its lookups read beside the instance's read index.
//
// The index finds the number of the longest stored prefix, which may be an anchor, and keeps its parts. Here the row
// and the key of every number lie as they go out, those of the next row around where the number is none. Where it pays,
// the first two bytes of an address lead straight to their place in the index.
#ifndef TABLE_READY_H
#define TABLE_READY_H

#include "table_answers.h"

struct table_ready {
  const tcamv6_read_index *index;  // that it belongs to; null = nothing is ready
  uint32_t n_items;                // of the index
  uint32_t *start;                 // by the first two bytes of an address, an entry of the index; null = none
  zel_v6comp_table_row *rows;      // by number; 0 is no row
  uint64_t *keys;                  // likewise; 0 has the key of the rest
};

// Get all answers of a live index ready; `rest` is the key of addresses that no row covers. Returns false when memory
// is refused: nothing is ready then.
bool table_make_ready(table_ready *ready, const tcamv6_read_index *index, uint64_t rest);

void table_drop_ready(table_ready *ready);

// Do the answers belong to this index? The instance may have been changed behind the table's back.
inline bool table_is_ready(const table_ready *ready, const tcamv6_read_index *index) {
  return ready->index == index && ready->n_items == index->n_items;
}

// An address on its way down the index.
struct table_descent {
  const uint8_t *byte;  // the next one
  uint32_t entry;
  bool is_unsure;  // bytes were passed over: the end may be of other addresses
};

inline table_descent table_begin_descent(const table_ready *ready, const uint8_t *address) {
  if (ready->start == nullptr) {
    return {address, ready->index->root, false};
  }
  return {address + 2, ready->start[uint32_t{address[0]} << 8 | address[1]], false};
}

// A step from an entry that is no end.
inline void table_step_down(const tcamv6_read_index *index, const uint8_t *address, table_descent *at) {
  const uint32_t *node = index->words + tcamv6_read_value(at->entry);
  if (at->entry >= TCAMV6_READ_SKIP) {
    at->byte = address + node[TCAMV6_READ_DEPTH] / 8;
    at->is_unsure = true;
  }
  at->entry = node[TCAMV6_READ_ENTRIES + *at->byte++];
}

// All steps. Nearly all of them are from nodes that stand where the last one led.
inline void table_walk_down(const tcamv6_read_index *index, const uint8_t *address, table_descent *at) {
  uint32_t entry = at->entry;
  const uint8_t *byte = at->byte;
  for (;;) {
    while (entry < TCAMV6_READ_SKIP) {
      entry = index->words[entry + TCAMV6_READ_ENTRIES + *byte++];
    }
    if (tcamv6_read_is_end(entry)) {
      break;
    }
    *at = {byte, entry, true};
    table_step_down(index, address, at);
    entry = at->entry;
    byte = at->byte;
  }
  at->entry = entry;
}

// A row that is none stands for what no row covers.
inline bool table_is_no_row(const zel_v6comp_table_row *row) { return row->reserved[0] != 0; }

inline bool table_row_covers(const zel_v6comp_table_row *row, const uint8_t *address) {
  const tcamv6_key_halves bits = tcamv6_key_load_halves(row->address);
  const tcamv6_key_halves at = tcamv6_key_load_halves(address);
  return tcamv6_read_same_bits(bits.high, bits.low, at.high, at.low, row->length);
}

// The number whose row is the answer, at the end of the way. What covers an address stands around whatever a way down
// ends at.
inline uint32_t table_end_descent(const table_ready *ready, const uint8_t *address, const table_descent *at) {
  uint32_t number = tcamv6_read_value(at->entry);
  if (at->is_unsure || tcamv6_read_is_one(at->entry)) {
    while (!table_row_covers(&ready->rows[number], address)) {
      number = ready->index->items[number].parent;
    }
  }
  return number;
}

#endif
