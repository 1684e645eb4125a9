// SPDX-License-Identifier: Apache-2.0
#include "table_rows.h"

int table_cmp_row_changes(const void *a, const void *b) {
  const auto *x = static_cast<const table_row_change *>(a);
  const auto *y = static_cast<const table_row_change *>(b);
  if (x->address != y->address) {
    return x->address < y->address ? -1 : 1;
  }
  return x->length - y->length;
}

void table_find_parents(const table_row_change *rows, uint32_t n, uint32_t *parent) {
  uint32_t last = table_no_row;
  for (uint32_t i = 0; i < n; ++i) {
    while (last != table_no_row && !table_contains(&rows[last], &rows[i])) {
      last = parent[last];
    }
    parent[i] = last;
    last = i;
  }
}
