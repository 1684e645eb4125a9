// SPDX-License-Identifier: Apache-2.0
// table_diff.cpp - the writes from the rows of one table to those of another.
#include <stdio.h>

#include "table_array.h"
#include "table_diff_spare.h"
#include "tm_stable_sort.h"
#include "zel_v6comp_plan.h"

namespace {

struct diff_run {
  table_row_change *rows;     // of both tables, in the order of table_cmp_row_changes
  table_row_change *changed;  // those of them that hardware has to hear of
  uint32_t *home;             // of a changed row, its number among all
  uint32_t n_rows;
  uint32_t n_changed;
  table_diff_spare spare;
  table_writes writes;
  table_plan_counts plan;
  zel_v6comp_table_outcome outcome;
};

int32_t judge_row(const zel_v6comp_table_row *row, tm_key_number address) {
  if (row->length > TM_KEY_BITS) {
    return ZEL_V6COMP_TABLE_E_LENGTH;
  }
  if ((address & ~tm_key_number_leading(row->length)) != 0) {
    return ZEL_V6COMP_TABLE_E_HOST_BITS;
  }
  const uint64_t code_bits = row->code_length > 64 ? 0 : table_leading_bits(row->code_length);
  const bool fits = row->code_length <= 64 && (row->code & ~code_bits) == 0 && (row->key & code_bits) == row->code;
  return fits ? ZEL_V6COMP_TABLE_OK : ZEL_V6COMP_TABLE_E_ROW;
}

int32_t take_rows(diff_run *run, const zel_v6comp_table_row *rows, uint32_t n, bool is_new) {
  for (uint32_t i = 0; i < n; ++i) {
    const tm_key_number address = tm_key_load(rows[i].address);
    const int32_t status = judge_row(&rows[i], address);
    if (status != ZEL_V6COMP_TABLE_OK) {
      run->outcome.record = run->n_rows;
      return status;
    }
    table_row_change *row = &run->rows[run->n_rows++];
    *row = table_row_of(address, rows[i].length, rows[i].word);
    row->was = !is_new;
    row->is = is_new;
    (is_new ? row->after : row->before) = {rows[i].code, rows[i].key, rows[i].code_length};
  }
  return ZEL_V6COMP_TABLE_OK;
}

// Bring the two rows of a prefix together; the old one comes first.
int32_t unite_rows(diff_run *run) {
  tm_stable_sort(run->rows, run->n_rows, sizeof *run->rows, table_cmp_row_changes);
  uint32_t kept = 0;
  for (uint32_t i = 0; i < run->n_rows; ++i) {
    const table_row_change *row = &run->rows[i];
    table_row_change *last = kept == 0 ? nullptr : &run->rows[kept - 1];
    if (last == nullptr || table_cmp_row_changes(last, row) != 0) {
      run->rows[kept++] = *row;
    } else if (last->is || row->was) {
      return ZEL_V6COMP_TABLE_E_ROW;
    } else {
      last->after = row->after;
      last->word = row->word;
      last->is = true;
    }
  }
  run->n_rows = kept;
  return ZEL_V6COMP_TABLE_OK;
}

void find_changed(diff_run *run) {
  for (uint32_t i = 0; i < run->n_rows; ++i) {
    const table_row_change *row = &run->rows[i];
    if (table_is_unchanged(row)) {
      continue;
    }
    const bool both = row->was && row->is;
    const bool same_code = table_same_code(&row->before, &row->after);
    run->outcome.added += !row->was;
    run->outcome.removed += !row->is;
    run->outcome.moved += both && !same_code;
    run->outcome.rekeyed += both && same_code;
    run->home[run->n_changed] = i;
    run->changed[run->n_changed++] = *row;
  }
}

int32_t plan_writes(diff_run *run) {
  if (!table_make_array(&run->changed, run->n_rows) || !table_make_array(&run->home, run->n_rows)) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  find_changed(run);
  if (table_diff_spare_begin(&run->spare, run->rows, run->n_rows) != TM_OK) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  const table_spare_keys spare = table_diff_spare_of(&run->spare, run->home);
  const int32_t result = table_plan(run->changed, run->n_changed, &spare, &run->writes, &run->plan);
  return result == TM_OK ? int32_t{ZEL_V6COMP_TABLE_OK} : int32_t{ZEL_V6COMP_TABLE_E_MEMORY};
}

int32_t check_arguments(const zel_v6comp_table_row *old_rows, size_t n_old, const zel_v6comp_table_row *new_rows,
                        size_t n_new) {
  if (n_old > ZEL_V6COMP_TABLE_MAX_RECORDS || n_new > ZEL_V6COMP_TABLE_MAX_RECORDS) {
    return ZEL_V6COMP_TABLE_E_COUNT;
  }
  const bool is_null = (old_rows == nullptr && n_old != 0) || (new_rows == nullptr && n_new != 0);
  return is_null ? ZEL_V6COMP_TABLE_E_NULL : ZEL_V6COMP_TABLE_OK;
}

int32_t plan_diff(diff_run *run, const zel_v6comp_table_row *old_rows, size_t n_old,
                  const zel_v6comp_table_row *new_rows, size_t n_new) {
  int32_t status = check_arguments(old_rows, n_old, new_rows, n_new);
  if (status == ZEL_V6COMP_TABLE_OK && !table_make_array(&run->rows, n_old + n_new)) {
    status = ZEL_V6COMP_TABLE_E_MEMORY;
  }
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = take_rows(run, old_rows, static_cast<uint32_t>(n_old), false);
  }
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = take_rows(run, new_rows, static_cast<uint32_t>(n_new), true);
  }
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = unite_rows(run);
  }
  return status == ZEL_V6COMP_TABLE_OK ? plan_writes(run) : status;
}

void write_outcome(diff_run *run, int32_t status, zel_v6comp_table_outcome *outcome) {
  if (status == ZEL_V6COMP_TABLE_OK) {
    *outcome = run->outcome;
    outcome->writes = run->writes.list;
    outcome->n_writes = run->writes.count;
    outcome->parked = run->plan.parked;
    outcome->early = run->plan.early;
    outcome->peak_codes = run->plan.peak_codes;
    run->writes = {};
  } else {
    *outcome = {};
    snprintf(outcome->reason, sizeof outcome->reason, "%s", zel_v6comp_table_text(status));
  }
  outcome->struct_size = sizeof *outcome;
  outcome->record = run->outcome.record;
  outcome->status = status;
}

}  // namespace

int32_t zel_v6comp_table_diff(const zel_v6comp_table_row *old_rows, size_t n_old, const zel_v6comp_table_row *new_rows,
                              size_t n_new, zel_v6comp_table_outcome *outcome) {
  if (outcome == nullptr) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  if (outcome->struct_size != sizeof *outcome) {
    return ZEL_V6COMP_TABLE_E_SIZE;
  }
  diff_run run = {};
  run.outcome.record = SIZE_MAX;
  const int32_t status = plan_diff(&run, old_rows, n_old, new_rows, n_new);
  write_outcome(&run, status, outcome);
  tm_free(run.rows);
  tm_free(run.changed);
  tm_free(run.home);
  table_diff_spare_free(&run.spare);
  table_free_writes(&run.writes);
  return status;
}

void zel_v6comp_table_free_writes(const zel_v6comp_table_write *writes) {
  tm_free(const_cast<zel_v6comp_table_write *>(writes));
}
