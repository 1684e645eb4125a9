// SPDX-License-Identifier: Apache-2.0
#include "table_ready.h"

#include <assert.h>

#include "table_array.h"
#include "table_rows.h"

namespace {

enum : uint32_t {
  n_values = 256,  // of a byte
  n_starts = n_values * n_values,
  fewest_items_for_starts = 512,  // with fewer, the index is smaller than they are
  most_samples = 1024
};

bool make_ends(table_ready *ready, size_t count) {
  table_end *block = nullptr;
  if (!table_make_array(&block, count)) {
    return false;
  }
  ready->ends_block = block;
  const uintptr_t at = reinterpret_cast<uintptr_t>(block);
  ready->ends = reinterpret_cast<table_end *>((at + sizeof *block - 1) / sizeof *block * sizeof *block);
  return true;
}

void fill_end(table_end *end, const tcamv6_read_answer *answer) {
  const uint64_t key = tm_key_load_word(answer->cmpr_addr.bytes);
  assert(((tm_key_load_word(answer->code) ^ key) & table_leading_bits(answer->code_length)) == 0);
  *end = {{}, key, answer->handle, answer->length, answer->code_length, 1, 0};
  tm_key_store(end->address, tm_key_load(answer->address) & tm_key_number_leading(answer->length));
}

void fill_ends(const table_ready *ready, uint64_t rest) {
  ready->ends[0] = {};
  ready->ends[0].key = rest;
  for (uint32_t number = 1; number <= ready->index->n_items; ++number) {
    fill_end(&ready->ends[number], &ready->index->answers[number]);
  }
}

// An entry is plain when its node is where the next byte is.
uint32_t entry_at(const tcamv6_read_index *index, uint32_t entry, uint32_t depth) {
  const bool is_here =
      !tcamv6_read_is_end(entry) && index->words[tcamv6_read_value(entry) + TCAMV6_READ_DEPTH] == depth;
  return is_here ? tcamv6_read_value(entry) : entry;
}

// Where a byte at a depth leads from an entry. A node that stands deeper is left for the lookup, which knows the other
// bytes.
uint32_t step_down(const tcamv6_read_index *index, uint32_t entry, uint32_t depth, uint32_t byte) {
  const uint32_t from = entry_at(index, entry, depth);
  return from < TCAMV6_READ_SKIP ? index->words[from + TCAMV6_READ_ENTRIES + byte] : entry;
}

// All ways begin at the root. That it passes over bytes does not matter: what it ends at is compared with all of them.
void set_root(table_ready *ready) {
  const tcamv6_read_index *index = ready->index;
  ready->root = index->root;
  if (!tcamv6_read_is_end(index->root)) {
    ready->root = tcamv6_read_value(index->root);
    ready->bytes_of_root = index->words[ready->root + TCAMV6_READ_DEPTH] / 8;
  }
  ready->bytes_of_start = ready->bytes_of_root;
}

void fill_starts(table_ready *ready) {
  const tcamv6_read_index *index = ready->index;
  const uint32_t depth = 8 * ready->bytes_of_root;
  ready->bytes_of_start = ready->bytes_of_root + 2;
  for (uint32_t first = 0; first < n_values; ++first) {
    const uint32_t below = step_down(index, ready->root, depth, first);
    for (uint32_t second = 0; second < n_values; ++second) {
      const uint32_t entry = step_down(index, below, depth + 8, second);
      ready->start[first * n_values + second] = entry_at(index, entry, depth + 16);
    }
  }
}

// The plain steps on the way of an address: an end or bytes that are passed over come after them.
uint32_t count_steps(const table_ready *ready, const uint8_t *address) {
  uint32_t entry = table_first_entry(ready, address);
  uint32_t n = 0;
  while (entry < TCAMV6_READ_SKIP) {
    entry = ready->index->words[entry + TCAMV6_READ_ENTRIES + address[ready->bytes_of_start + n]];
    ++n;
  }
  return n;
}

// The steps that are enough for seven of eight prefixes, by a sample of them. One more for all costs less than one that
// is not foreseen for an eighth.
uint32_t find_common_steps(const table_ready *ready) {
  uint32_t n_with_steps[TM_KEY_BYTES + 1] = {};
  uint32_t n_sampled = 0;
  const uint32_t stride = ready->index->n_items / most_samples + 1;
  for (uint32_t number = stride; number <= ready->index->n_items; number += stride) {
    ++n_with_steps[count_steps(ready, ready->ends[number].address)];
    ++n_sampled;
  }
  uint32_t steps = 0;
  for (uint32_t n_enough = n_with_steps[0]; n_enough < n_sampled - n_sampled / 8; n_enough += n_with_steps[steps]) {
    ++steps;
  }
  return steps;
}

constexpr table_masks make_masks() {
  table_masks masks = {};
  for (int32_t n = 0; n <= TM_KEY_BITS; ++n) {
    for (int32_t i = 0; i < TM_KEY_BYTES; ++i) {
      masks.bytes[n][i] = static_cast<uint8_t>(tm_key_number_leading(n) >> (TM_KEY_BITS - 8 - 8 * i));
    }
  }
  return masks;
}

}  // namespace

constexpr table_masks table_leading_masks = make_masks();

__attribute__((noinline)) const table_end *table_climb(const table_ready *ready, uint32_t number,
                                                       const uint8_t *address) {
  const table_end *end = nullptr;
  do {
    number = ready->index->items[number].parent;
    end = &ready->ends[number];
  } while (!table_covers(end, address));
  return end;
}

bool table_make_ready(table_ready *ready, const tcamv6_read_index *index, uint64_t rest) {
  table_drop_ready(ready);
  const bool has_starts = index->n_items >= fewest_items_for_starts;  // more than there are below all bytes but one
  if (!make_ends(ready, size_t{index->n_items} + 1) || (has_starts && !table_make_array(&ready->start, n_starts))) {
    table_drop_ready(ready);
    return false;
  }
  ready->index = index;
  ready->live = index->live;
  ready->words = index->words;
  fill_ends(ready, rest);
  set_root(ready);
  if (has_starts) {
    fill_starts(ready);
  }
  ready->bytes_of_steps = ready->bytes_of_start + find_common_steps(ready);
  return true;
}

void table_drop_ready(table_ready *ready) {
  tm_free(ready->start);
  tm_free(ready->ends_block);
  *ready = {};
}

void table_ready_set_word(table_ready *ready, uint32_t number, uint32_t word) {
  ready->ends[number].word = word;
  ready->live = ready->index->live;
}
