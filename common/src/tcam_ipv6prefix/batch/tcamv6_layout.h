// SPDX-License-Identifier: Apache-2.0
// tcamv6_layout.h - laying a subtree out anew within one block of the compressed space.
#ifndef TCAMV6_LAYOUT_H
#define TCAMV6_LAYOUT_H

#include "tcamv6_recode.h"

enum : int32_t { TCAMV6_COST_TOO_HIGH = 65 };  // more bits than a code can have

// Compute what each of the listed prefixes costs. Returns the first one's: 0..64, or TCAMV6_COST_TOO_HIGH.
int32_t tcamv6_layout_cost(tcamv6_recoding *recoding);

// Plan new codes for all below the first prefix of the list, which gets the code `top` itself. Costs are computed, and
// the first one's is at most the bits below `top`. Returns 0 or -12.
int32_t tcamv6_layout(tcamv6_recoding *recoding, tcamv6_code top);

#endif
