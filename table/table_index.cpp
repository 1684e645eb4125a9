// SPDX-License-Identifier: Apache-2.0
// table_index.cpp - the read index of a table.
#include "table_record.h"
#include "table_stored.h"
#include "tcamv6_lookup_index.h"

namespace {

bool build_index(zel_v6comp_table *table) {
  if (tcamv6_build_row_index(table->state) != TM_OK) {
    return false;
  }
  return table_is_ready(&table->ready, table->state) ||
         table_make_ready(&table->ready, tcamv6_read_index_at(table->state->read_index),
                          table_key_of_rest(table->state));
}

}  // namespace

int32_t zel_v6comp_table_index(zel_v6comp_table *table) {
  constexpr const char *function = "zel_v6comp_table_index";
  int32_t status = table_begin_change(table);
  if (status != ZEL_V6COMP_TABLE_OK) {
    return table_refuse(table, function, status);
  }
  if (table->state->opt_done == 1 && !build_index(table)) {
    status = ZEL_V6COMP_TABLE_E_MEMORY;
    table_refuse(table, function, status);
  }
  table_end_change();
  return status;
}
