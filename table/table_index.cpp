// SPDX-License-Identifier: Apache-2.0
// table_index.cpp - the read index of a table.
#include "table_record.h"
#include "tcamv6_lookup_index.h"

int32_t zel_v6comp_table_index(zel_v6comp_table *table) {
  constexpr const char *function = "zel_v6comp_table_index";
  int32_t status = table_begin_change(table);
  if (status != ZEL_V6COMP_TABLE_OK) {
    return table_refuse(table, function, status);
  }
  if (table->state->opt_done == 1 && tcamv6_build_lookup_index(table->state) != TM_OK) {
    status = ZEL_V6COMP_TABLE_E_MEMORY;
    table_refuse(table, function, status);
  }
  table_end_change();
  return status;
}
