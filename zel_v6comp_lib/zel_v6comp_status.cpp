// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_status.cpp - statuses in words.
#include "zel_v6comp_status.h"

const char *zel_v6comp_status_text(uint32_t status) {
  switch (status) {
    case ZEL_V6COMP_OK:
      return "done";
    case ZEL_V6COMP_E_TOO_DEEP:
      return "nested too deeply to leave room for updates: use room mode, or a smaller table";
    case ZEL_V6COMP_E_NO_LEVEL:
      return "no right place between a stored prefix and those below it: use room mode, or reset and compress the "
             "table";
    case ZEL_V6COMP_E_NO_MEMORY:
      return "out of memory or pool elements: use larger pools, or a smaller table";
    case ZEL_V6COMP_E_LIMITS:
      return "limits contradict each other: use room mode, or leave out the prefixes that the message names";
    case ZEL_V6COMP_E_ARGUMENT:
      return "bad argument: mend the call";
    case ZEL_V6COMP_E_NO_ROOM:
      return "no free code: use room mode or raise its move limit, or reset and compress the table";
    case ZEL_V6COMP_E_TOO_MANY_BITS:
      return "the table needs more than 64 bits: leave out levels of nested prefixes";
    default:
      return "unknown status";
  }
}
