// SPDX-License-Identifier: Apache-2.0
// plan_union.h - what has to be done for each prefix of two tables, and in what order.
#ifndef PLAN_UNION_H
#define PLAN_UNION_H

#include <cstdint>
#include <span>
#include <vector>

#include "plan.h"

namespace v6tool {

enum class prefix_task : uint8_t { none, insert, update, remove };

// One prefix of either table.
struct union_node {
  static constexpr uint32_t no_node = UINT32_MAX;

  ip_prefix prefix;
  prefix_task task = prefix_task::none;
  uint64_t old_result = 0;     // if it is in the old table
  uint64_t new_result = 0;     // if it is in the new table
  uint32_t parent = no_node;   // the longest other prefix of either table that contains it
  uint32_t end = 0;            // the nodes inside it are those up to here
  uint32_t old_row = no_node;  // its rows in the tables
  uint32_t new_row = no_node;
};

// All prefixes of both tables in preorder: a node's descendants follow it directly.
std::vector<union_node> unite_tables(std::span<const first_stage_row> old_rows,
                                     std::span<const first_stage_row> new_rows);

// The nodes that have a task, in an order in which no address gets a third answer and few slots are needed.
std::vector<uint32_t> safe_order(const std::vector<union_node> &nodes);

}  // namespace v6tool

#endif
