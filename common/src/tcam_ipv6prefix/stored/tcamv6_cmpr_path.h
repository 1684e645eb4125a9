// SPDX-License-Identifier: Apache-2.0
// tcamv6_cmpr_path.h - growing and releasing paths of the compressed trie between batches.
//
// A compressed node is owned as often as ancestor-tree nodes of the tree name it as theirs, dummies included. Two
// prefixes can share a node, so owned nodes are never released or cut off, tagged or not.
#ifndef TCAMV6_CMPR_PATH_H
#define TCAMV6_CMPR_PATH_H

#include "tcamv6_anc_tree.h"

enum : uint32_t { TCAMV6_TAG_PREFIX_PATH = 1, TCAMV6_TAG_DUMMY_PATH = 2 };

// Make a node an ancestor-tree node's compressed node, and take that away again (the link itself stays).
void tcamv6_own_cmpr_node(tcamv6_anc_data *data, tm_util_trie_node *node);
void tcamv6_disown_cmpr_node(const tcamv6_anc_data *data);

// Grow a path of n levels below a node and tag its end. Returns the end, or null when there is no room.
//   path   out: what was made, also by a call that failed
tm_util_trie_node *tcamv6_grow_cmpr_path(tm_util_trie_node *node, int32_t n, uint32_t tag, tm_trie_grown *path);

// Release the tail of the path that leads to a node: all that hangs below the deepest branching, tagged or owned node
// above it. Returns 0; -17 when an owned node is part of that, -12 without memory to journal it: nothing is released.
//   from   the root, or a tagged node above (tcamv6_cmpr_way_to): the way down to it is saved
int32_t tcamv6_release_cmpr_path(tm_util_trie_node *from, const tm_util_trie_node *node);

#endif
