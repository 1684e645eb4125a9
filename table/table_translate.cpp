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

// Ask for what the next step reads. For 8,192 addresses of a table of 60,000 prefixes the words alone save 30 % of the
// time, the rows alone 20 %. To ask for keys, which lie close together, saves nothing that could be measured.
void ask(const table_ready *ready, const table_descent *at) {
  const uint32_t value = tcamv6_read_value(at->entry);
  if (!tcamv6_read_is_end(at->entry)) {
    __builtin_prefetch(ready->index->words + value + TCAMV6_READ_ENTRIES + *at->byte);
  } else if (at->is_unsure || tcamv6_read_is_one(at->entry)) {
    __builtin_prefetch(&ready->rows[value]);
  }
}

void walk_down(const table_ready *ready, const uint8_t *addresses, table_descent *lanes, uint32_t count) {
  for (bool is_on_its_way = true; is_on_its_way;) {
    is_on_its_way = false;
    for (uint32_t i = 0; i < count; ++i) {
      if (!tcamv6_read_is_end(lanes[i].entry)) {
        table_step_down(ready->index, addresses + size_t{i} * TM_KEY_BYTES, &lanes[i]);
        ask(ready, &lanes[i]);
        is_on_its_way = true;
      }
    }
  }
}

void translate_by_ready(const table_ready *ready, const uint8_t *addresses, size_t n, uint64_t *keys,
                        uint8_t *covered) {
  table_descent lanes[n_lanes];
  for (size_t first = 0; first < n; first += n_lanes) {
    const uint32_t count = n - first < n_lanes ? static_cast<uint32_t>(n - first) : uint32_t{n_lanes};
    const uint8_t *some = addresses + first * TM_KEY_BYTES;
    for (uint32_t i = 0; i < count; ++i) {
      lanes[i] = table_begin_descent(ready, some + size_t{i} * TM_KEY_BYTES);
      ask(ready, &lanes[i]);
    }
    walk_down(ready, some, lanes, count);
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t number = table_end_descent(ready, some + size_t{i} * TM_KEY_BYTES, &lanes[i]);
      keys[first + i] = ready->keys[number];
      if (covered != nullptr) {
        covered[first + i] = !table_is_no_row(&ready->rows[number]);
      }
    }
  }
}

void write_answer(uint64_t key, bool is_covered, size_t i, uint64_t *keys, uint8_t *covered) {
  keys[i] = key;
  if (covered != nullptr) {
    covered[i] = is_covered;
  }
}

// With an index whose answers are not ready: a host of the engine's interface has built it.
void translate_by_index(const tcamv6_read_index *index, const uint8_t *addresses, size_t n, uint64_t rest,
                        uint64_t *keys, uint8_t *covered) {
  for (size_t i = 0; i < n; ++i) {
    const uint32_t number = table_row_around(index, tcamv6_read_index_covering(index, addresses + i * TM_KEY_BYTES));
    write_answer(number != 0 ? tm_key_load_word(index->answers[number].cmpr_addr.bytes) : rest, number != 0, i, keys,
                 covered);
  }
}

void translate_by_tries(const tcamv6_state *state, const uint8_t *addresses, size_t n, uint64_t rest, uint64_t *keys,
                        uint8_t *covered) {
  for (size_t i = 0; i < n; ++i) {
    const tm_util_trie_node *node = table_find_covering(state, tm_key_load(addresses + i * TM_KEY_BYTES));
    write_answer(node != nullptr ? table_read_form(node).key : rest, node != nullptr, i, keys, covered);
  }
}

}  // namespace

int32_t zel_v6comp_table_translate(const zel_v6comp_table *table, const uint8_t *addresses, size_t n, uint64_t *keys,
                                   uint8_t *covered) {
  return table_read_call(table, "zel_v6comp_table_translate", [&]() -> int32_t {
    if (n != 0 && (addresses == nullptr || keys == nullptr)) {
      return ZEL_V6COMP_TABLE_E_NULL;
    }
    const tcamv6_state *state = table->state;
    const tcamv6_read_index *index = tcamv6_read_index_for_lookup(state);
    if (index == nullptr) {
      translate_by_tries(state, addresses, n, table_key_of_rest(state), keys, covered);
    } else if (table_is_ready(&table->ready, index)) {
      translate_by_ready(&table->ready, addresses, n, keys, covered);
    } else {
      translate_by_index(index, addresses, n, table_key_of_rest(state), keys, covered);
    }
    return ZEL_V6COMP_TABLE_OK;
  });
}
