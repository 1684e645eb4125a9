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
