// tm_keyed_sort.cpp - radix sort by bytes, least significant first: every pass is stable, so the last one decides.
#include "tm_keyed_sort.h"

#include <string.h>

namespace {

constexpr uint32_t key_bytes = 8;
constexpr uint32_t byte_values = 256;

// Byte `place` of a key, 0 being the least significant.
uint32_t key_byte(uint64_t key, uint32_t place) { return static_cast<uint32_t>(key >> (8 * place)) & 0xFF; }

void sort_pass(const tm_keyed_entry *from, tm_keyed_entry *to, size_t count, uint32_t place, const size_t *counts) {
  size_t starts[byte_values];
  size_t start = 0;
  for (uint32_t value = 0; value < byte_values; ++value) {
    starts[value] = start;
    start += counts[value];
  }
  for (size_t i = 0; i < count; ++i) {
    to[starts[key_byte(from[i].key, place)]++] = from[i];
  }
}

}  // namespace

void tm_keyed_sort(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t count) {
  size_t counts[key_bytes][byte_values] = {};
  for (size_t i = 0; i < count; ++i) {
    for (uint32_t place = 0; place < key_bytes; ++place) {
      ++counts[place][key_byte(entries[i].key, place)];
    }
  }
  tm_keyed_entry *from = entries;
  tm_keyed_entry *to = scratch;
  for (uint32_t place = 0; place < key_bytes; ++place) {
    if (count == 0 || counts[place][key_byte(from[0].key, place)] == count) {
      continue;  // all the same
    }
    sort_pass(from, to, count, place, counts[place]);
    tm_keyed_entry *swapped = from;
    from = to;
    to = swapped;
  }
  if (from != entries) {
    memcpy(entries, from, count * sizeof *entries);
  }
}
