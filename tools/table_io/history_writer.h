// SPDX-License-Identifier: Apache-2.0
// history_writer.h - changes as history_reader.h reads them back, and the changes between two tables.
#ifndef HISTORY_WRITER_H
#define HISTORY_WRITER_H

#include <string>

#include "history_reader.h"
#include "table_report.h"

namespace v6tool {

// The batches as text, `---` behind each; weights of 1 are left out.
std::string format_history(const update_history &history);

// What turns one table into another, by address: a prefix whose sum of weights is another gains or loses the
// difference. Weights beyond 32 bits take several changes.
history_batch difference_of_tables(const prefix_table &old_table, const prefix_table &new_table);

}  // namespace v6tool

#endif
