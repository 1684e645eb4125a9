// SPDX-License-Identifier: Apache-2.0
// table_record.h - an open table: its instance, its host's wishes, and who may use it now.
//
// There is one record for each place of the grid, for the whole life of the process. A handle is the address of one, so
// that any handle can be judged without touching what it points to.
#ifndef TABLE_RECORD_H
#define TABLE_RECORD_H

#include "table_ready.h"
#include "table_writes.h"
#include "tcamv6_state_internal.h"

struct alignas(256) zel_v6comp_table {  // so that a multiplication is not needed to judge a handle
  bool is_open;
  bool has_default;  // ::/0 is a row; the library stores it in any case
  int32_t processor;
  int32_t instance;
  const gbl_state_block *block;  // when the table was opened: another one since, and its instance is gone
  tcamv6_state *state;
  uint32_t move_limit;
  int32_t log_level;
  zel_v6comp_table_log log;
  void *log_user;
  uint32_t n_rows;
  uint32_t n_stored;  // prefixes that the instance held after the last change
  uint64_t moves;
  uint64_t changes;
  table_writes writes;        // of the last accepted change
  table_writes spare_writes;  // memory for those of the next one
  table_ready ready;
};

// Every call passes one of these two doors, and leaves by the other one of its kind. They answer OK, or the status with
// which the call is refused; nothing is to be left then. `table` may be any pointer.
int32_t table_begin_change(const zel_v6comp_table *table);
void table_end_change(void);
int32_t table_begin_reading(const zel_v6comp_table *table);
void table_end_reading(void);

// May a reader go straight to the answers that are ready? Yes says all that table_begin_reading would say, at a third
// of the cost: what an index was built of is there as long as the index lives, and only open tables have answers ready.
// No says nothing. Builds that count their readers say no.
bool table_may_read_ready(const zel_v6comp_table *table);

// The door for opening a table: there is no handle yet.
int32_t table_begin_open(void);

// The record of a place of the grid; null off the grid.
zel_v6comp_table *table_record_at(int32_t processor, int32_t instance);

// Hand a line to the table's log function, if its level is wanted. `format` as of printf.
__attribute__((format(printf, 3, 4))) void table_log(const zel_v6comp_table *table, int32_t level, const char *format,
                                                     ...);

// Log a refused call, and return its status.
int32_t table_refuse(const zel_v6comp_table *table, const char *function, int32_t status);

// One call that reads, from door to door. `read` returns what the call answers; a negative status is logged.
template <class Read>
int32_t table_read_call(const zel_v6comp_table *table, const char *function, Read read) {
  int32_t status = table_begin_reading(table);
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = read();
    table_end_reading();
  }
  return status < 0 ? table_refuse(table, function, status) : status;
}

#endif
