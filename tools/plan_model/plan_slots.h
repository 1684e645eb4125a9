// SPDX-License-Identifier: Apache-2.0
// plan_slots.h - which node stands in which slot, and how to make room for one more.
#ifndef PLAN_SLOTS_H
#define PLAN_SLOTS_H

#include <cstdint>
#include <set>
#include <vector>

#include "plan_union.h"

namespace v6tool {

class slot_keeper {
 public:
  static constexpr uint32_t no_slot = UINT32_MAX;

  struct relocation {
    uint32_t node, from, to;
  };

  struct room {
    uint32_t slot = no_slot;        // where the node goes: free, or freed by the relocations; none: all are used
    std::vector<relocation> moves;  // to be done in this order; each writes over what the one before left behind
  };

  slot_keeper(const std::vector<union_node> &nodes, uint32_t slots);

  // Find room for a node between its descendants and its ancestors, with the fewest moves, and take it.
  room take(uint32_t node);

  // A node stands in a slot from the start.
  void settle(uint32_t node, uint32_t slot);

  void release(uint32_t node);

  uint32_t slot_of(uint32_t node) const { return slot_of_[node]; }

  uint32_t used() const { return used_; }

 private:
  uint32_t nearest_ancestor(uint32_t node) const;
  uint32_t last_descendant(uint32_t node) const;
  room room_behind(uint32_t node, uint32_t free_slot) const;
  room room_ahead(uint32_t node, uint32_t free_slot) const;
  void set_slot(uint32_t node, uint32_t slot);

  const std::vector<union_node> &nodes_;
  std::vector<uint32_t> slot_of_;  // by node
  std::set<uint32_t> free_;
  uint32_t used_ = 0;

  // A binary tree over the nodes in preorder: the node with the largest slot in each part.
  size_t leaves_ = 1;
  std::vector<uint32_t> latest_;
};

}  // namespace v6tool

#endif
