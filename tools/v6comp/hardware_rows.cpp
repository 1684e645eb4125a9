// SPDX-License-Identifier: Apache-2.0
#include "hardware_rows.h"

#include <utility>

#include "dump_check.h"
#include "room_table.h"
#include "tool_failure.h"
#include "zel_v6comp_plan.h"

namespace v6tool {

std::vector<zel_v6comp_table_row> rows_of_dump(const engine_view &view) {
  std::vector<zel_v6comp_table_row> rows;
  for (const dump_row &dumped : view.dump()) {
    zel_v6comp_table_row row = {};
    key_to_bytes(dumped.prefix.key, row.address);
    row.length = dumped.prefix.length;
    row.code = dumped.result.code.key.hi;
    row.code_length = dumped.result.code.length;
    row.key = dumped.result.address.hi;
    rows.push_back(row);
  }
  return rows;
}

std::vector<zel_v6comp_table_row> checked_rows(std::vector<zel_v6comp_table_row> rows, const prefix_table &table) {
  const stored_prefixes stored = find_stored_prefixes(table);
  std::vector<ip_prefix> found;
  bool has_default = false;
  for (const zel_v6comp_table_row &row : rows) {
    found.push_back(prefix_of(row));
    has_default = has_default || row.length == 0;
  }
  if (!has_default && stored.kinds.front() == prefix_kind::default_0) {
    found.emplace_back();
  }
  const std::string fault = dump_counterexample(std::move(found), stored);
  if (!fault.empty()) {
    throw tool_failure{exit_no, {"no plan: " + fault}};
  }
  return rows;
}

std::vector<zel_v6comp_table_write> writes_between(const std::vector<zel_v6comp_table_row> &old_rows,
                                                   const std::vector<zel_v6comp_table_row> &new_rows) {
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  const int32_t status =
      zel_v6comp_table_diff(old_rows.data(), old_rows.size(), new_rows.data(), new_rows.size(), &outcome);
  if (status != ZEL_V6COMP_TABLE_OK) {
    throw tool_failure{exit_undone, {std::string("no plan: ") + outcome.reason}};
  }
  std::vector<zel_v6comp_table_write> writes(outcome.writes, outcome.writes + outcome.n_writes);
  zel_v6comp_table_free_writes(outcome.writes);
  return writes;
}

}  // namespace v6tool
