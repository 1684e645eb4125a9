// SPDX-License-Identifier: Apache-2.0
/* tm_pcmpr_trie.h - path-compressed view of a binary prefix trie.
 *
 * Every chain of nodes that neither branch nor hold a prefix is folded into one edge that carries its bits.
 * One edge becomes one bit of a compressed prefix, so edges are counted and their directions read here.
 * Nodes are tm_util_trie_node; a node's data is a tcamv6_pcmpr_data, its key and len are 0.
 */
#ifndef TM_PCMPR_TRIE_H
#define TM_PCMPR_TRIE_H

#include "tm_trie.h"

TM_API_BEGIN

/** Edges of one path-compressed node. Bits are laid out as in keys. */
typedef struct tcamv6_pcmpr_data {
  uint8_t path0[16]; /* edge to child 0; its first bit is 0 */
  uint8_t path1[16]; /* edge to child 1; its first bit is 1 */
  uint8_t len0;      /* bits of path0 */
  uint8_t len1;      /* bits of path1 */
  uint8_t longest;   /* edges of the longest path down from here */
  uint8_t reserved;
  uint32_t extension; /* non-zero: the only edge is "0" to child 0 and stands for no key bit */
} tcamv6_pcmpr_data;

TM_ASSERT_SIZE(tcamv6_pcmpr_data, 40);
TM_ASSERT_OFFSET(tcamv6_pcmpr_data, path1, 16);
TM_ASSERT_OFFSET(tcamv6_pcmpr_data, len0, 32);
TM_ASSERT_OFFSET(tcamv6_pcmpr_data, len1, 33);
TM_ASSERT_OFFSET(tcamv6_pcmpr_data, longest, 34);
TM_ASSERT_OFFSET(tcamv6_pcmpr_data, extension, 36);

/** Fold a trie.
 *  @param output   the new root; null for a null trie. After a failure it leads to what was built; free it
 *                  with tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA)
 *  @return 0; -22 output is null; -12 pool exhausted
 *  Cost: O(nodes of the trie). Allocates nodes and their data from the pools. */
TM_API int32_t tm_util_trie_pcmpr_gen(tm_util_trie_node *trie_root, tm_util_trie_node **output);

/** Fold the part of a trie below one edge: the step of tm_util_trie_pcmpr_gen.
 *  @param node          trie node that the edge enters
 *  @param cmpr_node     the new node for it
 *  @param edge          16 bytes: bits of the edge, appended to
 *  @param edge_len      number of them
 *  @param extend        non-zero: keep room for one edge above the stop node
 *  @return 0; -22 a pointer other than node is null; -12 pool exhausted
 *  Cost: O(nodes below). Allocates nodes and their data from the pools. */
TM_API int32_t tm_util_trie_pcmpr_gen_internal(tm_util_trie_node *node, tm_util_trie_node *cmpr_node, uint8_t *edge,
                                               uint8_t *edge_len, int32_t extend);

/** Longest downward path of a node in edges, from its children's `longest`. Null ends the process.
 *  Cost: constant. Does not allocate. */
TM_API int32_t tm_util_calculate_longest_pathlen(const tm_util_trie_node *node);

/** Follow a key from a node.
 *  @param key        16 bytes
 *  @param key_len    bits of the key
 *  @param start      first key bit to follow
 *  @param record     1 = write the direction of each edge into `bits`
 *  @param bits       16 bytes; may be null when record is not 1
 *  @param count      edges followed
 *  @return the node reached, the node above the edge in which the key ends, or null
 *  Cost: O(edges). Does not allocate. */
TM_API tm_util_trie_node *tm_util_trie_pcmpr_lookup_internal(tm_util_trie_node *node, const uint8_t *key,
                                                             int32_t key_len, int32_t start, int32_t record,
                                                             uint8_t *bits, int32_t *count);

/** Edges between two prefixes, the first of which contains the second.
 *  @param longest_out   may be null; `longest` of the second one's node
 *  @return edges; -22 bad arguments or not found
 *  Cost: O(edges). Does not allocate. */
TM_API int32_t tm_util_trie_pcmpr_len(tm_util_trie_node *root, const uint8_t *key_a, int32_t len_a,
                                      const uint8_t *key_b, int32_t len_b, int8_t *longest_out);

/** Directions of the edges between two prefixes.
 *  @param bits    16 bytes, laid out as a key
 *  @param count   number of them
 *  @return 0; -22 bad arguments or not found
 *  Cost: O(edges). Does not allocate. */
TM_API int32_t tm_util_trie_pcmpr_getpath(tm_util_trie_node *root, const uint8_t *key_a, int32_t len_a,
                                          const uint8_t *key_b, int32_t len_b, uint8_t *bits, int32_t *count);

/** Hang a node at the end of a path of n bits below another, making the nodes between.
 *  @return 0 (n = 0 does nothing); -22 start or bits is null, or n is negative or above 128; -12: nodes made so far
 *          stay
 *  Cost: O(n). Allocates the missing nodes from their pool. */
TM_API int32_t tm_util_trie_pcmpr_addpath(tm_util_trie_node *start, tm_util_trie_node *end, const uint8_t *bits,
                                          int32_t n);

TM_API_END

#endif
