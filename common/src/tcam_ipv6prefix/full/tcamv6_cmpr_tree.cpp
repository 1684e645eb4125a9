// SPDX-License-Identifier: Apache-2.0
// tcamv6_cmpr_tree.cpp - from the nesting of prefixes to the trie of their codes.
//
// Every node of the ancestor tree gets a node of the compressed trie, and the path to it is the prefix's code. Since
// the code of a child goes on where its parent's ends, the code of Q covers that of P exactly when Q contains P; and
// since no child's code is the beginning of a sibling's or of the dummy's, the code of a sibling never covers P's
// address. Each node of the ancestor tree decides by itself how its children branch, from the leaves up:
//
//   by the table's own branching (`use_pcmpr`)        by the tight code (tcamv6_code_tree.cpp)
//
//   one bit for each edge of the path-compressed      the fewest bits, whatever the addresses say;
//   trie: neighbours stay neighbours                  when the limits leave no room for branching
//
//            2001:db8::/32                                      2001:db8::/32
//            0 /       \ 1                                      0 /       \ 1
//            o          o                                 ffff::/48         o
//         0 / \ 1    0 / \ 1                                            0 /   \ 1
//   1::/48  2::/48 (rest) ffff::/48                                      o     2::/48
//                                                                      1::/48, (rest)
//
// In the left drawing db8:ffff::/48 is two edges away though it parts from the others with one bit: the path-compressed
// trie keeps an edge in reserve above a stored prefix. That is the free place that the dummy takes.
//
// The driver runs twice over the same trees. The first run (`cost_only`) makes no node and computes costs by the tight
// code: the root's cost is the bits that the table needs at least. The limits are made from it (tcamv6_headroom.cpp),
// and the second run builds. Afterwards a node lies as high as its code allows; tcamv6_sparse.cpp pushes it down to its
// limit.
//
// Nodes are visited children first, so that every cost is known when it is asked for. Cost: one visit a node, O(n log
// n) where the tight code is taken.
#include "tcamv6_cmpr_tree.h"

#include "tcamv6_cmpr_path.h"
#include "tcamv6_code_tree.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_pcmpr_walk.h"
#include "tm_bits.h"
#include "tm_debug.h"

namespace {

constexpr const char *driver = "tcamv6_compress_prefix_tree";

// All nodes of a tree, every node before its descendants, siblings in order.
struct node_list {
  tm_n_ary_node **nodes;
  size_t count;
};

size_t count_nodes(const tm_n_ary_node *node) {
  size_t n = 1;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    n += count_nodes(child);
  }
  return n;
}

void append_nodes(tm_n_ary_node *node, node_list *list) {
  list->nodes[list->count++] = node;
  for (tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    append_nodes(child, list);
  }
}

int32_t list_nodes(tm_n_ary_node *root, node_list *list) {
  *list = {static_cast<tm_n_ary_node **>(zel_malloc_named(TM_MEM_TAG_CELL, count_nodes(root) * sizeof root)), 0};
  if (list->nodes == nullptr) {
    TM_LOG(info, "%s: Failed to build postorder node list %d", driver, TM_ENOMEM);
    return TM_ENOMEM;
  }
  append_nodes(root, list);
  return TM_OK;
}

// Build ancestor tree and path-compressed trie, unless this run already has.
int32_t build_trees(tcamv6_state *state, tm_util_trie_node *trie_root) {
  if (state->trees_built != 0) {
    return TM_OK;
  }
  tm_chunk_idx anc_root = TM_CHUNK_IDX_NULL;
  const int32_t height = tcamv6_gen_anc_tree(trie_root, &anc_root);
  if (height < 0) {
    TM_LOG(info, "%s: gen_anc_tree() failed %d", driver, height);
    tcamv6_abandon_anc_tree(tcamv6_anc_node(anc_root));
    return height;
  }
  tm_util_trie_node *pcmpr_root;
  const int32_t result = tm_util_trie_pcmpr_gen(trie_root, &pcmpr_root);
  if (result != TM_OK) {
    TM_LOG(info, "%s: trie_pcmpr_gen() failed %d", driver, result);
    tcamv6_abandon_anc_tree(tcamv6_anc_node(anc_root));
    state->pcmpr_root = tm_idx(pcmpr_root);
    return result;
  }
  state->anc_root = anc_root;
  state->pcmpr_root = tm_idx(pcmpr_root);
  state->trees_built = 1;
  return TM_OK;
}

