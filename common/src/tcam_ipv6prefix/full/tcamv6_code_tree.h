// SPDX-License-Identifier: Apache-2.0
// tcamv6_code_tree.h - codes for the children of one ancestor-tree node.
#ifndef TCAMV6_CODE_TREE_H
#define TCAMV6_CODE_TREE_H

#include "tcamv6_anc_tree.h"

// Give a node's children their codes: a binary tree whose leaves are the children's compressed nodes, shaped so that
// the largest sum of code length and child's cost is as small as possible. Sets the node's cost.
//   trie_node   the node's compressed node, whose children become the tree; null when cost_only
//   cost_only   non-zero: only the cost is computed, nothing is built
// Returns 0; -22 bad arguments; -12 heap or pool exhausted.
int32_t tcamv6_gen_huffman_tree(tm_n_ary_node *anc_node, tm_util_trie_node *trie_node, int32_t cost_only);

#endif
