// SPDX-License-Identifier: Apache-2.0
// The records of a table, grouped by what tm_cmp_v6_pref sees of them.
//
// The comparison looks at the length, the whole bytes, and the LOW (length mod 8) bits of the partial byte. With
// all other bits cleared, equal records have equal keys and a hash table finds them:
//
//   2001:db8:5a5a::/44    bytes    20 01 0d b8 5a | 5a -> 0a | ..       the mask of length 44 ends in 0f, not f0
//
// A slot asks one question of its group: which is the first record whose compressed address is not mine? It is
// the group's first record, or else the first one that differs from that. So two record numbers answer for
// groups of any size, and no list of equal records ever needs to be walked.
#include "tm_incr_update_index.h"

#include <cstring>

#include "tm_incr_update_order.h"
#include "tm_prefix_internal.h"
#include "zel_platform.h"

namespace {

struct key_bits {
  uint64_t high, low;
};

key_bits key_of(uint8_t length, const uint8_t *address) {
  const tm_key_number key = tm_prefix_compared_bits(address, length);
  return {static_cast<uint64_t>(key >> 64), static_cast<uint64_t>(key)};
}

uint64_t mix(uint64_t x) {
  x ^= x >> 32;
  x *= 0xD6E8FEB86659FD93;
  x ^= x >> 32;
  x *= 0xD6E8FEB86659FD93;
  return x ^ x >> 32;
}

// The table's place of a key: its group's number + 1, or the 0 where it would go.
uint32_t *place_of(const tm_incr_index *index, uint8_t length, key_bits key) {
  uint64_t at = mix(mix(key.high ^ length) + key.low);
  for (;; ++at) {
    uint32_t *place = &index->table[at & index->table_mask];
    if (*place == 0) {
      return place;
    }
    const tm_incr_group &group = index->groups[*place - 1];
    if (group.high == key.high && group.low == key.low && group.length == length) {
      return place;
    }
  }
}

// Memory for n records, in a table that stays at most half full.
bool allocate(tm_incr_index *index, uint32_t n) {
  size_t places = 2;
  while (places < size_t{2} * n) {
    places *= 2;
  }
  const size_t group_bytes = n * sizeof(tm_incr_group);
  const size_t number_bytes = n * sizeof(uint32_t);
  const size_t table_bytes = places * sizeof(uint32_t);
  auto *block = static_cast<char *>(zel_malloc_named(TM_MEM_TAG_LIST, group_bytes + number_bytes + table_bytes));
  if (block == nullptr) {
    return false;
  }
  index->groups = reinterpret_cast<tm_incr_group *>(block);
  index->group_of = reinterpret_cast<uint32_t *>(block + group_bytes);
  index->table = reinterpret_cast<uint32_t *>(block + group_bytes + number_bytes);
  index->table_mask = places - 1;
  std::memset(index->table, 0, table_bytes);
  return true;
}

}  // namespace

bool tm_incr_index_make(tm_incr_index *index, const tcamv6_prefix *prefixes, const tcamv6_cmpr_addr *cmpr_addrs,
                        uint32_t n) {
  if (!allocate(index, n)) {
    return false;
  }
  uint32_t n_groups = 0;
  for (uint32_t j = 0; j < n; ++j) {
    const uint8_t length = prefixes[j].length;
    const key_bits key = key_of(length, prefixes[j].address);
    uint32_t *place = place_of(index, length, key);
    if (*place == 0) {
      index->groups[n_groups] = {key.high, key.low, length, false, j, TM_INCR_NO_RECORD};
      *place = ++n_groups;
    }
    index->group_of[j] = *place - 1;
    tm_incr_group &group = index->groups[*place - 1];
    if (group.other == TM_INCR_NO_RECORD &&
        std::memcmp(cmpr_addrs[j].bytes, cmpr_addrs[group.first].bytes, TM_INCR_ADDR_BYTES) != 0) {
      group.other = j;
    }
  }
  return true;
}

tm_incr_group *tm_incr_index_find(const tm_incr_index *index, uint8_t length, const uint8_t *address) {
  const uint32_t number = *place_of(index, length, key_of(length, address));
  return number != 0 ? &index->groups[number - 1] : nullptr;
}

void tm_incr_index_free(tm_incr_index *index) { zel_free_named(index->groups); }
