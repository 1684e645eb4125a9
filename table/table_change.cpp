// SPDX-License-Identifier: Apache-2.0
// table_change.cpp - from wishes to a request, and from what the engine did to writes.
//
// No cost of a change grows with the table, so the rows that it can concern must be known without looking at the
// others:
//
//   named     the prefixes that come or go
//   moved     what the engine says it has moved
//
// All others keep code and key. The first prefix inside a row makes it an inner one, with a dummy for its address: that
// is put where the row's key is already, at its code with zeros behind, or else the row is one of those moved. A prefix
// that goes leaves a dummy around it where it is; its own dummy and path go along, its children keep theirs.
#include "table_change.h"

#include <string.h>

#include "table_array.h"
#include "table_spare.h"
#include "table_stored.h"
#include "tcamv6_moves_internal.h"
#include "tm_stable_sort.h"

namespace {

// Wishes come from two kinds of records, which differ in one byte.
static_assert(sizeof(zel_v6comp_table_prefix) == sizeof(zel_v6comp_table_change), "");
static_assert(offsetof(zel_v6comp_table_prefix, length) == offsetof(zel_v6comp_table_change, length), "");
static_assert(offsetof(zel_v6comp_table_prefix, word) == offsetof(zel_v6comp_table_change, word), "");

int cmp_wishes(const void *a, const void *b) {
  const auto *x = static_cast<const table_wish *>(a);
  const auto *y = static_cast<const table_wish *>(b);
  if (x->address != y->address) {
    return x->address < y->address ? -1 : 1;
  }
  return x->length - y->length;
}

int32_t judge_wish(const table_wish *wish, uint8_t operation) {
  if (wish->length > TM_KEY_BITS) {
    return ZEL_V6COMP_TABLE_E_LENGTH;
  }
  if ((wish->address & ~tm_key_number_leading(wish->length)) != 0) {
    return ZEL_V6COMP_TABLE_E_HOST_BITS;
  }
  return operation > ZEL_V6COMP_TABLE_ADD ? ZEL_V6COMP_TABLE_E_OPERATION : ZEL_V6COMP_TABLE_OK;
}

int32_t take_records(table_change_run *run, const zel_v6comp_table_change *records, size_t n, bool all_add) {
  if (n > ZEL_V6COMP_TABLE_MAX_RECORDS) {
    return ZEL_V6COMP_TABLE_E_COUNT;
  }
  if (records == nullptr && n != 0) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  if (!table_make_array(&run->wishes, n)) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  for (uint32_t i = 0; i < n; ++i) {
    zel_v6comp_table_change record;
    memcpy(&record, &records[i], sizeof record);
    const uint8_t operation = all_add ? uint8_t{ZEL_V6COMP_TABLE_ADD} : record.operation;
    run->wishes[i] = {tm_key_load(record.address), record.word, i, record.length, operation == ZEL_V6COMP_TABLE_ADD};
    const int32_t status = judge_wish(&run->wishes[i], operation);
    if (status != ZEL_V6COMP_TABLE_OK) {
      run->outcome.record = i;
      return status;
    }
  }
  run->n_wishes = static_cast<uint32_t>(n);
  tm_stable_sort(run->wishes, n, sizeof *run->wishes, cmp_wishes);
  return ZEL_V6COMP_TABLE_OK;
}

table_row_change *next_row(table_change_run *run, tm_key_number address, uint8_t length, uint32_t word) {
  table_row_change *row = &run->rows[run->n_rows++];
  *row = table_row_of(address, length, word);
  return row;
}

// Note a stored row as it is before the change.
void note_row(table_change_run *run, const tm_util_trie_node *node, uint32_t word) {
  table_row_change *row =
      next_row(run, tm_key_load(node->key) & tm_key_number_leading(node->len), static_cast<uint8_t>(node->len), word);
  row->before = table_read_form(node);
  row->was = true;
}

void note_wish(table_change_run *run, const table_wish *wish) {
  const tm_util_trie_node *stored = table_find_row(run->table->state, wish->address, wish->length);
  if (stored != nullptr) {
    note_row(run, stored, wish->add ? wish->word : table_read_word(stored));
  } else {
    next_row(run, wish->address, wish->length, wish->word);
  }
  if (wish->add == (stored != nullptr)) {
    return;  // a new word, no more
  }
  run->records[run->n_records++] = table_request_record(wish->address, wish->length, wish->add);
  ++(wish->add ? run->outcome.added : run->outcome.removed);
}

bool make_row_room(table_change_run *run, uint32_t more) {
  if (run->row_room - run->n_rows >= more) {
    return true;
  }
  table_row_change *rows = nullptr;
  if (!table_make_array(&rows, size_t{run->n_rows} + more)) {
    return false;
  }
  if (run->n_rows != 0) {
    memcpy(rows, run->rows, run->n_rows * sizeof *rows);
  }
  tm_free(run->rows);
  run->rows = rows;
  run->row_room = run->n_rows + more;
  return true;
}

// Moves say where a prefix was, in their order: the first one of a prefix knows where it was before the change.
bool note_moves(table_change_run *run, const tcamv6_move_list *moves) {
  if (!make_row_room(run, moves->count)) {
    return false;
  }
  for (uint32_t i = 0; i < moves->count; ++i) {
    const zel_v6comp_move *move = &moves->moves[i];
    table_row_change *row = next_row(run, tm_key_load(move->address), move->length, move->reference);
    row->before = {tm_key_load_word(move->old_key), tm_key_load_word(move->old_address), move->old_length};
    row->was = true;
  }
  return true;
}

// The engine's own prefixes are no rows: a move of ::/0 concerns hardware only when a host has it, too.
void sort_rows(table_change_run *run) {
  tm_stable_sort(run->rows, run->n_rows, sizeof *run->rows, table_cmp_row_changes);
  uint32_t kept = 0;
  for (uint32_t i = 0; i < run->n_rows; ++i) {
    const table_row_change *row = &run->rows[i];
    const bool is_default = row->length == 0 && !run->table->has_default && row->was;
    if (!is_default && (kept == 0 || table_cmp_row_changes(&run->rows[kept - 1], row) != 0)) {
      run->rows[kept++] = *row;
    }
  }
  run->n_rows = kept;
}

// Read the rows anew, and keep those that hardware has to hear of.
void read_rows_after(table_change_run *run) {
  uint32_t kept = 0;
  for (uint32_t i = 0; i < run->n_rows; ++i) {
    table_row_change row = run->rows[i];
    const tm_util_trie_node *node = table_find_row(run->table->state, row.address, row.length);
    row.is = node != nullptr;
    if (row.is) {
      row.after = table_read_form(node);
    }
    if (!table_is_unchanged(&row)) {
      const bool both = row.was && row.is;
      const bool same_code = table_same_code(&row.before, &row.after);
      run->outcome.moved += both && !same_code;
      run->outcome.rekeyed += both && same_code;
      run->rows[kept++] = row;
    }
  }
  run->n_rows = kept;
}

}  // namespace

