// SPDX-License-Identifier: Apache-2.0
// tm_incr_update_index.h - the records of a table, found by prefix. Internal.
#ifndef TM_INCR_UPDATE_INDEX_H
#define TM_INCR_UPDATE_INDEX_H

#include "tm_incr_update.h"

// Bytes of a compressed address that a plan compares and takes over.
enum { TM_INCR_ADDR_BYTES = 7 };

// All records that compare equal under tm_cmp_v6_pref.
struct tm_incr_group {
  uint64_t high, low;  // the address bits that the comparison looks at; the others are 0
  uint8_t length;
  bool in_list;    // for the user: some slot equals these records
  uint32_t first;  // the first of the records
  uint32_t other;  // the first one whose compressed address differs from that of `first`, or TM_INCR_NO_RECORD
};

constexpr uint32_t TM_INCR_NO_RECORD = UINT32_MAX;

struct tm_incr_index {
  tm_incr_group *groups;  // the one block of memory; what follows lies in it
  uint32_t *group_of;     // by record
  uint32_t *table;        // open addressing: 0 = empty, else group number + 1
  uint64_t table_mask;
};

// Index n records. False when the memory is refused: nothing is left to free then.
bool tm_incr_index_make(tm_incr_index *index, const tcamv6_prefix *prefixes, const tcamv6_cmpr_addr *cmpr_addrs,
                        uint32_t n);

// The records equal to a prefix, or null.
tm_incr_group *tm_incr_index_find(const tm_incr_index *index, uint8_t length, const uint8_t *address);

void tm_incr_index_free(tm_incr_index *index);

#endif
