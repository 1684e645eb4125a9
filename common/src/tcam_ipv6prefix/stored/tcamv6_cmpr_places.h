// SPDX-License-Identifier: Apache-2.0
// tcamv6_cmpr_places.h - free places in the compressed trie, and what is known to hold none.
//
// A new path of n levels below a node begins at the first node without two children that the search by parity meets
// (tm_util_trie_gen_extending_path). Tagged nodes are not entered: what hangs below them is another prefix's. Hundreds
// of siblings fill a subtree to its last node, and a search that passed through it again for each of the next ones
// would cost more with every sibling. So nodes remember how far below them the search need not look:
//
//   a search of n levels from a node finds nothing if n <= node->full          (0: nothing is known)
//
// The mark is a lower bound. What is added to the trie, children or tags, wherever and by whom, leaves it true; a child
// or a tag that goes away makes it false for the nodes above. Between full compressions children are cut and tags are
// cleared by the two functions below and by nothing else, and these forget the marks on the way. The way begins at the
// root, or at any tagged node on it: no search from above enters that one, so no mark above hangs on what lies below. A
// full compression makes its nodes without marks. Marks are journalled as everything else is.
#ifndef TCAMV6_CMPR_PLACES_H
#define TCAMV6_CMPR_PLACES_H

#include "tm_trie_internal.h"

// Grow a path of n levels (0..64) below a node, at the place where tm_util_trie_gen_extending_path would with its chain
// flag set. Returns the path's end, or null: no place is free, n is 0, or there is no element.
//   grown   out: what was made, also by a call that failed
// Cost: n steps, and now and then some for a subtree that was filled since: each node is found full at most once for
// each n.
tm_util_trie_node *tcamv6_extend_cmpr_path(tm_util_trie_node *node, int32_t n, tm_trie_grown *grown);

// Where the way to a node may begin: at `near`, if that is a tagged node above it; at the root, if not. `near` may be
// null.
tm_util_trie_node *tcamv6_cmpr_way_to(const tm_util_trie_node *node, tm_util_trie_node *near,
                                      tm_util_trie_node *cmpr_root);

// Clear the tag of a compressed node: the search enters it again. Cost: the way.
//   from   the root, or a tagged node above
void tcamv6_clear_cmpr_tag(tm_util_trie_node *from, tm_util_trie_node *node);

// Unlink a child of a compressed node: its place is free again. The child is not released. Cost: the way.
//   from   the root, or a tagged node above, or the node itself if it is one of them
void tcamv6_cut_cmpr_child(tm_util_trie_node *from, tm_util_trie_node *node, uint32_t bit);

#endif
