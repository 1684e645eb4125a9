// SPDX-License-Identifier: Apache-2.0
/* tm_prefix.h - the records of prefixes and results, and their orders. */
#ifndef TM_PREFIX_H
#define TM_PREFIX_H

#include "tm_api.h"

TM_API_BEGIN

enum {
  TM_PREFIX_FLAG_ADD = 1,   /* bit 0 of flags_tag: set = add, clear = delete */
  TM_PREFIX_TAG_SHIFT = 12, /* bits 12-31 of flags_tag: the tag, a 20-bit sequence number */
  TM_PREFIX_FLAGS_MASK = 0xFFF,
  TM_PREFIX_TAG_MASK = 0xFFFFF
};

/** One IPv6 prefix: the record of requests and working lists. */
typedef struct tcamv6_prefix {
  uint32_t flags_tag;  /* TM_PREFIX_FLAG_ADD, other flags carried; tag written by the library */
  uint32_t weight;     /* the caller's weight; summed over duplicates, modulo 2^16 */
  uint32_t anchor_ref; /* 0 in the caller's records; in an anchor, the weight of the prefix it came from.
                          A record whose weight equals its anchor_ref counts as an anchor */
  uint32_t reference;  /* carried */
  uint8_t length;      /* bits, 0..128 */
  uint8_t address[16]; /* network order; bits beyond length need not be 0 */
  uint8_t reserved[3];
  uint32_t operation; /* only used in extra-operation records: 0 = remove, 1 = write */
} tcamv6_prefix;

/** One compressed prefix. In a full result the flags, bytes 12-15 and bytes 33-39 are 0; in a batch's
 *  result they echo the request's record. */
typedef struct tcamv6_cmpr_pref {
  uint32_t flags_tag; /* bits 12-31: tag of the working-list record that it answers */
  uint32_t own_node;  /* full: 1 if the record has a compressed node of its own, 0 if it shares that of an
                         equal record. Batch: 1 if the request changed the prefix */
  uint32_t node_aux;  /* second counter of the compressed node */
  uint32_t reference; /* of a deleted prefix: its handle */
  uint8_t length;     /* bits of the compressed prefix, at most 64 */
  uint8_t key[16];    /* its bits, most significant first; bits beyond length are undefined */
  uint8_t reserved[3];
  uint32_t operation; /* only used in extra-operation records: 0 = remove, 1 = write */
} tcamv6_cmpr_pref;

/** One compressed address: bits beyond the compressed length are 0. */
typedef struct tcamv6_cmpr_addr {
  uint8_t bytes[16]; /* most significant first */
} tcamv6_cmpr_addr;

TM_ASSERT_SIZE(tcamv6_prefix, 40);
TM_ASSERT_OFFSET(tcamv6_prefix, weight, 4);
TM_ASSERT_OFFSET(tcamv6_prefix, anchor_ref, 8);
TM_ASSERT_OFFSET(tcamv6_prefix, reference, 12);
TM_ASSERT_OFFSET(tcamv6_prefix, length, 16);
TM_ASSERT_OFFSET(tcamv6_prefix, address, 17);
TM_ASSERT_OFFSET(tcamv6_prefix, operation, 36);
TM_ASSERT_SIZE(tcamv6_cmpr_pref, 40);
TM_ASSERT_OFFSET(tcamv6_cmpr_pref, own_node, 4);
TM_ASSERT_OFFSET(tcamv6_cmpr_pref, node_aux, 8);
TM_ASSERT_OFFSET(tcamv6_cmpr_pref, reference, 12);
TM_ASSERT_OFFSET(tcamv6_cmpr_pref, length, 16);
TM_ASSERT_OFFSET(tcamv6_cmpr_pref, key, 17);
TM_ASSERT_OFFSET(tcamv6_cmpr_pref, operation, 36);
TM_ASSERT_SIZE(tcamv6_cmpr_addr, 16);

/** Order two tcamv6_prefix by length, shorter first: -1, 0, 1; -22 a pointer is null.
 *  Cost: constant. Does not allocate. */
TM_API int tm_prefix_length_cmp(const void *a, const void *b);

/** Order two tcamv6_cmpr_pref by tag, ascending: -1, 0, 1; -22 a pointer is null.
 *  Cost: constant. Does not allocate. */
TM_API int tm_cmpr_pref_tag_cmp(const void *a, const void *b);

/** Order two tcamv6_prefix: longer first, then by address. The last, partial byte is compared by its low
 *  (length mod 8) bits, so that different prefixes can compare equal; lists and results depend on it. Lengths are
 *  compared as they are, also above 128; no bit beyond the 128th is read.
 *  @return a signed difference, 0 when they compare equal; -22 a pointer is null
 *  Cost: constant. Does not allocate. */
TM_API int tm_cmp_v6_pref(const void *a, const void *b);

TM_API_END

#endif
