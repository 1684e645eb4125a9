// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_del.h - taking a reference off a stored prefix, and the prefix out of the structures with its last one.
#ifndef TCAMV6_INCR_DEL_H
#define TCAMV6_INCR_DEL_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_rules.h"
#include "tcamv6_state.h"

// Take a record's weights off a stored prefix. The stored keys of all other prefixes stay.
//   rules       of the batch
//   slot        not used
//   changed     out: 1 when the prefix's anchor state flipped
//   remaining   set to 0 when the prefix left the structures, else left alone
// Returns 0; -22 a null prefix, or more weight than is stored; -2 not stored; -14 broken links; or the result of a tree
// operation.
int32_t tcamv6_incr_del_prefix(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                               tcamv6_cmpr_pref *slot, int32_t *changed, uint32_t *remaining);

#endif
