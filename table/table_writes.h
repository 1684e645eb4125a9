// SPDX-License-Identifier: Apache-2.0
// table_writes.h - a growing list of writes.
#ifndef TABLE_WRITES_H
#define TABLE_WRITES_H

#include "table_rows.h"
#include "zel_v6comp_table.h"

struct table_writes {
  zel_v6comp_table_write *list;  // on the platform's heap; null while there are none
  size_t count;
  size_t room;
};

// Make room for `more` writes. Returns false when memory is refused: the list is as it was.
bool table_reserve_writes(table_writes *writes, size_t more);

// Append a write; there is room.
void table_put_code(table_writes *writes, const table_row_change *row, uint8_t kind, uint64_t code, uint8_t length);
void table_put_key(table_writes *writes, const table_row_change *row, uint8_t kind, uint64_t key);

void table_free_writes(table_writes *writes);

#endif
