// SPDX-License-Identifier: Apache-2.0
// tcamv6_read_index_find.h - finding prefixes in a live read index. All of it is inline: a call counts here.
#ifndef TCAMV6_READ_INDEX_FIND_H
#define TCAMV6_READ_INDEX_FIND_H

#include "tcamv6_read_index.h"

inline bool tcamv6_read_is_end(uint32_t entry) { return (entry & TCAMV6_READ_END) != 0; }
inline bool tcamv6_read_is_skip(uint32_t entry) { return (entry & TCAMV6_READ_KIND) == TCAMV6_READ_SKIP; }
inline bool tcamv6_read_is_one(uint32_t entry) { return (entry & TCAMV6_READ_KIND) == TCAMV6_READ_ONE; }
inline uint32_t tcamv6_read_value(uint32_t entry) { return entry & ~TCAMV6_READ_KIND; }

struct tcamv6_key_halves {
  uint64_t high;
  uint64_t low;
};

inline tcamv6_key_halves tcamv6_key_load_halves(const uint8_t *key) {
  const tm_key_number number = tm_key_load(key);
  return {static_cast<uint64_t>(number >> 64), static_cast<uint64_t>(number)};
}

// Does a prefix cover a key? Its bits are taken from its answer, which the lookup needs next.
inline bool tcamv6_read_covers(const tcamv6_read_index *index, uint32_t number, tcamv6_key_halves at) {
  const tcamv6_read_answer *answer = &index->answers[number];
  const tcamv6_key_halves key = tcamv6_key_load_halves(answer->address);
  return tcamv6_read_same_bits(key.high, key.low, at.high, at.low, answer->length);
}

// Does a key have the bits that are passed over on the way to a node?
inline bool tcamv6_read_reaches(const tcamv6_read_index *index, const uint32_t *node, const uint8_t *key) {
  const tcamv6_read_item *item = &index->items[node[TCAMV6_READ_FIRST]];
  const tcamv6_key_halves at = tcamv6_key_load_halves(key);
  return tcamv6_read_same_bits(item->high, item->low, at.high, at.low, node[TCAMV6_READ_DEPTH]);
}

// The prefix that is alone below an entry, or the one around it.
inline uint32_t tcamv6_read_one_or_parent(const tcamv6_read_index *index, uint32_t number, const uint8_t *address) {
  return tcamv6_read_covers(index, number, tcamv6_key_load_halves(address)) ? number : index->items[number].parent;
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
  const uint32_t number = tcamv6_read_value(entry);
  return tcamv6_read_is_one(entry) ? tcamv6_read_one_or_parent(index, number, address) : number;
}

inline bool tcamv6_read_is_exactly(const tcamv6_read_index *index, uint32_t number, const uint8_t *key,
                                   uint32_t length) {
  return index->answers[number].length == length && tcamv6_read_covers(index, number, tcamv6_key_load_halves(key));
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
  if (found == 0 || tcamv6_read_is_exactly(index, found, key, length)) {
    return found;
  }
  // It is one around that, if any: at most the eight lengths that begin in the last node remain.
  found = items[found].parent;
  while (found != 0 && items[found].length > length) {
    found = items[found].parent;
  }
  return found != 0 && tcamv6_read_is_exactly(index, found, key, length) ? found : 0;
}

// The handle of a stored prefix changes: keep a live index up to date. Returns the prefix's number there; 0 = none.
inline uint32_t tcamv6_read_index_set_handle(const tcamv6_state *state, const uint8_t *key, uint32_t length,
                                             uint32_t handle) {
  if (!tcamv6_has_read_index(state)) {
    return 0;
  }
  tcamv6_read_index *index = tcamv6_read_index_at(state->read_index);
  const uint32_t number = tcamv6_read_index_exact(index, key, length);
  if (number != 0) {
    index->answers[number].handle = handle;
    tcamv6_read_index_go_live(index);
  }
  return number;
}

#endif
