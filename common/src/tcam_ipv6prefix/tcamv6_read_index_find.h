// tcamv6_read_index_find.h - finding prefixes in a live read index. All of it is inline: a call counts here.
#ifndef TCAMV6_READ_INDEX_FIND_H
#define TCAMV6_READ_INDEX_FIND_H

#include "tcamv6_read_index.h"

inline bool tcamv6_read_is_end(uint32_t entry) { return (entry & TCAMV6_READ_END) != 0; }
inline bool tcamv6_read_is_skip(uint32_t entry) { return (entry & TCAMV6_READ_KIND) == TCAMV6_READ_SKIP; }
inline bool tcamv6_read_is_list(uint32_t entry) { return (entry & TCAMV6_READ_KIND) == TCAMV6_READ_LIST; }
inline uint32_t tcamv6_read_value(uint32_t entry) { return entry & ~TCAMV6_READ_KIND; }
inline uint32_t tcamv6_read_list_first(uint32_t entry) { return tcamv6_read_value(entry) >> TCAMV6_READ_COUNT_BITS; }
inline uint32_t tcamv6_read_list_count(uint32_t entry) { return entry & TCAMV6_READ_COUNT_MASK; }

struct tcamv6_key_halves {
  uint64_t high;
  uint64_t low;
};

inline tcamv6_key_halves tcamv6_key_load_halves(const uint8_t *key) {
  const tm_key_number number = tm_key_load(key);
  return {static_cast<uint64_t>(number >> 64), static_cast<uint64_t>(number)};
}

// Does a key have the bits that are passed over on the way to a node?
inline bool tcamv6_read_reaches(const tcamv6_read_index *index, const uint32_t *node, const uint8_t *key) {
  const tcamv6_read_item *item = &index->items[node[TCAMV6_READ_FIRST]];
  const tcamv6_key_halves at = tcamv6_key_load_halves(key);
  const tm_key_number difference = tm_key_number{item->high ^ at.high} << 64 | (item->low ^ at.low);
  return (difference & tm_key_number_leading(static_cast<int32_t>(node[TCAMV6_READ_DEPTH]))) == 0;
}

// Containing prefixes come first, so the last one that covers the address is the longest. Which one it is cannot be
// foreseen: no branch asks.
inline uint32_t tcamv6_read_longest_of_list(const tcamv6_read_index *index, uint32_t entry, const uint8_t *address) {
  const uint32_t first = tcamv6_read_list_first(entry);
  const tcamv6_key_halves key = tcamv6_key_load_halves(address);
  uint32_t found = index->items[first].parent;
  for (uint32_t i = first; i < first + tcamv6_read_list_count(entry); ++i) {
    found = tcamv6_read_item_covers(&index->items[i], key.high, key.low) ? i : found;
  }
  return found;
}

// The number of the longest prefix that covers an address; 0 = none.
inline uint32_t tcamv6_read_index_covering(const tcamv6_read_index *index, const uint8_t *address) {
  const uint32_t *words = index->words;
  const uint8_t *byte = address;
  uint32_t entry = index->root;
  while (!tcamv6_read_is_end(entry)) {
    const uint32_t *node = words + entry;
    if (__builtin_expect(tcamv6_read_is_skip(entry), 0)) {
      node = words + tcamv6_read_value(entry);
      if (!tcamv6_read_reaches(index, node, address)) {
        return index->items[node[TCAMV6_READ_FIRST]].parent;
      }
      byte = address + node[TCAMV6_READ_DEPTH] / 8;
    }
    entry = node[TCAMV6_READ_ENTRIES + *byte++];
  }
  return tcamv6_read_is_list(entry) ? tcamv6_read_longest_of_list(index, entry, address) : tcamv6_read_value(entry);
}

// The prefix of exactly this length among a list; 0 = it is none of them.
inline uint32_t tcamv6_read_exact_of_list(const tcamv6_read_index *index, uint32_t entry, const uint8_t *key,
                                          uint32_t length) {
  const uint32_t first = tcamv6_read_list_first(entry);
  const tcamv6_key_halves at = tcamv6_key_load_halves(key);
  uint32_t found = 0;
  for (uint32_t i = first; i < first + tcamv6_read_list_count(entry); ++i) {
    const tcamv6_read_item *item = &index->items[i];
    found = item->length == length && tcamv6_read_item_covers(item, at.high, at.low) ? i : found;
  }
  return found;
}

// The number of exactly this prefix, length 0..128; 0 = not stored.
inline uint32_t tcamv6_read_index_exact(const tcamv6_read_index *index, const uint8_t *key, uint32_t length) {
  const tcamv6_read_item *items = index->items;
  uint32_t entry = index->root;
  // All prefixes below a node are longer than its depth: one that is not stands around all of them.
  for (uint32_t depth = 0; !tcamv6_read_is_end(entry); depth += 8) {
    const uint32_t *node = index->words + tcamv6_read_value(entry);
    const bool is_skip = tcamv6_read_is_skip(entry);
    depth = is_skip ? node[TCAMV6_READ_DEPTH] : depth;
    if (depth >= length || (is_skip && !tcamv6_read_reaches(index, node, key))) {
      entry = TCAMV6_READ_LEAF | items[node[TCAMV6_READ_FIRST]].parent;
      break;
    }
    entry = node[TCAMV6_READ_ENTRIES + key[depth / 8]];
  }
  uint32_t found = tcamv6_read_value(entry);
  if (tcamv6_read_is_list(entry)) {
    found = tcamv6_read_exact_of_list(index, entry, key, length);
    if (found != 0) {
      return found;
    }
    found = items[tcamv6_read_list_first(entry)].parent;
  }
  // At most the eight lengths that begin in the last node remain.
  while (found != 0 && items[found].length > length) {
    found = items[found].parent;
  }
  const tcamv6_key_halves at = tcamv6_key_load_halves(key);
  const bool is_it = items[found].length == length && tcamv6_read_item_covers(&items[found], at.high, at.low);
  return is_it ? found : 0;
}

#endif
