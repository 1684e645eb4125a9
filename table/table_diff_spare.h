// SPDX-License-Identifier: Apache-2.0
// table_diff_spare.h - spare keys between two tables that are known by their rows alone.
#ifndef TABLE_DIFF_SPARE_H
#define TABLE_DIFF_SPARE_H

#include "table_plan.h"

struct table_diff_span;

// How far the free keys below a row have been given away.
struct table_diff_cursor {
  uint64_t next;
  size_t span;  // the first one that may begin at or behind `next`
  bool has_begun;
  bool is_used_up;
};

struct table_diff_spare {
  const table_row_change *rows;  // of both tables, in the order of table_cmp_row_changes
  uint32_t n;
  const uint32_t *home;        // of a changed row, its number among all
  uint32_t *parent;            // by row: the nearest one that contains it, or table_no_row
  table_diff_cursor *cursors;  // by row; one more for what lies below none
  table_diff_span *spans;      // all codes and keys of both tables, sorted, larger ones first
  size_t n_spans;
};

// Prepare the search among n rows. Returns 0 or -12; the finder is to be freed in any case.
int32_t table_diff_spare_begin(table_diff_spare *finder, const table_row_change *rows, uint32_t n);

// Find spare keys for changed rows; home[i] is the place of the plan's row i among all.
table_spare_keys table_diff_spare_of(table_diff_spare *finder, const uint32_t *home);

void table_diff_spare_free(table_diff_spare *finder);

#endif
