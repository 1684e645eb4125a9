// SPDX-License-Identifier: Apache-2.0
/* tcamv6_dump.h - the whole table of an instance, row by row. */
#ifndef TCAMV6_DUMP_H
#define TCAMV6_DUMP_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Number of distinct prefixes stored, anchors included: the room that a dump's tables need.
 *  @return 0; -22 a pointer is null or the state was kept by a reset
 *  Cost: constant. Does not allocate. */
TM_API int32_t tcamv6_dump_n_prefixes(const tcamv6_state *state, uint32_t *n_out);

/** Write one row per stored prefix that is not an anchor only; every prefix after all its more specifics.
 *  @param n           rows of each table; must equal the instance's number of prefixes
 *  @param orig_prefs  original prefix; weight and anchor_ref are the stored sums
 *  @param cmpr_prefs  compressed prefix
 *  @param cmpr_addrs  compressed address
 *  @param count_out   rows written
 *  @return 0; -22 bad arguments, wrong n, an unusable state or no prefixes; -14 more rows than prefixes
 *  Cost: O(prefixes stored). Does not allocate. */
TM_API int32_t tcamv6_dump_cmpr_tbl(tcamv6_state *state, int32_t n, tcamv6_prefix *orig_prefs,
                                    tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs, uint32_t *count_out);

TM_API_END

#endif
