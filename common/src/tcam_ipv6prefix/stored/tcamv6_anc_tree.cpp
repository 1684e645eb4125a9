// SPDX-License-Identifier: Apache-2.0
// tcamv6_anc_tree.cpp - which prefix lies in which.
//
// The compressed prefix of P is the compressed prefix of the prefix around it, and some bits more. So the first thing
// to know is that nesting, and the ancestor tree is nothing else. Five prefixes (and the anchors that the /128 brings
// along):
//
//   ::/0
//    +-- 2001:db8::/32
//    |    +-- db8:1::/48
//    |    +-- db8:2::/48
//    |    |    +-- db8:2:3::/64
//    |    |    +-- (rest)
//    |    +-- db8:ffff::/48 (a) -- its /64 (a) -- its /96 (a) -- db8:ffff::1/128
//    |    |    +-- (rest)          +-- (rest)     +-- (rest)
//    |    +-- (rest)
//    +-- (rest)
//
// (a) anchors: cuts of longer prefixes at /32, /48, /64 and /96. They give later additions a parent close by.
//
// (rest) are dummies: an address that 2001:db8::/32 covers and no longer prefix does needs a key as well, one that the
// code of the /32 covers and those of its children do not. A dummy is a child that claims this key. Its path in the
// compressed trie, padded to 64 bits, is what the library calls the compressed address of the prefix. A leaf needs
// none: its own path, padded, is its address.
//
// Invariants: the parent is the nearest shorter stored prefix that contains the node; a node has a dummy exactly when
// it has longer prefixes below it, and the dummy is its last child; children come in descending order of their
// addresses, since each is put in front of the ones found before it. When ::/0 is not stored a root without a dummy is
// made up.
//
// The walk goes through the trie of the uncompressed prefixes once, address order, and carries the innermost prefix
// around as `parentp`. Nodes without a prefix are transparent. Cost: one step a trie node.
#include "tcamv6_anc_tree.h"

#include "tcamv6_siblings.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"

namespace {

constexpr const char *builder = "tcamv6_gen_anc_tree";

int32_t new_node(bool is_dummy, tm_n_ary_node **node) {
  const int32_t result = tcamv6_anc_tree_node_new(is_dummy, node);
  if (result != TM_OK) {
    TM_LOG(info, "%s: anc_tree_node_new() failed %d", builder, result);
  }
  return result;
}

// Make the node of a prefix, its dummy when longer prefixes lie below, and the orig data that leads to it.
int32_t make_prefix_node(tm_util_trie_node *trie_node, tm_n_ary_node **out) {
  tm_n_ary_node *node = nullptr;
  tm_n_ary_node *dummy = nullptr;
  int32_t result = new_node(false, &node);
  if (result == TM_OK && !tm_trie_is_leaf(trie_node)) {
    result = new_node(true, &dummy);
    if (result == TM_OK) {
      TM_LOG(trace, "%s: Parent %p Dummy %p", builder, static_cast<void *>(node), static_cast<void *>(dummy));
      tcamv6_anc_data *dummy_data = tcamv6_anc_data_of(dummy);
      tcamv6_anc_set_tag(dummy_data, trie_node->tag);
    }
  }
  tcamv6_orig_data *orig = nullptr;
  if (result == TM_OK) {
    orig = static_cast<tcamv6_orig_data *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
    if (orig == nullptr) {
      TM_LOG(info, "%s: malloc(%zu bytes) failed", builder, sizeof(tcamv6_orig_data));
      result = TM_ENOMEM;
    }
  }
  if (result != TM_OK) {
    tcamv6_abandon_anc_node(node);
    tcamv6_abandon_anc_node(dummy);
    return result;
  }
  tcamv6_lead_to(orig, node);
  trie_node->data = tm_idx(orig);
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  data->dummy = tm_idx(dummy);
  data->orig = tm_idx(trie_node);
  tcamv6_anc_set_tag(data, trie_node->tag);
  if (dummy != nullptr) {
    tcamv6_push_child(node, dummy);
  }
  *out = node;
  return TM_OK;
}

// The root of a table without /0 stands for no prefix.
int32_t make_up_root(tm_util_trie_node *trie_node, tm_chunk_idx *parentp) {
  TM_LOG(trace, "%s: /0 is not present", builder);
  tm_n_ary_node *node;
  const int32_t result = new_node(false, &node);
  if (result != TM_OK) {
    return result;
  }
  *parentp = tm_idx(node);
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  data->orig = tm_idx(trie_node);
  tcamv6_anc_set_tag(data, tcamv6_next_tag());
  return TM_OK;
}

// Link the prefix's node into the tree: at the head of its parent's children, or as the root.
void link_node(tm_n_ary_node *node, tm_chunk_idx *parentp) {
  if (*parentp == TM_CHUNK_IDX_NULL) {
    *parentp = tm_idx(node);
    TM_LOG(trace, "%s: Assign *anc_tree_root %p", builder, static_cast<void *>(node));
    return;
  }
  tcamv6_push_child(tcamv6_anc_node(*parentp), node);
}

// Height of a prefix above the tallest of the prefixes below it, 8 bits wide.
int32_t set_height(const tm_util_trie_node *trie_node, int32_t below) {
  const tcamv6_orig_data *orig = tcamv6_orig_data_of(trie_node);
  if (orig == nullptr) {
    TM_LOG(info, "%s: Null trie_data", builder);
    return TM_EINVAL;
  }
  const tm_n_ary_node *node = tcamv6_anc_node_of(orig);
  if (node == nullptr) {
    TM_LOG(info, "%s: Null dbg_anc_node", builder);
    return TM_EINVAL;
  }
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (data == nullptr) {
    TM_LOG(info, "%s: Null node_data", builder);
    return TM_EINVAL;
  }
  if (tm_trie_is_leaf(trie_node)) {
    return below;
  }
  data->ht = static_cast<uint8_t>(below + 1);
  return data->ht;
}

}  // namespace

