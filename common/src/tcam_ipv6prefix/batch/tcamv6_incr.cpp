// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr.cpp - a batch, record by record, and what happens when one of them cannot be applied.
//
// A table is compressed in full once. After that it changes by batches of additions and deletions, and the keys of
// what is stored stay where they are: the hardware has them. Each record is applied to the structures at once, so
// that the next one sees what the one before it did. On the README's five prefixes:
//
//   - 2001:db8:2:3::/64    weight goes off its node; nothing is left, so it leaves the structures   (tcamv6_incr_del)
//   + 2001:db8:2:4::/64    falls into 2001:db8:2::/48: a path below that one's node, 0x00001ff/28   (tcamv6_incr_add)
//   + 2001:db8::/40        lies above db8:1::/48 and db8:2::/48: a new level                       (tcamv6_incr_newlvl)
//
// Records bring anchors along, and anchors are records like others: 2001:db8:2:4::/64 also adds to the counts of
// 2001:db8::/32 and 2001:db8:2::/48, and its deletion takes them off again.
//
// What the host gets back, record by record, is the code and the compressed address of an added prefix, the code and
// the handle of a deleted one, and a pair of slots for extra operations: when the enclosing prefix was a leaf and
// now needs a dummy, its own address moves, and the host writes that entry too (tcamv6_extra_ops).
//
// A batch is whole or not at all. Record k fails; what becomes of records 1 to k - 1?
//
//   compatible mode   1 .. k-1 applied | k fails  ->  a batch of the opposites: additions deleted, last one first, then
//                     deletions added. That batch can fail too and is undone the same way: mutual recursion on ever
//                     shorter batches. A prefix that comes back need not come back to its old key.
//   safe updates      every word that changes is noted in a journal first (tm_journal). Rolling back puts the words
//                     back, gives back what was taken and keeps what was given up: exact, and it needs no memory.
//
// Invariants: n_prefs counts the prefixes that are stored, n_rows those that are not anchors only; the journal is
// open only inside tcamv6_run_batch; the counts that it does not cover are saved beside it (tcamv6_saved_counts).
//
// Cost: of a record, what it does to the structures, a few walks of at most 128 steps. The final count of rows would
// be a walk of the whole table; it is made only where the count that is kept cannot be certain to agree.
//
// Corner cases: an empty batch succeeds; a batch whose last check fails has applied all its records (at == count)
// and is still undone; an undo that fails in its final walk is not undone again, as it would only walk once more.
#include "tcamv6_incr.h"

#include <assert.h>
#include <string.h>

#include "tcamv6_dump_internal.h"
#include "tcamv6_incr_batch.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_order.h"
#include "tcamv6_output.h"
#include "tcamv6_room.h"
#include "tcamv6_state_internal.h"
#include "tcamv6_stored.h"
#include "tm_debug.h"
#include "tm_journal.h"
#include "tm_memory.h"

