// SPDX-License-Identifier: Apache-2.0
// tcamv6_sparse.cpp - every code is pushed down to its limit, and the room above it is what additions will use.
//
// After the build codes are as short as branching allows. A code of 2 bits under a limit of 37 leaves no place between
// itself and its parent, and takes a quarter of all keys. So each node gets a depth at which it has to end, and a chain
// of nodes that repeats its last bit takes it there. Every node of the chain has a free side: a place for a later
// prefix.
//
//        2001:db8::/32  depth 9                    2001:db8::/32  depth 9
//          0 /      \ 1                              0 |         \ 1
//           o        o                                 |            o  depth 10, above a dummy: p + 1
//       0 / \ 1    0 / \ 1            =>               o  depth 19   0 |   \ 1
//      1::  2::  (rest)  ffff::                    0 /   \ 1      (rest)    ffff::  depth 21
//                                      1:: depth 37      2::  depth 28
//
//   stored prefix          64 - its limit, whatever lies above
//   branch above a dummy   p + 1: the dummy hangs high, so that one whole half stays free for its owner
//   any other branch       d levels below a stored prefix at depth p, above a child at depth r:
//                          its share of the way down, p + (r - p) * d / (d + 1), one more when that
//                          share is positive, at most r - 1. Of what its two children ask for, the
//                          smaller: here 24 and 19, so 19.
//
// Limits that contradict each other (a node no deeper than its parent) refuse the table.
//
// Three walks: limits of stored prefixes, limits of branches bottom-up, chains top-down. Cost: one step a node made.
//
// The last walk also writes every node's key, and those are the keys that tm_util_trie_make_printable writes into the
// finished trie: it visits right subtrees first, and a bit that it has set on its way stays visible in later keys,
// beyond their lengths, until it is set again. What it would leave behind is computed bottom-up, before the chains are
// made, so that each chain gets its keys while it is made and the finished trie, several times as large, is not walked
// again.
#include "tcamv6_sparse.h"

#include "tm_debug.h"
#include "tm_key.h"

namespace {

constexpr int32_t no_limit = 0xFFFFFFF;  // of a side without a child

int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

// The path of the walk that writes keys, after it went down an edge from a depth and through all that lies below. Until
// a node gets its own key, its key and len hold what the walk sets below it: bits up to depth `len` of the path.
tm_key_number path_after(tm_key_number path, int32_t depth, uint32_t bit, const tm_util_trie_node *child) {
  const tm_key_number edge_end = tm_key_number_leading(tcamv6_cmpr_data_of(child)->max_depth);
  const tm_key_number edge = edge_end & ~tm_key_number_leading(depth);
  const tm_key_number below = tm_key_number_leading(child->len) & ~edge_end;
  const tm_key_number kept = path & ~edge & ~below;
  return kept | (bit != 0 ? edge : 0) | (tm_key_load(child->key) & below);
}

void note_path_bits(tm_util_trie_node *node, int32_t depth) {
  if (depth < 0) {
    return;  // ends the pass
  }
  tm_key_number path = 0;
  uint16_t deepest = static_cast<uint16_t>(depth);
  for (uint32_t turn = 0; turn < 2; ++turn) {
    const uint32_t bit = 1 - turn;
    const tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child != nullptr) {
      path = path_after(path, depth, bit, child);
      deepest = child->len > deepest ? child->len : deepest;
    }
  }
  tm_key_store(node->key, path);
  node->len = deepest;
}

tcamv6_cmpr_data *new_cmpr_data(tm_util_trie_node *node, const char *function) {
  auto *data = static_cast<tcamv6_cmpr_data *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
  if (data == nullptr) {
    TM_LOG(error, "%s: malloc(%zu bytes) failed", function, sizeof(tcamv6_cmpr_data));
    return nullptr;
  }
  *data = {};
  node->data = tm_idx(data);
  return data;
}

