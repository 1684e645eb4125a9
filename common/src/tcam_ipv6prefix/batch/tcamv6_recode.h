// SPDX-License-Identifier: Apache-2.0
// tcamv6_recode.h - giving stored prefixes other codes.
#ifndef TCAMV6_RECODE_H
#define TCAMV6_RECODE_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_code.h"
#include "tcamv6_state.h"

// One prefix, with the code and the address that it has and is to get.
struct tcamv6_recoded {
  tm_n_ary_node *node;
  tcamv6_code old_code;
  tcamv6_code old_address;
  tcamv6_code new_code;
  tcamv6_code new_address;
  bool drops_dummy;  // it is a leaf, and its code will leave no room for the dummy that it may still have
  bool had_code;     // else it is new, or between two codes
  int32_t cost;      // bits that a code of its subtree needs below its own (tcamv6_layout.h)
  uint32_t subtree;  // prefixes of the list from this one on that lie at or below it
};

// Prefixes to be recoded together, every one before those below it.
struct tcamv6_recoding {
  tcamv6_state *state;
  tcamv6_recoded *list;
  uint32_t count;
  uint32_t room;
};

// Begin an empty list, and release its memory.
tcamv6_recoding tcamv6_recoding_of(tcamv6_state *state);
void tcamv6_recoding_free(tcamv6_recoding *recoding);

// Enter one prefix; or a prefix and all below it. What they have is noted, and is also what they are to get.
// Returns 0 or -12.
int32_t tcamv6_recoding_add(tcamv6_recoding *recoding, tm_n_ary_node *node);
int32_t tcamv6_recoding_add_subtree(tcamv6_recoding *recoding, tm_n_ary_node *node);

// Give the first prefix, with a whole subtree below it, another block of the compressed space: all keep their places
// in the block. The new block is at least as large as the old one.
void tcamv6_recoding_shift(tcamv6_recoding *recoding, tcamv6_code to);

// Take the codes and addresses from all of them, then give them the new ones. Between the two calls they have none and
// their old places are free. Whoever is stored and changes is noted as moved. Returns 0 or -12.
int32_t tcamv6_recoding_lift(const tcamv6_recoding *recoding);
int32_t tcamv6_recoding_put(const tcamv6_recoding *recoding);

// Give a prefix a code, its dummy an address below that: they have none. Returns 0, -12, or -2 when another prefix has
// the place, which only a table with loose levels (TCAMV6_MARK_LOOSE_LEVELS) can answer.
//   above   a compressed node above the code or at it; the nearer, the shorter the walk
int32_t tcamv6_put_code(const tm_n_ary_node *node, tcamv6_code code, tm_util_trie_node *above);
int32_t tcamv6_put_address(const tm_n_ary_node *node, tcamv6_code address);

// Stored entries, anchors aside, at and below a prefix.
uint32_t tcamv6_entries_at(const tm_n_ary_node *node);

#endif
