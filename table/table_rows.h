// SPDX-License-Identifier: Apache-2.0
// table_rows.h - rows of a table inside the library: a prefix, and what it is before and after a change.
#ifndef TABLE_ROWS_H
#define TABLE_ROWS_H

#include <stdint.h>

#include "tm_key.h"

// What a stored prefix became: the first `length` bits of `code` are its code.
struct table_form {
  uint64_t code;
  uint64_t key;
  uint8_t length;
};

// A prefix that a change concerns.
struct table_row_change {
  tm_key_number address;  // bits beyond the length are 0
  table_form before;
  table_form after;
  uint32_t word;
  uint8_t length;
  bool was;  // a row before the change
  bool is;   // a row after it
};

// A prefix that is a row neither before the change nor after it, yet.
inline table_row_change table_row_of(tm_key_number address, uint8_t length, uint32_t word) {
  table_row_change row = {};
  row.address = address;
  row.length = length;
  row.word = word;
  return row;
}

inline uint64_t table_leading_bits(uint32_t n) { return n == 0 ? 0 : ~uint64_t{0} << (64 - n); }

// The last key that begins with a form's code.
inline uint64_t table_last_key(const table_form *form) { return form->code | ~table_leading_bits(form->length); }

inline bool table_covers_key(const table_form *form, uint64_t key) {
  return ((form->code ^ key) & table_leading_bits(form->length)) == 0;
}

inline bool table_same_code(const table_form *a, const table_form *b) {
  return a->length == b->length && a->code == b->code;
}

inline bool table_contains(const table_row_change *outer, const table_row_change *inner) {
  return outer->length <= inner->length &&
         ((outer->address ^ inner->address) & tm_key_number_leading(outer->length)) == 0;
}

// Does the row keep everything that hardware knows of it?
inline bool table_is_unchanged(const table_row_change *row) {
  return row->was == row->is &&
         (!row->was || (table_same_code(&row->before, &row->after) && row->before.key == row->after.key));
}

// The tasks of a row.
inline bool table_adds_code(const table_row_change *row) {
  return row->is && !(row->was && table_same_code(&row->before, &row->after));
}
inline bool table_removes_code(const table_row_change *row) {
  return row->was && !(row->is && table_same_code(&row->before, &row->after));
}
inline bool table_writes_key(const table_row_change *row) {
  return row->was != row->is || (row->was && row->before.key != row->after.key);
}

// The order of rows: by address, containing ones first.
int table_cmp_row_changes(const void *a, const void *b);

inline constexpr uint32_t table_no_row = UINT32_MAX;

// Of n rows in that order, find for each the nearest one that contains it; table_no_row when there is none.
void table_find_parents(const table_row_change *rows, uint32_t n, uint32_t *parent);

#endif
