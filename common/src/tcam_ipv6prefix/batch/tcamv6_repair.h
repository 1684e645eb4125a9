// SPDX-License-Identifier: Apache-2.0
// tcamv6_repair.h - moving stored prefixes out of the way of a new one.
#ifndef TCAMV6_REPAIR_H
#define TCAMV6_REPAIR_H

#include "tcamv6_newcomer.h"

// Place a prefix that nothing lies below of, where its parent's block has no free place; and one that comes above some
// of its parent's children, where no node holds these alone. Outcomes: placed; too_long when the table needs more bits
// than a code has; no_memory.
tcamv6_outcome tcamv6_repair_leaf(tcamv6_newcomer *newcomer);
tcamv6_outcome tcamv6_repair_level(tcamv6_newcomer *newcomer);

#endif
