// SPDX-License-Identifier: Apache-2.0
// table_diff_spare.cpp - finding keys that neither of two tables uses.
//
// Every code stands for the span of keys that begin with it, and every key for a span of one. Below a row that keeps
// its code, the keys that no such span touches are spare: they are the gaps between the spans inside the row's own.
//
//   the row's code   |------------------------------|
//   spans inside        |---|  |-----|  ||    |--|
//   gaps             |==|   |==|     |==||====|  |==|     given away from the left, one key at a time
#include "table_diff_spare.h"

#include "table_array.h"
#include "tm_stable_sort.h"

struct table_diff_span {
  uint64_t first;
  uint64_t last;
};

namespace {

int cmp_spans(const void *a, const void *b) {
  const auto *x = static_cast<const table_diff_span *>(a);
  const auto *y = static_cast<const table_diff_span *>(b);
  if (x->first != y->first) {
    return x->first < y->first ? -1 : 1;
  }
  return static_cast<int>(x->last < y->last) - static_cast<int>(x->last > y->last);
}

void add_spans(table_diff_spare *finder, const table_form *form) {
  finder->spans[finder->n_spans++] = {form->code, table_last_key(form)};
  finder->spans[finder->n_spans++] = {form->key, form->key};
}

void collect_spans(table_diff_spare *finder) {
  for (uint32_t i = 0; i < finder->n; ++i) {
    const table_row_change *row = &finder->rows[i];
    if (row->was) {
      add_spans(finder, &row->before);
    }
    if (row->is) {
      add_spans(finder, &row->after);
    }
  }
  tm_stable_sort(finder->spans, finder->n_spans, sizeof *finder->spans, cmp_spans);
}

bool keeps_code(const table_row_change *row) {
  return row->was && row->is && table_same_code(&row->before, &row->after);
}

size_t first_span_from(const table_diff_spare *finder, uint64_t key) {
  size_t low = 0;
  size_t high = finder->n_spans;
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (finder->spans[middle].first < key) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

// Go on behind a key, unless the block ends with it.
void step_behind(table_diff_cursor *cursor, uint64_t key, uint64_t last) {
  cursor->is_used_up = key >= last;
  cursor->next = key + 1;
}

bool take_next(const table_diff_spare *finder, table_diff_cursor *cursor, const table_diff_span *block, uint64_t *key) {
  if (!cursor->has_begun) {
    *cursor = {block->first, first_span_from(finder, block->first), true, block->first == block->last};
  }
  for (; !cursor->is_used_up && cursor->span < finder->n_spans; ++cursor->span) {
    const table_diff_span *span = &finder->spans[cursor->span];
    if (span->first > cursor->next) {
      break;
    }
    const bool is_around = span->first == block->first && span->last >= block->last;
    if (!is_around && span->last >= cursor->next) {
      step_behind(cursor, span->last, block->last);
    }
  }
  if (cursor->is_used_up) {
    return false;
  }
  *key = cursor->next;
  step_behind(cursor, *key, block->last);
  return true;
}

bool find_spare(void *user, uint32_t row, uint64_t *key) {
  auto *finder = static_cast<table_diff_spare *>(user);
  uint32_t around = finder->home[row];
  while (around != table_no_row && !keeps_code(&finder->rows[around])) {
    around = finder->parent[around];
  }
  if (around == table_no_row) {
    const table_diff_span all = {0, UINT64_MAX};
    return take_next(finder, &finder->cursors[finder->n], &all, key);
  }
  const table_form *form = &finder->rows[around].after;
  const table_diff_span block = {form->code, table_last_key(form)};
  return take_next(finder, &finder->cursors[around], &block, key);
}

}  // namespace

int32_t table_diff_spare_begin(table_diff_spare *finder, const table_row_change *rows, uint32_t n) {
  *finder = {};
  finder->rows = rows;
  finder->n = n;
  if (!table_make_array(&finder->parent, n) || !table_make_zeros(&finder->cursors, size_t{n} + 1) ||
      !table_make_array(&finder->spans, size_t{4} * n)) {
    return TM_ENOMEM;
  }
  table_find_parents(finder->rows, finder->n, finder->parent);
  collect_spans(finder);
  return TM_OK;
}

table_spare_keys table_diff_spare_of(table_diff_spare *finder, const uint32_t *home) {
  finder->home = home;
  return {find_spare, finder};
}

void table_diff_spare_free(table_diff_spare *finder) {
  tm_free(finder->parent);
  tm_free(finder->cursors);
  tm_free(finder->spans);
  *finder = {};
}
