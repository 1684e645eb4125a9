// SPDX-License-Identifier: Apache-2.0
// Loaded before the library: its dump, without the first row.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <string.h>

#include "zel_v6comp.h"

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
