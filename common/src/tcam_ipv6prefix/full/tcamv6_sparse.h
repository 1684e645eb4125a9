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

#endif
