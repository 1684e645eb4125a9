// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_batch.h - a batch while it is being applied, and its parts: records, undo.
#ifndef TCAMV6_INCR_BATCH_H
#define TCAMV6_INCR_BATCH_H

#include "tcamv6_rules.h"
#include "tcamv6_state.h"

enum class tcamv6_batch_kind { request, undo };

struct tcamv6_batch {
  tcamv6_state *state;
  tcamv6_update_rules rules;
  uint32_t count;
  const tcamv6_prefix *records;
  tcamv6_cmpr_pref *cmpr_prefs;
  tcamv6_cmpr_addr *cmpr_addrs;
  uint32_t *extra_ops_pending;
  uint32_t *changed;
  uint32_t *walk_result;
  uint32_t at;  // record being applied; count during the final walk
};

// What a journal does not cover.
struct tcamv6_saved_counts {
  uint32_t n_prefs;
  uint32_t n_rows;
  uint32_t tags_handed_out;
};

// Apply a batch, or undo what it has applied (tcamv6_incr.cpp). Returns 0 or the status of what failed.
int32_t tcamv6_run_batch(tcamv6_batch *b, tcamv6_batch_kind kind);

// Apply the record `at` (tcamv6_incr_record.cpp).
//   slot   the record's second slot for extra operations
// Returns 0, also for a deletion that finds nothing (reported); otherwise the status of the refusal.
int32_t tcamv6_apply_delete(tcamv6_batch *b, tcamv6_cmpr_pref *slot);
int32_t tcamv6_apply_add(tcamv6_batch *b, tcamv6_cmpr_pref *slot);

// Print a record under the result word.
void tcamv6_log_prefix(const char *label, const tcamv6_prefix *record);

// Undo the records before `at` (tcamv6_incr_undo.cpp): by a batch of their opposites, or by the open journal.
void tcamv6_undo_by_replay(const tcamv6_batch *b, tcamv6_batch_kind kind);
void tcamv6_roll_back(const tcamv6_batch *b, const tcamv6_saved_counts *saved);

#endif
