// SPDX-License-Identifier: Apache-2.0
// history_reader.h - how a table changes: batches of additions and deletions.
//
// A change is `+prefix/length [weight]` or `-prefix/length [weight]` on a line of its own; a line `---` ends a batch,
// and so does the end of the file when changes stand before it. Comments, blank lines, line ends and faults as in
// tables (table_reader.h).
#ifndef HISTORY_READER_H
#define HISTORY_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "prefix_value.h"
#include "table_reader.h"

namespace v6tool {

struct history_change {
  ip_prefix prefix;
  uint32_t weight = 1;  // given or taken
  bool add = true;
  uint32_t line = 0;  // 1-based
};

using history_batch = std::vector<history_change>;  // may be empty

struct update_history {
  std::string name;  // for messages
  std::vector<history_batch> batches;
};

// Read the history at `path`, `-` for standard input, of batches of at most `max_changes`. True when there is no fault.
bool read_history(const std::string &path, size_t max_changes, update_history &history, read_report &report);

// The same from memory. `name` stands in messages.
bool parse_history(const std::string &name, std::string_view content, size_t max_changes, update_history &history,
                   read_report &report);

}  // namespace v6tool

#endif
