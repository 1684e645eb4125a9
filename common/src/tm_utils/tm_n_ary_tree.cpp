// SPDX-License-Identifier: Apache-2.0
#include "tm_n_ary_tree.h"

#include "tm_chunk_internal.h"
#include "tm_journal.h"

namespace {

tm_n_ary_node *n_ary_node(tm_chunk_idx idx) { return tm_ptr<tm_n_ary_node>(idx); }

}  // namespace

void tm_util_n_ary_tree_node_init(tm_n_ary_node *node) {
  if (node != nullptr) {
    *node = {TM_CHUNK_IDX_NULL, TM_CHUNK_IDX_NULL, TM_CHUNK_IDX_NULL};
  }
}

int32_t tm_util_n_ary_tree_postorder_nodelist(tm_n_ary_node *node, tm_util_list_node **headp) {
  if (node == nullptr) {
    return TM_OK;
  }
  int32_t result = tm_util_list_insert(headp, tm_idx(node));
  for (tm_n_ary_node *child = n_ary_node(node->child); result == TM_OK && child != nullptr;
       child = n_ary_node(child->sibling)) {
    result = tm_util_n_ary_tree_postorder_nodelist(child, headp);
  }
  return result;
}

void tm_util_n_ary_tree_free(tm_n_ary_node *node, int32_t free_data, uint32_t data_type) {
  if (node == nullptr) {
    return;
  }
  for (tm_n_ary_node *child = n_ary_node(node->child); child != nullptr;) {
    tm_n_ary_node *sibling = n_ary_node(child->sibling);
    tm_util_n_ary_tree_free(child, free_data, data_type);
    child = sibling;
  }
  tm_n_ary_tree_freenode(node, free_data, data_type);
}

void tm_n_ary_tree_freenode(tm_n_ary_node *node, int32_t free_data, uint32_t data_type) {
  if (node == nullptr) {
    return;
  }
  if (free_data == 1 && node->data != TM_CHUNK_IDX_NULL) {
    tm_chunk_free(data_type, tm_chunk_idx2ptr(data_type, node->data));
  }
  tm_chunk_free(TM_V6_ANC_TREE, node);
}

int32_t tm_n_ary_tree_delchld(tm_n_ary_node *parent, tm_n_ary_node *child) {
  if (parent == nullptr || child == nullptr || parent->child == TM_CHUNK_IDX_NULL) {
    return TM_EINVAL;
  }
  const tm_chunk_idx wanted = tm_idx(child);
  for (tm_chunk_idx *link = &parent->child; *link != TM_CHUNK_IDX_NULL; link = &n_ary_node(*link)->sibling) {
    if (*link == wanted) {
      tm_edit(link, child->sibling);
      return TM_OK;
    }
  }
  return TM_ENOENT;
}

void tm_merge_n_ary_chldlst(tm_n_ary_node *destination, tm_n_ary_node *source) {
  if (destination == nullptr || source == nullptr || destination == source) {
    return;
  }
  tm_chunk_idx *link = &destination->child;
  while (*link != TM_CHUNK_IDX_NULL) {
    link = &n_ary_node(*link)->sibling;
  }
  tm_edit(link, source->child);
  tm_edit(&source->child, TM_CHUNK_IDX_NULL);
}
