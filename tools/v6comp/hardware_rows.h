// SPDX-License-Identifier: Apache-2.0
// hardware_rows.h - whole tables as the hardware holds them, and the writes from one to another.
#ifndef HARDWARE_ROWS_H
#define HARDWARE_ROWS_H

#include <vector>

#include "engine_view.h"
#include "table_reader.h"
#include "zel_v6comp_table.h"

namespace v6tool {

// The engine's dump as rows; ::/0 is always among them.
std::vector<zel_v6comp_table_row> rows_of_dump(const engine_view &view);

// The same rows, when they are those of the table, with or without ::/0; throws what is missing or too much.
std::vector<zel_v6comp_table_row> checked_rows(std::vector<zel_v6comp_table_row> rows, const prefix_table &table);

// The writes for both stages.
std::vector<zel_v6comp_table_write> writes_between(const std::vector<zel_v6comp_table_row> &old_rows,
                                                   const std::vector<zel_v6comp_table_row> &new_rows);

}  // namespace v6tool

#endif
