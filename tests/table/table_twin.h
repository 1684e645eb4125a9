// SPDX-License-Identifier: Apache-2.0
// table_twin.h - a table beside a plain map of what it should hold, and both stages of hardware beside both.
#ifndef TABLE_TWIN_H
#define TABLE_TWIN_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "two_stage_hardware.h"

namespace table_test {

using table_model::prefix;
using table_model::prefix_of;
using table_model::text_of;
using table_model::two_stage_hardware;

prefix parse(const std::string &text);

struct wish {
  prefix p;
  bool add = true;
  uint32_t word = 0;
};

class table_twin {
 public:
  explicit table_twin(uint32_t expected = 0, int32_t processor = 0, int32_t instance = 0);
  ~table_twin();
  table_twin(const table_twin &) = delete;
  table_twin &operator=(const table_twin &) = delete;

  // Each change is followed write by write, and its end compared with a dump. They return the call's status.
  int32_t load(const std::vector<wish> &all);
  int32_t apply(const std::vector<wish> &changes);
  int32_t compact();

  // Compare every answer of the table with the plain map.
  void check_rows() const;
  void check_lookups() const;

  std::vector<zel_v6comp_table_row> rows() const;
  zel_v6comp_table_stats_record figures() const;

  zel_v6comp_table *table = nullptr;
  zel_v6comp_table_outcome last = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  std::map<prefix, uint32_t> wanted;
  two_stage_hardware hardware;
  uint64_t writes = 0, moved = 0, parked = 0, early = 0;

 private:
  void follow_last();
};

}  // namespace table_test

#endif