int32_t table_take_changes(table_change_run *run, const zel_v6comp_table_change *changes, size_t n) {
  return take_records(run, changes, n, false);
}

int32_t table_take_prefixes(table_change_run *run, const zel_v6comp_table_prefix *prefixes, size_t n) {
  return take_records(run, reinterpret_cast<const zel_v6comp_table_change *>(prefixes), n, true);
}

void table_settle_wishes(table_change_run *run) {
  uint32_t kept = 0;
  for (uint32_t i = 0; i < run->n_wishes;) {
    const table_wish *first = &run->wishes[i];
    const bool was = table_find_row(run->table->state, first->address, first->length) != nullptr;
    bool is = was;
    table_wish last = *first;
    for (; i < run->n_wishes && cmp_wishes(&run->wishes[i], first) == 0; ++i) {
      last = run->wishes[i];
      run->outcome.present += last.add && is;
      run->outcome.absent += !last.add && !is;
      is = last.add;
    }
    if (was || is) {
      run->wishes[kept++] = last;  // never ahead of i: `first` has been read for the last time
    }
  }
  run->n_wishes = kept;
}

int32_t table_wish_the_rest_away(table_change_run *run) {
  table_wish *all = nullptr;
  if (!table_make_array(&all, size_t{run->n_wishes} + run->table->n_rows)) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  table_walk walk;
  table_walk_begin(&walk, run->table->state);
  uint32_t count = 0;
  uint32_t next = 0;
  for (const tm_util_trie_node *node = table_walk_step(&walk); node != nullptr; node = table_walk_step(&walk)) {
    const table_wish gone = {tm_key_load(node->key) & tm_key_number_leading(node->len), 0, UINT32_MAX,
                             static_cast<uint8_t>(node->len), false};
    while (next < run->n_wishes && cmp_wishes(&run->wishes[next], &gone) < 0) {
      all[count++] = run->wishes[next++];
    }
    if (next == run->n_wishes || cmp_wishes(&run->wishes[next], &gone) != 0) {
      all[count++] = gone;
    }
  }
  while (next < run->n_wishes) {
    all[count++] = run->wishes[next++];
  }
  zel_free_named(run->wishes);
  run->wishes = all;
  run->n_wishes = count;
  return ZEL_V6COMP_TABLE_OK;
}

int32_t table_prepare_change(table_change_run *run) {
  if (!make_row_room(run, run->n_wishes) || !table_make_array(&run->records, run->n_wishes)) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  for (uint32_t i = 0; i < run->n_wishes; ++i) {
    note_wish(run, &run->wishes[i]);
  }
  return ZEL_V6COMP_TABLE_OK;
}

int32_t table_note_all_rows(table_change_run *run) {
  if (!make_row_room(run, run->table->n_rows) || !table_make_array(&run->records, run->table->n_rows)) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  table_walk walk;
  table_walk_begin(&walk, run->table->state);
  for (const tm_util_trie_node *node = table_walk_step(&walk); node != nullptr; node = table_walk_step(&walk)) {
    note_row(run, node, table_read_word(node));
    const table_row_change *row = &run->rows[run->n_rows - 1];
    run->records[run->n_records++] = table_request_record(row->address, row->length, true);
  }
  return ZEL_V6COMP_TABLE_OK;
}

int32_t table_plan_change(table_change_run *run) {
  if (!note_moves(run, tcamv6_moves_collected())) {
    return TM_ENOMEM;
  }
  run->outcome.moved = 0;
  run->outcome.rekeyed = 0;
  sort_rows(run);
  read_rows_after(run);
  table_spare_finder finder = {};
  finder.state = run->table->state;
  finder.rows = run->rows;
  finder.n = run->n_rows;
  const table_spare_keys spare = table_spare_of(&finder);
  const int32_t result = table_plan(run->rows, run->n_rows, &spare, &run->writes, &run->plan);
  table_free_spare(&finder);
  return result;
}

void table_free_change(table_change_run *run) {
  tm_free(run->wishes);
  tm_free(run->records);
  tm_free(run->rows);
  table_free_writes(&run->writes);
}
