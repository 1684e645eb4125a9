// SPDX-License-Identifier: Apache-2.0
/* tcamv6_incr.h - batches of additions and deletions on a compressed table. */
#ifndef TCAMV6_INCR_H
#define TCAMV6_INCR_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Apply a batch record by record, by bit 0 of flags_tag (set = add, clear = delete). On the first record that
 *  cannot be applied the batch is undone.
 *  @param inp_prefs          n_prefs records in the order in which they are applied
 *  @param cmpr_prefs         record i answers inp_prefs[i]
 *  @param cmpr_addrs         address i answers inp_prefs[i]; written for additions only
 *  @param extra_ops_pending  1 when the instance holds an extra-operation array at the end
 *  @param changed            1 when a prefix was added, or the compressed form of one changed
 *  @param walk_result        on success: rows of the table
 *  @return 0; -12 pools or heap exhausted; -14 broken link or inconsistency; -22 a delete of more than is stored, or
 *          bad arguments: a null pointer, a record longer than 128 bits, more than 2^31 - 1 records, a kept state;
 *          -28 no room left for a prefix; -2 a new level needs a full compression
 *  Cost: of a record a few walks of at most 128 steps; of one that makes a new level also what it adopts; of a refused
 *  batch as much again. Allocates: two extra operations for each record, nodes from the pools, with safe updates a
 *  journal for the time of the call. */
TM_API int32_t tcamv6_incr_compress(tcamv6_state *state, uint32_t n_prefs, const tcamv6_prefix *inp_prefs,
                                    tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs,
                                    uint32_t *extra_ops_pending, uint32_t *changed, uint32_t *walk_result);

TM_API_END

#endif
