// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_request.cpp - one request: check it, build its working list, compress in full or apply it as a batch.
#include <string.h>

#include "tcamv6_leftovers.h"
#include "tcamv6_moves_internal.h"
#include "tcamv6_prefix_list_internal.h"
#include "tcamv6_rules.h"
#include "tcamv6_safe.h"
#include "tcamv6_state_internal.h"
#include "tm_memory.h"
#include "zel_v6comp.h"
#include "zel_v6comp_result.h"

namespace {

constexpr const char *entry = "zel_v6comp_prefix_compress_prefixes";

// One accepted request.
struct request {
  tcamv6_state *state;
  tcamv6_prefix *list;
  uint32_t count;
  tcamv6_cmpr_pref **cmpr_prefs;
  tcamv6_cmpr_addr **cmpr_addrs;
  uint32_t *changed;
};

const uint8_t *records_of(const v6comp_pref_info *req) { return reinterpret_cast<const uint8_t *>(req + 1); }

bool has_long_record(const uint8_t *records, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) {
    if (records[i * sizeof(tcamv6_prefix) + offsetof(tcamv6_prefix, length)] > TCAMV6_MAX_PREF_LEN) {
      return true;
    }
  }
  return false;
}

// Where a request's results go.
struct outputs {
  tcamv6_cmpr_pref **cmpr_prefs;
  tcamv6_cmpr_addr **cmpr_addrs;
  uint32_t *changed;  // may be null
};

bool overlap(const void *a, size_t a_bytes, const void *b, size_t b_bytes) {
  const auto x = reinterpret_cast<uintptr_t>(a);
  const auto y = reinterpret_cast<uintptr_t>(b);
  return x < y + b_bytes && y < x + a_bytes;
}

// Each output must have a place of its own.
bool are_apart(const outputs *out) {
  return out->cmpr_prefs != nullptr && out->cmpr_addrs != nullptr &&
         !overlap(out->cmpr_prefs, sizeof *out->cmpr_prefs, out->cmpr_addrs, sizeof *out->cmpr_addrs) &&
         (out->changed == nullptr ||
          (!overlap(out->cmpr_prefs, sizeof *out->cmpr_prefs, out->changed, sizeof *out->changed) &&
           !overlap(out->cmpr_addrs, sizeof *out->cmpr_addrs, out->changed, sizeof *out->changed)));
}

// The request's three words, read once: others may write to them meanwhile.
v6comp_pref_info read_header(const v6comp_pref_info *req) {
  v6comp_pref_info header;
  memcpy(&header, req, sizeof header);
  __asm__ volatile("" : : "r"(&header) : "memory");
  return header;
}

// Null for requests that would read outside the grid, the records or released memory.
tcamv6_state *checked_state(const v6comp_pref_info *header, const uint8_t *records, const outputs *out) {
  tcamv6_state *state = zel_v6comp_instance(header->processor, header->instance);
  if (tcamv6_state_unusable(state) || !are_apart(out) || has_long_record(records, header->n_prefixes)) {
    TM_LOG_PROCESSING(error, "%s: Bad arguments", entry);
    return nullptr;
  }
  return state;
}

uint32_t report_calloc(size_t bytes) {
  TM_LOG_PROCESSING(info, "%s: calloc(%zu bytes) failed", entry, bytes);
  return zel_v6comp_status(TM_ENOMEM);
}

uint32_t allocate_results(const request *r) {
  const size_t prefs_bytes = r->count * sizeof(tcamv6_cmpr_pref);
  *r->cmpr_prefs =
      static_cast<tcamv6_cmpr_pref *>(zel_calloc_named(TM_MEM_TAG_RESULT, r->count, sizeof(tcamv6_cmpr_pref)));
  if (*r->cmpr_prefs == nullptr) {
    return report_calloc(prefs_bytes);
  }
  const size_t addrs_bytes = r->count * sizeof(tcamv6_cmpr_addr);
  *r->cmpr_addrs =
      static_cast<tcamv6_cmpr_addr *>(zel_calloc_named(TM_MEM_TAG_RESULT, r->count, sizeof(tcamv6_cmpr_addr)));
  return *r->cmpr_addrs == nullptr ? report_calloc(addrs_bytes) : 0;
}

uint32_t compress_in_full(const request *r) {
  uint32_t n_distinct;
  const int32_t result =
      tcamv6_optimized_compress(r->state, r->count, r->list, *r->cmpr_prefs, *r->cmpr_addrs, &n_distinct);
  if (result != TM_OK) {
    TM_LOG(error, "%s: optimized_compress() failed %d", entry, result);
  } else {
    tcamv6_moves_begin();
    tcamv6_moves_publish(r->state);  // a new table: nothing moved
  }
  return zel_v6comp_status(result);
}

