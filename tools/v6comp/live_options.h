// SPDX-License-Identifier: Apache-2.0
// live_options.h - what the commands that apply histories take.
#ifndef LIVE_OPTIONS_H
#define LIVE_OPTIONS_H

#include <string>

#include "history_reader.h"
#include "live_table.h"
#include "tool_options.h"

namespace v6tool {

void add_history_argument(CLI::App &sub, std::string &history);
void add_live_options(CLI::App &sub, live_options &options);

// Read a history; its faults go to standard error.
update_history read_command_history(const std::string &path);

}  // namespace v6tool

#endif
