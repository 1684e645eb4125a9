// SPDX-License-Identifier: Apache-2.0
// tcamv6_room.h - an addition in room mode.
#ifndef TCAMV6_ROOM_H
#define TCAMV6_ROOM_H

#include "tcamv6_outcome.h"
#include "tcamv6_rules.h"
#include "tcamv6_state.h"
#include "tm_trie.h"

// Add a prefix; one that is stored is left to the caller (`present`). Needs an open journal: a failed addition leaves
// what it has done to the rollback. Prefixes that had to be moved are collected (tcamv6_moves_internal.h).
//   node   out: the prefix's own, when it is or was stored
tcamv6_outcome tcamv6_room_add(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                               tm_util_trie_node **node);

// Of the moves that an accepted batch has collected, keep those of entries that were stored before it and still are.
//   records, results   count records of the batch and what they answered
// Returns 0; -28 when more are left than the rules allow; -12.
int32_t tcamv6_room_settle_moves(const tcamv6_state *state, const tcamv6_update_rules *rules,
                                 const tcamv6_prefix *records, const tcamv6_cmpr_pref *results, uint32_t count);

#endif