namespace {

constexpr const char *driver = "tcamv6_incr_compress";

int32_t allocate_extra_ops(tcamv6_batch *b) {
  tcamv6_state *state = b->state;
  if (state->extra_ops != nullptr) {
    TM_LOG(info, "%s: memory for previous extra ops[] not freed", driver);
    zel_free_named(state->extra_ops);
    state->extra_ops = nullptr;
  }
  const size_t bytes = size_t{2} * b->count * sizeof(tcamv6_cmpr_pref);
  state->extra_ops = static_cast<tcamv6_cmpr_pref *>(zel_malloc_named(TM_MEM_TAG_LIST, bytes));
  if (state->extra_ops == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed for extra ops", driver, bytes);
    return TM_ENOMEM;
  }
  state->extra_op_count = b->count;
  memset(state->extra_ops, 0, bytes);
  return TM_OK;
}

int32_t apply_records(tcamv6_batch *b) {
  tcamv6_order order = tcamv6_order_of(&b->rules, b->records, b->count);
  while (tcamv6_order_step(&order, &b->at)) {
    const tcamv6_prefix *record = &b->records[b->at];
    tcamv6_log_prefix(driver, record);
    static_assert(sizeof *record == sizeof *b->cmpr_prefs, "results echo the request's records");
    memcpy(&b->cmpr_prefs[b->at], record, sizeof *record);
    tcamv6_cmpr_pref *slot = &b->state->extra_ops[b->count + b->at];
    const bool is_add = (record->flags_tag & TM_PREFIX_FLAG_ADD) != 0;
    int32_t result = tm_journal_reserve_record(driver);
    if (result == TM_OK) {
      result = is_add ? tcamv6_apply_add(b, slot) : tcamv6_apply_delete(b, slot);
    }
    if (result != TM_OK) {
      return result;
    }
  }
  b->at = b->count;
  return TM_OK;
}

// What was moved can be one of the batch's own additions: report where these are in the end.
void refresh_results(const tcamv6_batch *b) {
  for (uint32_t i = 0; i < b->count; ++i) {
    const tm_util_trie_node *node = tcamv6_find_stored(b->state, &b->records[i]);
    tcamv6_anc_data *data;
    if ((b->records[i].flags_tag & TM_PREFIX_FLAG_ADD) == 0 || node == nullptr ||
        tcamv6_anc_data_of_prefix(node, driver, &data) != TM_OK) {
      continue;
    }
    tcamv6_cmpr_pref *pref = &b->cmpr_prefs[i];
    const uint32_t own_node = pref->own_node;
    tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), pref);
    pref->own_node = own_node;
    tcamv6_gen_trie_addr(tcamv6_cmpr_node(tcamv6_address_data(data, driver)), &b->cmpr_addrs[i]);
  }
}

int32_t settle_moves(const tcamv6_batch *b) {
  if (tcamv6_moves_collected()->count == 0) {
    return TM_OK;
  }
  if (b->rules.reads_keys) {
    refresh_results(b);
  }
  return tcamv6_room_settle_moves(b->state, &b->rules, b->records, b->cmpr_prefs, b->count);
}

int32_t walk_rows(const tcamv6_state *state) {
  return tcamv6_dump_tree_int(static_cast<int32_t>(state->n_prefs), tcamv6_anc_node(state->anc_root), nullptr, nullptr,
                              nullptr, 1);
}

// Would a walk of the whole table succeed, and print nothing? It fails when the rows before some node use up n_prefs.
// The root comes last, so it does not while n_prefs exceeds the rows of all other nodes.
bool walk_is_certain(const tcamv6_state *state) {
  const tcamv6_anc_data *root = tcamv6_anc_data_of(tcamv6_anc_node(state->anc_root));
  if (tcamv6_debug_flags.trace != 0 || root == nullptr || root->orig == TM_CHUNK_IDX_NULL) {
    return false;
  }
  const uint32_t root_row = !tcamv6_is_anchor_only(tm_trie_node(root->orig));
  return state->n_rows >= root_row && state->n_prefs > state->n_rows - root_row &&
         state->n_prefs <= static_cast<uint32_t>(INT32_MAX);
}

// Rows of the table, or the walk's failure. The count kept per instance saves the walk where it is certain to agree.
int32_t count_rows(const tcamv6_batch *b) {
  const tcamv6_state *state = b->state;
  if (walk_is_certain(state)) {
    assert(walk_rows(state) == static_cast<int32_t>(state->n_rows));
    return static_cast<int32_t>(state->n_rows);
  }
  const int32_t rows = walk_rows(state);
  if (rows < 0) {
    TM_LOG(error, "%s: internal table dump failed %d", driver, rows);
  }
  return rows;
}

int32_t apply_batch(tcamv6_batch *b) {
  int32_t result = allocate_extra_ops(b);
  if (result == TM_OK) {
    result = apply_records(b);
  }
  if (result == TM_OK) {
    result = settle_moves(b);
  }
  if (result == TM_OK) {
    const int32_t rows = count_rows(b);
    if (rows < 0) {
      return rows;
    }
    *b->walk_result = static_cast<uint32_t>(rows);
  }
  return result;
}

