// SPDX-License-Identifier: Apache-2.0
// table_text.cpp - statuses in words.
#include "zel_v6comp_table.h"

const char *zel_v6comp_table_text(int32_t status) {
  switch (status) {
    case ZEL_V6COMP_TABLE_OK:
      return "done";
    case ZEL_V6COMP_TABLE_E_NULL:
      return "a pointer is null";
    case ZEL_V6COMP_TABLE_E_LENGTH:
      return "a prefix is longer than 128 bits";
    case ZEL_V6COMP_TABLE_E_HOST_BITS:
      return "an address has bits beyond its prefix's length";
    case ZEL_V6COMP_TABLE_E_OPERATION:
      return "a change is neither an addition nor a removal";
    case ZEL_V6COMP_TABLE_E_COUNT:
      return "too few or too many records";
    case ZEL_V6COMP_TABLE_E_SIZE:
      return "struct_size is not that of the record";
    case ZEL_V6COMP_TABLE_E_ROW:
      return "a row contradicts itself or stands there twice";
    case ZEL_V6COMP_TABLE_E_NO_TABLE:
      return "not an open table";
    case ZEL_V6COMP_TABLE_E_GRID:
      return "there is no such instance";
    case ZEL_V6COMP_TABLE_E_TAKEN:
      return "the instance is in use";
    case ZEL_V6COMP_TABLE_E_BUSY:
      return "another call is at work, or this one comes from a log function";
    case ZEL_V6COMP_TABLE_E_FOREIGN:
      return "the instance was changed behind the table's back";
    case ZEL_V6COMP_TABLE_E_BITS:
      return "the prefixes need codes of more than 64 bits";
    case ZEL_V6COMP_TABLE_E_MOVES:
      return "more prefixes would have to move than the move limit allows";
    case ZEL_V6COMP_TABLE_E_ROOM:
      return "no code is free where one is needed";
    case ZEL_V6COMP_TABLE_E_POOLS:
      return "the library's pools are used up";
    case ZEL_V6COMP_TABLE_E_MEMORY:
      return "out of memory";
    case ZEL_V6COMP_TABLE_E_INTERNAL:
      return "the library contradicts itself";
    default:
      return "unknown status";
  }
}
