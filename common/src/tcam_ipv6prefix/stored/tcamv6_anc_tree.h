// SPDX-License-Identifier: Apache-2.0
// tcamv6_anc_tree.h - the containment tree of the prefixes of one instance.
//
// One node per prefix; the parent is the nearest shorter prefix that contains it. A prefix that has longer
// prefixes below it has one dummy child more, which stands for the addresses that it alone covers. Nodes are
// tm_n_ary_node; a node's data is a tcamv6_anc_data.
//
// Everything about a prefix is found along one chain of handles:
//   trie node -> tcamv6_orig_data -> tm_n_ary_node -> tcamv6_anc_data -> compressed node
// This file has the only functions that walk it. The interface fixes the 48 bytes of tcamv6_anc_data and the offsets
// of what hosts may read in them. The words that it leaves free lie apart, so that the link to the sibling before is
// kept in two of them.
#ifndef TCAMV6_ANC_TREE_H
#define TCAMV6_ANC_TREE_H

#include "tm_chunk_internal.h"
#include "tm_n_ary_tree.h"
#include "tm_prefix_internal.h"
#include "tm_trie_internal.h"

struct tcamv6_anc_data {
  uint32_t tag_word;       // bits 12-31: the tag of the prefix; bits 0-11 are kept
  uint32_t previous_low;   // with previous_high the sibling before it: tcamv6_siblings.cpp alone reads and writes it
  tm_chunk_idx dummy;      // the dummy child's node, none when there is none
  uint32_t handle;         // the host's, 0 until it attaches one
  int32_t sibling_order;   // place among its siblings (tcamv6_siblings.h)
  tm_chunk_idx orig;       // node of the trie of uncompressed prefixes; none for a dummy
  tm_chunk_idx cmpr_node;  // node of the compressed trie
  uint8_t cost;            // code bits that the subtree needs
  uint8_t ht;              // height in prefixes
  uint16_t bits;           // TCAMV6_ANC_*
  uint32_t previous_high;
};

TM_ASSERT_SIZE(tcamv6_anc_data, 48);
TM_ASSERT_OFFSET(tcamv6_anc_data, dummy, 8);
TM_ASSERT_OFFSET(tcamv6_anc_data, handle, 16);
TM_ASSERT_OFFSET(tcamv6_anc_data, orig, 24);
TM_ASSERT_OFFSET(tcamv6_anc_data, cmpr_node, 32);
TM_ASSERT_OFFSET(tcamv6_anc_data, cost, 40);
TM_ASSERT_OFFSET(tcamv6_anc_data, ht, 41);
TM_ASSERT_OFFSET(tcamv6_anc_data, bits, 42);

enum : uint16_t {
  TCAMV6_ANC_LIM_MASK = 0x1FF,    // the limit in bits allotted to the node
  TCAMV6_ANC_USE_PCMPR = 1 << 9,  // children are coded by the path-compressed trie
  TCAMV6_ANC_IS_DUMMY = 1 << 10,
  TCAMV6_ANC_CREATED = 1 << 11  // in use as a prefix
};

struct tcamv6_orig_data {
  tm_chunk_idx anc_node_idx;
};

TM_ASSERT_SIZE(tcamv6_orig_data, 8);

inline tm_n_ary_node *tcamv6_anc_node(tm_chunk_idx idx) { return tm_ptr<tm_n_ary_node>(idx); }

// The data of a node; null for a null node.
inline tcamv6_anc_data *tcamv6_anc_data_of(const tm_n_ary_node *node) {
  return node == nullptr ? nullptr : tm_ptr<tcamv6_anc_data>(node->data);
}

// The steps of the chain from a node of the trie of uncompressed prefixes. Each answers null when the one before it is
// null or leads nowhere, as below a node that holds no prefix.
inline tcamv6_orig_data *tcamv6_orig_data_of(const tm_util_trie_node *trie_node) {
  return trie_node == nullptr ? nullptr : tm_ptr<tcamv6_orig_data>(trie_node->data);
}
inline tm_n_ary_node *tcamv6_anc_node_of(const tcamv6_orig_data *orig) {
  return orig == nullptr ? nullptr : tcamv6_anc_node(orig->anc_node_idx);
}
inline tm_n_ary_node *tcamv6_anc_node_of(const tm_util_trie_node *trie_node) {
  return tcamv6_anc_node_of(tcamv6_orig_data_of(trie_node));
}
inline tcamv6_anc_data *tcamv6_data_of_stored(const tm_util_trie_node *trie_node) {
  return tcamv6_anc_data_of(tcamv6_anc_node_of(trie_node));
}

