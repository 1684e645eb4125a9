// SPDX-License-Identifier: Apache-2.0
// table_apply.cpp - load, apply and compact: each is one change, taken as a whole or not at all.
#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

#include "table_change.h"
#include "table_stored.h"
#include "tcamv6_moves_internal.h"

namespace {

enum { prefix_text_bytes = INET6_ADDRSTRLEN + 4 };

constexpr size_t most_kept_writes = 4096;  // beside those of the last change, whatever that was

void write_prefix(tm_key_number address, uint32_t length, char text[prefix_text_bytes]) {
  uint8_t bytes[TM_KEY_BYTES];
  tm_key_store(bytes, address);
  char digits[INET6_ADDRSTRLEN];
  inet_ntop(AF_INET6, bytes, digits, sizeof digits);
  snprintf(text, prefix_text_bytes, "%s/%u", digits, length);
}

bool is_outcome(const zel_v6comp_table_outcome *outcome) {
  return outcome == nullptr || outcome->struct_size == sizeof *outcome;
}

// ---- refusals

// The engine failed at a record: a wish's own, or an anchor of one.
void note_refused(void *user, const tcamv6_prefix *record) {
  auto *run = static_cast<table_change_run *>(user);
  const tm_key_number address = tm_key_load(record->address) & tm_key_number_leading(record->length);
  for (uint32_t i = 0; i < run->n_wishes; ++i) {
    const table_wish *wish = &run->wishes[i];
    if (wish->length >= record->length && wish->index != UINT32_MAX &&
        (wish->address & tm_key_number_leading(record->length)) == address) {
      run->outcome.record = wish->index;
      return;
    }
  }
}

void explain(table_change_run *run, int32_t status) {
  const char *text = zel_v6comp_table_text(status);
  for (uint32_t i = 0; run->outcome.record != SIZE_MAX && i < run->n_wishes; ++i) {
    if (run->wishes[i].index == run->outcome.record) {
      char prefix[prefix_text_bytes];
      write_prefix(run->wishes[i].address, run->wishes[i].length, prefix);
      snprintf(run->outcome.reason, sizeof run->outcome.reason, "%s: %s", prefix, text);
      return;
    }
  }
  if (run->outcome.record != SIZE_MAX) {
    snprintf(run->outcome.reason, sizeof run->outcome.reason, "record %zu: %s", run->outcome.record, text);
  } else {
    snprintf(run->outcome.reason, sizeof run->outcome.reason, "%s", text);
  }
}

// ---- the end of a call

void begin_run(table_change_run *run, zel_v6comp_table *table) {
  *run = {};
  run->table = table;
  run->outcome.record = SIZE_MAX;
  run->writes = table->spare_writes;
  run->writes.count = 0;
  table->spare_writes = {};
}

// The list that the new one replaces is that of the change after this one. To give a load's memory back would take a
// small change a millisecond: a large one does it.
void replace_writes(zel_v6comp_table *table, const table_writes *writes) {
  table->spare_writes = table->writes;
  table->writes = *writes;
  if (table->spare_writes.room > most_kept_writes && writes->count > table->spare_writes.room / 16) {
    table_free_writes(&table->spare_writes);
  }
}

// In the answers that are ready, too.
void set_word(zel_v6comp_table *table, tm_key_number address, uint32_t length, uint32_t word) {
  const tm_util_trie_node *node = table_find_row(table->state, address, length);
  const bool was_ready = table_is_ready(&table->ready, table->state);
  const uint32_t number = table_set_word(table->state, node, word);
  if (was_ready) {
    table_ready_set_word(&table->ready, number, word);
  }
}

// Nothing can fail any more.
void take_over(table_change_run *run) {
  zel_v6comp_table *table = run->table;
  for (uint32_t i = 0; i < run->n_wishes; ++i) {
    const table_wish *wish = &run->wishes[i];
    if (wish->add) {
      set_word(table, wish->address, wish->length, wish->word);
    }
  }
  table->n_rows += run->outcome.added - run->outcome.removed;
  const tm_util_trie_node *root = table_stored_root(table->state);
  table->has_default = root != nullptr && tcamv6_is_row(root);
  table->n_stored = table->state->opt_done == 1 ? table->state->n_prefs : 0;
  table->moves += run->outcome.moved;
  ++table->changes;
  run->outcome.writes = run->writes.count != 0 ? run->writes.list : nullptr;
  run->outcome.n_writes = run->writes.count;
  replace_writes(table, &run->writes);
  run->writes = {};
  run->outcome.parked = run->plan.parked;
  run->outcome.early = run->plan.early;
  run->outcome.peak_codes = run->plan.peak_codes;
}

int32_t finish(table_change_run *run, const char *function, int32_t status, zel_v6comp_table_outcome *outcome) {
  if (status == ZEL_V6COMP_TABLE_OK) {
    take_over(run);
    const zel_v6comp_table_outcome *o = &run->outcome;
    table_log(run->table, ZEL_V6COMP_TABLE_LOG_INFO, "%s: %u added, %u removed, %u moved, %zu writes", function,
              o->added, o->removed, o->moved, o->n_writes);
  } else {
    run->table->spare_writes = run->writes;
    run->writes = {};
    explain(run, status);
    table_log(run->table, ZEL_V6COMP_TABLE_LOG_ERROR, "%s: %s", function, run->outcome.reason);
    zel_v6comp_table_outcome refused = {};
    refused.record = run->outcome.record;
    memcpy(refused.reason, run->outcome.reason, sizeof refused.reason);
    run->outcome = refused;
  }
  run->outcome.struct_size = sizeof run->outcome;
  run->outcome.status = status;
  if (outcome != nullptr) {
    *outcome = run->outcome;
  }
  if (!table_is_ready(&run->table->ready, run->table->state)) {
    table_drop_ready(&run->table->ready);
  }
  table_free_change(run);
  table_end_change();
  return status;
}

// A call that does not even begin. The outcome may be of any size.
int32_t refuse_early(const zel_v6comp_table *table, const char *function, int32_t status,
                     zel_v6comp_table_outcome *outcome) {
  table_refuse(table, function, status);
  if (outcome != nullptr && is_outcome(outcome)) {
    *outcome = {};
    outcome->struct_size = sizeof *outcome;
    outcome->status = status;
    outcome->record = SIZE_MAX;
    snprintf(outcome->reason, sizeof outcome->reason, "%s", zel_v6comp_table_text(status));
  }
  return status;
}

int32_t open_door(const zel_v6comp_table *table, const char *function, zel_v6comp_table_outcome *outcome) {
  int32_t status = is_outcome(outcome) ? ZEL_V6COMP_TABLE_OK : ZEL_V6COMP_TABLE_E_SIZE;
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = table_begin_change(table);
  }
  return status == ZEL_V6COMP_TABLE_OK ? status : refuse_early(table, function, status, outcome);
}

