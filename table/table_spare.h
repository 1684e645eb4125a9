// SPDX-License-Identifier: Apache-2.0
// table_spare.h - keys that no code leads to, for entries that are parked in the midst of a change.
#ifndef TABLE_SPARE_H
#define TABLE_SPARE_H

#include "table_plan.h"
#include "tcamv6_state.h"

struct table_key_span {
  uint64_t first;
  uint64_t last;
};

// A free block from which keys are given, one after the other.
struct table_spare_block {
  const void *around;  // the row that keeps its code and that it lies below; null = below none
  table_key_span span;
  uint64_t next;
  bool is_used_up;
};

enum { TABLE_SPARE_BLOCKS = 128 };

struct table_spare_finder {
  const tcamv6_state *state;
  const table_row_change *rows;
  uint32_t n;
  // On the heap: what was taken before the change where the search goes, sorted, none inside others.
  table_key_span *taken;
  uint32_t n_taken;
  uint64_t old_key;  // of the row around, if it had another
  bool has_old_key;
  uint32_t n_blocks;
  table_spare_block blocks[TABLE_SPARE_BLOCKS];
};

// Find spare keys for the rows of a change that the instance has taken already.
table_spare_keys table_spare_of(table_spare_finder *finder);

void table_free_spare(table_spare_finder *finder);

#endif
