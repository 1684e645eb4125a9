// SPDX-License-Identifier: Apache-2.0
/* tcamv6_extra_ops.h - operations on prefixes other than those of the batch that caused them. */
#ifndef TCAMV6_EXTRA_OPS_H
#define TCAMV6_EXTRA_OPS_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Hand out the extra operations of the last batch as two parallel halves: entries to remove and entries to write.
 *  The arrays stay the instance's. A slot whose reference names no stored prefix is broken: the batch leaves all
 *  references of the first half zero, so any count above 0 answers -14.
 *  @return 0; -22 an argument is null or the state was kept by a reset; -14 a slot is broken */
TM_API int32_t tcamv6_extra_ops_get(tcamv6_state *state, tcamv6_cmpr_pref **first_half, tcamv6_cmpr_pref **second_half,
                                    uint32_t *count);

/** Release the extra operations; none is fine.
 *  @return 0; -22 state is null or was kept by a reset */
TM_API int32_t tcamv6_extra_ops_free(tcamv6_state *state);

TM_API_END

#endif
