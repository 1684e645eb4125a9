// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_undo.cpp - taking back what a batch has applied. Which of the two ways is the mode's (tcamv6_rules.h).
#include "tcamv6_incr_batch.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"
#include "tm_journal.h"
#include "tm_memory.h"

namespace {

constexpr const char *driver = "tcamv6_incr_compress";
constexpr const char *undoer = "tcamv6_incr_compress_fail_cleanup";

void log_undo_start(const tcamv6_batch *b) {
  const void *state = b->state;
  TM_LOG(trace, "%s starts statep %p index %d", undoer, state, static_cast<int>(b->at));
  TM_LOG(error, "%s starts statep %p index %d", undoer, state, static_cast<int>(b->at));
}

void log_undo_size(const tcamv6_batch *b) {
  TM_LOG(error, "%s : cleanup %d prefixes total %d prefixes", undoer, static_cast<int>(b->at),
         static_cast<int>(b->state->n_prefs));
}

void log_undo_end(const tcamv6_batch *b, int32_t result) {
  TM_LOG(error, "%s ends %d total %d prefixes", undoer, result, static_cast<int>(b->state->n_prefs));
  TM_LOG(trace, "%s ends %d", undoer, result);
}

// The applied records turned round: first the additions, last one first, as deletes; then the deletes as additions.
void fill_undo(const tcamv6_batch *b, tcamv6_prefix *records) {
  uint32_t n = 0;
  for (uint32_t i = b->at; i-- > 0;) {
    if ((b->records[i].flags_tag & TM_PREFIX_FLAG_ADD) != 0) {
      records[n] = b->records[i];
      records[n++].flags_tag &= ~static_cast<uint32_t>(TM_PREFIX_FLAG_ADD);
    }
  }
  for (uint32_t i = 0; i < b->at; ++i) {
    if ((b->records[i].flags_tag & TM_PREFIX_FLAG_ADD) == 0) {
      records[n] = b->records[i];
      records[n++].flags_tag |= TM_PREFIX_FLAG_ADD;
    }
  }
  if (n != b->at) {
    zel_fatal("\n%s:  j is not equal to no_of_prefixes", undoer);
  }
}

int32_t run_undo(const tcamv6_batch *b, tcamv6_prefix *records, tcamv6_cmpr_pref *cmpr_prefs,
                 tcamv6_cmpr_addr *cmpr_addrs) {
  fill_undo(b, records);
  log_undo_size(b);
  uint32_t extra_ops_pending = 0;
  uint32_t changed = 0;
  uint32_t walk_result = 0;
  tcamv6_batch undo = {b->state,   b->rules,           b->at,    records,      cmpr_prefs,
                       cmpr_addrs, &extra_ops_pending, &changed, &walk_result, 0};
  return tcamv6_run_batch(&undo, tcamv6_batch_kind::undo);
}

template <class Record>
Record *allocate(uint32_t count) {
  return static_cast<Record *>(zel_calloc_named(TM_MEM_TAG_LIST, count, sizeof(Record)));
}

int32_t tcamv6_incr_compress_fail_cleanup(const tcamv6_batch *b) {
  if (b->at == 0) {
    return TM_OK;
  }
  log_undo_start(b);
  auto *records = allocate<tcamv6_prefix>(b->at);
  auto *cmpr_prefs = allocate<tcamv6_cmpr_pref>(b->at);
  auto *cmpr_addrs = allocate<tcamv6_cmpr_addr>(b->at);
  const bool whole = records != nullptr && cmpr_prefs != nullptr && cmpr_addrs != nullptr;
  const int32_t result = whole ? run_undo(b, records, cmpr_prefs, cmpr_addrs) : TM_OK;
  tm_free(records);
  tm_free(cmpr_prefs);
  tm_free(cmpr_addrs);
  if (whole) {
    log_undo_end(b, result);
  }
  return result;
}

}  // namespace

void tcamv6_undo_by_replay(const tcamv6_batch *b, tcamv6_batch_kind kind) {
  // When the final walk of an undo fails, undoing it would only walk again.
  if (kind == tcamv6_batch_kind::undo && b->at == b->count) {
    return;
  }
  if (tcamv6_incr_compress_fail_cleanup(b) != TM_OK) {
    TM_LOG(error, "%s: tcamv6_incr_compress_fail_cleanup failed", driver);
  }
}

void tcamv6_roll_back(const tcamv6_batch *b, const tcamv6_saved_counts *saved) {
  if (b->at != 0) {
    log_undo_start(b);
    log_undo_size(b);
  }
  tm_journal_rollback(tm_chunk_free);
  b->state->n_prefs = saved->n_prefs;
  b->state->n_rows = saved->n_rows;
  tcamv6_take_back_tags(saved->tags_handed_out);
  if (b->at != 0) {
    log_undo_end(b, TM_OK);
  }
}
