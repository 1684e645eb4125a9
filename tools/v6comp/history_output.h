// SPDX-License-Identifier: Apache-2.0
// history_output.h - a history as a result: in text what history_reader.h reads back, in the other formats rows.
#ifndef HISTORY_OUTPUT_H
#define HISTORY_OUTPUT_H

#include <string>
#include <string_view>
#include <vector>

#include "history_reader.h"
#include "row_writer.h"

namespace v6tool {

// Throw, before any work, what makes the options no good. `kind` is that of the rows.
void check_history_output(const output_options &options, std::string_view kind, const std::vector<std::string> &inputs);

void write_history(const output_options &options, std::string_view kind, const update_history &history);

}  // namespace v6tool

#endif
