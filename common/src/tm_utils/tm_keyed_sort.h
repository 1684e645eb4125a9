// tm_keyed_sort.h - sorting large arrays by precomputed keys instead of comparator calls.
#ifndef TM_KEYED_SORT_H
#define TM_KEYED_SORT_H

#include "tm_api.h"

enum { TM_SORT_KEY_WORDS = 3 };

// What stands for one element while its array is sorted.
struct tm_keyed_entry {
  uint64_t key[TM_SORT_KEY_WORDS];  // compared as unsigned numbers, word 0 first
  uint64_t index;                   // of the element
};

// Sort entries by key, ascending and stable.
//   scratch   room for count entries
// Cost: one pass for each of the keys' 24 bytes in which entries differ.
void tm_keyed_sort(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t count);

#endif
