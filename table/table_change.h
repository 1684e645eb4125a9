// SPDX-License-Identifier: Apache-2.0
// table_change.h - a change on its way: what was asked, what is stored, what has to be written.
#ifndef TABLE_CHANGE_H
#define TABLE_CHANGE_H

#include "table_engine.h"
#include "table_plan.h"

// What was asked for one prefix.
struct table_wish {
  tm_key_number address;
  uint32_t word;
  uint32_t index;  // of the caller's record
  uint8_t length;
  bool add;
};

struct table_change_run {
  zel_v6comp_table *table;
  table_wish *wishes;  // in the order of rows; after table_settle_wishes, each prefix once
  uint32_t n_wishes;
  tcamv6_prefix *records;  // of the request
  uint32_t n_records;
  table_row_change *rows;  // that the change concerns
  uint32_t n_rows;
  uint32_t row_room;
  table_writes writes;
  table_plan_counts plan;
  zel_v6comp_table_outcome outcome;  // counts, and the record at fault
};

// Check and take over the caller's records. Returns a status; the outcome names the record at fault.
int32_t table_take_changes(table_change_run *run, const zel_v6comp_table_change *changes, size_t n);
int32_t table_take_prefixes(table_change_run *run, const zel_v6comp_table_prefix *prefixes, size_t n);

// Bring several wishes for one prefix down to the last one, and leave those out that are fulfilled, but for words.
void table_settle_wishes(table_change_run *run);

// Add a removal for every row that no wish names. Returns a status.
int32_t table_wish_the_rest_away(table_change_run *run);

// Note the rows that the change can concern, as they are now, and make the request. Returns a status.
int32_t table_prepare_change(table_change_run *run);

// The rows have changed: read what they are now, and plan the writes. Returns 0 or -12.
int32_t table_plan_change(table_change_run *run);

// Note all rows, as they are now. Returns a status.
int32_t table_note_all_rows(table_change_run *run);

void table_free_change(table_change_run *run);

#endif
