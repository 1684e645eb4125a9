// SPDX-License-Identifier: Apache-2.0
// table_record.cpp - who may use a table now.
//
// One call at a time may change tables. It holds `changing`; whoever meets it is refused, also when it is its own log
// function that comes back. Readers only look at it. Counting them would make them write to one word, which costs more
// than a lookup; builds with assertions do it all the same, and refuse a change that meets a reader.
#include "table_record.h"

#include <stdarg.h>
#include <stdio.h>

namespace {

enum { line_bytes = 256 };

zel_v6comp_table records[TCAMV6_MAX_PROCESSORS][TCAMV6_MAX_INSTANCES] = {};
int32_t changing = 0;

// Does this thread run a log function now?
__attribute__((tls_model("initial-exec"))) __thread bool is_logging = false;
int32_t n_logging = 0;  // threads that do

#ifdef NDEBUG
constexpr bool counts_readers = false;
void count_reader(int32_t) {}
bool has_readers() { return false; }
#else
constexpr bool counts_readers = true;
int32_t n_readers = 0;
void count_reader(int32_t more) { __atomic_add_fetch(&n_readers, more, __ATOMIC_ACQ_REL); }
bool has_readers() { return __atomic_load_n(&n_readers, __ATOMIC_ACQUIRE) != 0; }
#endif

bool is_record(const zel_v6comp_table *table) {
  const uintptr_t bytes = reinterpret_cast<uintptr_t>(table) - reinterpret_cast<uintptr_t>(records);
  return bytes < sizeof records && bytes % sizeof(zel_v6comp_table) == 0;
}

// Is what the table knows of its instance still true?
bool is_foreign(const zel_v6comp_table *table) {
  if (gbl_state == nullptr || gbl_state != table->block) {
    return true;
  }
  const tcamv6_state *state = table->state;
  return tcamv6_state_unusable(state) || (state->opt_done == 1 ? state->n_prefs : 0) != table->n_stored;
}

int32_t judge(const zel_v6comp_table *table) {
  if (table == nullptr) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  if (!is_record(table) || !table->is_open) {
    return ZEL_V6COMP_TABLE_E_NO_TABLE;
  }
  return is_foreign(table) ? ZEL_V6COMP_TABLE_E_FOREIGN : ZEL_V6COMP_TABLE_OK;
}

int32_t take_turn() {
  int32_t idle = 0;
  if (is_logging || !__atomic_compare_exchange_n(&changing, &idle, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) {
    return ZEL_V6COMP_TABLE_E_BUSY;
  }
  if (has_readers()) {
    table_end_change();
    return ZEL_V6COMP_TABLE_E_BUSY;
  }
  return ZEL_V6COMP_TABLE_OK;
}

}  // namespace

int32_t table_begin_open() { return take_turn(); }

int32_t table_begin_change(const zel_v6comp_table *table) {
  int32_t status = take_turn();
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = judge(table);
    if (status != ZEL_V6COMP_TABLE_OK) {
      table_end_change();
    }
  }
  return status;
}

void table_end_change() { __atomic_store_n(&changing, 0, __ATOMIC_RELEASE); }

int32_t table_begin_reading(const zel_v6comp_table *table) {
  count_reader(1);
  const bool is_busy = is_logging || __atomic_load_n(&changing, __ATOMIC_ACQUIRE) != 0;
  const int32_t status = is_busy ? ZEL_V6COMP_TABLE_E_BUSY : judge(table);
  if (status != ZEL_V6COMP_TABLE_OK) {
    count_reader(-1);
  }
  return status;
}

void table_end_reading() { count_reader(-1); }

bool table_may_read_ready(const zel_v6comp_table *table) {
  if (counts_readers || __atomic_load_n(&changing, __ATOMIC_ACQUIRE) != 0 ||
      __atomic_load_n(&n_logging, __ATOMIC_RELAXED) != 0 || !is_record(table)) {
    return false;
  }
  return table->ready.index != nullptr && gbl_state == table->block && table_is_ready(&table->ready, table->state);
}

zel_v6comp_table *table_record_at(int32_t processor, int32_t instance) {
  const bool on_grid =
      processor >= 0 && processor < TCAMV6_MAX_PROCESSORS && instance >= 0 && instance < TCAMV6_MAX_INSTANCES;
  return on_grid ? &records[processor][instance] : nullptr;
}

void table_log(const zel_v6comp_table *table, int32_t level, const char *format, ...) {
  if (table->log == nullptr || level > table->log_level || is_logging) {
    return;
  }
  char line[line_bytes];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  is_logging = true;
  __atomic_add_fetch(&n_logging, 1, __ATOMIC_RELAXED);
  table->log(table->log_user, level, line);
  __atomic_add_fetch(&n_logging, -1, __ATOMIC_RELAXED);
  is_logging = false;
}

int32_t table_refuse(const zel_v6comp_table *table, const char *function, int32_t status) {
  if (table != nullptr && is_record(table) && table->is_open) {
    table_log(table, ZEL_V6COMP_TABLE_LOG_ERROR, "%s: %s", function, zel_v6comp_table_text(status));
  }
  return status;
}
