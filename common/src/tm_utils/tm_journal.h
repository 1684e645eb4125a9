// SPDX-License-Identifier: Apache-2.0
// tm_journal.h - exact rollback of the stored structures.
//
// While a journal is open, every change of a stored element goes through tm_edit, every element taken from
// a pool is noted and every element given back is kept aside. Closing it either makes the releases
// (commit) or puts every word back, gives back what was taken and forgets the releases (rollback). It knows elements by
// address and type only; whoever closes it names the function that gives one back to its pool (tm_chunk_free).
//
// One journal at a time, for the whole library. Rolling back and committing need no memory. Notes do, and whoever is
// about to make them reserves it first: each record of a batch is allotted what an ordinary one needs
// (tm_journal_reserve_record), and a step whose edits or releases grow with the table asks for its own. When the
// platform refuses, so does the record, and the batch is rolled back. Logs at least double when they grow, so that a
// batch costs what its records do.
#ifndef TM_JOURNAL_H
#define TM_JOURNAL_H

#include "tm_api.h"

// True while a journal is open: the one test on every path that changes stored elements.
extern bool tm_journal_is_open;

// Open the journal, with what its first record needs. Returns 0, or -12 when the platform refuses that memory: nothing
// is open then.
int32_t tm_journal_open(const char *function);

// Reserve what one record needs whatever the table looks like. Returns 0, or -12 when the platform refuses the
// memory: reported under the caller's name, and nothing noted so far is lost. 0 when no journal is open. Call it once
// per record: what the record before left unused does not add up.
int32_t tm_journal_reserve_record(const char *function);

// Reserve n edits, or n releases, beyond what is reserved already. Results as above.
int32_t tm_journal_reserve_edits(const char *function, size_t n);
int32_t tm_journal_reserve_releases(const char *function, size_t n);

// Can the open journal be committed? Returns 0, or -12 when it could not keep note of all releases: roll back.
int32_t tm_journal_check(void);

using tm_journal_give_back = void (*)(uint32_t type, void *element);

// Make the releases of the batch, forget the rest, close.
void tm_journal_commit(tm_journal_give_back give_back);

// Put everything back as it was when the journal was opened, close.
void tm_journal_rollback(tm_journal_give_back give_back);

// Forget an open journal whose pools are gone.
void tm_journal_discard(void);

// Note one word that is about to change. The field lies inside a pooled element.
void tm_journal_save(void *field, size_t size);

// Note an element that was just taken. Returns false when there is no room for the note.
bool tm_journal_take(uint32_t type, void *element);

// Keep an element aside that is given back; its contents stay.
void tm_journal_release(uint32_t type, void *element);

// Notes made since the process began that nobody had reserved memory for. They were kept, memory permitting; every
// one is a step that forgot to reserve. Tests look for 0.
uint64_t tm_journal_unreserved(void);

// Change a field of a stored element.
template <class Field, class Value>
inline void tm_edit(Field *field, Value value) {
  if (tm_journal_is_open) {
    tm_journal_save(field, sizeof *field);
  }
  *field = static_cast<Field>(value);
}

#endif
