// SPDX-License-Identifier: Apache-2.0
// Loaded before the library: its dump and the rows of its tables, without the first row.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <string.h>

#include "zel_v6comp.h"
#include "zel_v6comp_table.h"

int32_t tcamv6_dump_cmpr_tbl(tcamv6_state *state, int32_t n, tcamv6_prefix *prefixes, tcamv6_cmpr_pref *codes,
                             tcamv6_cmpr_addr *addresses, uint32_t *count) {
  int32_t (*next)(tcamv6_state *, int32_t, tcamv6_prefix *, tcamv6_cmpr_pref *, tcamv6_cmpr_addr *, uint32_t *);
  void *found = dlsym(RTLD_NEXT, "tcamv6_dump_cmpr_tbl");
  memcpy(&next, &found, sizeof next);
  const int32_t status = next(state, n, prefixes, codes, addresses, count);
  if (status == TM_OK && *count != 0) {
    --*count;
    memmove(prefixes, prefixes + 1, *count * sizeof *prefixes);
    memmove(codes, codes + 1, *count * sizeof *codes);
    memmove(addresses, addresses + 1, *count * sizeof *addresses);
  }
  return status;
}

int32_t zel_v6comp_table_rows(const zel_v6comp_table *table, zel_v6comp_table_place *place, zel_v6comp_table_row *rows,
                              uint32_t n) {
  int32_t (*next)(const zel_v6comp_table *, zel_v6comp_table_place *, zel_v6comp_table_row *, uint32_t);
  void *found = dlsym(RTLD_NEXT, "zel_v6comp_table_rows");
  memcpy(&next, &found, sizeof next);
  const int32_t count = next(table, place, rows, n);
  if (count <= 0) {
    return count;
  }
  memmove(rows, rows + 1, (size_t)(count - 1) * sizeof *rows);
  return count - 1;
}
