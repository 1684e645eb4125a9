// SPDX-License-Identifier: Apache-2.0
// tcamv6_read_index_build.cpp - filling a read index from the trie of uncompressed prefixes.
//
// One walk of the trie lists the stored prefixes in the order of their bits; one pass over the list lays out the nodes.
// Both go on counting where their room ends, and are made again when it was too small.
#include <string.h>

#include "tcamv6_anc_tree.h"
#include "tcamv6_read_index.h"
#include "tm_memory.h"

namespace {

constexpr uint32_t most_items = ~TCAMV6_READ_KIND;  // what an entry can name
constexpr size_t line_bytes = 64;

// A subtree of the trie that the walk comes back to.
struct pending_subtree {
  tm_key_number path;
  const tm_util_trie_node *node;
  uint32_t depth;
};

// ---- the list of prefixes

// The nearest prefix of the list around the one that comes next: the last one, or one around that.
uint32_t parent_of_next(const tcamv6_read_index *index, uint32_t last, uint64_t high, uint64_t low) {
  while (last != 0 && !tcamv6_read_item_covers(&index->items[last], high, low)) {
    last = index->items[last].parent;
  }
  return last;
}

void put_item(tcamv6_read_index *index, uint32_t number, const pending_subtree *at) {
  tcamv6_read_item *item = &index->items[number];
  item->high = static_cast<uint64_t>(at->path >> 64);
  item->low = static_cast<uint64_t>(at->path);
  item->node = tm_idx(at->node);
  item->parent = parent_of_next(index, number - 1, item->high, item->low);
  item->length = at->depth;
  tcamv6_read_answer *answer = &index->answers[number];
  tm_key_store(answer->address, at->path);
  answer->length = static_cast<uint8_t>(at->depth);
}

// List the prefixes as far as there is room. Returns false when a node is not where it says.
bool list_prefixes(tcamv6_read_index *index, const tm_util_trie_node *root) {
  pending_subtree pending[TM_KEY_BITS + 1];
  uint32_t n_pending = 0;
  pending_subtree at = {0, root, 0};
  index->n_items = 0;
  while (at.node != nullptr) {
    if (index->rows_only ? tcamv6_is_row(at.node) : at.node->tag != 0) {
      if (at.node->len != at.depth) {
        return false;
      }
      ++index->n_items;
      if (index->n_items <= index->item_room) {
        put_item(index, index->n_items, &at);
      }
    }
    const tm_util_trie_node *left = tm_trie_child(at.node, 0);
    const tm_util_trie_node *right = tm_trie_child(at.node, 1);
    if (at.depth == TM_KEY_BITS) {
      if (left != nullptr || right != nullptr) {
        return false;
      }
    } else if (right != nullptr) {
      const pending_subtree below = {at.path | tm_key_number_bit(static_cast<int32_t>(at.depth)), right, at.depth + 1};
      if (left == nullptr) {
        at = below;
        continue;
      }
      pending[n_pending++] = below;
    }
    ++at.depth;
    at.node = left;
    if (left == nullptr && n_pending > 0) {
      at = pending[--n_pending];
    }
  }
  return true;
}

bool make_item_room(tcamv6_read_index *index, uint32_t n) {
  if (n <= index->item_room && index->items != nullptr) {
    return true;
  }
  tm_free(index->items);
  tm_free(index->answers_block);
  index->item_room = 0;
  const size_t room = size_t{n} + n / 16 + 16;
  index->items = static_cast<tcamv6_read_item *>(zel_malloc_named(TM_MEM_TAG_LIST, (room + 1) * sizeof *index->items));
  index->answers_block = zel_calloc_named(TM_MEM_TAG_LIST, room + 2, sizeof *index->answers);
  if (index->items == nullptr || index->answers_block == nullptr) {
    return false;
  }
  const uintptr_t block = reinterpret_cast<uintptr_t>(index->answers_block);
  index->answers = reinterpret_cast<tcamv6_read_answer *>((block + line_bytes - 1) / line_bytes * line_bytes);
  index->item_room = static_cast<uint32_t>(room);
  index->items[0] = {};
  return true;
}

bool list_all(tcamv6_read_index *index, const tm_util_trie_node *root, uint32_t n_expected) {
  if (n_expected >= most_items || !make_item_room(index, n_expected) || !list_prefixes(index, root)) {
    return false;
  }
  if (index->n_items <= index->item_room) {
    return true;
  }
  return index->n_items < most_items && make_item_room(index, index->n_items) && list_prefixes(index, root);
}

// ---- the nodes

uint32_t byte_at(const tcamv6_read_item *item, uint32_t depth) {
  const uint64_t half = depth < 64 ? item->high : item->low;
  return static_cast<uint32_t>(half >> (56 - depth % 64)) & 0xFF;
}

uint32_t common_bits(const tcamv6_read_item *a, const tcamv6_read_item *b) {
  if (a->high != b->high) {
    return static_cast<uint32_t>(__builtin_clzll(a->high ^ b->high));
  }
  return a->low != b->low ? 64 + static_cast<uint32_t>(__builtin_clzll(a->low ^ b->low)) : uint32_t{TM_KEY_BITS};
}

// The deepest place, in whole bytes, above all of the prefixes first to end - 1. The first one is the shortest of those
// that would stand in the way: it contains the others or begins to differ from them.
uint32_t depth_of_node(const tcamv6_read_index *index, uint32_t first, uint32_t end) {
  const uint32_t shared = common_bits(&index->items[first], &index->items[end - 1]);
  const uint32_t most = index->items[first].length - 1;
  return (shared < most ? shared : most) / 8 * 8;
}

// Where the node goes. To pass over a single byte saves a node, and costs each way through it a branch that is not
// foreseen: as long as few do, an index that is made for speed has a node for that byte.
uint32_t place_node(tcamv6_read_index *index, uint32_t first, uint32_t end, uint32_t depth) {
  const uint32_t deepest = depth_of_node(index, first, end);
  const bool is_root = index->n_nodes == 0;
  if (deepest != depth + 8 || is_root ||
      index->n_spread >= tcamv6_read_index_max_spread(index->n_items, index->rows_only)) {
    return deepest;
  }
  ++index->n_spread;
  return depth;
}

void fill(uint32_t *entries, uint32_t count, uint32_t entry) {
  for (uint32_t i = 0; i < count; ++i) {
    entries[i] = entry;
  }
}

// The entry for the place at a depth, of which the prefixes first to end - 1 are longer. Nodes nest 16 deep at most.
uint32_t lay_out(tcamv6_read_index *index, uint32_t first, uint32_t end, uint32_t depth) {
  if (end - first == 1) {
    return TCAMV6_READ_ONE | first;
  }
  const uint32_t node_depth = place_node(index, first, end, depth);
  const uint32_t number = index->n_nodes++;
  const uint32_t at = number * TCAMV6_READ_NODE_WORDS;
  uint32_t *entries = nullptr;
  if (number < index->node_room) {
    uint32_t *node = index->words + at;
    node[TCAMV6_READ_FIRST] = first;
    node[TCAMV6_READ_DEPTH] = node_depth;
    entries = node + TCAMV6_READ_ENTRIES;
    fill(entries, TCAMV6_READ_FANOUT, TCAMV6_READ_LEAF | index->items[first].parent);
  }
  for (uint32_t i = first; i < end;) {
    const tcamv6_read_item *item = &index->items[i];
    const uint32_t byte = byte_at(item, node_depth);
    if (item->length <= node_depth + 8) {
      if (entries != nullptr) {
        fill(entries + byte, 1u << (node_depth + 8 - item->length), TCAMV6_READ_LEAF | i);
      }
      ++i;
      continue;
    }
    uint32_t next = i + 1;
    while (next < end && byte_at(&index->items[next], node_depth) == byte) {
      ++next;
    }
    const uint32_t below = lay_out(index, i, next, node_depth + 8);
    if (entries != nullptr) {
      entries[byte] = below;
    }
    i = next;
  }
  return (node_depth == depth ? TCAMV6_READ_NODE : TCAMV6_READ_SKIP) | at;
}

// /0 has no place below a root of length 0: it is the parent of the others.
void lay_out_all(tcamv6_read_index *index) {
  const uint32_t first = index->n_items != 0 && index->items[1].length == 0 ? 2 : 1;
  index->n_nodes = 0;
  index->n_spread = 0;
  index->root =
      first <= index->n_items ? lay_out(index, first, index->n_items + 1, 0) : TCAMV6_READ_LEAF | index->n_items;
}

bool make_nodes(tcamv6_read_index *index) {
  lay_out_all(index);
  if (index->n_nodes <= index->node_room) {
    return true;
  }
  const uint32_t most = tcamv6_read_index_max_nodes(index->n_items, index->rows_only);
  if (index->n_nodes > most) {
    return false;
  }
  tm_free(index->words);
  index->node_room = 0;
  const uint32_t slack = index->n_nodes / 16 + 1;
  const uint32_t room = most - index->n_nodes < slack ? most : index->n_nodes + slack;
  index->words = static_cast<uint32_t *>(
      zel_malloc_named(TM_MEM_TAG_LIST, size_t{room} * TCAMV6_READ_NODE_WORDS * sizeof(uint32_t)));
  if (index->words == nullptr) {
    return false;
  }
  index->node_room = room;
  lay_out_all(index);
  return true;
}

}  // namespace

bool tcamv6_build_read_index(tcamv6_read_index *index, const tm_util_trie_node *orig_root, uint32_t n_expected) {
  if (!list_all(index, orig_root, n_expected)) {
    return false;
  }
  return make_nodes(index);
}
