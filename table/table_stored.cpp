// SPDX-License-Identifier: Apache-2.0
#include "table_stored.h"

#include "tcamv6_read_index_find.h"
#include "zel_platform.h"

namespace {

constexpr const char *reader = "zel_v6comp_table";

bool bit_of(tm_key_number address, uint32_t bit) { return (address >> (TM_KEY_BITS - 1 - bit) & 1) != 0; }

uint64_t leading_word(const tm_util_trie_node *node) {
  return tm_key_load_word(node->key) & table_leading_bits(node->len);
}

// A row always has data: a link that is missing ends the process, as everywhere in the library.
tcamv6_anc_data *data_of(const tm_util_trie_node *node) {
  tcamv6_anc_data *data = nullptr;
  if (tcamv6_anc_data_of_prefix(node, reader, &data) != TM_OK) {
    zel_fatal("\n%s: a stored prefix has no data", reader);
  }
  return data;
}

// Go to a node's left side, keeping the right one for later.
const tm_util_trie_node *enter(table_walk *walk, const tm_util_trie_node *node) {
  const tm_util_trie_node *left = tm_trie_child(node, 0);
  const tm_util_trie_node *right = tm_trie_child(node, 1);
  if (left == nullptr) {
    return right;
  }
  if (right != nullptr) {
    walk->pending[walk->n_pending++] = right;
  }
  return left;
}

}  // namespace

const tm_util_trie_node *table_find_row(const tcamv6_state *state, tm_key_number address, uint32_t length) {
  const tm_util_trie_node *node = table_stored_root(state);
  for (uint32_t depth = 0; node != nullptr && depth < length; ++depth) {
    node = tm_trie_child(node, bit_of(address, depth) ? 1 : 0);
  }
  return node != nullptr && tcamv6_is_row(node) ? node : nullptr;
}

const tm_util_trie_node *table_find_covering(const tcamv6_state *state, tm_key_number address) {
  const tm_util_trie_node *row = nullptr;
  const tm_util_trie_node *node = table_stored_root(state);
  for (uint32_t depth = 0; node != nullptr; ++depth) {
    row = tcamv6_is_row(node) ? node : row;
    node = depth < TM_KEY_BITS ? tm_trie_child(node, bit_of(address, depth) ? 1 : 0) : nullptr;
  }
  return row;
}

table_form table_read_form(const tm_util_trie_node *node) {
  tcamv6_anc_data *data = data_of(node);
  const tm_util_trie_node *code = tcamv6_cmpr_node(data);
  const tm_util_trie_node *key = tcamv6_cmpr_node(tcamv6_address_data(data, reader));
  return {leading_word(code), leading_word(key), static_cast<uint8_t>(code->len)};
}

uint64_t table_key_of_rest(const tcamv6_state *state) {
  const tm_util_trie_node *root = table_stored_root(state);
  return root != nullptr && root->tag != 0 ? table_read_form(root).key : 0;
}

uint32_t table_read_word(const tm_util_trie_node *node) { return data_of(node)->handle; }

uint32_t table_set_word(const tcamv6_state *state, const tm_util_trie_node *node, uint32_t word) {
  data_of(node)->handle = word;
  return tcamv6_read_index_set_handle(state, node->key, node->len, word);
}

void table_read_row(const tm_util_trie_node *node, zel_v6comp_table_row *row) {
  const table_form form = table_read_form(node);
  *row = {};
  tm_key_store(row->address, tm_key_load(node->key) & tm_key_number_leading(node->len));
  row->code = form.code;
  row->key = form.key;
  row->word = table_read_word(node);
  row->length = static_cast<uint8_t>(node->len);
  row->code_length = form.length;
}

void table_walk_begin(table_walk *walk, const tcamv6_state *state) {
  walk->next = table_stored_root(state);
  walk->n_pending = 0;
}

void table_walk_begin_after(table_walk *walk, const tcamv6_state *state, tm_key_number address, uint32_t length) {
  walk->n_pending = 0;
  const tm_util_trie_node *node = table_stored_root(state);
  for (uint32_t depth = 0; node != nullptr && depth < length; ++depth) {
    const bool bit = bit_of(address, depth);
    const tm_util_trie_node *right = tm_trie_child(node, 1);
    if (!bit && right != nullptr) {
      walk->pending[walk->n_pending++] = right;
    }
    node = bit ? right : tm_trie_child(node, 0);
  }
  walk->next = node == nullptr ? nullptr : enter(walk, node);
  if (walk->next == nullptr && walk->n_pending > 0) {
    walk->next = walk->pending[--walk->n_pending];
  }
}

const tm_util_trie_node *table_walk_step(table_walk *walk) {
  while (walk->next != nullptr) {
    const tm_util_trie_node *node = walk->next;
    walk->next = enter(walk, node);
    if (walk->next == nullptr && walk->n_pending > 0) {
      walk->next = walk->pending[--walk->n_pending];
    }
    if (tcamv6_is_row(node)) {
      return node;
    }
  }
  return nullptr;
}
