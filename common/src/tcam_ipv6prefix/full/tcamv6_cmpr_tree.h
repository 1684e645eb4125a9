// SPDX-License-Identifier: Apache-2.0
// tcamv6_cmpr_tree.h - the compressed trie: what it costs, and building it.
#ifndef TCAMV6_CMPR_TREE_H
#define TCAMV6_CMPR_TREE_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// Cost or build the compressed trie of an instance: every ancestor-tree node gets a compressed node, reached from the
// root by the codes of its ancestors and its own. The first call of a run builds the ancestor tree and the
// path-compressed trie, which the second one uses again.
//   trie_root   trie of the uncompressed prefixes
//   cmpr_rootp  out: root of the compressed trie; null when cost_only
//   anc_rootp   out: root of the ancestor tree
//   cost_only   non-zero: only count bits
// Returns the bits that the deepest compressed prefix needs (0 or more); -22 bad arguments; -12 heap or pool exhausted;
// -14 no ancestor tree. After a failure the path-compressed trie is released.
int32_t tcamv6_compress_prefix_tree(tcamv6_state *state, tm_util_trie_node *trie_root, tm_util_trie_node **cmpr_rootp,
                                    tm_n_ary_node **anc_rootp, int32_t cost_only);

// The steps of the second pass, for those who place nodes in another order.

// Give an ancestor-tree node a compressed node of its own. Returns 0 or -12.
int32_t tcamv6_make_cmpr_node(tcamv6_anc_data *data);

// Code a node's children, which have compressed nodes, by the branching of the path-compressed trie.
//   trie_node   the node's compressed node, below which the children are hung
// Returns 0; -22 a null argument or a child that the path-compressed trie does not hold; -12 pool exhausted.
int32_t tcamv6_gen_pcmpr_subtrie(tm_n_ary_node *anc_node, tm_util_trie_node *pcmpr_root, tm_util_trie_node *trie_node);

#endif
