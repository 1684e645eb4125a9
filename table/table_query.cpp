// SPDX-License-Identifier: Apache-2.0
// table_query.cpp - questions about a table. All of them only read.
#include "table_record.h"
#include "table_stored.h"

namespace {

int32_t check_prefix(tm_key_number address, uint32_t length) {
  if (length > TM_KEY_BITS) {
    return ZEL_V6COMP_TABLE_E_LENGTH;
  }
  return (address & ~tm_key_number_leading(static_cast<int32_t>(length))) != 0 ? int32_t{ZEL_V6COMP_TABLE_E_HOST_BITS}
                                                                               : int32_t{ZEL_V6COMP_TABLE_OK};
}

int32_t answer(const tm_util_trie_node *node, zel_v6comp_table_row *row) {
  if (node == nullptr) {
    return 0;
  }
  table_read_row(node, row);
  return 1;
}

int32_t copy_row(const table_end *end, zel_v6comp_table_row *row) {
  if (end->is_row == 0) {
    return 0;
  }
  table_read_row(end, row);
  return 1;
}

int32_t find_row(const zel_v6comp_table *table, tm_key_number key, const uint8_t *address, uint32_t length,
                 zel_v6comp_table_row *row) {
  if (!table_is_ready(&table->ready, table->state)) {
    return answer(table_find_row(table->state, key, length), row);
  }
  return copy_row(&table->ready.ends[tcamv6_read_index_exact(table->ready.index, address, length)], row);
}

int32_t copy_ready_row(const table_ready *ready, const uint8_t *address, zel_v6comp_table_row *row) {
  const uint32_t number = tcamv6_read_value(table_way_down(ready, address));
  return copy_row(table_end_around(ready, number, address), row);
}

int32_t find_covering_row(const zel_v6comp_table *table, const uint8_t *address, zel_v6comp_table_row *row) {
  if (!table_is_ready(&table->ready, table->state)) {
    return answer(table_find_covering(table->state, tm_key_load(address)), row);
  }
  return copy_ready_row(&table->ready, address, row);
}

// Out of the way of the fast one.
__attribute__((noinline)) int32_t look_up(const zel_v6comp_table *table, const uint8_t *address,
                                          zel_v6comp_table_row *row) {
  return table_read_call(table, "zel_v6comp_table_lookup", [&]() -> int32_t {
    if (address == nullptr || row == nullptr) {
      return ZEL_V6COMP_TABLE_E_NULL;
    }
    return find_covering_row(table, address, row);
  });
}

uint32_t copy_rows(const zel_v6comp_table *table, zel_v6comp_table_place *place, zel_v6comp_table_row *rows,
                   uint32_t n) {
  table_walk walk;
  if (place->begun == 0) {
    table_walk_begin(&walk, table->state);
  } else {
    table_walk_begin_after(&walk, table->state, tm_key_load(place->address), place->length);
  }
  uint32_t count = 0;
  for (const tm_util_trie_node *node = nullptr; count < n && (node = table_walk_step(&walk)) != nullptr; ++count) {
    table_read_row(node, &rows[count]);
  }
  if (count > 0) {
    memcpy(place->address, rows[count - 1].address, sizeof place->address);
    place->length = rows[count - 1].length;
    place->begun = 1;
  }
  return count;
}

}  // namespace

int32_t zel_v6comp_table_find(const zel_v6comp_table *table, const uint8_t address[16], uint32_t length,
                              zel_v6comp_table_row *row) {
  return table_read_call(table, "zel_v6comp_table_find", [&]() -> int32_t {
    if (address == nullptr || row == nullptr) {
      return ZEL_V6COMP_TABLE_E_NULL;
    }
    const tm_key_number key = tm_key_load(address);
    const int32_t status = check_prefix(key, length);
    return status == ZEL_V6COMP_TABLE_OK ? find_row(table, key, address, length, row) : status;
  });
}

int32_t zel_v6comp_table_lookup(const zel_v6comp_table *table, const uint8_t address[16], zel_v6comp_table_row *row) {
  const bool is_fast = table_may_read_ready(table) && address != nullptr && row != nullptr;
  return __builtin_expect(is_fast, 1) ? copy_ready_row(&table->ready, address, row) : look_up(table, address, row);
}

int32_t zel_v6comp_table_rows(const zel_v6comp_table *table, zel_v6comp_table_place *place, zel_v6comp_table_row *rows,
                              uint32_t n) {
  return table_read_call(table, "zel_v6comp_table_rows", [&]() -> int32_t {
    if (place == nullptr || rows == nullptr) {
      return ZEL_V6COMP_TABLE_E_NULL;
    }
    if (n == 0 || n > static_cast<uint32_t>(INT32_MAX)) {
      return ZEL_V6COMP_TABLE_E_COUNT;
    }
    if (place->length > TM_KEY_BITS) {
      return ZEL_V6COMP_TABLE_E_LENGTH;
    }
    return static_cast<int32_t>(copy_rows(table, place, rows, n));
  });
}
