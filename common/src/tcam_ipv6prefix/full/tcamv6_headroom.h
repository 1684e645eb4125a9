// SPDX-License-Identifier: Apache-2.0
// tcamv6_headroom.h - bit limits that keep room for later updates.
#ifndef TCAMV6_HEADROOM_H
#define TCAMV6_HEADROOM_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// Hand an ancestor-tree node its limit, and its children theirs, and decide node by node whether the children keep the
// branching of the path-compressed trie (which leaves room for later additions) or get the tight code tree.
//   limit   bits that the node's subtree may use
// Returns 0; -14 a child's limit does not stay below its parent's; -22 a prefix has no node in the path-compressed
// trie.
int32_t tcamv6_opt_tree_for_updates(tcamv6_state *state, tm_n_ary_node *anc_node, int32_t limit);

#endif
