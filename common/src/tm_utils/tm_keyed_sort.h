// tm_keyed_sort.h - sorting large arrays by precomputed keys instead of comparator calls.
#ifndef TM_KEYED_SORT_H
#define TM_KEYED_SORT_H

#include "tm_api.h"

// What stands for one element while its array is sorted. Keys of several words are sorted word by word, the least
// significant first.
struct tm_keyed_entry {
  uint64_t key;    // compared as an unsigned number
  uint64_t index;  // of the element
};

// Sort entries by key, ascending and stable.
//   scratch   room for count entries
// Cost: one pass over the entries, and one more for each of the keys' 8 bytes in which they differ.
void tm_keyed_sort(tm_keyed_entry *entries, tm_keyed_entry *scratch, size_t count);

#endif
