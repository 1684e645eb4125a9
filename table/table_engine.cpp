// SPDX-License-Identifier: Apache-2.0
// table_engine.cpp - full compressions and batches in room mode, whatever a host has set for its own instances.
#include "table_engine.h"

#include <string.h>

#include "tcamv6_extra_ops.h"
#include "tcamv6_incr.h"
#include "tcamv6_leftovers.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_optimized.h"
#include "tcamv6_prefix_list_internal.h"
#include "tm_memory.h"

namespace {

// Tags have 20 bits, and in a full compression each working-list entry needs one of its own.
constexpr uint32_t most_full_entries = 1u << 20;

struct engine_call {
  tcamv6_state *state;
  tcamv6_prefix *list;
  tcamv6_cmpr_pref *codes;
  tcamv6_cmpr_addr *addresses;
  uint32_t count;
};

void end_call(const engine_call *call) {
  tm_free(call->list);
  tm_free(call->codes);
  tm_free(call->addresses);
}

int32_t begin_call(engine_call *call, tcamv6_state *state, const tcamv6_prefix *records, uint32_t n, bool full) {
  *call = {};
  call->state = state;
  const auto *bytes = reinterpret_cast<const uint8_t *>(records);
  if (tcamv6_build_list(bytes, &call->list, n, &call->count, full, nullptr) != TM_OK) {
    return TM_ENOMEM;
  }
  call->codes = static_cast<tcamv6_cmpr_pref *>(zel_calloc_named(TM_MEM_TAG_RESULT, call->count, sizeof *call->codes));
  call->addresses =
      static_cast<tcamv6_cmpr_addr *>(zel_calloc_named(TM_MEM_TAG_RESULT, call->count, sizeof *call->addresses));
  return call->codes == nullptr || call->addresses == nullptr ? TM_ENOMEM : TM_OK;
}

int32_t run_full(tcamv6_state *state, const tcamv6_prefix *records, uint32_t n) {
  engine_call call;
  int32_t result = begin_call(&call, state, records, n, true);
  if (result == TM_OK) {
    uint32_t n_distinct;
    result = tcamv6_optimized_compress(state, call.count, call.list, call.codes, call.addresses, &n_distinct);
  }
  end_call(&call);
  return result;
}

int32_t run_batch(tcamv6_state *state, const tcamv6_prefix *records, uint32_t n) {
  engine_call call;
  int32_t result = begin_call(&call, state, records, n, false);
  if (result == TM_OK) {
    uint32_t extra_ops_pending;
    uint32_t changed;
    uint32_t rows;
    result = tcamv6_incr_compress(state, call.count, call.list, call.codes, call.addresses, &extra_ops_pending,
                                  &changed, &rows);
    tcamv6_extra_ops_free(state);
  }
  end_call(&call);
  return result;
}

uint32_t count_entries(const tcamv6_prefix *record) {
  return 1u + (record->length > 32) + (record->length > 48) + (record->length > 64) + (record->length > 96);
}

// How many of the records one full compression takes.
uint32_t count_first_part(const tcamv6_prefix *records, uint32_t n) {
  uint32_t entries = 1;
  for (uint32_t i = 0; i < n; ++i) {
    entries += count_entries(&records[i]);
    if (entries >= most_full_entries) {
      return i;
    }
  }
  return n;
}

void empty(tcamv6_state *state) {
  tcamv6_state *handle = state;
  tcamv6_reset(&handle, 0);
}

int32_t fill(tcamv6_state *state, const tcamv6_prefix *records, uint32_t n) {
  const uint32_t first_part = count_first_part(records, n);
  int32_t result = run_full(state, records, first_part);
  if (result == TM_OK && first_part < n) {
    result = run_batch(state, records + first_part, n - first_part);
  }
  return result;
}

tcamv6_update_rules rules_of(const zel_v6comp_table *table, const tcamv6_batch_judge *judge) {
  uint32_t most_moves = table->move_limit;
  if (most_moves == 0) {
    most_moves = TCAMV6_NO_MOVE_LIMIT;
  } else if (most_moves == ZEL_V6COMP_TABLE_NO_MOVES) {
    most_moves = 0;
  }
  return {true, true, true, true, most_moves, judge, false};
}

// A state beside the grid, with the limits of another.
tcamv6_state *make_state_like(const tcamv6_state *state) {
  auto *twin = static_cast<tcamv6_state *>(zel_calloc_named(TM_MEM_TAG_RESULT, 1, sizeof(tcamv6_state)));
  if (twin != nullptr) {
    twin->max_pref_len = state->max_pref_len;
    twin->max_cmpr_len = state->max_cmpr_len;
  }
  return twin;
}

template <class T>
void exchange(T *a, T *b) {
  const T kept = *a;
  *a = *b;
  *b = kept;
}

// Exchange what two states hold. Their update lists, which are the hosts', stay.
void exchange_contents(tcamv6_state *a, tcamv6_state *b) {
  uint8_t kept[offsetof(tcamv6_state, entries)];
  memcpy(kept, a, sizeof kept);
  memcpy(a, b, sizeof kept);
  memcpy(b, kept, sizeof kept);
  exchange(&a->marks, &b->marks);
  exchange(&a->n_rows, &b->n_rows);
}

}  // namespace

