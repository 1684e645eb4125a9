// SPDX-License-Identifier: Apache-2.0
// tcamv6_leftovers.h - what failed work leaves behind, and giving it back.
//
// A full compression or an addition that fails leaves its elements allocated, statistics included, when it
// returns. They are remembered here and given back when the next request is accepted or a reset starts, so
// that a table that was too large does not poison the next one. Remembering needs no memory: elements that nothing
// refers to are chained through themselves (tm_chunk_abandon), and the few compressed paths that a failed
// addition can leave in the trie are noted in a small table, by key, since other work may remove them first.
#ifndef TCAMV6_LEFTOVERS_H
#define TCAMV6_LEFTOVERS_H

#include "tcamv6_anc_tree.h"

// Give back everything that was left behind.
void tcamv6_reclaim_leftovers(void);

// Forget everything that was left behind: the pools are gone.
void tcamv6_forget_leftovers(void);

// Abandon a trie of uncompressed prefixes with its orig data.
void tcamv6_abandon_trie(tm_util_trie_node *node);

// Abandon an ancestor tree, its data and the compressed nodes and paths that hang from it.
void tcamv6_abandon_anc_tree(tm_n_ary_node *node);

// Abandon a compressed node and all below it, as far as no ancestor-tree node owns it. Null is ignored.
void tcamv6_abandon_unowned(tm_util_trie_node *node);

// Note a path of the compressed trie that a failed addition leaves in place. Its nodes are released, from the deepest
// up, as far as they have no child and no owner by then.
void tcamv6_remember_path(tm_util_trie_node *cmpr_root, const tm_trie_grown *path);

#endif
