// SPDX-License-Identifier: Apache-2.0
/* tcamv6_prefix_list.h - the working list of a request: the caller's records, their anchors, tags, order. */
#ifndef TCAMV6_PREFIX_LIST_H
#define TCAMV6_PREFIX_LIST_H

#include "tm_prefix.h"

TM_API_BEGIN

/** Build a working list: the records with tags 1..n; then, for each record in order, its anchors: copies cut to
 *  length 32, 48, 64 and 96 as far as the record is longer (only the length byte is cut), anchor_ref = the
 *  record's weight; then, when `full` is not 0, the default prefix /0 with weight 1. All tagged in sequence, and
 *  sorted: longer prefixes first, anchors first among equals, stable.
 *  @param prefixes   n records of 40 bytes, may be unaligned
 *  @param list_out   the list, released with zel_free_named; null after a failure
 *  @param count_out  its length
 *  @return 0; -12 no memory; -22 a pointer is null, a record is longer than 128 bits, the list would have more than
 *          2^31 - 1 records, or the records changed while they were read: "Bad arguments" under the info word
 *  Cost: O(n log n). Allocates the list, at most 5 n + 1 records, and as much again while it sorts. */
TM_API int32_t tcamv6_build_prefix_list(const tcamv6_prefix *prefixes, tcamv6_prefix **list_out, uint32_t n,
                                        uint32_t *count_out, int32_t full);

/** Sort compressed prefixes by tag, the order in which a request returns them.
 *  Cost: O(count) where tags are a sequence, else that of a sort. Allocates as many records for the time of the
 *  call. */
TM_API void tcamv6_prepare_return_cmpr_prefs(tcamv6_cmpr_pref *cmpr_prefs, uint32_t count);

TM_API_END

#endif