// ---- the change itself

int32_t accept_change(void *user) { return table_plan_change(static_cast<table_change_run *>(user)); }

int32_t accept_compact(void *user) {
  auto *run = static_cast<table_change_run *>(user);
  for (uint32_t i = 0; i < run->n_rows; ++i) {
    const table_row_change *row = &run->rows[i];
    set_word(run->table, row->address, row->length, row->word);
  }
  return table_plan_change(run);
}

int32_t status_of_batch(const table_change_run *run, int32_t result, uint32_t failures) {
  const int32_t status = table_status_of(result, failures);
  const bool is_limited = result == TM_ENOSPC && run->table->move_limit != 0;
  return status == ZEL_V6COMP_TABLE_E_ROOM && is_limited ? int32_t{ZEL_V6COMP_TABLE_E_MOVES} : status;
}

// Limits that cannot be met are a want of room here, where nothing has been stored that could contradict itself.
int32_t status_of_full(int32_t result, uint32_t failures) {
  const int32_t status = table_status_of(result, failures);
  return status == ZEL_V6COMP_TABLE_E_INTERNAL && result != TM_EINVAL ? int32_t{ZEL_V6COMP_TABLE_E_ROOM} : status;
}

// The first rows of an empty table.
int32_t fill_empty(table_change_run *run) {
  const uint32_t failures = table_count_pool_failures();
  const int32_t result = table_compress_in_full(run->table, run->records, run->n_records);
  run->table->n_stored = run->table->state->opt_done == 1 ? run->table->state->n_prefs : 0;
  if (result != TM_OK) {
    return status_of_full(result, failures);
  }
  tcamv6_moves_begin();  // a full compression moves nothing; what is collected is of an earlier batch
  if (table_plan_change(run) != TM_OK) {
    table_empty_instance(run->table);
    run->table->n_stored = 0;
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  return ZEL_V6COMP_TABLE_OK;
}

int32_t change_rows(table_change_run *run) {
  int32_t status = table_prepare_change(run);
  if (status != ZEL_V6COMP_TABLE_OK || run->n_records == 0) {
    return status;
  }
  if (run->table->n_rows == 0) {
    return fill_empty(run);
  }
  const uint32_t failures = table_count_pool_failures();
  const tcamv6_batch_judge judge = {accept_change, note_refused, run};
  const int32_t result = table_apply_batch(run->table, run->records, run->n_records, &judge);
  return status_of_batch(run, result, failures);
}

int32_t load(table_change_run *run, const zel_v6comp_table_prefix *prefixes, size_t n) {
  int32_t status = table_take_prefixes(run, prefixes, n);
  if (status == ZEL_V6COMP_TABLE_OK) {
    table_settle_wishes(run);
    status = run->table->n_rows == 0 ? int32_t{ZEL_V6COMP_TABLE_OK} : table_wish_the_rest_away(run);
  }
  return status == ZEL_V6COMP_TABLE_OK ? change_rows(run) : status;
}

int32_t apply(table_change_run *run, const zel_v6comp_table_change *changes, size_t n) {
  const int32_t status = table_take_changes(run, changes, n);
  if (status != ZEL_V6COMP_TABLE_OK) {
    return status;
  }
  table_settle_wishes(run);
  return change_rows(run);
}

int32_t compact(table_change_run *run) {
  const int32_t status = table_note_all_rows(run);
  if (status != ZEL_V6COMP_TABLE_OK || run->n_rows == 0) {
    return status;
  }
  const uint32_t failures = table_count_pool_failures();
  const tcamv6_batch_judge judge = {accept_compact, note_refused, run};
  return status_of_full(table_compress_anew(run->table, run->records, run->n_records, &judge), failures);
}

// One call that changes a table, from the door to the outcome.
template <class Change>
int32_t change_call(zel_v6comp_table *table, const char *function, zel_v6comp_table_outcome *outcome, Change change) {
  const int32_t door = open_door(table, function, outcome);
  if (door != ZEL_V6COMP_TABLE_OK) {
    return door;
  }
  table_change_run run;
  begin_run(&run, table);
  return finish(&run, function, change(&run), outcome);
}

}  // namespace

int32_t zel_v6comp_table_load(zel_v6comp_table *table, const zel_v6comp_table_prefix *prefixes, size_t n,
                              zel_v6comp_table_outcome *outcome) {
  return change_call(table, "zel_v6comp_table_load", outcome,
                     [&](table_change_run *run) { return load(run, prefixes, n); });
}

int32_t zel_v6comp_table_apply(zel_v6comp_table *table, const zel_v6comp_table_change *changes, size_t n,
                               zel_v6comp_table_outcome *outcome) {
  return change_call(table, "zel_v6comp_table_apply", outcome,
                     [&](table_change_run *run) { return apply(run, changes, n); });
}

int32_t zel_v6comp_table_compact(zel_v6comp_table *table, zel_v6comp_table_outcome *outcome) {
  return change_call(table, "zel_v6comp_table_compact", outcome, compact);
}
