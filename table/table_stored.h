// SPDX-License-Identifier: Apache-2.0
// table_stored.h - the rows of a table, as its instance stores them.
//
// An instance holds more than rows: anchors that the library has made, and ::/0.
#ifndef TABLE_STORED_H
#define TABLE_STORED_H

#include "table_rows.h"
#include "tcamv6_anc_tree.h"
#include "tcamv6_state_internal.h"
#include "tm_trie_internal.h"
#include "zel_v6comp_table.h"

// The instance's trie of uncompressed prefixes; null before its first compression.
inline const tm_util_trie_node *table_stored_root(const tcamv6_state *state) {
  return state->opt_done == 1 ? tm_trie_node(state->orig_root) : nullptr;
}

// The row of exactly this prefix; null when there is none. Reads links alone on the way: a change asks up to five
// times.
const tm_util_trie_node *table_find_row(const tcamv6_state *state, tm_key_number address, uint32_t length);

// The row of the longest prefix that covers an address; null when there is none.
const tm_util_trie_node *table_find_covering(const tcamv6_state *state, tm_key_number address);

// The key of addresses that no row covers: that of ::/0, which is always stored once anything is.
uint64_t table_key_of_rest(const tcamv6_state *state);

// Read what a stored prefix became.
table_form table_read_form(const tm_util_trie_node *node);
uint32_t table_read_word(const tm_util_trie_node *node);

// Returns the row's number in the read index, if that is live; 0 = it is not.
uint32_t table_set_word(const tcamv6_state *state, const tm_util_trie_node *node, uint32_t word);

void table_read_row(const tm_util_trie_node *node, zel_v6comp_table_row *row);

// A walk of the rows in the order of their addresses, containing ones first.
struct table_walk {
  const tm_util_trie_node *next;
  const tm_util_trie_node *pending[TM_KEY_BITS + 1];
  uint32_t n_pending;
};

void table_walk_begin(table_walk *walk, const tcamv6_state *state);

// Begin behind a prefix, stored or not.
void table_walk_begin_after(table_walk *walk, const tcamv6_state *state, tm_key_number address, uint32_t length);

// The next row; null at the end.
const tm_util_trie_node *table_walk_step(table_walk *walk);

#endif
