// SPDX-License-Identifier: Apache-2.0
// table_plan_order.h - changes in which space is given up and taken again.
#ifndef TABLE_PLAN_ORDER_H
#define TABLE_PLAN_ORDER_H

#include "table_plan.h"

// The tasks of a row, as numbered nodes: task_of(row, kind).
enum table_task_kind : uint32_t { TABLE_TASK_A, TABLE_TASK_K, TABLE_TASK_V, TABLE_TASK_D, TABLE_TASKS };

inline uint32_t table_task(uint32_t row, table_task_kind kind) { return row * TABLE_TASKS + kind; }

// `first` is done before `second`.
struct table_task_pair {
  uint32_t first;
  uint32_t second;
};

struct table_conflicts {
  table_task_pair *pairs;  // on the heap; null while there are none
  size_t count;
  size_t room;
};

// Find the pairs of tasks of which one takes space that the other gives up. Returns 0 or -12.
int32_t table_find_conflicts(const table_row_change *rows, uint32_t n, table_conflicts *conflicts);

bool table_add_conflict(table_conflicts *conflicts, uint32_t first, uint32_t second);

void table_free_conflicts(table_conflicts *conflicts);

// Write the rows in an order that heeds the conflicts. Takes the conflicts over. Returns 0 or -12.
int32_t table_write_in_order(const table_row_change *rows, uint32_t n, table_conflicts *conflicts,
                             const table_spare_keys *spare, table_writes *writes, table_plan_counts *counts);

#endif
