// SPDX-License-Identifier: Apache-2.0
// The order of a plan's tasks.
//
// All prefixes of both tables form one containment forest. Each of its nodes has a task: insert, update, remove, or
// none (in both tables with the same result). Two local rules between a node and its parent are all it takes:
//
//   R1   a child's INSERT comes before its parent's task          new detail first
//   R2   a child's REMOVE comes after its parent's task           old detail last
//
//   old  2001:db8::/32 -> A          new  2001:db8::/32 -> C          forest  2001:db8::/32        update
//          2001:db8::/44 -> B               2001:db8:5::/48 -> D               2001:db8::/44      remove
//                                                                                2001:db8:5::/48  insert
//        The /44 goes when the /48 is there (R1) and the /32 is up to date (R2): whoever loses B gets C or D. The /32
//        need not wait for the /48, whose addresses are the /44's until then.
//
// Why no address can get a third answer. Take an address and the chain of nodes that cover it, shortest first. At
// any moment the answer comes from the last node of the chain that is in hardware; call it N, and look at the node
// C that follows it. C is not in hardware: either its insert has not been done or its remove has.
//   (a) There is no C. If N's task is undone or none, N is the old table's answer, too; if it is done, the new one's.
//   (b) C's insert is not done. By R1 N's task is not done either, so N still has its old result. The nodes after C
//       are not in hardware; none of them can be a remove that is done, since by R2 (down the chain) C's insert would
//       have come first. So none of them is in the old table: N is the old answer.
//   (c) C's remove is done. By R2 N's task is done, or N has none: N has its new result. The node after C cannot be an
//       insert that is not done, since by R1 it comes before C's remove; so it is a remove that is done, and so on
//       down the chain. None of them is in the new table: N is the new answer.
// Where no node is in hardware, read N as "no match", which has no task.
//
// A node without a task has no rules with its children or its parent: the forest falls apart into components whose
// order is free. The order decides how many slots a plan needs at a time. A component with i inserts and r removes is
// done as a whole: it needs up to i slots and leaves r - i. First those that leave slots over (or use none), cheapest
// first; then those that use slots up, the ones that give most back first. Within a component removes go first as
// soon as the rules allow, since they free slots; then updates; then inserts, in address order, so that the inserts
// that one remove is waiting for are close together.
#include "plan_union.h"

#include <algorithm>
#include <map>
#include <set>

namespace v6tool {
namespace {

struct edge_ends {
  uint32_t first, second;  // first is done before second
};

// Do the rules tie the node to its parent, and how?
bool is_tied(const std::vector<union_node> &nodes, uint32_t child, edge_ends &edge) {
  const union_node &node = nodes[child];
  if (node.parent == union_node::no_node || nodes[node.parent].task == prefix_task::none) {
    return false;
  }
  if (node.task == prefix_task::insert) {
    edge = {child, node.parent};
    return true;
  }
  edge = {node.parent, child};
  return node.task == prefix_task::remove;
}

struct component {
  std::vector<uint32_t> nodes;
  uint32_t inserts = 0;
  uint32_t removes = 0;
};

// Nodes tied to each other, directly or over others; only nodes with a task.
std::vector<component> tied_components(const std::vector<union_node> &nodes) {
  std::vector<component> components;
  std::vector<uint32_t> component_of(nodes.size(), 0);
  for (uint32_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i].task == prefix_task::none) {
      continue;
    }
    edge_ends edge = {};
    if (is_tied(nodes, i, edge)) {
      component_of[i] = component_of[nodes[i].parent];
    } else {
      component_of[i] = static_cast<uint32_t>(components.size());
      components.emplace_back();
    }
    component &home = components[component_of[i]];
    home.nodes.push_back(i);
    home.inserts += nodes[i].task == prefix_task::insert ? 1 : 0;
    home.removes += nodes[i].task == prefix_task::remove ? 1 : 0;
  }
  return components;
}

