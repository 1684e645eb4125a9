// SPDX-License-Identifier: Apache-2.0
// tm_pcmpr_trie_internal.h - nodes of path-compressed tries, for the library itself.
#ifndef TM_PCMPR_TRIE_INTERNAL_H
#define TM_PCMPR_TRIE_INTERNAL_H

#include "tm_pcmpr_trie.h"

// Make a node with its data: no children, tag 0, lengths 0.
// Returns 0, -22 (output null) or -12 (nothing is kept).
int32_t tm_util_trie_pcmpr_node_new(tm_util_trie_node **output);

// Does an edge end here: does the node hold a prefix or have both children? False for null.
bool tm_util_trie_pcmpr_is_branch(const tm_util_trie_node *node);

#endif
