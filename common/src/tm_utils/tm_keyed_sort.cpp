// SPDX-License-Identifier: Apache-2.0
// tm_keyed_sort.cpp - tables mostly come sorted, and what is derived from them record by record is sorted as well: a
// few runs are merged. What lies in more of them is sorted by bytes, least significant first; every pass is stable, so
// the last one decides.
#include "tm_keyed_sort.h"

#include <string.h>

namespace {

constexpr uint32_t key_bytes_most = 16;
constexpr uint32_t rank_bytes = 1;
constexpr uint32_t byte_values = 256;
constexpr uint32_t runs_most = 8;  // merged in three rounds at most

bool is_before(const tm_keyed_entry *a, const tm_keyed_entry *b) {
  if (a->high != b->high) {
    return a->high < b->high;
  }
  return a->low != b->low ? a->low < b->low : a->rank < b->rank;
}

// Find where the ascending runs end. Returns their number; runs_most + 1 when there are more.
uint32_t find_runs(const tm_keyed_entry *entries, size_t count, size_t *ends) {
  uint32_t n = 0;
  for (size_t i = 1; i < count; ++i) {
    if (is_before(&entries[i], &entries[i - 1])) {
      if (n == runs_most) {
        return runs_most + 1;
      }
      ends[n++] = i;
    }
  }
  if (n == runs_most) {
    return runs_most + 1;
  }
  ends[n] = count;
  return n + 1;
}

void merge(const tm_keyed_entry *from, size_t begin, size_t middle, size_t end, tm_keyed_entry *to) {
  size_t a = begin;
  size_t b = middle;
  for (size_t i = begin; i < end; ++i) {
    const bool takes_b = a == middle || (b < end && is_before(&from[b], &from[a]));
    to[i] = from[takes_b ? b : a];
    b += takes_b;
    a += !takes_b;
  }
}

// Merge neighbouring runs until one is left. Returns where it is: entries or scratch.
tm_keyed_entry *merge_runs(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t *ends, uint32_t n) {
  tm_keyed_entry *from = entries;
  tm_keyed_entry *to = scratch;
  while (n > 1) {
    size_t begin = 0;
    uint32_t merged = 0;
    for (uint32_t i = 0; i < n; i += 2) {
      const size_t end = i + 1 < n ? ends[i + 1] : ends[i];
      merge(from, begin, ends[i], end, to);
      ends[merged++] = end;
      begin = end;
    }
    n = merged;
    tm_keyed_entry *swapped = from;
    from = to;
    to = swapped;
  }
  return from;
}

// Byte `place` of what entries are ordered by: 0 is the rank, 1 the least significant byte of the key.
uint32_t order_byte(const tm_keyed_entry *entry, uint32_t place) {
  if (place < rank_bytes) {
    return entry->rank & 0xFF;
  }
  const uint32_t key_place = place - rank_bytes;
  const uint64_t word = key_place < 8 ? entry->low : entry->high;
  return static_cast<uint32_t>(word >> (8 * (key_place % 8))) & 0xFF;
}

// Returns false when all entries have the same byte: nothing is moved then.
bool sort_pass(const tm_keyed_entry *from, tm_keyed_entry *to, size_t count, uint32_t place) {
  size_t starts[byte_values] = {};
  for (size_t i = 0; i < count; ++i) {
    ++starts[order_byte(&from[i], place)];
  }
  if (starts[order_byte(&from[0], place)] == count) {
    return false;
  }
  size_t start = 0;
  for (size_t &value_start : starts) {
    const size_t n = value_start;
    value_start = start;
    start += n;
  }
  for (size_t i = 0; i < count; ++i) {
    to[starts[order_byte(&from[i], place)]++] = from[i];
  }
  return true;
}

// Sort by bytes. Returns where the result is: entries or scratch.
tm_keyed_entry *sort_by_bytes(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t count, uint32_t key_bytes) {
  tm_keyed_entry *from = entries;
  tm_keyed_entry *to = scratch;
  for (uint32_t place = 0; place < rank_bytes + key_bytes_most; ++place) {
    const bool is_zero = place >= rank_bytes && place < rank_bytes + key_bytes_most - key_bytes;
    if (!is_zero && sort_pass(from, to, count, place)) {
      tm_keyed_entry *swapped = from;
      from = to;
      to = swapped;
    }
  }
  return from;
}

}  // namespace

void tm_keyed_sort(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t count, uint32_t key_bytes) {
  size_t ends[runs_most];
  const uint32_t n_runs = find_runs(entries, count, ends);
  const tm_keyed_entry *sorted = n_runs <= runs_most ? merge_runs(entries, scratch, ends, n_runs)
                                                     : sort_by_bytes(entries, scratch, count, key_bytes);
  if (sorted != entries) {
    memcpy(entries, sorted, count * sizeof *entries);
  }
}
