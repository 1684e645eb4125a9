// SPDX-License-Identifier: Apache-2.0
// tcamv6_incr_newlvl.h - adding a prefix between an enclosing prefix and some of its longer ones.
#ifndef TCAMV6_INCR_NEWLVL_H
#define TCAMV6_INCR_NEWLVL_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_rules.h"
#include "tcamv6_state.h"

// Add a prefix whose node lies on an existing path of the trie. It adopts those children of its enclosing prefix that
// it contains and gets a key between that prefix's and their common one, so that no stored key changes. Returns 0; -2
// there is no such key: reoptimise; -28 no room for the dummy; -12 heap or pool exhausted; -14 broken links; -22 bad
// arguments, or nothing below the prefix.
int32_t tcav6_incr_add_pref_newlvl(tcamv6_state *state, const tcamv6_update_rules *rules, const tcamv6_prefix *prefix,
                                   int32_t max_cmpr_len);

#endif
