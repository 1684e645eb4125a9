// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_add.h - putting one new prefix into the stored structures.
#ifndef TCAMV6_INCR_ADD_H
#define TCAMV6_INCR_ADD_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_outcome.h"
#include "tcamv6_rules.h"
#include "tcamv6_state.h"

// Add a prefix, or a reference to one that is stored.
//   rules     of the batch
//   slot      the extra-operation record of this prefix
//   changed   out: 1 when the anchor state of a stored prefix flipped, or a new prefix is not an anchor
tcamv6_outcome tcamv6_incr_add_prefix(tcamv6_state *state, const tcamv6_update_rules *rules,
                                      const tcamv6_prefix *prefix, tcamv6_cmpr_pref *slot, int32_t *changed);

// Steps shared with the addition at a new level, and with room mode.

// Compressed length that a prefix of a given length should get.
int32_t tcamv6_target_length(int32_t length, int32_t max_cmpr_len);

// The tag of a new prefix: its own, or the next free one.
uint32_t tcamv6_new_tag(const tcamv6_prefix *prefix);

// Give a node the counters of a record.
void tcamv6_set_counters(tm_util_trie_node *node, const tcamv6_prefix *prefix);

// The counters of a new prefix: those of its record. In compatible mode, modulo 2^16, with what a prefix of this key
// left when it was deleted: taking an anchor's weight as that of a prefix leaves its other counter behind.
void tcamv6_begin_counters(tm_util_trie_node *node, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix);

#endif
