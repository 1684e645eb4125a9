// SPDX-License-Identifier: Apache-2.0
#include "table_ready.h"
#include "table_array.h"

namespace {

enum : uint32_t {
  n_starts = 65536,
  fewest_items_for_starts = 2048  // with fewer, the upper nodes are in the fastest cache anyway
};

// Numbers are in the order of the prefixes, so that what is around one has been filled in before.
void fill_answers(table_ready *ready, uint64_t rest) {
  const tcamv6_read_index *index = ready->index;
  ready->rows[0] = {};
  ready->rows[0].reserved[0] = 1;
  ready->keys[0] = rest;
  for (uint32_t number = 1; number <= index->n_items; ++number) {
    const tcamv6_read_answer *answer = &index->answers[number];
    if (table_is_row(answer)) {
      table_read_row(answer, &ready->rows[number]);
      ready->keys[number] = ready->rows[number].key;
    } else {
      const uint32_t around = index->items[number].parent;
      ready->rows[number] = ready->rows[around];
      ready->keys[number] = ready->keys[around];
    }
  }
}

// Walk down by two bytes. A node that stands deeper is left for the lookup, which knows the other bytes; one that
// stands one byte down is passed only by addresses that have it.
uint32_t find_start(const tcamv6_read_index *index, uint32_t first_bytes) {
  const uint8_t address[TM_KEY_BYTES] = {static_cast<uint8_t>(first_bytes >> 8), static_cast<uint8_t>(first_bytes)};
  table_descent at = {address, index->root, false};
  while (at.byte < address + 2 && !tcamv6_read_is_end(at.entry)) {
    const uint32_t *node = index->words + tcamv6_read_value(at.entry);
    if (tcamv6_read_is_skip(at.entry)) {
      if (node[TCAMV6_READ_DEPTH] >= 16) {
        break;
      }
      if (!tcamv6_read_reaches(index, node, address)) {
        return TCAMV6_READ_LEAF | index->items[node[TCAMV6_READ_FIRST]].parent;
      }
    }
    table_step_down(index, address, &at);
  }
  return at.entry;
}

}  // namespace

bool table_make_ready(table_ready *ready, const tcamv6_read_index *index, uint64_t rest) {
  table_drop_ready(ready);
  const size_t count = size_t{index->n_items} + 1;
  const bool has_starts = index->n_items >= fewest_items_for_starts;
  if (!table_make_array(&ready->rows, count) || !table_make_array(&ready->keys, count) ||
      (has_starts && !table_make_array(&ready->start, n_starts))) {
    table_drop_ready(ready);
    return false;
  }
  ready->index = index;
  ready->n_items = index->n_items;
  fill_answers(ready, rest);
  for (uint32_t i = 0; has_starts && i < n_starts; ++i) {
    ready->start[i] = find_start(index, i);
  }
  return true;
}

void table_drop_ready(table_ready *ready) {
  tm_free(ready->start);
  tm_free(ready->rows);
  tm_free(ready->keys);
  *ready = {};
}
