// SPDX-License-Identifier: Apache-2.0
/* tcamv6_handle.h - one 32-bit value of the caller's per stored prefix. */
#ifndef TCAMV6_HANDLE_H
#define TCAMV6_HANDLE_H

#include "tcamv6_state.h"

TM_API_BEGIN

/** Attach a value to a stored prefix; it is kept across batches and lost with the prefix.
 *  @return 0; -22 not stored, or bad arguments, a length above 128 among them; -14 broken links
 *  Cost: a step for each bit of the prefix. Does not allocate. */
TM_API int32_t tcamv6_prefix_handle_attach(tcamv6_state *state, const tcamv6_prefix *prefix, uint32_t app_handle);

/** Read it back; 0 when none was attached.
 *  @return 0; -22 not stored, or bad arguments, a length above 128 among them; -14 broken links
 *  Cost: a step for each bit of the prefix. Does not allocate. */
TM_API int32_t tcamv6_prefix_handle_query(tcamv6_state *state, const tcamv6_prefix *prefix, uint32_t *handle_p);

TM_API_END

#endif
