// SPDX-License-Identifier: Apache-2.0
// tm_journal.h - exact rollback of the stored structures.
//
// While a journal is open, every change of a stored element goes through tm_edit, every element taken from
// a pool is noted and every element given back is kept aside. Closing it either makes the releases
// (commit) or puts every word back, gives back what was taken and forgets the releases (rollback).
//
// One journal at a time, for the whole library. Its memory is reserved before anything is touched;
// rolling back and committing need none.
#ifndef TM_JOURNAL_H
#define TM_JOURNAL_H

#include "tm_api.h"

// True while a journal is open: the one test on every path that changes stored elements.
extern bool tm_journal_is_open;

// Open the journal for a batch of n_records. Returns 0, or -12 when its memory is refused: nothing is open
// then and nothing was touched.
int32_t tm_journal_open(uint32_t n_records);

// Reserve room for n_words further edits, beyond those that every record is allotted (a new level relinks
// as many nodes as its parent has children). Returns 0 or -12; 0 when no journal is open.
int32_t tm_journal_reserve_edits(size_t n_words);

// Can the open journal be committed? Returns 0, or -12 when it could not keep note of all releases: roll back.
int32_t tm_journal_check(void);

// Make the releases of the batch, forget the rest, close.
void tm_journal_commit(void);

// Put everything back as it was when the journal was opened, close.
void tm_journal_rollback(void);

// Forget an open journal whose pools are gone.
void tm_journal_discard(void);

// Note one word that is about to change. The field lies inside a pooled element.
void tm_journal_save(void *field, size_t size);

// Note an element that was just taken. Returns false when there is no room for the note.
bool tm_journal_take(uint32_t type, void *element);

// Keep an element aside that is given back; its contents stay.
void tm_journal_release(uint32_t type, void *element);

// Change a field of a stored element.
template <class Field, class Value>
inline void tm_edit(Field *field, Value value) {
  if (tm_journal_is_open) {
    tm_journal_save(field, sizeof *field);
  }
  *field = static_cast<Field>(value);
}

#endif
