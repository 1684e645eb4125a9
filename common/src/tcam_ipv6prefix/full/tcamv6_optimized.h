// SPDX-License-Identifier: Apache-2.0
/* tcamv6_optimized.h - the full compression of one table. */
#ifndef TCAMV6_OPTIMIZED_H
#define TCAMV6_OPTIMIZED_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Compress a working list in full. What the instance held before is released first. Success marks the
 *  instance optimised: later requests are batches.
 *  @param count           records of list, cmpr_prefs and cmpr_addrs; at least 1
 *  @param list            sorted working list (tcamv6_build_prefix_list), the /0 entry included
 *  @param cmpr_prefs      zeroed; record i answers list[i]
 *  @param cmpr_addrs      zeroed; address i answers list[i]
 *  @param n_distinct_out  distinct prefixes, anchors aside; 0 after a failure
 *  @return 0; -12 pools or heap exhausted; -14 inconsistent limits; -75 more than max_cmpr_len bits needed; -22 a
 *          pointer is null, count is 0 or above 2^31 - 1, a record is longer than 128 bits or the state was kept by a
 *          reset (printed as "Bad arguments" under the info word, nothing touched); other negative results of the
 *          depth limits (-1).
 *          After a failure the elements taken stay counted as allocated until the next request is accepted.
 *  Cost: O(count log count), some 5,000 instructions a prefix; at most 129 steps of each tree a prefix. Allocates:
 *  all nodes from the pools, working arrays from the heap. */
TM_API int32_t tcamv6_optimized_compress(tcamv6_state *state, uint32_t count, const tcamv6_prefix *list,
                                         tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs,
                                         uint32_t *n_distinct_out);

TM_API_END

#endif
