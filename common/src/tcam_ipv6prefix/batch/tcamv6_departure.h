// SPDX-License-Identifier: Apache-2.0
// tcamv6_departure.h - where a prefix leaves the others below the stored prefix around it.
#ifndef TCAMV6_DEPARTURE_H
#define TCAMV6_DEPARTURE_H

#include "tm_key.h"
#include "tm_trie_internal.h"

// On the way from the enclosing prefix to its own node others branch off. Its neighbours are those that do so last:
// they share most bits with it.
//
//      parent     depth 32
//        |  \.
//        |   f    .above = 32: the others leave here
//        |
//       / \       .at = 40: the neighbours leave here, .group is their first node
//      g   X      X is on the other side
struct tcamv6_departure {
  const tm_util_trie_node *group;  // null when nothing leaves its way
  int32_t at;                      // the parent's depth when there is none
  int32_t above;                   // the parent's depth when there is no other
};

// Begin at the parent; step from one node of the way to the next, by the prefix's bit there.
inline tcamv6_departure tcamv6_departure_begin(const tm_util_trie_node *parent) {
  return {nullptr, parent->len, parent->len};
}

inline void tcamv6_departure_step(tcamv6_departure *from, const tm_util_trie_node *node, uint32_t bit) {
  const tm_util_trie_node *other = tm_trie_child(node, 1 - bit);
  if (other != nullptr) {
    *from = {other, node->len, from->at};
  }
}

// All the steps at once, from a parent to a prefix of `length` bits.
inline tcamv6_departure tcamv6_departure_of(const tm_util_trie_node *parent, const uint8_t *key, int32_t length) {
  tcamv6_departure from = tcamv6_departure_begin(parent);
  const tm_util_trie_node *node = parent;
  while (node != nullptr && node->len < length) {
    const uint32_t bit = tm_key_bit(key, node->len);
    tcamv6_departure_step(&from, node, bit);
    node = tm_trie_child(node, bit);
  }
  return from;
}

#endif
