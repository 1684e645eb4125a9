// SPDX-License-Identifier: Apache-2.0
/* tm_trie.h - binary prefix trie: the structure of every bit-level tree of the library.
 *
 * A node at depth d holds the prefix of length d that leads to it; a 0 bit goes left, a 1 bit right. Nodes
 * come from the pool TM_V6_TRIE_NODE. The trie owns its nodes; payloads are freed only on request. Keys
 * are 16 bytes, bit i being bit (7 - i mod 8) of byte i / 8; key bits beyond a node's `len` keep what the
 * node's ancestors left there and are visible in results.
 */
#ifndef TM_TRIE_H
#define TM_TRIE_H

#include "tm_chunk.h"

TM_API_BEGIN

/** A node of any of the tries; some fields mean something in one of them only. */
typedef struct tm_util_trie_node {
  tm_chunk_idx left;  /* child for bit 0 */
  tm_chunk_idx right; /* child for bit 1 */
  uint16_t len;       /* depth = meaningful key bits */
  uint16_t aux1;      /* trie of uncompressed prefixes: summed weight, modulo 2^16 */
  uint16_t aux2;      /* trie of uncompressed prefixes: summed anchor_ref, modulo 2^16 */
  uint16_t full;      /* compressed trie: levels below that hold no free place, as far as known */
  uint32_t tag;       /* 0 on plain path nodes; non-zero marks a node that carries a prefix */
  uint8_t key[16];    /* the path from the root; bits beyond len as said above */
  uint32_t owners;    /* compressed trie: ancestor-tree nodes whose compressed node this is */
  tm_chunk_idx data;  /* payload of the kind that the trie has, or none */
} tm_util_trie_node;

TM_ASSERT_SIZE(tm_util_trie_node, 56);
TM_ASSERT_OFFSET(tm_util_trie_node, right, 8);
TM_ASSERT_OFFSET(tm_util_trie_node, len, 16);
TM_ASSERT_OFFSET(tm_util_trie_node, aux1, 18);
TM_ASSERT_OFFSET(tm_util_trie_node, aux2, 20);
TM_ASSERT_OFFSET(tm_util_trie_node, full, 22);
TM_ASSERT_OFFSET(tm_util_trie_node, tag, 24);
TM_ASSERT_OFFSET(tm_util_trie_node, key, 28);
TM_ASSERT_OFFSET(tm_util_trie_node, owners, 44);
TM_ASSERT_OFFSET(tm_util_trie_node, data, 48);

/** Initialise a node: no children, tag, data or counters. With a parent, key and len become those of its
 *  left (left != 0) or right (left == 0) child; without one they are zero. A null node is ignored.
 *  Cost: constant. Does not allocate. */
TM_API void tm_util_trie_node_initialize(tm_util_trie_node *node, const tm_util_trie_node *parent, int32_t left);

/** Walk a key's first `len` bits, making the missing nodes. The caller sets tag and data.
 *  @param root   its len must be 0
 *  @param len    0..128; 0 gives the root itself; above 128: null, and nothing is made
 *  @return the node; null for a null root or key, and when one cannot be allocated: nodes made so far stay
 *  Cost: O(len). Allocates the missing nodes from their pool. */
TM_API tm_util_trie_node *tm_util_trie_insert(tm_util_trie_node *root, const uint8_t *key, int32_t len);

/** Look a key up.
 *  @param len    0..128; there is no node deeper than that
 *  @param mode   0 = the node at depth len, tagged or not; 1 = the deepest tagged node at depth 0..len
 *  @return null when there is none, or key is null
 *  Cost: O(len). Does not allocate. */
TM_API tm_util_trie_node *tm_util_trie_lookup(tm_util_trie_node *root, const uint8_t *key, int32_t len, int32_t mode);

/** Find a tag in a trie that is ordered by tag like a binary search tree; null when it is not there.
 *  Cost: O(depth). Does not allocate. */
TM_API tm_util_trie_node *tm_util_trie_find(tm_util_trie_node *root, uint32_t tag);

/** Free a subtree, children first; null is ignored.
 *  @param free_data   1 = free each payload too
 *  @param data_type   the payloads' chunk type
 *  Cost: O(nodes). Does not allocate. */
TM_API void tm_util_trie_free(tm_util_trie_node *node, int32_t free_data, uint32_t data_type);

/** Rewrite keys and lengths of a subtree from its shape.
 *  @param key_buffer   16 bytes: the path to the node; modified
 *  @param len          the node's depth
 *  @param flag         ignored
 *  @return 0 (also for a null node); -22 key_buffer is null, or a depth is negative or exceeds 128
 *  Cost: O(nodes). Does not allocate. */
TM_API int32_t tm_util_trie_make_printable(tm_util_trie_node *node, uint8_t *key_buffer, int32_t len, int32_t flag);

/** Grow a new path below a node, at the first free place that the search by parity finds.
 *  @param n       levels of the path, 0..128
 *  @param chain   0 = make one node only; else grow all n levels, left children below the first
 *  @return the deepest new node; null when n is 0 or off its range, no place is free or no node can be allocated (a
 *          partial chain stays)
 *  Cost: O(n), and a step for each node that the search passes before it meets a free place. Allocates the new
 *  nodes from their pool. */
TM_API tm_util_trie_node *tm_util_trie_gen_extending_path(tm_util_trie_node *node, int32_t n, int32_t chain);

/** Is a a strict ancestor of b, by keys?
 *  @return 0 yes; -2 no; -22 a pointer is null or the flag is 0
 *  Cost: constant. Does not allocate. */
TM_API int32_t tm_util_trie_is_ancestor(const tm_util_trie_node *a, const tm_util_trie_node *b, int32_t flag);

/** The node on a's key at the depth where the keys of a and b first differ. Bits beyond the shorter key, up
 *  to the end of its last whole or partial byte, take part.
 *  @return null when an argument is null, the flag is 0 or the path ends early
 *  Cost: O(length of the keys). Does not allocate. */
TM_API tm_util_trie_node *tm_util_trie_common_ancestor(tm_util_trie_node *root, tm_util_trie_node *a,
                                                       tm_util_trie_node *b, int32_t flag);

/** Remove the unbranched, untagged tail of the path that leads to a node.
 *  @return 0 (also for a null root or node); -2 when the path cannot be traced
 *  Cost: O(length of the key). Does not allocate. */
TM_API int32_t tm_util_trie_free_trailing_path(tm_util_trie_node *root, tm_util_trie_node *node, int32_t free_data,
                                               uint32_t data_type);

/** Follow key bits s..e-1 from a node. A null root or key ends the process.
 *  @param branch_mode   1 = remember nodes with two children
 *  @param tag_mode      1 = remember tagged nodes
 *  @return with a mode set: the last node remembered before depth e (the root when none); with both 0: the
 *          node reached, null when the path ends early; the root when s >= e
 *  Cost: O(e - s). Does not allocate. */
TM_API tm_util_trie_node *tm_util_trie_tracepath(tm_util_trie_node *root, const uint8_t *key, int32_t s, int32_t e,
                                                 int32_t branch_mode, int32_t tag_mode);

/** 1 when bit `bit` (0..127) of the node's key is 0, else 0; -22 node is null or bit is off its range.
 *  Cost: constant. Does not allocate. */
TM_API int32_t is_trie_left_path(const tm_util_trie_node *node, int32_t bit);

TM_API_END

#endif
