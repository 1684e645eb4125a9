// SPDX-License-Identifier: Apache-2.0
// tcamv6_recompress.h - compressing anew, in place, what an instance holds.
#ifndef TCAMV6_RECOMPRESS_H
#define TCAMV6_RECOMPRESS_H

#include "tcamv6_state.h"

// Give every stored prefix the code that a full compression of the table would give it. Counters and handles stay; what
// has another code or address then is added to the moves being collected (tcamv6_moves.h), in the order of the
// prefixes.
//   fits   lay out what the documented limits refuse (tcamv6_fit.h)
// Returns 0; -22 the instance holds no table; -75; -12; without `fits` -14 or a negative limit. After a failure the
// table is as it was, and nothing more is allocated than before.
int32_t tcamv6_recompress(tcamv6_state *state, bool fits);

#endif
