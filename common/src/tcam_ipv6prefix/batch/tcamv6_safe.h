// SPDX-License-Identifier: Apache-2.0
// tcamv6_safe.h - what safe updates add to batches, as far as it has no other home:
//   (1) a new level gets a right place or is refused (tcamv6_incr_newlvl.cpp)
//   (2) a failed batch is rolled back exactly (tm_journal.h)
//   (3) a delete takes only the share that additions of that prefix itself gave, not its anchors' (here)
// Which of this holds for a request is in its rules (tcamv6_rules.h).
#ifndef TCAMV6_SAFE_H
#define TCAMV6_SAFE_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// The node on a's key at the depth where the keys of a and b first differ, within the shorter one.
tm_util_trie_node *tcamv6_safe_common_ancestor(tm_util_trie_node *cmpr_root, const tm_util_trie_node *a,
                                               const tm_util_trie_node *b);

// Find the deletes of a request that find no share of their own, the records of each prefix being taken in their
// order. They are skipped later, and get no anchors.
//   records   n records, may be unaligned
//   absent    out: one byte per record, 1 = such a delete
// Returns 0 or -12.
int32_t tcamv6_find_absent_deletes(const tcamv6_state *state, const uint8_t *records, uint32_t n, uint8_t *absent);

#endif
