// SPDX-License-Identifier: Apache-2.0
// A plan: the tasks of both tables in a safe order (plan_union.cpp), each given a slot when its turn comes
// (plan_slots.cpp). With no slot free, the next remove is done before its time: addresses inside it may be answered
// by a shorter prefix for a while, and the plan says so.
#include "plan.h"

#include <algorithm>
#include <numeric>

#include "plan_slots.h"
#include "plan_union.h"

namespace v6tool {
namespace {

class planner {
 public:
  planner(const std::vector<union_node> &nodes, uint32_t slots) : nodes_(nodes), keeper_(nodes, slots) {
    for (const union_node &node : nodes) {
      result_.push_back(node.old_result);
    }
  }

  void settle(std::span<const uint32_t> old_layout) {
    for (uint32_t i = 0; i < nodes_.size(); ++i) {
      if (nodes_[i].old_row != union_node::no_node) {
        keeper_.settle(i, old_layout[nodes_[i].old_row]);
      }
      plan_.unchanged += nodes_[i].task == prefix_task::none ? 1 : 0;
    }
    plan_.peak_slots = keeper_.used();
  }

  hardware_plan follow(const std::vector<uint32_t> &order, size_t n_new_rows) {
    order_ = order;
    for (const uint32_t node : order_) {
      do_task(node);
    }
    plan_.layout.resize(n_new_rows);
    for (uint32_t i = 0; i < nodes_.size(); ++i) {
      if (nodes_[i].new_row != union_node::no_node) {
        plan_.layout[nodes_[i].new_row] = keeper_.slot_of(i);
      }
    }
    return std::move(plan_);
  }

 private:
  void do_task(uint32_t node) {
    switch (nodes_[node].task) {
      case prefix_task::insert:
        insert(node);
        break;
      case prefix_task::update:
        result_[node] = nodes_[node].new_result;
        add({step_kind::update, keeper_.slot_of(node), 0, current_row(node), false});
        ++plan_.updates;
        break;
      case prefix_task::remove:
        if (keeper_.slot_of(node) != slot_keeper::no_slot) {
          remove(node, false);
        }
        break;
      case prefix_task::none:
        break;
    }
  }

  void insert(uint32_t node) {
    slot_keeper::room room = keeper_.take(node);
    if (room.slot == slot_keeper::no_slot) {
      remove(next_remove(), true);
      room = keeper_.take(node);
    }
    for (const slot_keeper::relocation &move : room.moves) {
      add({step_kind::move, move.to, move.from, current_row(move.node), false});
      ++plan_.moves;
    }
    result_[node] = nodes_[node].new_result;
    add({step_kind::insert, room.slot, 0, current_row(node), false});
    ++plan_.inserts;
    plan_.peak_slots = std::max(plan_.peak_slots, keeper_.used());
  }

  void remove(uint32_t node, bool early) {
    add({step_kind::remove, keeper_.slot_of(node), 0, current_row(node), early});
    keeper_.release(node);
    ++plan_.removes;
    plan_.early_removes += early ? 1 : 0;
  }

  // There is one: the new table fits, so what fills the slots is partly of the old one.
  uint32_t next_remove() {
    while (nodes_[order_[remove_cursor_]].task != prefix_task::remove ||
           keeper_.slot_of(order_[remove_cursor_]) == slot_keeper::no_slot) {
      ++remove_cursor_;
    }
    return order_[remove_cursor_];
  }

  void add(const plan_step &step) { plan_.steps.push_back(step); }

  first_stage_row current_row(uint32_t node) const { return {nodes_[node].prefix, result_[node]}; }

  const std::vector<union_node> &nodes_;
  slot_keeper keeper_;
  std::vector<uint64_t> result_;  // by node, as hardware has it
  hardware_plan plan_;
  std::vector<uint32_t> order_;
  size_t remove_cursor_ = 0;
};

std::string duplicate_in(std::span<const first_stage_row> rows, std::string_view name) {
  std::vector<ip_prefix> prefixes;
  for (const first_stage_row &row : rows) {
    prefixes.push_back(row.prefix);
  }
  std::sort(prefixes.begin(), prefixes.end());
  const bool twice = std::adjacent_find(prefixes.begin(), prefixes.end()) != prefixes.end();
  return twice ? "a prefix stands twice in the " + std::string(name) + " table" : "";
}

std::string overflow_of(std::span<const first_stage_row> rows, std::string_view name, uint32_t slots) {
  return rows.size() <= slots ? ""
                              : "the " + std::string(name) + " table has " + std::to_string(rows.size()) +
                                    " rows for " + std::to_string(slots) + " slots";
}

}  // namespace

std::string_view step_name(step_kind kind) {
  switch (kind) {
    case step_kind::remove:
      return "remove";
    case step_kind::update:
      return "update";
    case step_kind::insert:
      return "insert";
    case step_kind::move:
      break;
  }
  return "move";
}

std::vector<uint32_t> longest_first_layout(std::span<const first_stage_row> rows) {
  std::vector<uint32_t> order(rows.size());
  std::iota(order.begin(), order.end(), 0u);
  std::sort(order.begin(), order.end(), [rows](uint32_t a, uint32_t b) {
    const ip_prefix &p = rows[a].prefix;
    const ip_prefix &q = rows[b].prefix;
    return p.length != q.length ? p.length > q.length : p.key < q.key;
  });
  std::vector<uint32_t> layout(rows.size());
  for (uint32_t slot = 0; slot < order.size(); ++slot) {
    layout[order[slot]] = slot;
  }
  return layout;
}

std::string plan_problem(std::span<const first_stage_row> old_rows, std::span<const first_stage_row> new_rows,
                         uint32_t slots) {
  for (const std::string &problem : {overflow_of(old_rows, "old", slots), overflow_of(new_rows, "new", slots),
                                     duplicate_in(old_rows, "old"), duplicate_in(new_rows, "new")}) {
    if (!problem.empty()) {
      return problem;
    }
  }
  return "";
}

hardware_plan make_plan(std::span<const first_stage_row> old_rows, std::span<const uint32_t> old_layout,
                        std::span<const first_stage_row> new_rows, uint32_t slots) {
  const std::vector<union_node> nodes = unite_tables(old_rows, new_rows);
  planner planner(nodes, slots);
  planner.settle(old_layout);
  return planner.follow(safe_order(nodes), new_rows.size());
}

}  // namespace v6tool
