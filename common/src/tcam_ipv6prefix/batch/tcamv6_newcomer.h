// SPDX-License-Identifier: Apache-2.0
// tcamv6_newcomer.h - a prefix that a batch in room mode adds: what is around it, and its own records.
#ifndef TCAMV6_NEWCOMER_H
#define TCAMV6_NEWCOMER_H

#include "tcamv6_code.h"
#include "tcamv6_outcome.h"
#include "tcamv6_place.h"

struct tcamv6_newcomer {
  tcamv6_state *state;
  const tcamv6_prefix *prefix;
  int32_t most;                                           // bits of a compressed address
  tm_util_trie_node *enclosing[TCAMV6_MAX_PREF_LEN + 1];  // the stored prefixes around it, /0 first
  int32_t n_enclosing;
  tcamv6_departure from;         // where it leaves the others below the last of these
  tm_n_ary_node *parent;         // of the last of these
  tm_util_trie_node *trie_node;  // its own node, where longer prefixes lie below it; else null
  tm_n_ary_node **adopted;       // children of the parent that it contains, by their addresses
  size_t n_adopted;
  tm_n_ary_node *node;  // null until it is linked
};

// Find what is around a prefix; `present` when it is, or was, stored itself, with its node and no more. Whatever the
// outcome, free it.
tcamv6_outcome tcamv6_newcomer_find(tcamv6_state *state, const tcamv6_prefix *prefix, tcamv6_newcomer *newcomer);
void tcamv6_newcomer_free(tcamv6_newcomer *newcomer);

// See to it that the parent has a dummy: with its first child it needs one. Its address is the one that the parent had
// as a leaf, so that nothing of it changes. It gets none yet where the parent's code has the full length.
tcamv6_outcome tcamv6_newcomer_bring_dummy(const tcamv6_newcomer *newcomer);

// Store the prefix and link it between its parent and what it adopts; it has no code yet. And the same, with a code
// that lies above those of what it adopts, and an address below that.
tcamv6_outcome tcamv6_newcomer_link(tcamv6_newcomer *newcomer);
tcamv6_outcome tcamv6_newcomer_settle(tcamv6_newcomer *newcomer, tcamv6_code code);

// The spot that it needs.
inline tcamv6_spot tcamv6_spot_of(const tcamv6_newcomer *newcomer) {
  return {newcomer->most, newcomer->enclosing[newcomer->n_enclosing - 1], newcomer->prefix->address,
          newcomer->prefix->length, newcomer->from};
}

#endif
