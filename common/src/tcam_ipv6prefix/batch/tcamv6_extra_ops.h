// SPDX-License-Identifier: Apache-2.0
/* tcamv6_extra_ops.h - operations on prefixes other than those of the batch that caused them. */
#ifndef TCAMV6_EXTRA_OPS_H
#define TCAMV6_EXTRA_OPS_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Hand out the extra operations of the last batch as two parallel halves: entries to remove and entries to write.
 *  The arrays stay the instance's. The reference of each first-half slot is read as the address of the node, in the
 *  instance's trie of uncompressed prefixes, of the prefix to rewrite: the batch leaves it 0, the host puts it in. That
 *  works with pools below 4 GiB. It is looked up in the trie, never read blindly. Both slots then get the prefix's
 *  handle as reference, and key, length and the two counters of the node; operation 0 in the first half, 1 in the
 *  second.
 *  @return 0; -22 an argument is null or the state was kept by a reset; -14 at the first slot whose reference leads to
 *          no stored prefix: the slots before it are rewritten, it and those after it are not.
 *  Cost: proportional to the prefixes stored, and to the slots times the logarithm of their number; when the heap
 *  refuses 16 bytes for each slot, to the product of both. Allocates, for the time of the call. */
TM_API int32_t tcamv6_extra_ops_get(tcamv6_state *state, tcamv6_cmpr_pref **first_half, tcamv6_cmpr_pref **second_half,
                                    uint32_t *count);

/** Release the extra operations; none is fine.
 *  @return 0, also on a state that a reset kept; -22 state is null
 *  Cost: constant. Does not allocate. */
TM_API int32_t tcamv6_extra_ops_free(tcamv6_state *state);

TM_API_END

#endif
