// SPDX-License-Identifier: Apache-2.0
// table_translate.cpp - many addresses at once.
//
// A lookup waits for memory at nearly every step: for the next node of the index, and last for the answer. Several
// addresses are taken along together, a step each in turn, and the place of the next step is asked for as soon as it is
// known: by the time its turn comes again, it is there.
//
//   lane 0   node, ask | ..      ..      | node, ask | ..               | answer
//   lane 1   ..        | node, ask       | ..        | leaf: ask answer | ..
//   ...
#include "table_answers.h"
#include "table_record.h"
#include "table_stored.h"

namespace {

enum { n_lanes = 16 };

// One address on its way.
struct lane {
  const uint8_t *address;
  uint32_t entry;  // of the index, where it is
  uint32_t depth;  // bytes of the address that led there
};

struct lanes {
  const tcamv6_read_index *index;
  uint32_t count;
  lane at[n_lanes];
};

// Ask for what the next step reads.
void ask(const tcamv6_read_index *index, const lane *l) {
  const uint32_t value = tcamv6_read_value(l->entry);
  if (tcamv6_read_is_end(l->entry)) {
    __builtin_prefetch(&index->answers[value]);
    return;
  }
  const uint32_t *node = index->words + value;
  if (tcamv6_read_is_skip(l->entry)) {
    __builtin_prefetch(node);
  } else {
    __builtin_prefetch(node + TCAMV6_READ_ENTRIES + l->address[l->depth]);
  }
}

// A step down. Where bytes are passed over and the address has others, the prefix around the place is the answer.
void step(const tcamv6_read_index *index, lane *l) {
  const uint32_t *node = index->words + tcamv6_read_value(l->entry);
  if (tcamv6_read_is_skip(l->entry)) {
    if (!tcamv6_read_reaches(index, node, l->address)) {
      l->entry = TCAMV6_READ_LEAF | index->items[node[TCAMV6_READ_FIRST]].parent;
      return;
    }
    l->depth = node[TCAMV6_READ_DEPTH] / 8;
  }
  l->entry = node[TCAMV6_READ_ENTRIES + l->address[l->depth]];
  ++l->depth;
}

void walk_down(lanes *all) {
  bool is_on_its_way = true;
  while (is_on_its_way) {
    is_on_its_way = false;
    for (uint32_t i = 0; i < all->count; ++i) {
      lane *l = &all->at[i];
      if (!tcamv6_read_is_end(l->entry)) {
        step(all->index, l);
        ask(all->index, l);
        is_on_its_way = true;
      }
    }
  }
}

uint32_t row_of(const tcamv6_read_index *index, const lane *l) {
  const uint32_t value = tcamv6_read_value(l->entry);
  const uint32_t number = tcamv6_read_is_one(l->entry) ? tcamv6_read_one_or_parent(index, value, l->address) : value;
  return table_row_around(index, number);
}

void write_answer(uint64_t key, bool is_covered, size_t i, uint64_t *keys, uint8_t *covered) {
  keys[i] = key;
  if (covered != nullptr) {
    covered[i] = is_covered;
  }
}

void translate_by_index(const tcamv6_read_index *index, const uint8_t *addresses, size_t n, uint64_t rest,
                        uint64_t *keys, uint8_t *covered) {
  lanes all = {};
  all.index = index;
  for (size_t first = 0; first < n; first += n_lanes) {
    all.count = n - first < n_lanes ? static_cast<uint32_t>(n - first) : uint32_t{n_lanes};
    for (uint32_t i = 0; i < all.count; ++i) {
      all.at[i] = {addresses + (first + i) * TM_KEY_BYTES, index->root, 0};
      ask(index, &all.at[i]);
    }
    walk_down(&all);
    for (uint32_t i = 0; i < all.count; ++i) {
      const uint32_t number = row_of(index, &all.at[i]);
      const uint64_t key = number != 0 ? tm_key_load_word(index->answers[number].cmpr_addr.bytes) : rest;
      write_answer(key, number != 0, first + i, keys, covered);
    }
  }
}

void translate_by_tries(const tcamv6_state *state, const uint8_t *addresses, size_t n, uint64_t rest, uint64_t *keys,
                        uint8_t *covered) {
  for (size_t i = 0; i < n; ++i) {
    const tm_util_trie_node *node = table_find_covering(state, tm_key_load(addresses + i * TM_KEY_BYTES));
    write_answer(node != nullptr ? table_read_form(node).key : rest, node != nullptr, i, keys, covered);
  }
}

// The key of addresses that no row covers: that of ::/0, which is always stored once anything is.
uint64_t key_of_the_rest(const tcamv6_state *state) {
  const tm_util_trie_node *root = table_stored_root(state);
  return root != nullptr && root->tag != 0 ? table_read_form(root).key : 0;
}

}  // namespace

int32_t zel_v6comp_table_translate(const zel_v6comp_table *table, const uint8_t *addresses, size_t n, uint64_t *keys,
                                   uint8_t *covered) {
  return table_read_call(table, "zel_v6comp_table_translate", [&]() -> int32_t {
    if (n != 0 && (addresses == nullptr || keys == nullptr)) {
      return ZEL_V6COMP_TABLE_E_NULL;
    }
    const tcamv6_state *state = table->state;
    const uint64_t rest = key_of_the_rest(state);
    const tcamv6_read_index *index = tcamv6_read_index_for_lookup(state);
    if (index != nullptr) {
      translate_by_index(index, addresses, n, rest, keys, covered);
    } else {
      translate_by_tries(state, addresses, n, rest, keys, covered);
    }
    return ZEL_V6COMP_TABLE_OK;
  });
}
