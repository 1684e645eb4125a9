// SPDX-License-Identifier: Apache-2.0
// tcamv6_sparse.h - depth limits of compressed nodes, the chains that push them down to these, and the keys of both.
#ifndef TCAMV6_SPARSE_H
#define TCAMV6_SPARSE_H

#include "tcamv6_anc_tree.h"

// Data of a compressed node, in the pool of orig data.
struct tcamv6_cmpr_data {
  int8_t max_depth;  // depth at which the node must end up
  uint8_t reserved[3];
  uint32_t ends;  // 1 = the node of a dummy
};

TM_ASSERT_SIZE(tcamv6_cmpr_data, 8);
TM_ASSERT_OFFSET(tcamv6_cmpr_data, ends, 4);

// Give every compressed node its depth limit, then put chains of nodes above it until it sits exactly there. The room
// between a node and its parent is where later additions go. All keys and lengths become those that
// tm_util_trie_make_printable writes.
//   max_cmpr_len   bits of the longest compressed prefix
// Returns 0 (also for a null tree); -12 pool exhausted; -14 missing data or limits that contradict each other; -22; or
// a negative limit itself.
int32_t tcamv6_make_sparse_cmpr_trie(tm_n_ary_node *anc_root, int32_t max_cmpr_len);

// The steps of it, for those who lay out one node's children at a time.

inline tcamv6_cmpr_data *tcamv6_cmpr_data_of(const tm_util_trie_node *node) {
  return tm_ptr<tcamv6_cmpr_data>(node->data);
}

// Give a node its depth. Returns null when the pool is exhausted.
tcamv6_cmpr_data *tcamv6_put_limit(tm_util_trie_node *node, int32_t depth, bool ends);

// Limits of the inner nodes from a node down, bottom-up; nodes that have one keep it. It also notes in key and len of
// every node what the walk that writes keys sets below it, so it runs over the whole trie before that walk does.
//   d   depth of the node below the nearest prefix node; 0 for such a node itself
//   p   that node's limit
// Returns the node's limit; -12, -14; a negative limit ends the walk like an error.
int32_t tcamv6_set_cmpr_trie_node_limits(tm_util_trie_node *node, int32_t d, int32_t p);

// Limit that a child with limit r asks of an inner node d levels (0..128) below a prefix node with limit p: its share
// of the way down, raised by one when the share is positive, and above the child. Limits are -128..128.
int32_t tcamv6_limit_above_child(int32_t r, int32_t d, int32_t p);

// Put the chains above the nodes of a trie whose nodes all have limits, and write keys and lengths.
// Returns 0, -12 or -14.
int32_t tcamv6_extend_cmpr_trie(tm_util_trie_node *cmpr_root);

#endif
