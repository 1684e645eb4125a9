// SPDX-License-Identifier: Apache-2.0
// tcamv6_output.h - from trie nodes to result records.
#ifndef TCAMV6_OUTPUT_H
#define TCAMV6_OUTPUT_H

#include "tcamv6_anc_tree.h"

// Write a node into a record: key (all 16 bytes as they stand), length and both counters; the record's other
// fields stay. A null node or record or a length above 128 ends the process.
void tcamv6_gen_trie_pref(const tm_util_trie_node *node, tcamv6_prefix *record);
void tcamv6_gen_trie_pref(const tm_util_trie_node *node, tcamv6_cmpr_pref *record);

// Write a node's key as an address: its first len bits, the rest 0. Ends the process as above.
void tcamv6_gen_trie_addr(const tm_util_trie_node *node, tcamv6_cmpr_addr *address);

// Collect, by tag, the compressed nodes of the tree's prefixes and of their addresses. Indexes that tags name beyond
// `count` write nothing.
// Returns 0; -22 a node without data.
int32_t tcamv6_gen_trie_ptrs(const tm_n_ary_node *node, uint32_t count, tm_util_trie_node **cmpr_nodes,
                             tm_util_trie_node **replace_nodes);

// Find, for every record of the working list that has none yet, its compressed node and the node of its address.
//   orig_nodes     the nodes into which the records were inserted; may be the same array as replace_nodes
//   list           count records
//   cmpr_nodes     in and out: count nodes, null where one is to be found
//   replace_nodes  in and out: count nodes
// Returns 0; -22 bad arguments; -14 a record is not stored or has no ancestor data.
int32_t tcamv6_gen_output_trie_ptrs(tm_util_trie_node *const *orig_nodes, const tcamv6_prefix *list, uint32_t count,
                                    tm_util_trie_node **cmpr_nodes, tm_util_trie_node **replace_nodes);

#endif
