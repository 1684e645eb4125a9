// SPDX-License-Identifier: Apache-2.0
// tcamv6_stored.h - finding a stored prefix, for lookups, handles and batches.
#ifndef TCAMV6_STORED_H
#define TCAMV6_STORED_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// The node of the trie of uncompressed prefixes that holds exactly this prefix; null when it is not stored.
inline tm_util_trie_node *tcamv6_find_stored(const tcamv6_state *state, const tcamv6_prefix *prefix) {
  tm_util_trie_node *node = tm_util_trie_lookup(tm_trie_node(state->orig_root), prefix->address, prefix->length, 1);
  return tcamv6_holds_prefix(node, prefix->length) ? node : nullptr;
}

#endif
