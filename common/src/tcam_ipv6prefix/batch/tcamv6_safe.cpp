// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_safe.h"

#include <string.h>

#include "tm_key.h"
#include "tm_stable_sort.h"
#include "zel_platform.h"

namespace {

// One record of a request, ready to be brought together with the others of its prefix.
struct share_record {
  uint8_t key[TM_KEY_BYTES];
  uint8_t length;
  uint8_t is_add;
  uint32_t weight;
  uint32_t index;
};

int cmp_share_records(const void *a, const void *b) {
  const auto *x = static_cast<const share_record *>(a);
  const auto *y = static_cast<const share_record *>(b);
  const int order = memcmp(x->key, y->key, sizeof x->key);
  return order != 0 ? order : x->length - y->length;
}

// Records with weight 0 count as anchors and are left out.
uint32_t collect(const uint8_t *records, uint32_t n, share_record *out) {
  uint32_t count = 0;
  for (uint32_t i = 0; i < n; ++i) {
    tcamv6_prefix record;
    memcpy(&record, records + i * sizeof record, sizeof record);
    __asm__ volatile("" : : "r"(&record) : "memory");  // the caller's record is read once
    if (record.weight == 0 || record.length > TM_KEY_BITS) {
      continue;
    }
    share_record *entry = &out[count++];
    tm_key_copy_bits(entry->key, record.address, record.length);
    entry->length = record.length;
    entry->is_add = (record.flags_tag & TM_PREFIX_FLAG_ADD) != 0;
    entry->weight = record.weight;
    entry->index = i;
  }
  return count;
}

uint16_t stored_share(const tcamv6_state *state, const share_record *entry) {
  const tm_util_trie_node *node = tm_util_trie_lookup(tm_trie_node(state->orig_root), entry->key, entry->length, 0);
  return node != nullptr && node->tag != 0 ? tcamv6_own_share(node) : uint16_t{0};
}

void mark_absent(const tcamv6_state *state, const share_record *entries, uint32_t count, uint8_t *absent) {
  uint16_t share = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const share_record *entry = &entries[i];
    if (i == 0 || cmp_share_records(&entries[i - 1], entry) != 0) {
      share = stored_share(state, entry);
    }
    if (entry->is_add != 0) {
      share = static_cast<uint16_t>(share + entry->weight);
    } else if (share == 0) {
      absent[entry->index] = 1;
    } else if (entry->weight <= share) {
      share = static_cast<uint16_t>(share - entry->weight);
    }
  }
}

}  // namespace

tm_util_trie_node *tcamv6_safe_common_ancestor(tm_util_trie_node *cmpr_root, const tm_util_trie_node *a,
                                               const tm_util_trie_node *b) {
  if (cmpr_root == nullptr || a == nullptr || b == nullptr) {
    return nullptr;
  }
  const int32_t shorter = a->len < b->len ? a->len : b->len;
  return tm_util_trie_tracepath(cmpr_root, a->key, 0, tm_key_common_bits(a->key, b->key, shorter), 0, 0);
}

int32_t tcamv6_find_absent_deletes(const tcamv6_state *state, const uint8_t *records, uint32_t n, uint8_t *absent) {
  memset(absent, 0, n);
  auto *entries = static_cast<share_record *>(zel_malloc_named(TM_MEM_TAG_LIST, n * sizeof(share_record)));
  if (entries == nullptr) {
    return TM_ENOMEM;
  }
  const uint32_t count = collect(records, n, entries);
  tm_stable_sort(entries, count, sizeof *entries, cmp_share_records);
  mark_absent(state, entries, count, absent);
  zel_free_named(entries);
  return TM_OK;
}
