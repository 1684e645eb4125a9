// SPDX-License-Identifier: Apache-2.0
// table_plan_conflicts.cpp - where a change takes space that it gives up.
#include <string.h>

#include "table_array.h"
#include "table_plan_order.h"
#include "tm_stable_sort.h"

namespace {

struct keyed_row {
  uint64_t key;
  uint32_t row;
};

int cmp_keyed_rows(const void *a, const void *b) {
  const uint64_t x = static_cast<const keyed_row *>(a)->key;
  const uint64_t y = static_cast<const keyed_row *>(b)->key;
  return static_cast<int>(x > y) - static_cast<int>(x < y);
}

uint32_t first_at_or_above(const keyed_row *keys, uint32_t count, uint64_t key) {
  uint32_t low = 0;
  while (low < count) {
    const uint32_t middle = low + (count - low) / 2;
    if (keys[middle].key < key) {
      low = middle + 1;
    } else {
      count = middle;
    }
  }
  return low;
}

// The old keys that stage 1 gives up, or the new ones that it takes.
uint32_t collect_keys(const table_row_change *rows, uint32_t n, bool old, keyed_row *keys) {
  uint32_t count = 0;
  for (uint32_t i = 0; i < n; ++i) {
    if (table_writes_key(&rows[i]) && (old ? rows[i].was : rows[i].is)) {
      keys[count++] = {old ? rows[i].before.key : rows[i].after.key, i};
    }
  }
  tm_stable_sort(keys, count, sizeof *keys, cmp_keyed_rows);
  return count;
}

// Find the keys that begin with a code of a prefix that does not contain theirs.
bool find_strangers(const table_row_change *rows, uint32_t row, bool old_keys, const keyed_row *keys, uint32_t count,
                    table_conflicts *conflicts) {
  const table_form *form = old_keys ? &rows[row].after : &rows[row].before;
  const uint64_t last = table_last_key(form);
  for (uint32_t at = first_at_or_above(keys, count, form->code); at < count && keys[at].key <= last; ++at) {
    const uint32_t other = keys[at].row;
    if (table_contains(&rows[row], &rows[other])) {
      continue;
    }
    const bool noted =
        old_keys ? table_add_conflict(conflicts, table_task(other, TABLE_TASK_V), table_task(row, TABLE_TASK_A))
                 : table_add_conflict(conflicts, table_task(row, TABLE_TASK_D), table_task(other, TABLE_TASK_K));
    if (!noted) {
      return false;
    }
  }
  return true;
}

bool find_all(const table_row_change *rows, uint32_t n, bool old_keys, keyed_row *keys, table_conflicts *conflicts) {
  const uint32_t count = collect_keys(rows, n, old_keys, keys);
  for (uint32_t i = 0; count != 0 && i < n; ++i) {
    const bool is_concerned = old_keys ? table_adds_code(&rows[i]) : table_removes_code(&rows[i]);
    if (is_concerned && !find_strangers(rows, i, old_keys, keys, count, conflicts)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool table_add_conflict(table_conflicts *conflicts, uint32_t first, uint32_t second) {
  if (conflicts->count == conflicts->room) {
    const size_t room = 2 * conflicts->room + 64;
    auto *pairs = static_cast<table_task_pair *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof *conflicts->pairs));
    if (pairs == nullptr) {
      return false;
    }
    if (conflicts->count != 0) {
      memcpy(pairs, conflicts->pairs, conflicts->count * sizeof *pairs);
    }
    tm_free(conflicts->pairs);
    conflicts->pairs = pairs;
    conflicts->room = room;
  }
  conflicts->pairs[conflicts->count++] = {first, second};
  return true;
}

void table_free_conflicts(table_conflicts *conflicts) {
  tm_free(conflicts->pairs);
  *conflicts = {};
}

int32_t table_find_conflicts(const table_row_change *rows, uint32_t n, table_conflicts *conflicts) {
  keyed_row *keys = nullptr;
  if (!table_make_array(&keys, n)) {
    return TM_ENOMEM;
  }
  const bool done = find_all(rows, n, true, keys, conflicts) && find_all(rows, n, false, keys, conflicts);
  zel_free_named(keys);
  return done ? TM_OK : TM_ENOMEM;
}
