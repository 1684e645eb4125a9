// SPDX-License-Identifier: Apache-2.0
// tcamv6_fit.h - codes for a table that the documented limits refuse although its tight code is short enough.
#ifndef TCAMV6_FIT_H
#define TCAMV6_FIT_H

#include "tcamv6_anc_tree.h"
#include "tcamv6_state.h"

// Set the cost of every node to the fewest bits that its children and its address can do with, by counting codes. The
// costing pass joins two minima at a time, by a heap that does not always give the two smallest, and can so count a bit
// too many on its way up. Returns the bits that the table needs.
int32_t tcamv6_fit_costs(tm_n_ary_node *node);

// Lay a table out whose costing pass has succeeded and whose limits or final pass have failed with -14 or a negative
// limit: in place of them.
//   state       its ancestor tree costed, at most max_cmpr_len bits at the root, its path-compressed trie still there
//   cmpr_rootp  in: what the failed passes built, null when nothing; it is released. out: root of the compressed trie,
//               complete, with keys
// Returns 0; -12 pool or heap exhausted. Nothing else fails while the cost of the root is at most max_cmpr_len.
int32_t tcamv6_fit(tcamv6_state *state, tm_util_trie_node **cmpr_rootp);

#endif