bool goes_before(const component &a, const component &b) {
  const bool a_grows = a.inserts > a.removes;
  const bool b_grows = b.inserts > b.removes;
  if (a_grows != b_grows) {
    return b_grows;
  }
  return a_grows ? a.removes > b.removes : a.inserts < b.inserts;
}

int urgency(prefix_task task) {
  switch (task) {
    case prefix_task::remove:
      return 0;
    case prefix_task::update:
      return 1;
    default:
      return 2;
  }
}

// Tasks become ready when all that must come before them is done; the most urgent ready one goes first.
class task_sequencer {
 public:
  explicit task_sequencer(const std::vector<union_node> &nodes)
      : nodes_(nodes), waits_for_(nodes.size(), 0), followers_(nodes.size()) {
    for (uint32_t i = 0; i < nodes.size(); ++i) {
      edge_ends edge = {};
      if (nodes[i].task != prefix_task::none && is_tied(nodes, i, edge)) {
        followers_[edge.first].push_back(edge.second);
        ++waits_for_[edge.second];
      }
    }
  }

  void append(const component &part, std::vector<uint32_t> &order) {
    std::set<std::pair<int, uint32_t>> ready;
    for (const uint32_t node : part.nodes) {
      if (waits_for_[node] == 0) {
        ready.emplace(urgency(nodes_[node].task), node);
      }
    }
    while (!ready.empty()) {
      const uint32_t node = ready.begin()->second;
      ready.erase(ready.begin());
      order.push_back(node);
      for (const uint32_t follower : followers_[node]) {
        if (--waits_for_[follower] == 0) {
          ready.emplace(urgency(nodes_[follower].task), follower);
        }
      }
    }
  }

 private:
  const std::vector<union_node> &nodes_;
  std::vector<uint32_t> waits_for_;
  std::vector<std::vector<uint32_t>> followers_;
};

void set_task(union_node &node) {
  if (node.old_row == union_node::no_node) {
    node.task = prefix_task::insert;
  } else if (node.new_row == union_node::no_node) {
    node.task = prefix_task::remove;
  } else {
    node.task = node.old_result == node.new_result ? prefix_task::none : prefix_task::update;
  }
}

}  // namespace

std::vector<union_node> unite_tables(std::span<const first_stage_row> old_rows,
                                     std::span<const first_stage_row> new_rows) {
  std::map<ip_prefix, union_node> by_prefix;  // its order is the preorder
  for (uint32_t i = 0; i < old_rows.size(); ++i) {
    union_node &node = by_prefix[old_rows[i].prefix];
    node.old_row = i;
    node.old_result = old_rows[i].result;
  }
  for (uint32_t i = 0; i < new_rows.size(); ++i) {
    union_node &node = by_prefix[new_rows[i].prefix];
    node.new_row = i;
    node.new_result = new_rows[i].result;
  }
  std::vector<union_node> nodes;
  nodes.reserve(by_prefix.size());
  std::vector<uint32_t> open;  // the last node and its ancestors
  for (const auto &[prefix, found] : by_prefix) {
    const auto here = static_cast<uint32_t>(nodes.size());
    while (!open.empty() && !contains(nodes[open.back()].prefix, prefix)) {
      nodes[open.back()].end = here;
      open.pop_back();
    }
    nodes.push_back(found);
    nodes.back().prefix = prefix;
    nodes.back().parent = open.empty() ? union_node::no_node : open.back();
    set_task(nodes.back());
    open.push_back(here);
  }
  for (const uint32_t node : open) {
    nodes[node].end = static_cast<uint32_t>(nodes.size());
  }
  return nodes;
}

std::vector<uint32_t> safe_order(const std::vector<union_node> &nodes) {
  std::vector<component> components = tied_components(nodes);
  std::stable_sort(components.begin(), components.end(), goes_before);
  task_sequencer sequencer(nodes);
  std::vector<uint32_t> order;
  for (const component &part : components) {
    sequencer.append(part, order);
  }
  return order;
}

}  // namespace v6tool
