/* SPDX-License-Identifier: Apache-2.0 */
/* zel_v6comp_plan.h - writes without a table: from one dump to another, and into a first-match TCAM.
 *
 * A table (zel_v6comp_table.h) says the writes of each change itself. Two things are left to plan:
 *
 *   zel_v6comp_table_diff    hardware holds other rows than the table: after a restart of the host, say
 *   zel_v6comp_slots_...     stage 1 is a TCAM whose FIRST matching slot wins, so that rows have positions
 *
 * Neither needs an open table, nor the library to be started. Calls on different objects may run at the same time.
 */
#ifndef ZEL_V6COMP_PLAN_H
#define ZEL_V6COMP_PLAN_H

#include "zel_v6comp_table.h"

TM_API_BEGIN

/** Plan the writes from the rows that hardware holds to others, as safe as those of a change.
 *  @param old_rows  n_old rows in any order, as zel_v6comp_table_rows gave them; may be null when n_old is 0
 *  @param new_rows  n_new rows, likewise
 *  @param outcome   out: as of an apply that leads from the old rows to the new ones. Its writes are the caller's: give
 *                   them back with zel_v6comp_table_free_writes. Refused: record is the index of a row at fault,
 * counted through the old rows and then the new ones
 *  @return OK, E_NULL, E_LENGTH, E_HOST_BITS, E_COUNT, E_SIZE, E_ROW, E_MEMORY
 *  Cost: O(n log n) in time, about 150 bytes a row while it runs. */
TM_API int32_t zel_v6comp_table_diff(const zel_v6comp_table_row *old_rows, size_t n_old,
                                     const zel_v6comp_table_row *new_rows, size_t n_new,
                                     zel_v6comp_table_outcome *outcome);

/** Give back the writes of zel_v6comp_table_diff, and of no other call.
 *  @param writes  null is allowed */
TM_API void zel_v6comp_table_free_writes(const zel_v6comp_table_write *writes);

TM_API_END

#endif