// A dummy gets a free place below its owner's node; the limits push it down to the full length later. The node that
// it had is released: nothing hangs below a dummy.
int32_t place_dummy(const tcamv6_anc_data *owner, tcamv6_anc_data *dummy, tm_util_trie_node *owner_node,
                    const char *function) {
  const int32_t owner_lim = tcamv6_anc_lim(owner);
  const int32_t dummy_lim = tcamv6_anc_lim(dummy);
  const int32_t n = owner_lim - dummy_lim;
  tm_util_trie_node *end = tm_util_trie_gen_extending_path(owner_node, n, 0);
  if (end == nullptr) {
    TM_LOG(error, "%s: Failed to extend path of %d nodes for dummy. root %d child %d", function, n, owner_lim,
           dummy_lim);
    return TM_ENOMEM;
  }
  TM_LOG(info, "%s: Add extend path of %d nodes for dummy. root %d child %d", function, n, owner_lim, dummy_lim);
  end->tag = TCAMV6_TAG_DUMMY_PATH;
  end->owners = 1;
  tm_chunk_free(TM_V6_TRIE_NODE, tcamv6_cmpr_node(dummy));
  dummy->cmpr_node = tm_idx(end);
  return TM_OK;
}

// A longer prefix hangs at the end of its path in the path-compressed trie, one bit per edge.
int32_t place_prefix(const tcamv6_anc_data *child, const tcamv6_pcmpr_place *place, tm_util_trie_node *owner_node,
                     const char *function) {
  int32_t result = TM_EINVAL;
  if (place != nullptr) {
    TM_LOG(info, "%s: Add extend path of %d nodes for root idx %p child idx 0x%p", function, place->edges,
           static_cast<void *>(owner_node), tm_ptr<void>(child->cmpr_node));
    uint8_t way[TM_KEY_BYTES];
    tm_key_store(way, place->way);
    result = tm_util_trie_pcmpr_addpath(owner_node, tcamv6_cmpr_node(child), way, place->edges);
  }
  if (result != TM_OK) {
    TM_LOG(info, "%s: pcmpr_getpath() failed %d", function, result);
  }
  return result;
}

int32_t process_node(tcamv6_state *state, tm_n_ary_node *node, int32_t cost_only) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (data == nullptr) {
    zel_fatal("\n%s: anc_data is NULL", driver);
  }
  data->cmpr_node = TM_CHUNK_IDX_NULL;
  if (cost_only == 0) {
    const int32_t made = tcamv6_make_cmpr_node(data);
    if (made != TM_OK) {
      return made;
    }
  }
  if (node->child == TM_CHUNK_IDX_NULL) {
    return TM_OK;
  }
  tm_util_trie_node *cmpr_node = tcamv6_cmpr_node(data);
  const int32_t result = cost_only == 0 && tcamv6_anc_uses_pcmpr(data)
                             ? tcamv6_gen_pcmpr_subtrie(node, tm_trie_node(state->pcmpr_root), cmpr_node)
                             : tcamv6_gen_huffman_tree(node, cmpr_node, cost_only);
  if (result != TM_OK) {
    TM_LOG(info, "%s: failed to generate subtrie %d", driver, result);
  }
  return result;
}

// Children before their parents, so that every child's cost is known.
int32_t process_nodes(tcamv6_state *state, tm_n_ary_node *root, int32_t cost_only) {
  node_list list;
  int32_t result = list_nodes(root, &list);
  if (result != TM_OK) {
    return result;
  }
  for (size_t i = list.count; result == TM_OK && i-- > 0;) {
    result = process_node(state, list.nodes[i], cost_only);
  }
  zel_free_named(list.nodes);
  return result;
}