// Limits of the nodes of compressed prefixes: what lies below them keeps `lim` bits.
int32_t tcamv6_set_cmpr_trie_prefix_node_limits(const tm_n_ary_node *anc_node, int32_t max_cmpr_len) {
  constexpr const char *function = "tcamv6_set_cmpr_trie_prefix_node_limits";
  if (anc_node == nullptr) {
    return TM_OK;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(anc_node);
  if (data == nullptr) {
    TM_LOG(error, "%s: anc_node data is NULL", function);
    return TM_EFAULT;
  }
  tm_util_trie_node *node = tcamv6_cmpr_node(data);
  if (node == nullptr) {
    TM_LOG(info, "%s: No compressed prefix for anc_node %d", function, static_cast<int>(tcamv6_anc_tag(data)));
    return TM_EFAULT;
  }
  tcamv6_cmpr_data *limits = new_cmpr_data(node, function);
  if (limits == nullptr) {
    return TM_ENOMEM;
  }
  // The whole word is subtracted and cut to 8 bits: its flags are multiples of 256 and drop out.
  limits->max_depth = static_cast<int8_t>(static_cast<uint8_t>(max_cmpr_len - data->bits));
  limits->ends = tcamv6_anc_is_dummy(data);
  TM_LOG(info, "%s: cmpr node %p cmpr data %p max_depth %d anc node %p anc data %p (cost:%d,ht:%d,len:%d)", function,
         static_cast<void *>(node), static_cast<void *>(limits), limits->max_depth, static_cast<const void *>(anc_node),
         static_cast<const void *>(data), data->cost, data->ht, tcamv6_anc_lim(data));
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(anc_node); child != nullptr;
       child = tcamv6_anc_next(child)) {
    const int32_t result = tcamv6_set_cmpr_trie_prefix_node_limits(child, max_cmpr_len);
    if (result != TM_OK) {
      return result;
    }
  }
  return TM_OK;
}

// A place on the way down: where the next node goes.
struct way_down {
  tm_util_trie_node *parent;  // null above the root
  int32_t depth;              // of the parent
  uint32_t bit;               // side
  tm_key_number path;         // of the walk that writes keys, when it turns to this side
};

// Link a node into its place and write its key: after a branch the path's first bytes only, else all of it.
void step_down(way_down *way, tm_util_trie_node *node) {
  tm_key_number shown = ~tm_key_number{0};
  if (way->parent != nullptr) {
    const tm_key_number bit = tm_key_number_bit(way->depth++);
    way->path = way->bit != 0 ? way->path | bit : way->path & ~bit;
    if (tm_trie_has_both_children(way->parent)) {
      shown = tm_key_number_leading((way->depth + 7) / 8 * 8);
    }
    (way->bit != 0 ? way->parent->right : way->parent->left) = tm_idx(node);
  }
  tm_key_store(node->key, way->path & shown);
  node->len = static_cast<uint16_t>(way->depth);
  way->parent = node;
}

// Put `gap` nodes above a child, all repeating its branch bit.
int32_t insert_chain(way_down *way, const tm_util_trie_node *child, int32_t gap, const char *function) {
  for (int32_t i = 0; i < gap; ++i) {
    auto *link = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    if (link == nullptr) {
      TM_LOG(error, "%s: malloc(%zu bytes) failed", function, sizeof(tm_util_trie_node));
      return TM_ENOMEM;
    }
    *link = {};
    (way->bit != 0 ? link->right : link->left) = tm_idx(child);
    step_down(way, link);
  }
  return TM_OK;
}

int32_t tcamv6_extend_subtrie_paths(tm_util_trie_node *node, way_down way) {
  constexpr const char *function = "tcamv6_extend_subtrie_paths";
  if (node == nullptr) {
    return TM_OK;
  }
  const tcamv6_cmpr_data *data = tcamv6_cmpr_data_of(node);
  if (data == nullptr) {
    TM_LOG(error, "%s: cmpr_node data not set", function);
    return TM_EFAULT;
  }
  const int32_t depth = data->max_depth;
  const int32_t gap = depth - way.depth - 1;
  TM_LOG(info, "%s: cmpr node %p cmpr data %p depth %d max depth %d parent depth %d", function,
         static_cast<void *>(node), static_cast<const void *>(data), gap, depth, way.depth);
  if (way.parent == nullptr) {
    way.depth = depth;
  } else {
    if (depth <= way.depth) {
      TM_LOG(error, "%s: ERROR: compressed trie limits are inconsistent. Node depth %d, parent's %d", function, depth,
             way.depth);
      return TM_EFAULT;
    }
    const int32_t result = insert_chain(&way, node, gap, function);
    if (result != TM_OK) {
      return result;
    }
  }
  step_down(&way, node);
  tm_util_trie_node *right = tm_trie_child(node, 1);
  const tm_key_number after_right = right == nullptr ? way.path : path_after(way.path, depth, 1, right);
  const int32_t result = tcamv6_extend_subtrie_paths(tm_trie_child(node, 0), {node, depth, 0, after_right});
  return result != TM_OK ? result : tcamv6_extend_subtrie_paths(right, {node, depth, 1, way.path});
}

