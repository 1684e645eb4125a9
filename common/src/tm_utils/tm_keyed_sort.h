// SPDX-License-Identifier: Apache-2.0
// tm_keyed_sort.h - sorting large arrays by precomputed keys instead of comparator calls.
#ifndef TM_KEYED_SORT_H
#define TM_KEYED_SORT_H

#include "tm_api.h"

// What stands for one element while its array is sorted: by high, then low, then rank.
struct tm_keyed_entry {
  uint64_t high;
  uint64_t low;
  uint32_t rank;   // 0..255
  uint32_t index;  // of the element; not compared
};

// Sort entries, ascending and stable.
//   scratch     room for count entries
//   key_bytes   leading bytes of high and low (0..16) beyond which all are 0
// Cost: a comparison per entry and merge where the entries already lie in a few sorted runs; else two passes for each
// byte in which they differ.
void tm_keyed_sort(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t count, uint32_t key_bytes);

#endif
