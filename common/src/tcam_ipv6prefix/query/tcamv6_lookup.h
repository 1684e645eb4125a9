// SPDX-License-Identifier: Apache-2.0
/* tcamv6_lookup.h - what a prefix became, and which prefix covers an address. */
#ifndef TCAMV6_LOOKUP_H
#define TCAMV6_LOOKUP_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Translate a stored prefix.
 *  @param prefix       length and address are read
 *  @param cmpr_pref_p  length, key, own_node and node_aux are written: the compressed prefix
 *  @param cmpr_addr_p  the compressed address of what the prefix alone covers
 *  @return 0; -22 not stored, or bad arguments, a length above 128 among them; -14 broken links. Outputs are written on
 *          0 only
 *  Cost: a step for each bit of the prefix, or for each byte with a read index. Only reads; does not allocate. */
TM_API int32_t tcamv6_lookup_prefix(tcamv6_state *state, const tcamv6_prefix *prefix, tcamv6_cmpr_pref *cmpr_pref_p,
                                    tcamv6_cmpr_addr *cmpr_addr_p);

/** Find the longest stored prefix that covers an address, anchors included, and translate it.
 *  @param lkup_addr   16 bytes, network order
 *  @param prefix      length, address, weight and anchor_ref are written: the stored prefix
 *  @return as tcamv6_lookup_prefix
 *  Cost: a step for each bit down to the prefix, or for each byte with a read index. Only reads; does not allocate. */
TM_API int32_t tcamv6_lookup_address(tcamv6_state *state, const uint8_t lkup_addr[16], tcamv6_prefix *prefix,
                                     tcamv6_cmpr_pref *cmpr_pref_p, tcamv6_cmpr_addr *cmpr_addr_p);

TM_API_END

#endif