// A leaf keeps the limit that its prefix gave it.
int32_t leaf_limit(tm_util_trie_node *node, const char *function) {
  const tcamv6_cmpr_data *data = tcamv6_cmpr_data_of(node);
  if (data == nullptr) {
    TM_LOG(error, "%s: maximum prefix length not known for leaf cmpr_node", function);
    return TM_EFAULT;
  }
  TM_LOG(trace, "%s: leaf cmpr tree idx %p cmpr data index %lx cmpr max_depth %d", function, static_cast<void *>(node),
         static_cast<unsigned long>(node->data), data->max_depth);
  note_path_bits(node, data->max_depth);
  return data->max_depth;
}

int32_t make_sparse(const tm_n_ary_node *anc_root, int32_t max_cmpr_len, const char *function) {
  if (anc_root == nullptr) {
    return TM_OK;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(anc_root);
  if (data == nullptr) {
    TM_LOG(info, "%s: anc_node has NULL data", function);
    return TM_EFAULT;
  }
  int32_t result = tcamv6_set_cmpr_trie_prefix_node_limits(anc_root, max_cmpr_len);
  if (result != TM_OK) {
    return result;
  }
  result = tcamv6_set_cmpr_trie_node_limits(tcamv6_cmpr_node(data), 0, 0);
  return result < 0 ? result : tcamv6_extend_subtrie_paths(tcamv6_cmpr_node(data), {});
}

}  // namespace

int32_t tcamv6_limit_above_child(int32_t r, int32_t d, int32_t p) {
  const int32_t share = (r - p) * d;
  return smaller(share / (d + 1) + p + (share > 0), r - 1);
}

int32_t tcamv6_set_cmpr_trie_node_limits(tm_util_trie_node *node, int32_t d, int32_t p) {
  constexpr const char *function = "tcamv6_set_cmpr_trie_node_limits";
  if (node == nullptr) {
    return TM_OK;
  }
  if (tm_trie_is_leaf(node)) {
    return leaf_limit(node, function);
  }
  tcamv6_cmpr_data *data = tcamv6_cmpr_data_of(node);
  if (data != nullptr) {
    TM_LOG(info, "%s: cmpr pref_node limit %d", function, data->max_depth);
    d = 0;
    p = data->max_depth;
  }
  int32_t limits[2] = {no_limit, no_limit};
  bool above_dummy = false;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child == nullptr) {
      continue;
    }
    const int32_t r = tcamv6_set_cmpr_trie_node_limits(child, d + 1, p);
    if (r < 0) {
      return r;
    }
    limits[bit] = tcamv6_limit_above_child(r, d, p);
    const tcamv6_cmpr_data *child_data = tcamv6_cmpr_data_of(child);
    above_dummy = above_dummy || (child_data != nullptr && child_data->ends != 0);
  }
  if (data == nullptr) {
    data = new_cmpr_data(node, function);
    if (data == nullptr) {
      return TM_ENOMEM;
    }
    data->max_depth = static_cast<int8_t>(above_dummy ? p + 1 : smaller(limits[0], limits[1]));
    TM_LOG(info, "%s: cmpr node %p max_depth %d (parent:%d,L:%d,R:%d) parent->node %d", function,
           static_cast<void *>(node), data->max_depth, p, limits[0], limits[1], d);
  } else {
    TM_LOG(info, "%s: cmpr node %p max_depth %d", function, static_cast<void *>(node), data->max_depth);
  }
  TM_LOG(trace, "%s: ends %d", function, data->max_depth);
  note_path_bits(node, data->max_depth);
  return data->max_depth;
}

tcamv6_cmpr_data *tcamv6_put_limit(tm_util_trie_node *node, int32_t depth, bool ends) {
  constexpr const char *function = "tcamv6_put_limit";
  tcamv6_cmpr_data *data = new_cmpr_data(node, function);
  if (data != nullptr) {
    data->max_depth = static_cast<int8_t>(depth);
    data->ends = ends;
  }
  return data;
}

int32_t tcamv6_extend_cmpr_trie(tm_util_trie_node *cmpr_root) { return tcamv6_extend_subtrie_paths(cmpr_root, {}); }

int32_t tcamv6_make_sparse_cmpr_trie(tm_n_ary_node *anc_root, int32_t max_cmpr_len) {
  constexpr const char *function = "tcamv6_make_sparse_cmpr_trie";
  TM_LOG(trace, "%s: Starting anc_root %p, max_cmpr_len %d", function, static_cast<void *>(anc_root), max_cmpr_len);
  const int32_t result = make_sparse(anc_root, max_cmpr_len, function);
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