int32_t tcamv6_anc_tree_node_new(bool is_dummy, tm_n_ary_node **out) {
  constexpr const char *function = "tcamv6_anc_tree_node_new";
  *out = nullptr;
  auto *node = static_cast<tm_n_ary_node *>(tm_chunk_malloc(TM_V6_ANC_TREE));
  if (node == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", function, sizeof(tm_n_ary_node));
    return TM_ENOMEM;
  }
  tm_util_n_ary_tree_node_init(node);
  auto *data = static_cast<tcamv6_anc_data *>(tm_chunk_malloc(TM_V6_ANC_DATA));
  if (data == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", function, sizeof(tcamv6_anc_data));
    tm_chunk_abandon(TM_V6_ANC_TREE, node);
    return TM_ENOMEM;
  }
  *data = {};
  data->bits = is_dummy ? TCAMV6_ANC_IS_DUMMY | TCAMV6_ANC_CREATED : TCAMV6_ANC_CREATED;
  node->data = tm_idx(data);
  *out = node;
  return TM_OK;
}

void tcamv6_abandon_anc_node(tm_n_ary_node *node) {
  if (node != nullptr) {
    tm_chunk_abandon(TM_V6_ANC_DATA, tcamv6_anc_data_of(node));
    tm_chunk_abandon(TM_V6_ANC_TREE, node);
  }
}

int32_t tcamv6_gen_anc_tree(tm_util_trie_node *node, tm_chunk_idx *parentp) {
  constexpr const char *function = "tcamv6_gen_anc_tree";
  if (parentp == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return TM_EINVAL;
  }
  // Nodes without a prefix are transparent: a chain of them is passed in a loop.
  while (node != nullptr && node->tag == 0 && *parentp != TM_CHUNK_IDX_NULL &&
         (node->left == TM_CHUNK_IDX_NULL || node->right == TM_CHUNK_IDX_NULL)) {
    node = tm_trie_child(node, node->left == TM_CHUNK_IDX_NULL);
  }
  if (node == nullptr) {
    return 0;
  }
  tm_chunk_idx prefix_node = TM_CHUNK_IDX_NULL;
  tm_chunk_idx *current = parentp;
  if (node->tag != 0) {
    tm_n_ary_node *made = nullptr;
    const int32_t result = make_prefix_node(node, &made);
    if (result != TM_OK) {
      return result;
    }
    link_node(made, parentp);
    prefix_node = tm_idx(made);
    current = &prefix_node;
  } else if (*parentp == TM_CHUNK_IDX_NULL) {
    const int32_t result = make_up_root(node, parentp);
    if (result != TM_OK) {
      return result;
    }
  }
  int32_t height = 0;
  for (uint32_t bit = 0; bit < 2; ++bit) {
    const int32_t below = tcamv6_gen_anc_tree(tm_trie_child(node, bit), current);
    if (below < 0) {
      return below;
    }
    height = below > height ? below : height;
  }
  return node->tag != 0 ? set_height(node, height) : height;
}

int32_t tcamv6_anc_data_of_prefix(const tm_util_trie_node *trie_node, const char *function, tcamv6_anc_data **data) {
  const tcamv6_orig_data *orig = tcamv6_orig_data_of(trie_node);
  if (orig == nullptr) {
    zel_fatal("\n%s: trie_data is NULL", function);
  }
  if (orig->anc_node_idx == TM_CHUNK_IDX_NULL) {
    zel_fatal("\n%s: trie_data->anc_node_idx is TM_CHUNK_IDX_NULL", function);
  }
  *data = tcamv6_anc_data_of(tcamv6_anc_node_of(orig));
  if (*data == nullptr) {
    TM_LOG(info, "%s: Error - Original prefix points to NULL anc_data", function);
    return TM_EFAULT;
  }
  return TM_OK;
}

tcamv6_anc_data *tcamv6_address_data(tcamv6_anc_data *data, const char *function) {
  if (data->dummy == TM_CHUNK_IDX_NULL) {
    return data;
  }
  tcamv6_anc_data *dummy_data = tcamv6_anc_data_of(tcamv6_anc_node(data->dummy));
  if (dummy_data == nullptr) {
    zel_fatal("\n%s: anc_node_data is NULL", function);
  }
  return dummy_data;
}