tcamv6_prefix table_request_record(tm_key_number address, uint32_t length, bool add) {
  tcamv6_prefix record = {};
  record.flags_tag = add ? TM_PREFIX_FLAG_ADD : 0;
  record.weight = 1;
  record.length = static_cast<uint8_t>(length);
  tm_key_store(record.address, address);
  return record;
}

int32_t table_compress_in_full(const zel_v6comp_table *table, const tcamv6_prefix *records, uint32_t n) {
  const tcamv6_update_rules rules = rules_of(table, nullptr);
  tcamv6_lend_rules(&rules);
  empty(table->state);
  const int32_t result = fill(table->state, records, n);
  if (result != TM_OK) {
    empty(table->state);
  }
  tcamv6_lend_rules(nullptr);
  return result;
}

void table_empty_instance(const zel_v6comp_table *table) { empty(table->state); }

int32_t table_apply_batch(const zel_v6comp_table *table, const tcamv6_prefix *records, uint32_t n,
                          const tcamv6_batch_judge *judge) {
  const tcamv6_update_rules rules = rules_of(table, judge);
  tcamv6_lend_rules(&rules);
  tcamv6_reclaim_leftovers();
  const int32_t result = run_batch(table->state, records, n);
  tcamv6_lend_rules(nullptr);
  return result;
}

int32_t table_compress_anew(const zel_v6comp_table *table, const tcamv6_prefix *records, uint32_t n,
                            const tcamv6_batch_judge *judge) {
  const tcamv6_update_rules rules = rules_of(table, nullptr);
  tcamv6_reclaim_leftovers();
  tcamv6_state *twin = make_state_like(table->state);
  if (twin == nullptr) {
    return TM_ENOMEM;
  }
  tcamv6_lend_rules(&rules);
  int32_t result = fill(twin, records, n);
  if (result == TM_OK) {
    exchange_contents(table->state, twin);
    tcamv6_moves_begin();  // none: whatever changed, the judge has seen all of the old table
    result = judge->accept(judge->user);
    if (result != TM_OK) {
      exchange_contents(table->state, twin);
    }
  }
  tcamv6_lend_rules(nullptr);
  tcamv6_reset(&twin, 0);
  return result;
}

uint32_t table_count_pool_failures() {
  uint32_t failures = 0;
  for (const tm_chunk_info &info : gbl_state->chunk_info) {
    failures += info.failed;
  }
  return failures;
}

int32_t table_status_of(int32_t result, uint32_t pool_failures_before) {
  if (result == TM_OK) {
    return ZEL_V6COMP_TABLE_OK;
  }
  if (table_count_pool_failures() != pool_failures_before) {
    return ZEL_V6COMP_TABLE_E_POOLS;  // whatever the search that missed an element made of it
  }
  switch (result) {
    case TM_ENOMEM:
      return ZEL_V6COMP_TABLE_E_MEMORY;
    case TM_EOVERFLOW:
      return ZEL_V6COMP_TABLE_E_BITS;
    case TM_ENOSPC:
    case TM_ENOENT:
      return ZEL_V6COMP_TABLE_E_ROOM;
    default:
      return ZEL_V6COMP_TABLE_E_INTERNAL;
  }
}
