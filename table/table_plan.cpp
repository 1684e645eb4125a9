// SPDX-License-Identifier: Apache-2.0
// table_plan.cpp - the writes of a change, when nothing stands in their way.
//
// Two stages answer for an address together: stage 1 gives the key of the longest prefix that covers it, stage 2 the
// rules whose codes begin that key. Both are rewritten one entry at a time while packets pass. A row P has up to four
// tasks:
//
//   A  its new code enters stage 2          V  its old key is no longer given by stage 1
//   K  its entry in stage 1 is written      D  its old code leaves stage 2          (V is done by K, or by parking)
//
// While both of its codes are there, a rule on P matches both. Mostly the old codes and keys and the new ones have
// nothing in common, and five passes over the rows do it:
//
//   1  A of all rows                        nothing leads to the new codes yet
//   2  K of rows in both tables             old and new key begin with the codes of the same prefixes
//   3  K of new rows, longest first         new detail first: who comes in sees the longest at once
//   4  K of old rows, shortest first        old detail last: who goes out falls through all that goes
//   5  D of all rows                        nothing leads to the old codes any more
//
// It is different when a new code covers the old key of a prefix that it does not contain, because space was given up
// and taken in one change. Then the code must wait for the key to go. table_plan_order.cpp orders such changes.
#include "table_plan.h"

#include "table_array.h"
#include "table_plan_order.h"

namespace {

enum { n_lengths = TM_KEY_BITS + 1 };

// The rows that have a key to write and fulfil a condition, by length, within a length as they stand.
struct rows_by_length {
  uint32_t *rows;
  uint32_t begin[n_lengths + 1];
};

using row_condition = bool (*)(const table_row_change *row);

bool is_new(const table_row_change *row) { return row->is && !row->was; }
bool is_old(const table_row_change *row) { return row->was && !row->is; }

void sort_by_length(const table_row_change *rows, uint32_t n, row_condition wanted, rows_by_length *sorted) {
  uint32_t counts[n_lengths] = {};
  for (uint32_t i = 0; i < n; ++i) {
    counts[rows[i].length] += wanted(&rows[i]);
  }
  sorted->begin[0] = 0;
  for (uint32_t length = 0; length < n_lengths; ++length) {
    sorted->begin[length + 1] = sorted->begin[length] + counts[length];
    counts[length] = sorted->begin[length];
  }
  for (uint32_t i = 0; i < n; ++i) {
    if (wanted(&rows[i])) {
      sorted->rows[counts[rows[i].length]++] = i;
    }
  }
}

void add_codes(const table_row_change *rows, uint32_t n, table_writes *writes) {
  for (uint32_t i = 0; i < n; ++i) {
    if (table_adds_code(&rows[i])) {
      table_put_code(writes, &rows[i], ZEL_V6COMP_TABLE_ADD_CODE, rows[i].after.code, rows[i].after.length);
    }
  }
}

void change_keys(const table_row_change *rows, uint32_t n, table_writes *writes) {
  for (uint32_t i = 0; i < n; ++i) {
    if (rows[i].was && rows[i].is && table_writes_key(&rows[i])) {
      table_put_key(writes, &rows[i], ZEL_V6COMP_TABLE_CHANGE_KEY, rows[i].after.key);
    }
  }
}

void add_keys(const table_row_change *rows, uint32_t n, uint32_t *scratch, table_writes *writes) {
  rows_by_length sorted = {scratch, {}};
  sort_by_length(rows, n, is_new, &sorted);
  for (uint32_t length = n_lengths; length-- > 0;) {
    for (uint32_t at = sorted.begin[length]; at < sorted.begin[length + 1]; ++at) {
      const table_row_change *row = &rows[scratch[at]];
      table_put_key(writes, row, ZEL_V6COMP_TABLE_ADD_KEY, row->after.key);
    }
  }
}

void remove_keys(const table_row_change *rows, uint32_t n, uint32_t *scratch, table_writes *writes) {
  rows_by_length sorted = {scratch, {}};
  sort_by_length(rows, n, is_old, &sorted);
  for (uint32_t at = 0; at < sorted.begin[n_lengths]; ++at) {
    const table_row_change *row = &rows[scratch[at]];
    table_put_key(writes, row, ZEL_V6COMP_TABLE_REMOVE_KEY, row->before.key);
  }
}

void remove_codes(const table_row_change *rows, uint32_t n, table_writes *writes) {
  for (uint32_t i = 0; i < n; ++i) {
    if (table_removes_code(&rows[i])) {
      table_put_code(writes, &rows[i], ZEL_V6COMP_TABLE_REMOVE_CODE, rows[i].before.code, rows[i].before.length);
    }
  }
}

uint32_t count_most_codes(const table_row_change *rows, uint32_t n) {
  uint32_t codes = 0;
  for (uint32_t i = 0; i < n; ++i) {
    codes += static_cast<uint32_t>(rows[i].was) + static_cast<uint32_t>(table_adds_code(&rows[i]));
  }
  return codes;
}

int32_t write_in_passes(const table_row_change *rows, uint32_t n, table_writes *writes, table_plan_counts *counts) {
  uint32_t *scratch = nullptr;
  if (!table_make_array(&scratch, n) || !table_reserve_writes(writes, size_t{3} * n)) {
    tm_free(scratch);
    return TM_ENOMEM;
  }
  add_codes(rows, n, writes);
  change_keys(rows, n, writes);
  add_keys(rows, n, scratch, writes);
  remove_keys(rows, n, scratch, writes);
  remove_codes(rows, n, writes);
  counts->peak_codes = count_most_codes(rows, n);
  zel_free_named(scratch);
  return TM_OK;
}

}  // namespace

int32_t table_plan(const table_row_change *rows, uint32_t n, const table_spare_keys *spare, table_writes *writes,
                   table_plan_counts *counts) {
  *counts = {};
  if (n == 0) {
    return TM_OK;
  }
  table_conflicts conflicts = {};
  int32_t result = table_find_conflicts(rows, n, &conflicts);
  if (result == TM_OK) {
    result = conflicts.count == 0 ? write_in_passes(rows, n, writes, counts)
                                  : table_write_in_order(rows, n, &conflicts, spare, writes, counts);
  }
  table_free_conflicts(&conflicts);
  return result;
}
