// SPDX-License-Identifier: Apache-2.0
/* zel_v6comp_status.h - what requests answer, and what to do then.
 *
 * The numbers are errno's and fixed; the engine's own functions (tcamv6_*, tm_*) return their negation. Requests return
 * uint32_t: compare with these names, or print zel_v6comp_status_text.
 */
#ifndef ZEL_V6COMP_STATUS_H
#define ZEL_V6COMP_STATUS_H

#include "tm_api.h"

TM_API_BEGIN

enum {
  ZEL_V6COMP_OK = 0,

  /* The table or the change does not fit. Nothing is wrong with the call. */
  ZEL_V6COMP_E_TOO_DEEP = 1, /* full: nested so deeply that no limits can be met. A smaller table, or room mode */
  ZEL_V6COMP_E_NO_LEVEL = 2, /* batch: no right place between a prefix and those below it. Reset and compress the
                                whole table, or room mode */
  ZEL_V6COMP_E_LIMITS = 14,  /* full: limits contradict each other. Leave out what the message names, or room mode.
                                Batch: a prefix could not be stored. As E_NO_ROOM */
  ZEL_V6COMP_E_NO_ROOM = 28, /* batch: no free code. Reset and compress the whole table, or room mode; in room mode:
                                the move limit was met. Raise it, or send fewer changes */
  ZEL_V6COMP_E_TOO_MANY_BITS = 75, /* the tightest code needs more than 64 bits. Leave out levels of nested prefixes */

  /* Resources. */
  ZEL_V6COMP_E_NO_MEMORY = 12, /* heap or pools exhausted. Larger pools (gbl_chunk_info[type].failed says which) */

  /* The caller is wrong. */
  ZEL_V6COMP_E_ARGUMENT = 22 /* mend the call: a length above 128, a null pointer, an index off the grid, more records
                                than allowed, a delete of more than was given, a state that a reset kept */
};

/** A status in words, with the next step, in one line without a line end.
 *  @param status  what a request returned
 *  @return a constant text, never null; "unknown status" for a number that no request returns
 *  Cost: constant. Does not allocate. */
TM_API const char *zel_v6comp_status_text(uint32_t status);

TM_API_END

#endif
