// SPDX-License-Identifier: Apache-2.0
// tm_journal.cpp - three logs: words changed, elements taken, elements given back.
//
// Words are kept with their old contents in the order of the edits and put back in reverse, so a word may be
// saved any number of times. Fields are saved as the aligned 8-byte word around them, which lies inside
// their element: elements are aligned to 8 bytes and their sizes are multiples of 8.
#include "tm_journal.h"

#include <string.h>

#include "tm_debug.h"
#include "tm_memory.h"

bool tm_journal_is_open = false;

namespace {

// What one record is allotted. It links, numbers and counts with some 40 words, and forgets what two paths of the
// compressed trie were known to be full of; it takes or gives back 128 nodes of the trie with their data, two
// compressed paths of 64 and some records. What hangs on the size of the table is reserved where it is known.
constexpr size_t edits_per_record = 256;
constexpr size_t elements_per_record = 400;

struct saved_word {
  void *word;
  uint64_t contents;
};

// An element's address with its chunk type in the low 3 bits, which alignment leaves free.
using typed_element = uint64_t;

// Notes of one kind. count <= reserved <= room, as long as whoever makes a note has reserved it.
template <class Note>
struct log_of {
  Note *notes;
  size_t count;
  size_t reserved;  // notes that may be made without asking for memory
  size_t room;      // notes that there is memory for
};

struct journal {
  log_of<saved_word> edits;
  log_of<typed_element> taken;
  log_of<typed_element> released;
  bool lost_a_release;  // one found no room: the batch can be rolled back, but not committed
};

journal open_journal = {};
uint64_t n_unreserved = 0;

// Make room for twice the notes that are needed. Returns false when there is no memory for it.
template <class Note>
bool grow(log_of<Note> *log, size_t needed, const char *function) {
  const size_t room = 2 * needed;
  auto *notes = static_cast<Note *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof(Note)));
  if (notes == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed for the journal", function, room * sizeof(Note));
    return false;
  }
  if (log->count != 0) {
    memcpy(notes, log->notes, log->count * sizeof(Note));
  }
  tm_free(log->notes);
  log->notes = notes;
  log->room = room;
  return true;
}

template <class Note>
int32_t reserve_up_to(log_of<Note> *log, size_t needed, const char *function) {
  if (needed > log->room && !grow(log, needed, function)) {
    return TM_ENOMEM;
  }
  log->reserved = needed;
  return TM_OK;
}

// Room for a note that nobody has reserved.
template <class Note>
bool make_room(log_of<Note> *log, const char *function) {
  ++n_unreserved;
  return reserve_up_to(log, log->count + 1, function) == TM_OK;
}

template <class Note>
bool note(log_of<Note> *log, Note what, const char *function) {
  if (log->count >= log->reserved && !make_room(log, function)) {
    return false;
  }
  log->notes[log->count++] = what;
  return true;
}

typed_element pack(uint32_t type, const void *element) { return reinterpret_cast<uintptr_t>(element) | type; }

void give_all_back(const log_of<typed_element> *log, tm_journal_give_back give_back) {
  for (size_t i = 0; i < log->count; ++i) {
    const typed_element packed = log->notes[i];
    give_back(packed & 7u, reinterpret_cast<void *>(static_cast<uintptr_t>(packed & ~uint64_t{7})));
  }
}

void close_journal() {
  tm_free(open_journal.edits.notes);
  tm_free(open_journal.taken.notes);
  tm_free(open_journal.released.notes);
  open_journal = {};
  tm_journal_is_open = false;
}

}  // namespace

int32_t tm_journal_reserve_record(const char *function) {
  if (!tm_journal_is_open) {
    return TM_OK;
  }
  journal *j = &open_journal;
  int32_t result = reserve_up_to(&j->edits, j->edits.count + edits_per_record, function);
  if (result == TM_OK) {
    result = reserve_up_to(&j->taken, j->taken.count + elements_per_record, function);
  }
  if (result == TM_OK) {
    result = reserve_up_to(&j->released, j->released.count + elements_per_record, function);
  }
  return result;
}

int32_t tm_journal_open(const char *function) {
  tm_journal_is_open = true;
  const int32_t result = tm_journal_reserve_record(function);
  if (result != TM_OK) {
    close_journal();
  }
  return result;
}

int32_t tm_journal_reserve_edits(const char *function, size_t n) {
  log_of<saved_word> *log = &open_journal.edits;
  return tm_journal_is_open ? reserve_up_to(log, log->reserved + n, function) : TM_OK;
}

int32_t tm_journal_reserve_releases(const char *function, size_t n) {
  log_of<typed_element> *log = &open_journal.released;
  return tm_journal_is_open ? reserve_up_to(log, log->reserved + n, function) : TM_OK;
}

void tm_journal_commit(tm_journal_give_back give_back) {
  tm_journal_is_open = false;
  give_all_back(&open_journal.released, give_back);
  close_journal();
}

void tm_journal_rollback(tm_journal_give_back give_back) {
  tm_journal_is_open = false;
  for (size_t i = open_journal.edits.count; i-- > 0;) {
    const saved_word *saved = &open_journal.edits.notes[i];
    memcpy(saved->word, &saved->contents, sizeof saved->contents);
  }
  give_all_back(&open_journal.taken, give_back);
  close_journal();
}

void tm_journal_discard() { close_journal(); }

void tm_journal_save(void *field, size_t size) {
  constexpr const char *function = "tm_journal_save";
  const uintptr_t at = reinterpret_cast<uintptr_t>(field);
  saved_word saved = {reinterpret_cast<void *>(at & ~uintptr_t{7}), 0};
  TM_REQUIRE(function, (at & 7u) + size <= sizeof saved.contents, "field crosses a word");
  memcpy(&saved.contents, saved.word, sizeof saved.contents);
  TM_REQUIRE(function, note(&open_journal.edits, saved, function), "journal is full");
}

bool tm_journal_take(uint32_t type, void *element) {
  return note(&open_journal.taken, pack(type, element), "tm_journal_take");
}

void tm_journal_release(uint32_t type, void *element) {
  if (!note(&open_journal.released, pack(type, element), "tm_journal_release")) {
    open_journal.lost_a_release = true;
  }
}

int32_t tm_journal_check() { return open_journal.lost_a_release ? TM_ENOMEM : TM_OK; }

uint64_t tm_journal_unreserved() { return n_unreserved; }
