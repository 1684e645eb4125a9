// SPDX-License-Identifier: Apache-2.0
// table_slot_tree.h - the rows of a first-match TCAM, and the last slot in any part of them.
//
// A path-compressed trie: a node for each row and for each place where rows part. A node without a slot is no row: a
// branch, or a row on its way in or out.
#ifndef TABLE_SLOT_TREE_H
#define TABLE_SLOT_TREE_H

#include "tm_key.h"

inline constexpr uint32_t table_no_node = UINT32_MAX;

struct table_slot_node {
  tm_key_number address;
  uint64_t key;
  uint32_t child[2];
  uint32_t parent;
  uint32_t slot;
  uint32_t last;  // of the rows in this part, itself included, the one in the last slot
  uint8_t length;
};

struct table_slot_tree {
  table_slot_node *nodes;  // the root is the first one, and always there
  uint32_t n_reached;      // nodes from here on were never used
  uint32_t free_node;      // the others are chained by `parent`
};

// An empty tree that can take n rows. Returns false when memory is refused; it is to be freed in any case.
bool table_slot_tree_begin(table_slot_tree *tree, uint32_t n);

void table_slot_tree_end(table_slot_tree *tree);

// The row of a prefix; table_no_node when it is not there.
uint32_t table_slot_tree_find(const table_slot_tree *tree, tm_key_number address, uint32_t length);

// The node of a prefix that is no row yet; it has no slot.
uint32_t table_slot_tree_add(table_slot_tree *tree, tm_key_number address, uint8_t length);

// A row goes, that has no slot any more.
void table_slot_tree_remove(table_slot_tree *tree, uint32_t node);

// `slot` may be table_no_slot.
void table_slot_tree_set(table_slot_tree *tree, uint32_t node, uint32_t slot);

// The next row around a node, and the row inside it that has the last slot; table_no_node when there is none.
uint32_t table_slot_tree_around(const table_slot_tree *tree, uint32_t node);
uint32_t table_slot_tree_last_inside(const table_slot_tree *tree, uint32_t node);

#endif
