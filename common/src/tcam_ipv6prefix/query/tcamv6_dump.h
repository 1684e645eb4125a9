/* tcamv6_dump.h - the whole table of an instance, row by row. */
#ifndef TCAMV6_DUMP_H
#define TCAMV6_DUMP_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Number of distinct prefixes stored, anchors included: the room that a dump's tables need.
 *  @return 0; -22 a pointer is null or the state was kept by a reset */
TM_API int32_t tcamv6_dump_n_prefixes(const tcamv6_state *state, uint32_t *n_out);

/** Write one row per stored prefix that is not an anchor only; every prefix after all its more specifics.
 *  @param n           rows of each table; must equal the instance's number of prefixes
 *  @param orig_prefs  original prefix; weight and anchor_ref are the stored sums
 *  @param cmpr_prefs  compressed prefix
 *  @param cmpr_addrs  compressed address
 *  @param count_out   rows written
 *  @return 0; -22 bad arguments, wrong n, an unusable state or no prefixes; -14 more rows than prefixes */
TM_API int32_t tcamv6_dump_cmpr_tbl(tcamv6_state *state, int32_t n, tcamv6_prefix *orig_prefs,
                                    tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs, uint32_t *count_out);

TM_API_END

#ifdef __cplusplus

#include "tm_n_ary_tree.h"

/* The walk: rows written (0 or more), or a negative code. With total_only no row is written, the tables may be
 * null, and rows are only counted. */
int32_t tcamv6_dump_tree_int(int32_t max_prefs, const tm_n_ary_node *anc_node, tcamv6_prefix *orig_prefs,
                             tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs, int32_t total_only);

#endif

#endif
