// SPDX-License-Identifier: Apache-2.0
// table_report.h - a table that was read, and what there was to say about it.
#ifndef TABLE_REPORT_H
#define TABLE_REPORT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

struct table_row {
  ip_prefix prefix;
  uint32_t weight = 1;
  uint32_t line = 0;  // 1-based
};

struct prefix_table {
  std::string name;  // for messages
  std::vector<table_row> rows;
};

// Messages of one kind: the first `most` as text, all of them counted.
struct message_list {
  static constexpr size_t most = 20;
  std::vector<std::string> texts;
  size_t total = 0;

  void add(std::string text);
  std::vector<std::string> lines() const;  // the texts, and "... and N more" if there are more
};

struct read_report {
  message_list faults;
  message_list warnings;
  size_t misfits = 0;              // of the faults: good input, but more of it than one request holds
  std::vector<std::string> notes;  // what was left out or changed because it was asked for
  std::string summary;             // of a good table: its name, format and packing, how much was read
};

}  // namespace v6tool

#endif