int32_t compress(tcamv6_state *state, tm_util_trie_node *trie_root, tm_util_trie_node **cmpr_rootp,
                 tm_n_ary_node **anc_rootp, int32_t cost_only) {
  int32_t result = build_trees(state, trie_root);
  if (result != TM_OK) {
    return result;
  }
  tm_n_ary_node *root = tcamv6_anc_node(state->anc_root);
  *anc_rootp = root;
  if (root == nullptr) {
    TM_LOG(info, "%s: ERROR -- empty anc_tree", driver);
    return TM_EFAULT;
  }
  result = process_nodes(state, root, cost_only);
  if (result != TM_OK) {
    return result;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(root);
  *cmpr_rootp = tcamv6_cmpr_node(data);
  TM_LOG(trace, "%s: Complete. Bits Required: %d", driver, data->cost);
  return data->cost;
}

}  // namespace

int32_t tcamv6_make_cmpr_node(tcamv6_anc_data *data) {
  auto *node = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
  if (node == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", driver, sizeof(tm_util_trie_node));
    return TM_ENOMEM;
  }
  tm_util_trie_node_initialize(node, nullptr, 0);
  node->tag = tcamv6_anc_tag(data);
  node->owners = 1;
  data->cmpr_node = tm_idx(node);
  return TM_OK;
}

int32_t tcamv6_gen_pcmpr_subtrie(tm_n_ary_node *anc_node, tm_util_trie_node *pcmpr_root, tm_util_trie_node *trie_node) {
  constexpr const char *function = "tcamv6_gen_pcmpr_subtrie";
  TM_LOG(trace, "%s: Starting anc_root %p, pcmpr_root %p, trie_root %p ", function, static_cast<void *>(anc_node),
         static_cast<void *>(pcmpr_root), static_cast<void *>(trie_node));
  if (anc_node == nullptr || pcmpr_root == nullptr || trie_node == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return TM_EINVAL;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(anc_node);
  TM_REQUIRE(function, data != nullptr, "anc_data is NULL");
  TM_REQUIRE(function, data->orig != TM_CHUNK_IDX_NULL, "anc_orig is NULL");
  const auto place_child = [&](const tm_n_ary_node *child, const tcamv6_pcmpr_place *place) {
    tcamv6_anc_data *child_data = tcamv6_anc_data_of(child);
    if (child_data == nullptr) {
      zel_fatal("\n%s: anc_data is NULL", function);
    }
    return tcamv6_anc_is_dummy(child_data) ? place_dummy(data, child_data, trie_node, function)
                                           : place_prefix(child_data, place, trie_node, function);
  };
  const int32_t result = tcamv6_visit_children(tcamv6_pcmpr_node_of(pcmpr_root, data), anc_node, place_child);
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}

int32_t tcamv6_compress_prefix_tree(tcamv6_state *state, tm_util_trie_node *trie_root, tm_util_trie_node **cmpr_rootp,
                                    tm_n_ary_node **anc_rootp, int32_t cost_only) {
  constexpr const char *function = "tcamv6_compress_prefix_tree";
  TM_LOG(trace, "%s: Starting state %p, trie_root %p, cmpr_rootp %p, anc_rootp %p, cost_only %d ", function,
         static_cast<void *>(state), static_cast<void *>(trie_root), static_cast<void *>(cmpr_rootp),
         static_cast<void *>(anc_rootp), cost_only);
  if (state == nullptr || cmpr_rootp == nullptr || anc_rootp == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return TM_EINVAL;
  }
  const int32_t result = compress(state, trie_root, cmpr_rootp, anc_rootp, cost_only);
  if (result < 0) {
    tm_util_trie_free(tm_trie_node(state->pcmpr_root), 1, TM_V6_PCMPR_DATA);
    state->pcmpr_root = TM_CHUNK_IDX_NULL;
  }
  return result;
}