int32_t judge(const tcamv6_batch *b, int32_t result) {
  const tcamv6_batch_judge *j = b->rules.judge;
  if (result != TM_OK && b->at < b->count) {
    j->refused(j->user, &b->records[b->at]);
  }
  return result == TM_OK ? j->accept(j->user) : result;
}

bool has_arguments(const tcamv6_batch *b) {
  const bool has_arrays =
      tcamv6_are_prefixes(b->records, b->count) && b->cmpr_prefs != nullptr && b->cmpr_addrs != nullptr;
  return !tcamv6_state_unusable(b->state) && (b->count == 0 || has_arrays) && b->extra_ops_pending != nullptr &&
         b->changed != nullptr && b->walk_result != nullptr;
}

}  // namespace

int32_t tcamv6_run_batch(tcamv6_batch *b, tcamv6_batch_kind kind) {
  TM_LOG(trace, "%s: Starting handle %p, n_prefs %d, inp_prefs %p, cmpr_prefs %p, cmpr_addrs %p, ", driver,
         static_cast<void *>(b->state), static_cast<int>(b->count), static_cast<const void *>(b->records),
         static_cast<void *>(b->cmpr_prefs), static_cast<void *>(b->cmpr_addrs));
  *b->changed = 0;
  *b->extra_ops_pending = 0;
  tm_chunk_log_statistics("Starting point");
  tcamv6_moves_begin();
  const tcamv6_saved_counts saved = {b->state->n_prefs, b->state->n_rows, tcamv6_tags_handed_out()};
  int32_t result = b->rules.rolls_back ? tm_journal_open(driver) : TM_OK;
  const bool journalled = tm_journal_is_open;
  if (result == TM_OK) {
    result = apply_batch(b);
  }
  if (journalled && result == TM_OK) {
    result = tm_journal_check();
  }
  if (journalled && b->rules.judge != nullptr) {
    result = judge(b, result);
  }
  if (journalled && result == TM_OK) {
    tm_journal_commit(tm_chunk_free);
  }
  if (result == TM_OK) {
    tcamv6_moves_publish(b->state);
  } else {
    tcamv6_moves_begin();
  }
  tm_chunk_log_statistics("End point");
  if (b->state->extra_ops != nullptr) {
    *b->extra_ops_pending = 1;
  }
  TM_LOG(trace, "%s: Complete %d", driver, result);
  if (result != TM_OK) {
    if (journalled) {
      tcamv6_roll_back(b, &saved);
    } else if (!b->rules.rolls_back) {
      tcamv6_undo_by_replay(b, kind);
    }
  }
  return result;
}

int32_t tcamv6_incr_compress(tcamv6_state *state, uint32_t n_prefs, const tcamv6_prefix *inp_prefs,
                             tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs, uint32_t *extra_ops_pending,
                             uint32_t *changed, uint32_t *walk_result) {
  constexpr const char *function = "tcamv6_incr_compress";
  tcamv6_batch b = {state,      tcamv6_rules_now(), n_prefs, inp_prefs,   cmpr_prefs,
                    cmpr_addrs, extra_ops_pending,  changed, walk_result, 0};
  if (has_arguments(&b)) {
    return tcamv6_run_batch(&b, tcamv6_batch_kind::request);
  }
  TM_LOG(trace, "%s: Starting handle %p, n_prefs %d, inp_prefs %p, cmpr_prefs %p, cmpr_addrs %p, ", function,
         static_cast<void *>(state), static_cast<int>(n_prefs), static_cast<const void *>(inp_prefs),
         static_cast<void *>(cmpr_prefs), static_cast<void *>(cmpr_addrs));
  if (changed != nullptr) {
    *changed = 0;
  }
  TM_LOG(info, "%s: Bad arguments", function);
  tm_chunk_log_statistics("End point");
  TM_LOG(trace, "%s: Complete %d", function, TM_EINVAL);
  return TM_EINVAL;
}