uint32_t apply_batch(const request *r) {
  uint32_t extra_ops_pending = 0;
  uint32_t walk_result = 0;
  const int32_t result = tcamv6_incr_compress(r->state, r->count, r->list, *r->cmpr_prefs, *r->cmpr_addrs,
                                              &extra_ops_pending, r->changed, &walk_result);
  if (extra_ops_pending == 1 && tcamv6_extra_ops_free(r->state) != TM_OK) {
    TM_LOG_PROCESSING(info, "%s: extra_ops_free() failed %d. Ignored.", entry, result);
  }
  if (result != TM_OK) {
    TM_LOG(error, "%s: incremental_compress() failed %d", entry, result);
  }
  return zel_v6comp_status(result);
}

// With safe updates, deletes that would take nothing get no anchors: these would take what other prefixes gave.
int32_t build_list(request *r, const uint8_t *records, uint32_t n, bool full) {
  if (full || n == 0 || !tcamv6_rules_now().exact_counters) {
    return tcamv6_build_list(records, &r->list, n, &r->count, full, nullptr);
  }
  auto *absent = static_cast<uint8_t *>(zel_malloc_named(TM_MEM_TAG_LIST, n));
  if (absent == nullptr) {
    return TM_ENOMEM;
  }
  int32_t result = tcamv6_find_absent_deletes(r->state, records, n, absent);
  if (result == TM_OK) {
    result = tcamv6_build_list(records, &r->list, n, &r->count, full, absent);
  }
  zel_free_named(absent);
  return result;
}

uint32_t run_request(const request *r, bool full) {
  uint32_t status = allocate_results(r);
  if (status == 0) {
    status = full ? compress_in_full(r) : apply_batch(r);
  }
  return status;
}

void clear_outputs(tcamv6_cmpr_pref **cmpr_prefs_out, tcamv6_cmpr_addr **cmpr_addrs_out) {
  if (cmpr_prefs_out != nullptr) {
    *cmpr_prefs_out = nullptr;
  }
  if (cmpr_addrs_out != nullptr) {
    *cmpr_addrs_out = nullptr;
  }
}

}  // namespace

uint32_t zel_v6comp_prefix_compress_prefixes(const v6comp_pref_info *req, tcamv6_cmpr_pref **cmpr_prefs_out,
                                             tcamv6_cmpr_addr **cmpr_addrs_out, uint32_t *changed_out) {
  constexpr const char *function = "zel_v6comp_prefix_compress_prefixes";
  if (req == nullptr) {
    clear_outputs(cmpr_prefs_out, cmpr_addrs_out);
    return zel_v6comp_status(TM_ENOMEM);
  }
  TM_LOG(trace, "%s: Starting pref_infp %p", function, static_cast<const void *>(req));
  const v6comp_pref_info header = read_header(req);
  clear_outputs(cmpr_prefs_out, cmpr_addrs_out);
  const uint32_t n = header.n_prefixes;
  if (n > TCAMV6_MAX_PREFIXES) {
    TM_LOG(error, "%s: Number of prefix %u greater than maximum possible %u", function, n,
           static_cast<uint32_t>(TCAMV6_MAX_PREFIXES));
    return zel_v6comp_status(TM_EINVAL);
  }
  const outputs out = {cmpr_prefs_out, cmpr_addrs_out, changed_out};
  tcamv6_state *state = checked_state(&header, records_of(req), &out);
  if (state == nullptr) {
    return zel_v6comp_status(TM_EINVAL);
  }
  tcamv6_reclaim_leftovers();
  const bool full = tcamv6_init_opt_done(state) != TM_OK;
  uint32_t unused_changed = 0;
  request r = {state,          nullptr,        0,
               cmpr_prefs_out, cmpr_addrs_out, changed_out != nullptr ? changed_out : &unused_changed};
  const int32_t built = build_list(&r, records_of(req), n, full);
  if (built != TM_OK) {
    TM_LOG_PROCESSING(info, "%s: failed to build prefix list", function);
    return zel_v6comp_status(built);
  }
  const uint32_t status = run_request(&r, full);
  zel_free_named(r.list);  // before the results are sorted, which takes as much room again
  if (status == 0) {
    tcamv6_prepare_return_cmpr_prefs(*cmpr_prefs_out, r.count);
  }
  return status;
}

uint32_t zel_v6comp_prefix_compress(const v6comp_pref_info *req) {
  constexpr const char *function = "zel_v6comp_prefix_compress";
  if (req == nullptr) {
    return zel_v6comp_status(TM_ENOMEM);
  }
  tcamv6_cmpr_pref *cmpr_prefs = nullptr;
  tcamv6_cmpr_addr *cmpr_addrs = nullptr;
  uint32_t changed = 1;
  const uint32_t status = zel_v6comp_prefix_compress_prefixes(req, &cmpr_prefs, &cmpr_addrs, &changed);
  if (status != 0) {
    TM_LOG(error, "%s: zel_v6comp_prefix_compress_prefixes() failed %d", function, static_cast<int>(status));
  }
  TM_LOG(trace, "%s: Complete %d", function, static_cast<int>(status));
  zel_v6comp_free_compr_result(cmpr_prefs, cmpr_addrs);
  return status;
}

void zel_v6comp_free_compr_result(tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs) {
  tm_free(cmpr_addrs);
  tm_free(cmpr_prefs);
}
