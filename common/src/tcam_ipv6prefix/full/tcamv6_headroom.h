// SPDX-License-Identifier: Apache-2.0
// tcamv6_headroom.h - bit limits that keep room for later updates.
#ifndef TCAMV6_HEADROOM_H
#define TCAMV6_HEADROOM_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_pcmpr_walk.h"
#include "tcamv6_state.h"

// What a child of a node asks for, read from the path-compressed trie.
struct tcamv6_child_room {
  int32_t path;    // P: edges down to it; -22 when it has no node there
  int8_t longest;  // L: edges of the longest branch below it
  uint8_t cost;    // w: bits of the tight code of what lies below it
  int32_t limit;   // bits that it gets
};

//   place   null when the child has no node there
tcamv6_child_room tcamv6_measure_child(const tcamv6_anc_data *child, const tcamv6_pcmpr_place *place);

// Has a node with limit `lim` too few bits for the way to a child and the longest branch below it? Or, the second one,
// for that or for the way and the child's cost?
bool tcamv6_branch_is_far(int32_t lim, const tcamv6_child_room *room);
bool tcamv6_child_is_far(int32_t lim, const tcamv6_child_room *room);

// The limit that a node with limit `lim` gives a child: at least the child's cost, and no more for a far one.
int32_t tcamv6_child_limit(int32_t lim, const tcamv6_child_room *room);

// What remains of so many bits after the share that stays behind at this level.
int32_t tcamv6_room_less_share(int32_t room, int32_t longest);

// Hand an ancestor-tree node its limit, and its children theirs, and decide node by node whether the children keep the
// branching of the path-compressed trie (which leaves room for later additions) or get the tight code tree.
//   limit   bits that the node's subtree may use
// Returns 0; -14 a child's limit does not stay below its parent's; -22 a prefix has no node in the path-compressed
// trie.
int32_t tcamv6_opt_tree_for_updates(tcamv6_state *state, tm_n_ary_node *anc_node, int32_t limit);

#endif
