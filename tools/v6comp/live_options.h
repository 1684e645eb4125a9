// SPDX-License-Identifier: Apache-2.0
// live_options.h - what the commands that apply histories take.
#ifndef LIVE_OPTIONS_H
#define LIVE_OPTIONS_H

#include <string>

#include "history_reader.h"
#include "live_table.h"
#include "tool_options.h"

namespace v6tool {

// Where the values of the set `live` go.
void add_live_options(command_options &command, live_options &options);

// Throw what cannot be asked for together.
void check_live_options(const live_options &options);

// Changes that one batch may have.
size_t most_changes(bool room);

// Read a history of the table; its faults go to standard error.
update_history read_command_history(const std::string &path, const prefix_table &table, bool room);

// Deletes that leave their prefixes where they are, one line each, for standard error.
void add_held_deletes(message_list &warnings, const std::string &history, const batch_report &report);

}  // namespace v6tool

#endif
