// SPDX-License-Identifier: Apache-2.0
// tcamv6_dump_internal.h - the walk behind dumps.
#ifndef TCAMV6_DUMP_INTERNAL_H
#define TCAMV6_DUMP_INTERNAL_H

#include "tcamv6_dump.h"
#include "tm_n_ary_tree.h"

// The walk: rows written (0 or more), or a negative code. With total_only no row is written, the tables may be
// null, and rows are only counted.
int32_t tcamv6_dump_tree_int(int32_t max_prefs, const tm_n_ary_node *anc_node, tcamv6_prefix *orig_prefs,
                             tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs, int32_t total_only);

#endif
