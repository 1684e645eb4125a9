// SPDX-License-Identifier: Apache-2.0
// table_spare.cpp - finding spare keys.
//
// The compressed trie shows the codes after the change: where a node that nobody owns lacks a child, the whole block
// below is free. It must have been free before, too: of what the change gave up, the rows know the codes. Searched is
// the block of the next row around that keeps its code, or all of them, for a rule there then matches the spare key
// anyway. Old codes that contain this block are of prefixes around the row, and do not matter. The search goes level by
// level, so that it finds large blocks first, and ends after some nodes.
//
//   code of the row that stays
//      o---------- o owned: another's
//      |     '---- (free)  <- this block, if no old code overlaps it
//      '- (owned)
#include "table_spare.h"

#include "table_array.h"
#include "table_stored.h"
#include "tm_stable_sort.h"

namespace {

enum { most_nodes = 2048, most_blocks = TABLE_SPARE_BLOCKS };

int cmp_spans(const void *a, const void *b) {
  const auto *x = static_cast<const table_key_span *>(a);
  const auto *y = static_cast<const table_key_span *>(b);
  if (x->first != y->first) {
    return x->first < y->first ? -1 : 1;
  }
  return static_cast<int>(x->last < y->last) - static_cast<int>(x->last > y->last);  // larger ones first
}

bool is_inside(const table_key_span *inner, const table_key_span *outer) {
  return inner->first >= outer->first && inner->last <= outer->last;
}

// Collect the old codes strictly inside a block. ::/0 is around all.
bool collect_taken(table_spare_finder *finder, const table_key_span *block) {
  if (finder->taken == nullptr && !table_make_array(&finder->taken, finder->n)) {
    return false;
  }
  uint32_t count = 0;
  for (uint32_t i = 0; i < finder->n; ++i) {
    const table_row_change *row = &finder->rows[i];
    const table_key_span span = {row->before.code, table_last_key(&row->before)};
    if (table_removes_code(row) && row->length != 0 && is_inside(&span, block)) {
      finder->taken[count++] = span;
    }
  }
  tm_stable_sort(finder->taken, count, sizeof *finder->taken, cmp_spans);
  finder->n_taken = 0;
  for (uint32_t i = 0; i < count; ++i) {  // codes contain each other or lie apart
    if (finder->n_taken == 0 || !is_inside(&finder->taken[i], &finder->taken[finder->n_taken - 1])) {
      finder->taken[finder->n_taken++] = finder->taken[i];
    }
  }
  return true;
}

bool is_given(const table_spare_finder *finder, const table_key_span *span) {
  for (uint32_t i = 0; i < finder->n_blocks; ++i) {
    const table_key_span *given = &finder->blocks[i].span;
    if (given->first <= span->last && span->first <= given->last) {
      return true;
    }
  }
  return false;
}

// Was a block free before the change, and has no key of it been given?
bool was_free(const table_spare_finder *finder, const table_key_span *span) {
  if (finder->has_old_key && finder->old_key >= span->first && finder->old_key <= span->last) {
    return false;
  }
  uint32_t low = 0;
  uint32_t high = finder->n_taken;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (finder->taken[middle].last < span->first) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return (low == finder->n_taken || finder->taken[low].first > span->last) && !is_given(finder, span);
}

uint64_t path_of(const tm_util_trie_node *node) {
  return static_cast<uint64_t>(tm_key_load(node->key) >> 64) & table_leading_bits(node->len);
}

table_key_span span_of(uint64_t path, uint32_t length) { return {path, path | ~table_leading_bits(length)}; }

bool take_block(table_spare_finder *finder, const tm_util_trie_node *node, uint32_t bit, const void *around) {
  const auto depth = static_cast<uint32_t>(node->len) + 1;
  const table_key_span span = span_of(path_of(node) | (bit != 0 ? uint64_t{1} << (64 - depth) : 0), depth);
  if (!was_free(finder, &span)) {
    return false;
  }
  finder->blocks[finder->n_blocks++] = {around, span, span.first, false};
  return true;
}

// Look for a free block below a node. Of a code without longer ones inside, the first key is in use.
bool search_below(table_spare_finder *finder, const tm_util_trie_node *start, const void *around) {
  const table_key_span all = span_of(path_of(start), start->len);
  if (finder->n_blocks == most_blocks || !collect_taken(finder, &all)) {
    return false;
  }
  const tm_util_trie_node *queue[most_nodes];
  uint32_t begin = 0;
  uint32_t end = 0;
  queue[end++] = start;
  const bool is_bare = around != nullptr && tm_trie_is_leaf(start);
  while (begin < end) {
    const tm_util_trie_node *node = queue[begin++];
    if (node->len >= TCAMV6_MAX_CMPR_LEN || (node != start && (node->owners != 0 || tm_trie_is_leaf(node)))) {
      continue;
    }
    for (uint32_t bit = 2; bit-- > 0;) {
      const tm_util_trie_node *child = tm_trie_child(node, bit);
      if (child != nullptr) {
        if (end < most_nodes) {
          queue[end++] = child;
        }
      } else if (!(is_bare && bit == 0) && take_block(finder, node, bit, around)) {
        return true;
      }
    }
  }
  return false;
}

const table_row_change *find_change(const table_spare_finder *finder, const tm_util_trie_node *node) {
  table_row_change wanted = {};
  wanted.address = tm_key_load(node->key) & tm_key_number_leading(node->len);
  wanted.length = static_cast<uint8_t>(node->len);
  uint32_t low = 0;
  uint32_t high = finder->n;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    const int order = table_cmp_row_changes(&finder->rows[middle], &wanted);
    if (order == 0) {
      return &finder->rows[middle];
    }
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return nullptr;
}

bool keeps_code(const table_spare_finder *finder, const tm_util_trie_node *node) {
  const table_row_change *change = find_change(finder, node);
  return change == nullptr || (change->was && change->is && table_same_code(&change->before, &change->after));
}

// The next row around a prefix, or itself, that keeps its code; null when there is none.
const tm_util_trie_node *find_kept(const table_spare_finder *finder, const table_row_change *row) {
  const tm_util_trie_node *node = table_stored_root(finder->state);
  const tm_util_trie_node *kept = nullptr;
  for (uint32_t depth = 0; node != nullptr && depth <= row->length; ++depth) {
    if (tcamv6_is_row(node) && keeps_code(finder, node)) {
      kept = node;
    }
    node = depth < TM_KEY_BITS ? tm_trie_child(node, (row->address >> (TM_KEY_BITS - 1 - depth) & 1) != 0 ? 1 : 0)
                               : nullptr;
  }
  return kept;
}

bool search_around(table_spare_finder *finder, const tm_util_trie_node *around) {
  finder->has_old_key = false;
  if (around == nullptr) {
    return search_below(finder, tm_trie_node(finder->state->cmpr_root), nullptr);
  }
  const table_row_change *change = find_change(finder, around);
  if (change != nullptr) {
    finder->has_old_key = true;
    finder->old_key = change->before.key;
  }
  tcamv6_anc_data *data = nullptr;
  return tcamv6_anc_data_of_prefix(around, "zel_v6comp_table", &data) == TM_OK &&
         search_below(finder, tcamv6_cmpr_node(data), around);
}

table_spare_block *find_block(table_spare_finder *finder, const void *around) {
  for (uint32_t i = finder->n_blocks; i-- > 0;) {
    if (finder->blocks[i].around == around && !finder->blocks[i].is_used_up) {
      return &finder->blocks[i];
    }
  }
  return nullptr;
}

bool find_spare(void *user, uint32_t row, uint64_t *key) {
  auto *finder = static_cast<table_spare_finder *>(user);
  const tm_util_trie_node *around = find_kept(finder, &finder->rows[row]);
  table_spare_block *block = find_block(finder, around);
  if (block == nullptr) {
    if (!search_around(finder, around)) {
      return false;
    }
    block = &finder->blocks[finder->n_blocks - 1];
  }
  *key = block->next;
  block->is_used_up = block->next == block->span.last;
  ++block->next;
  return true;
}

}  // namespace

table_spare_keys table_spare_of(table_spare_finder *finder) { return {find_spare, finder}; }

void table_free_spare(table_spare_finder *finder) {
  tm_free(finder->taken);
  *finder = {};
}
