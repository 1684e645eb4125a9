// SPDX-License-Identifier: Apache-2.0
#include "table_slot_tree.h"

#include <stddef.h>

#include "table_free_slots.h"
#include "tm_api.h"
#include "tm_memory.h"

namespace {

constexpr uint32_t root = 0;

bool is_row(const table_slot_node *node) { return node->slot != table_no_slot; }

bool covers(const table_slot_node *node, tm_key_number address, uint32_t length) {
  return node->length <= length && ((node->address ^ address) & tm_key_number_leading(node->length)) == 0;
}

uint32_t side_of(tm_key_number address, uint32_t depth) {
  return static_cast<uint32_t>(address >> (TM_KEY_BITS - 1 - depth)) & 1;
}

uint8_t common_bits(tm_key_number a, tm_key_number b, uint8_t most) {
  uint8_t n = 0;
  while (n < most && side_of(a, n) == side_of(b, n)) {
    ++n;
  }
  return n;
}

// The deepest node that covers a prefix.
uint32_t descend(const table_slot_tree *tree, tm_key_number address, uint32_t length) {
  uint32_t at = root;
  while (tree->nodes[at].length < length) {
    const uint32_t next = tree->nodes[at].child[side_of(address, tree->nodes[at].length)];
    if (next == table_no_node || !covers(&tree->nodes[next], address, length)) {
      break;
    }
    at = next;
  }
  return at;
}

uint32_t take_node(table_slot_tree *tree, tm_key_number address, uint8_t length, uint32_t parent) {
  uint32_t node = tree->free_node;
  if (node == table_no_node) {
    node = tree->n_reached++;
  } else {
    tree->free_node = tree->nodes[node].parent;
  }
  tree->nodes[node] = {address & tm_key_number_leading(length),
                       0,
                       {table_no_node, table_no_node},
                       parent,
                       table_no_slot,
                       table_no_node,
                       length};
  return node;
}

void give_node(table_slot_tree *tree, uint32_t node) {
  tree->nodes[node].parent = tree->free_node;
  tree->free_node = node;
}

// Hang a node below another, in the place of what is there.
void hang(table_slot_tree *tree, uint32_t parent, uint32_t node, tm_key_number address) {
  tree->nodes[parent].child[side_of(address, tree->nodes[parent].length)] = node;
  if (node != table_no_node) {
    tree->nodes[node].parent = parent;
  }
}

uint32_t later_of(const table_slot_tree *tree, uint32_t a, uint32_t b) {
  if (a == table_no_node || b == table_no_node) {
    return a == table_no_node ? b : a;
  }
  return tree->nodes[a].slot < tree->nodes[b].slot ? b : a;
}

uint32_t last_of(const table_slot_tree *tree, uint32_t node) {
  return node == table_no_node ? table_no_node : tree->nodes[node].last;
}

void refresh(table_slot_tree *tree, uint32_t at) {
  table_slot_node *node = &tree->nodes[at];
  const uint32_t inside = later_of(tree, last_of(tree, node->child[0]), last_of(tree, node->child[1]));
  node->last = later_of(tree, is_row(node) ? at : table_no_node, inside);
}

// A node that is no row and no branch any more leaves its child, if it has one, in its place.
bool drop_if_idle(table_slot_tree *tree, uint32_t at) {
  const table_slot_node *node = &tree->nodes[at];
  if (at == root || is_row(node) || (node->child[0] != table_no_node && node->child[1] != table_no_node)) {
    return false;
  }
  hang(tree, node->parent, node->child[0] != table_no_node ? node->child[0] : node->child[1], node->address);
  give_node(tree, at);
  return true;
}

}  // namespace

bool table_slot_tree_begin(table_slot_tree *tree, uint32_t n) {
  const size_t most = 2 * size_t{n} + 2;  // a row and a branch for each, the root, and a row on its way in
  tree->nodes = static_cast<table_slot_node *>(zel_calloc_named(TM_MEM_TAG_LIST, most, sizeof *tree->nodes));
  tree->n_reached = 0;
  tree->free_node = table_no_node;
  if (tree->nodes == nullptr) {
    return false;
  }
  take_node(tree, 0, 0, table_no_node);
  return true;
}

void table_slot_tree_end(table_slot_tree *tree) {
  tm_free(tree->nodes);
  *tree = {};
}

uint32_t table_slot_tree_find(const table_slot_tree *tree, tm_key_number address, uint32_t length) {
  const uint32_t at = descend(tree, address, length);
  return tree->nodes[at].length == length && is_row(&tree->nodes[at]) ? at : table_no_node;
}

uint32_t table_slot_tree_add(table_slot_tree *tree, tm_key_number address, uint8_t length) {
  const uint32_t around = descend(tree, address, length);
  if (tree->nodes[around].length == length) {
    return around;  // a branch, up to now
  }
  const uint32_t other = tree->nodes[around].child[side_of(address, tree->nodes[around].length)];
  if (other == table_no_node) {
    const uint32_t leaf = take_node(tree, address, length, around);
    hang(tree, around, leaf, address);
    return leaf;
  }
  const uint8_t shared = common_bits(address, tree->nodes[other].address, length);
  const uint32_t between = take_node(tree, address, shared, around);
  hang(tree, around, between, address);
  hang(tree, between, other, tree->nodes[other].address);
  refresh(tree, between);
  if (shared == length) {
    return between;
  }
  const uint32_t leaf = take_node(tree, address, length, between);
  hang(tree, between, leaf, address);
  return leaf;
}

void table_slot_tree_remove(table_slot_tree *tree, uint32_t node) {
  const uint32_t parent = tree->nodes[node].parent;
  if (drop_if_idle(tree, node)) {
    drop_if_idle(tree, parent);
  }
}

void table_slot_tree_set(table_slot_tree *tree, uint32_t node, uint32_t slot) {
  tree->nodes[node].slot = slot;
  for (uint32_t at = node; at != table_no_node; at = tree->nodes[at].parent) {
    refresh(tree, at);
  }
}

uint32_t table_slot_tree_around(const table_slot_tree *tree, uint32_t node) {
  uint32_t at = tree->nodes[node].parent;
  while (at != table_no_node && !is_row(&tree->nodes[at])) {
    at = tree->nodes[at].parent;
  }
  return at;
}

uint32_t table_slot_tree_last_inside(const table_slot_tree *tree, uint32_t node) {
  return later_of(tree, last_of(tree, tree->nodes[node].child[0]), last_of(tree, tree->nodes[node].child[1]));
}
