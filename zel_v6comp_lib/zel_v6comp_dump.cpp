// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_dump.cpp - an instance's table as a sorted, printed update list.
#include <string.h>

#include "tm_memory.h"
#include "tm_stable_sort.h"
#include "zel_v6comp.h"
#include "zel_v6comp_result.h"

namespace {

constexpr const char *entry = "zel_v6comp_sort_and_dump_prefix";

// The three tables that a dump fills.
struct dump_tables {
  tcamv6_prefix *orig;
  tcamv6_cmpr_pref *cmpr;
  tcamv6_cmpr_addr *addrs;
};

tm_incr_update_list *update_list_of(tcamv6_state *state) { return reinterpret_cast<tm_incr_update_list *>(state); }

void free_tables(const dump_tables *tables) {
  tm_free(tables->orig);
  tm_free(tables->cmpr);
  tm_free(tables->addrs);
}

bool allocate_tables(dump_tables *tables, uint32_t n) {
  tables->orig = static_cast<tcamv6_prefix *>(zel_calloc_named(TM_MEM_TAG_RESULT, n, sizeof(tcamv6_prefix)));
  tables->cmpr = static_cast<tcamv6_cmpr_pref *>(zel_calloc_named(TM_MEM_TAG_RESULT, n, sizeof(tcamv6_cmpr_pref)));
  tables->addrs = static_cast<tcamv6_cmpr_addr *>(zel_calloc_named(TM_MEM_TAG_RESULT, n, sizeof(tcamv6_cmpr_addr)));
  return tables->orig != nullptr && tables->cmpr != nullptr && tables->addrs != nullptr;
}

int32_t zel_v6comp_load_update_list(tcamv6_state *state, const dump_tables *tables, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    tm_incr_update_entry *slot = &state->entries[i];
    memcpy(slot->prefix, tables->orig[i].address, sizeof slot->prefix);
    slot->length = tables->orig[i].length;
    memcpy(slot->cmpr_addr, tables->addrs[i].bytes, sizeof slot->cmpr_addr);
    slot->state = TM_INCR_INSERT;
  }
  state->count = n;
  tm_stable_sort(state->entries, n, sizeof state->entries[0],
                 tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f);
  return tm_show_incremental_update_prefixes(update_list_of(state));
}

uint32_t dump_into_list(tcamv6_state *state, const dump_tables *tables, uint32_t n, uint32_t *count_out,
                        tm_incr_update_entry **list_out) {
  uint32_t rows = 0;
  const int32_t result =
      tcamv6_dump_cmpr_tbl(state, static_cast<int32_t>(n), tables->orig, tables->cmpr, tables->addrs, &rows);
  if (result != TM_OK) {
    TM_LOG_PROCESSING(info, "%s: failed to retrieve compression table %d", entry, result);
    return zel_v6comp_status(result);
  }
  *count_out = rows;
  if (rows > TM_INCR_SLOTS) {
    TM_LOG(error, "%s: %u prefixes exceed the update list", entry, rows);
    return zel_v6comp_status(TM_ENOMEM);
  }
  zel_v6comp_load_update_list(state, tables, rows);
  *list_out = state->entries;
  return 0;
}

}  // namespace

uint32_t zel_v6comp_sort_and_dump_prefix(int32_t processor, int32_t instance, uint32_t *count_out,
                                         tm_incr_update_entry **list_out) {
  constexpr const char *function = "zel_v6comp_sort_and_dump_prefix";
  if (count_out == nullptr || list_out == nullptr) {
    TM_LOG_PROCESSING(error, "%s: Bad arguments", function);
    return zel_v6comp_status(TM_EINVAL);
  }
  tcamv6_state *state = zel_v6comp_instance(processor, instance);
  if (state != nullptr && (state->marks & TCAMV6_MARK_FAILED) != 0) {
    state = nullptr;
  }
  uint32_t n = 0;
  const int32_t result = tcamv6_dump_n_prefixes(state, &n);
  if (state == nullptr || result != TM_OK || n == 0) {
    TM_LOG_PROCESSING(info, "%s: failed to get number of prefixes in table %d (got %d)", function, result,
                      static_cast<int>(n));
    *count_out = 0;
    return zel_v6comp_status(result);
  }
  dump_tables tables;
  uint32_t status;
  if (allocate_tables(&tables, n)) {
    status = dump_into_list(state, &tables, n, count_out, list_out);
  } else {
    TM_LOG(error, "%s: failed to calloc table for %d prefixes", function, static_cast<int>(n));
    status = zel_v6comp_status(TM_ENOMEM);
  }
  free_tables(&tables);
  return status;
}
