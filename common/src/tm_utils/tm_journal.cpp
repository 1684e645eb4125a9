// SPDX-License-Identifier: Apache-2.0
// tm_journal.cpp - three logs in one block of memory: words changed, elements taken, elements given back.
//
// Words are kept with their old contents in the order of the edits and put back in reverse, so a word may be
// saved any number of times. Fields are saved as the aligned 8-byte word around them, which lies inside
// their element: elements are aligned to 8 bytes and their sizes are multiples of 8.
#include "tm_journal.h"

#include <string.h>

#include "tm_chunk_internal.h"
#include "tm_debug.h"
#include "tm_memory.h"

bool tm_journal_is_open = false;

namespace {

// What one record is allotted; a new level's relinking comes on top (tm_journal_reserve_edits). A deletion can release
// more than its own path, when earlier ones had to leave theirs in place: the log of releases grows then.
constexpr size_t edits_per_record = 64;      // a record edits some 40 words; more let the log grow
constexpr size_t elements_per_record = 400;  // 128 nodes of the trie, two compressed paths of 64, some records

struct saved_word {
  uint64_t *word;
  uint64_t contents;
};

// An element's address with its chunk type in the low 3 bits, which alignment leaves free.
using typed_element = uint64_t;

struct element_log {
  typed_element *elements;
  size_t count;
  size_t room;
};

struct journal {
  saved_word *edits;
  size_t n_edits;
  size_t edit_room;
  element_log taken;
  element_log released;
  bool lost_a_release;  // one found no room: the batch can be rolled back, but not committed
};

journal open_journal = {};

size_t smaller(size_t a, size_t b) { return a < b ? a : b; }

typed_element pack(uint32_t type, const void *element) { return tm_idx(element) | type; }

void give_back(typed_element packed) { tm_chunk_free(packed & 7u, tm_ptr<void>(packed & ~uint64_t{7})); }

// Twice the room. Returns false when there is no memory for it.
bool grow(element_log *log) {
  const size_t room = 2 * log->room + 1;
  auto *elements = static_cast<typed_element *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof(typed_element)));
  if (elements == nullptr) {
    return false;
  }
  if (log->count != 0) {
    memcpy(elements, log->elements, log->count * sizeof(typed_element));
  }
  zel_free_named(log->elements);
  log->elements = elements;
  log->room = room;
  return true;
}

bool add_element(element_log *log, uint32_t type, const void *element) {
  if (log->count == log->room && !grow(log)) {
    return false;
  }
  log->elements[log->count++] = pack(type, element);
  return true;
}

bool make_element_log(element_log *log, size_t room) {
  *log = {static_cast<typed_element *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof(typed_element))), 0, room};
  return log->elements != nullptr;
}

void close_journal() {
  tm_free(open_journal.edits);
  tm_free(open_journal.taken.elements);
  tm_free(open_journal.released.elements);
  open_journal = {};
  tm_journal_is_open = false;
}

}  // namespace

int32_t tm_journal_open(uint32_t n_records) {
  size_t allocated = 0;
  size_t unused = 0;
  const tm_chunk_info *info = tm_chunk_info_base();
  for (uint32_t type = 0; info != nullptr && type < TM_CHUNK_TYPES; ++type) {
    allocated += info[type].allocated;
    unused += info[type].n_elems - info[type].allocated;
  }
  // Nothing that is given back makes room before the batch ends, so a batch takes no more than is unused now.
  const size_t most = n_records * elements_per_record;
  open_journal.edit_room = (n_records + 1) * edits_per_record;
  open_journal.edits =
      static_cast<saved_word *>(zel_malloc_named(TM_MEM_TAG_LIST, open_journal.edit_room * sizeof(saved_word)));
  if (open_journal.edits == nullptr || !make_element_log(&open_journal.taken, smaller(most, unused)) ||
      !make_element_log(&open_journal.released, smaller(most, allocated + unused))) {
    close_journal();
    return TM_ENOMEM;
  }
  tm_journal_is_open = true;
  return TM_OK;
}

int32_t tm_journal_reserve_edits(size_t n_words) {
  if (!tm_journal_is_open) {
    return TM_OK;
  }
  const size_t room = open_journal.edit_room + n_words;
  auto *edits = static_cast<saved_word *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof(saved_word)));
  if (edits == nullptr) {
    return TM_ENOMEM;
  }
  memcpy(edits, open_journal.edits, open_journal.n_edits * sizeof(saved_word));
  zel_free_named(open_journal.edits);
  open_journal.edits = edits;
  open_journal.edit_room = room;
  return TM_OK;
}

void tm_journal_commit() {
  tm_journal_is_open = false;
  for (size_t i = 0; i < open_journal.released.count; ++i) {
    give_back(open_journal.released.elements[i]);
  }
  close_journal();
}

void tm_journal_rollback() {
  tm_journal_is_open = false;
  for (size_t i = open_journal.n_edits; i-- > 0;) {
    *open_journal.edits[i].word = open_journal.edits[i].contents;
  }
  for (size_t i = 0; i < open_journal.taken.count; ++i) {
    give_back(open_journal.taken.elements[i]);
  }
  close_journal();
}

void tm_journal_discard() { close_journal(); }

void tm_journal_save(void *field, size_t size) {
  TM_REQUIRE(open_journal.n_edits < open_journal.edit_room || tm_journal_reserve_edits(open_journal.edit_room) == TM_OK,
             "journal is full");
  auto *word = reinterpret_cast<uint64_t *>(reinterpret_cast<uintptr_t>(field) & ~uintptr_t{7});
  TM_REQUIRE(static_cast<uint8_t *>(field) + size <= reinterpret_cast<uint8_t *>(word + 1), "field crosses a word");
  open_journal.edits[open_journal.n_edits++] = {word, *word};
}

bool tm_journal_take(uint32_t type, void *element) { return add_element(&open_journal.taken, type, element); }

void tm_journal_release(uint32_t type, void *element) {
  if (!add_element(&open_journal.released, type, element)) {
    open_journal.lost_a_release = true;
  }
}

int32_t tm_journal_check() { return open_journal.lost_a_release ? TM_ENOMEM : TM_OK; }