// Make orig data lead to a node of the ancestor tree.
inline void tcamv6_lead_to(tcamv6_orig_data *orig, const tm_n_ary_node *node) { orig->anc_node_idx = tm_idx(node); }

inline void tcamv6_anc_set_tag(tcamv6_anc_data *data, uint32_t tag) {
  data->tag_word = tm_prefix_with_tag(data->tag_word, tag);
}

inline tm_n_ary_node *tcamv6_anc_first_child(const tm_n_ary_node *node) { return tcamv6_anc_node(node->child); }
inline tm_n_ary_node *tcamv6_anc_next(const tm_n_ary_node *node) { return tcamv6_anc_node(node->sibling); }

inline uint32_t tcamv6_anc_tag(const tcamv6_anc_data *data) { return tm_prefix_tag(data->tag_word); }
inline int32_t tcamv6_anc_lim(const tcamv6_anc_data *data) { return data->bits & TCAMV6_ANC_LIM_MASK; }
inline bool tcamv6_anc_is_dummy(const tcamv6_anc_data *data) { return (data->bits & TCAMV6_ANC_IS_DUMMY) != 0; }
inline bool tcamv6_anc_is_created(const tcamv6_anc_data *data) { return (data->bits & TCAMV6_ANC_CREATED) != 0; }
inline bool tcamv6_anc_uses_pcmpr(const tcamv6_anc_data *data) { return (data->bits & TCAMV6_ANC_USE_PCMPR) != 0; }
inline tm_util_trie_node *tcamv6_cmpr_node(const tcamv6_anc_data *data) { return tm_trie_node(data->cmpr_node); }

inline void tcamv6_anc_set_lim(tcamv6_anc_data *data, int32_t lim) {
  data->bits = static_cast<uint16_t>((data->bits & ~TCAMV6_ANC_LIM_MASK) | (lim & TCAMV6_ANC_LIM_MASK));
}

inline void tcamv6_anc_set_uses_pcmpr(tcamv6_anc_data *data, bool on) {
  data->bits = static_cast<uint16_t>(on ? data->bits | TCAMV6_ANC_USE_PCMPR : data->bits & ~TCAMV6_ANC_USE_PCMPR);
}

// Does the node hold a prefix, as the queries ask it: at exactly this depth, with a tag?
inline bool tcamv6_holds_prefix(const tm_util_trie_node *node, uint32_t length) {
  return node != nullptr && node->len == length && node->tag != 0;
}

// Is a node of the trie of uncompressed prefixes part of a path only, so that the prefix of its key is not stored?
inline bool tcamv6_is_path_node(const tm_util_trie_node *node) {
  return node->tag == 0 && node->data == TM_CHUNK_IDX_NULL;
}

// What the callers themselves gave a stored prefix: its weight less what anchors gave.
inline uint16_t tcamv6_own_share(const tm_util_trie_node *node) {
  return static_cast<uint16_t>(node->aux1 - node->aux2);
}

// Does a prefix stand for anchors only: did they give all of its summed weight?
inline bool tcamv6_is_anchor_only(const tm_util_trie_node *node) { return tcamv6_own_share(node) == 0; }

// Is a node of the trie of uncompressed prefixes one that the host has named? ::/0 has a share of the library's own.
inline bool tcamv6_is_row(const tm_util_trie_node *node) {
  return node->tag != 0 && tcamv6_own_share(node) > (node->len == 0 ? 1 : 0);
}

// The ancestor data of a stored prefix. A missing orig data or node handle ends the process, naming `function`.
// Returns 0, or -14 (reported under `function`) when the node or its data is missing.
int32_t tcamv6_anc_data_of_prefix(const tm_util_trie_node *trie_node, const char *function, tcamv6_anc_data **data);

// The data whose compressed node is a prefix's compressed address: the dummy's where there is one. A dummy without
// data ends the process, naming `function`.
tcamv6_anc_data *tcamv6_address_data(tcamv6_anc_data *data, const char *function);

// Make a node with its data: no links, tag 0, no limits, created. Returns 0 or -12 (reported); a node whose data
// cannot be had stays allocated and is abandoned.
int32_t tcamv6_anc_tree_node_new(bool is_dummy, tm_n_ary_node **out);

// Give up a node that was made but not linked, and its data. Null is ignored.
void tcamv6_abandon_anc_node(tm_n_ary_node *node);

// Build the tree below a trie node.
//   parentp   the current parent; null at the root, where it becomes the tree's root
// Returns the height (0 or more), -12 or -22. What was built before a failure stays.
int32_t tcamv6_gen_anc_tree(tm_util_trie_node *node, tm_chunk_idx *parentp);

#endif
