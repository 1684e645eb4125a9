// SPDX-License-Identifier: Apache-2.0
// The order of an update list: used slots first, longer prefixes first, prefixes of one length by their bits.
//
// Hosts compare lists byte for byte, so every sort here has the result of a stable sort with the comparator of
// the same purpose. States and lengths take few values: those two sorts count and scatter instead of comparing,
// and mostly find the list in order already, since every plan begins with the list that the last one left.
//
// The sort of the runs has a rule that lists in the field depend on. s is the start of the next run:
//
//   length     64 64 64 | 48 | 32 32 32 32          a run of one slot does not move s on ...
//   passes     [  64  ] [         ]                 ... so the /48 is sorted together with the first three
//                                    not sorted     of the /32, keeps its place, and the last /32 is left out
//
// Each further run of one slot leaves one slot more out.
#include "tm_incr_update_order.h"

#include <cstring>

#include "tm_prefix_internal.h"
#include "tm_stable_sort.h"
#include "zel_platform.h"

namespace {

constexpr uint32_t bucket_limit = 256;  // the lengths that a byte can hold
constexpr uint32_t longest_run = 128;   // runs of lengths above it are not sorted

using compare_f = int (*)(const void *, const void *);

// Sort by bucket number, stably. cmp is the same order as a comparator: it sorts when there is no scratch memory.
template <typename BucketOf>
void sort_into_buckets(tm_incr_update_entry *entries, uint32_t n, BucketOf bucket_of, compare_f cmp) {
  uint32_t next[bucket_limit + 1] = {};  // where the next slot of each bucket goes
  bool in_order = true;
  for (uint32_t i = 0; i < n; ++i) {
    ++next[bucket_of(entries[i]) + 1];
    in_order = in_order && (i == 0 || bucket_of(entries[i - 1]) <= bucket_of(entries[i]));
  }
  if (in_order) {
    return;
  }
  auto *scratch = static_cast<tm_incr_update_entry *>(zel_malloc_named(TM_MEM_TAG_LIST, n * sizeof(*entries)));
  if (scratch == nullptr) {
    tm_stable_sort(entries, n, sizeof(*entries), cmp);
    return;
  }
  for (uint32_t bucket = 1; bucket <= bucket_limit; ++bucket) {
    next[bucket] += next[bucket - 1];
  }
  for (uint32_t i = 0; i < n; ++i) {
    scratch[next[bucket_of(entries[i])]++] = entries[i];
  }
  std::memcpy(entries, scratch, n * sizeof(*entries));
  zel_free_named(scratch);
}

uint32_t sort_runs(tm_incr_update_entry *entries, uint32_t n) {
  // The slots are in order of length, and s never passes the start of a run: all slots of a length are ahead of
  // s when its turn comes, and can be counted beforehand.
  uint32_t slots_of[bucket_limit] = {};
  for (uint32_t i = 0; i < n; ++i) {
    ++slots_of[entries[i].length];
  }
  uint32_t s = 0;
  for (uint32_t length = longest_run + 1; length-- > 0;) {
    const uint32_t k = slots_of[length];
    if (k > 1) {
      tm_stable_sort(entries + s, k, sizeof(*entries), tm_prepare_incremental_update_prefixes_list_cmp_prefix_f);
      s += k;
    }
  }
  return s;
}

}  // namespace

extern "C" {

int tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const auto *left = static_cast<const tm_incr_update_entry *>(a);
  const auto *right = static_cast<const tm_incr_update_entry *>(b);
  return right->length - left->length;
}

int tm_prepare_incremental_update_prefixes_list_cmp_state_f(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const bool a_free = static_cast<const tm_incr_update_entry *>(a)->state == TM_INCR_INVALID;
  const bool b_free = static_cast<const tm_incr_update_entry *>(b)->state == TM_INCR_INVALID;
  return static_cast<int>(a_free) - static_cast<int>(b_free);
}

int tm_prepare_incremental_update_prefixes_list_cmp_prefix_f(const void *a, const void *b) {
  if (a == nullptr || b == nullptr) {
    return TM_EINVAL;
  }
  const auto *left = static_cast<const tm_incr_update_entry *>(a);
  const auto *right = static_cast<const tm_incr_update_entry *>(b);
  return tm_cmp_v6_bits(left->length, left->prefix, right->length, right->prefix);
}

}  // extern "C"

void tm_incr_sort_by_state(tm_incr_update_entry *entries, uint32_t n) {
  sort_into_buckets(
      entries, n, [](const tm_incr_update_entry &entry) { return entry.state == TM_INCR_INVALID ? 1u : 0u; },
      tm_prepare_incremental_update_prefixes_list_cmp_state_f);
}

uint32_t tm_incr_sort_by_prefix(tm_incr_update_entry *entries, uint32_t n) {
  sort_into_buckets(
      entries, n, [](const tm_incr_update_entry &entry) { return 255u - entry.length; },
      tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f);
  return sort_runs(entries, n);
}
