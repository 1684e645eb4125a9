// SPDX-License-Identifier: Apache-2.0
// table_plan.h - the writes that lead both stages from one table to the next, none of which gives a wrong answer.
#ifndef TABLE_PLAN_H
#define TABLE_PLAN_H

#include "table_writes.h"

// Keys for interim places: the owner of the codes gives one that begins with no code, before or after the change, but
// those of the prefixes around a row.
struct table_spare_keys {
  // Find one for rows[row] that was not given before. Returns false when there is none.
  bool (*find)(void *user, uint32_t row, uint64_t *key);
  void *user;
};

struct table_plan_counts {
  uint32_t parked;
  uint32_t early;
  uint32_t peak_codes;
};

// Plan the writes of a change.
//   rows    n rows that the change concerns, in the order of table_cmp_row_changes, each prefix once. Rows of the table
//           that keep code and key need not be among them
//   spare   may have no function: then no key is ever spare
//   writes  the list that the writes are appended to
// Returns 0, or -12: the list may have grown then.
int32_t table_plan(const table_row_change *rows, uint32_t n, const table_spare_keys *spare, table_writes *writes,
                   table_plan_counts *counts);

#endif
