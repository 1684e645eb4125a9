#include "tcamv6_sparse.h"

#include "tm_debug.h"

namespace {

constexpr int32_t no_limit = 0xFFFFFFF;  // of a side without a child

tcamv6_cmpr_data *cmpr_data_of(const tm_util_trie_node *node) { return tm_ptr<tcamv6_cmpr_data>(node->data); }

int32_t smaller(int32_t a, int32_t b) { return a < b ? a : b; }

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
  if (anc_node == nullptr) {
    return TM_OK;
  }
  const tcamv6_anc_data *data = tcamv6_anc_data_of(anc_node);
  if (data == nullptr) {
    TM_LOG(error, "%s: anc_node data is NULL", __func__);
    return TM_EFAULT;
  }
  tm_util_trie_node *node = tcamv6_cmpr_node(data);
  if (node == nullptr) {
    TM_LOG(info, "%s: No compressed prefix for anc_node %d", __func__, static_cast<int>(tcamv6_anc_tag(data)));
    return TM_EFAULT;
  }
  tcamv6_cmpr_data *limits = new_cmpr_data(node, __func__);
  if (limits == nullptr) {
    return TM_ENOMEM;
  }
  // The whole word is subtracted and cut to 8 bits: its flags are multiples of 256 and drop out.
  limits->max_depth = static_cast<int8_t>(static_cast<uint8_t>(max_cmpr_len - data->bits));
  limits->ends = tcamv6_anc_is_dummy(data);
  TM_LOG(info, "%s: cmpr node %p cmpr data %p max_depth %d anc node %p anc data %p (cost:%d,ht:%d,len:%d)", __func__,
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

// Limit that a child with limit r asks of an inner node d levels below a prefix node with limit p: its share of the way
// down, raised by one when the share is positive, and above the child.
int32_t limit_above_child(int32_t r, int32_t d, int32_t p) {
  const int32_t t = (r - p) * d;
  const float q = static_cast<float>(t) / static_cast<float>(d + 1);
  const int32_t raised = static_cast<double>(q) > 1e-06 ? 1 : 0;
  return smaller(t / (d + 1) + p + raised, r - 1);
}

// Limits of the inner nodes, bottom-up. d = depth below the nearest prefix node, p = that node's limit. Returns the
// node's limit, or a negative code; a negative limit ends the walk like one.
int32_t tcamv6_set_cmpr_trie_node_limits(tm_util_trie_node *node, int32_t d, int32_t p) {
  if (node == nullptr) {
    return TM_OK;
  }
  tcamv6_cmpr_data *data = cmpr_data_of(node);
  if (tm_trie_is_leaf(node)) {
    if (data == nullptr) {
      TM_LOG(error, "%s: maximum prefix length not known for leaf cmpr_node", __func__);
      return TM_EFAULT;
    }
    TM_LOG(trace, "%s: leaf cmpr tree idx %p cmpr data index %lx cmpr max_depth %d", __func__,
           static_cast<void *>(node), static_cast<unsigned long>(node->data), data->max_depth);
    return data->max_depth;
  }
  if (data != nullptr) {
    TM_LOG(info, "%s: cmpr pref_node limit %d", __func__, data->max_depth);
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
    limits[bit] = limit_above_child(r, d, p);
    const tcamv6_cmpr_data *child_data = cmpr_data_of(child);
    above_dummy = above_dummy || (child_data != nullptr && child_data->ends != 0);
  }
  if (data == nullptr) {
    data = new_cmpr_data(node, __func__);
    if (data == nullptr) {
      return TM_ENOMEM;
    }
    data->max_depth = static_cast<int8_t>(above_dummy ? p + 1 : smaller(limits[0], limits[1]));
    TM_LOG(info, "%s: cmpr node %p max_depth %d (parent:%d,L:%d,R:%d) parent->node %d", __func__,
           static_cast<void *>(node), data->max_depth, p, limits[0], limits[1], d);
  } else {
    TM_LOG(info, "%s: cmpr node %p max_depth %d", __func__, static_cast<void *>(node), data->max_depth);
  }
  TM_LOG(trace, "%s: ends %d", __func__, data->max_depth);
  return data->max_depth;
}

// Put `gap` nodes between a parent and its child on one side, all repeating the child's branch bit.
int32_t insert_chain(tm_util_trie_node *parent, tm_util_trie_node *child, int32_t is_left, int32_t gap,
                     const char *function) {
  for (int32_t i = 0; i < gap; ++i) {
    auto *link = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    if (link == nullptr) {
      TM_LOG(error, "%s: malloc(%zu bytes) failed", function, sizeof(tm_util_trie_node));
      return TM_ENOMEM;
    }
    tm_util_trie_node_initialize(link, parent, is_left);
    (is_left != 0 ? link->left : link->right) = tm_idx(child);
    (is_left != 0 ? parent->left : parent->right) = tm_idx(link);
    parent = link;
  }
  return TM_OK;
}

int32_t tcamv6_extend_subtrie_paths(tm_util_trie_node *node, int32_t is_root, int32_t is_left, int32_t parent_depth,
                                    tm_util_trie_node *parent) {
  if (node == nullptr) {
    return TM_OK;
  }
  if (is_root == 0 && parent == nullptr) {
    TM_LOG(info, "%s: parent NULL for non-root node", __func__);
    return TM_EINVAL;
  }
  const tcamv6_cmpr_data *data = cmpr_data_of(node);
  if (data == nullptr) {
    TM_LOG(error, "%s: cmpr_node data not set", __func__);
    return TM_EFAULT;
  }
  const int32_t depth = data->max_depth;
  const int32_t gap = depth - parent_depth - 1;
  TM_LOG(info, "%s: cmpr node %p cmpr data %p depth %d max depth %d parent depth %d", __func__,
         static_cast<void *>(node), static_cast<const void *>(data), gap, depth, parent_depth);
  if (is_root == 0) {
    if (depth <= parent_depth) {
      TM_LOG(error, "%s: ERROR: compressed trie limits are inconsistent. Node depth %d, parent's %d", __func__, depth,
             parent_depth);
      return TM_EFAULT;
    }
    const int32_t result = insert_chain(parent, node, is_left, gap, __func__);
    if (result != TM_OK) {
      return result;
    }
  }
  const int32_t result = tcamv6_extend_subtrie_paths(tm_trie_child(node, 0), 0, 1, depth, node);
  return result != TM_OK ? result : tcamv6_extend_subtrie_paths(tm_trie_child(node, 1), 0, 0, depth, node);
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
  return result < 0 ? result : tcamv6_extend_subtrie_paths(tcamv6_cmpr_node(data), 1, 0, 0, nullptr);
}

}  // namespace

int32_t tcamv6_make_sparse_cmpr_trie(tm_n_ary_node *anc_root, int32_t max_cmpr_len) {
  TM_LOG(trace, "%s: Starting anc_root %p, max_cmpr_len %d", __func__, static_cast<void *>(anc_root), max_cmpr_len);
  const int32_t result = make_sparse(anc_root, max_cmpr_len, __func__);
  TM_LOG(trace, "%s: Complete %d", __func__, result);
  return result;
}
