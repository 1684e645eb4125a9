// SPDX-License-Identifier: Apache-2.0
// Room for one more entry.
//
// An entry must stand behind all its descendants and ahead of all its ancestors; entries that do not overlap do not
// care about each other. With L the last slot of a descendant and H the slot of the nearest ancestor, any free slot
// between L and H will do. If there is none, the next free slot behind H or ahead of L is reached by moving one
// entry per link of a chain:
//
//   behind  L  H=A1  ..  A2  ..  free  A3      A2 goes to the free slot, A1 to A2's, the new entry to A1's: A2 stays
//                                              ahead of A3, and so on. 2 moves: ancestors between H and the free slot
//
//   ahead   free  ..  D2  ..  L=D1  H          D1 = last descendant of the new entry, D2 = last descendant of D1, ...
//                                              D2 goes to the free slot, D1 to D2's, the new entry to D1's: all other
//                                              descendants of D1 stand ahead of D2. 2 moves
//
// The nearest free slot on a side has the shortest chain of that side; the shorter of the two chains is taken. Its
// last entry goes as far as the next link lets it, not into the nearest free slot: ::/0 at the end of a packed table
// moves to the end of the hardware once, and all later inserts find room ahead of it.
//
// Each write puts a second copy of an entry where only the order of that entry's own chain matters, and the next write
// replaces the first copy: no address notices, and no slot is ever empty meanwhile.
#include "plan_slots.h"

#include <algorithm>

namespace v6tool {

slot_keeper::slot_keeper(const std::vector<union_node> &nodes, uint32_t slots)
    : nodes_(nodes), slot_of_(nodes.size(), no_slot) {
  while (leaves_ < nodes.size()) {
    leaves_ *= 2;
  }
  latest_.assign(2 * leaves_, union_node::no_node);
  for (uint32_t slot = 0; slot < slots; ++slot) {
    free_.insert(free_.end(), slot);
  }
}

void slot_keeper::set_slot(uint32_t node, uint32_t slot) {
  slot_of_[node] = slot;
  const auto later = [this](uint32_t a, uint32_t b) {
    if (a == union_node::no_node || b == union_node::no_node) {
      return a == union_node::no_node ? b : a;
    }
    return slot_of_[a] < slot_of_[b] ? b : a;
  };
  size_t at = leaves_ + node;
  latest_[at] = slot == no_slot ? union_node::no_node : node;
  for (at /= 2; at >= 1; at /= 2) {
    latest_[at] = later(latest_[2 * at], latest_[2 * at + 1]);
  }
}

uint32_t slot_keeper::nearest_ancestor(uint32_t node) const {
  uint32_t above = nodes_[node].parent;
  while (above != union_node::no_node && slot_of_[above] == no_slot) {
    above = nodes_[above].parent;
  }
  return above;
}

// The descendant in the largest slot, or no_node.
uint32_t slot_keeper::last_descendant(uint32_t node) const {
  uint32_t best = union_node::no_node;
  const auto consider = [this, &best](uint32_t candidate) {
    if (candidate != union_node::no_node && (best == union_node::no_node || slot_of_[candidate] > slot_of_[best])) {
      best = candidate;
    }
  };
  size_t from = leaves_ + node + 1;
  size_t to = leaves_ + nodes_[node].end;
  for (; from < to; from /= 2, to /= 2) {
    if (from % 2 == 1) {
      consider(latest_[from++]);
    }
    if (to % 2 == 1) {
      consider(latest_[--to]);
    }
  }
  return best;
}

slot_keeper::room slot_keeper::room_behind(uint32_t node, uint32_t free_slot) const {
  room found;
  uint32_t a = nearest_ancestor(node);
  for (; a != union_node::no_node && slot_of_[a] < free_slot; a = nearest_ancestor(a)) {
    found.moves.push_back({a, slot_of_[a], 0});
  }
  const auto limit = a == union_node::no_node ? free_.end() : free_.lower_bound(slot_of_[a]);
  found.slot = *std::prev(limit);
  return found;
}

slot_keeper::room slot_keeper::room_ahead(uint32_t node, uint32_t free_slot) const {
  room found;
  uint32_t d = last_descendant(node);
  for (; d != union_node::no_node && slot_of_[d] > free_slot; d = last_descendant(d)) {
    found.moves.push_back({d, slot_of_[d], 0});
  }
  found.slot = *(d == union_node::no_node ? free_.begin() : free_.upper_bound(slot_of_[d]));
  return found;
}

slot_keeper::room slot_keeper::take(uint32_t node) {
  const uint32_t below = last_descendant(node);
  const uint32_t above = nearest_ancestor(node);
  const uint32_t low = below == union_node::no_node ? no_slot : slot_of_[below];
  const uint32_t high = above == union_node::no_node ? no_slot : slot_of_[above];
  const auto behind = low == no_slot ? free_.begin() : free_.upper_bound(low);
  const auto ahead = high == no_slot ? free_.end() : free_.lower_bound(high);  // the one before it
  room found;
  if (behind != free_.end() && *behind < high) {
    found = {*behind, {}};
  } else {
    if (behind != free_.end()) {
      found = room_behind(node, *behind);
    }
    if (ahead != free_.begin()) {
      const room other = room_ahead(node, *std::prev(ahead));
      if (found.slot == no_slot || other.moves.size() < found.moves.size()) {
        found = other;
      }
    }
  }
  if (found.slot == no_slot) {
    return found;
  }
  // The chain was walked away from the node: the far end moves first, into the free slot.
  free_.erase(found.slot);
  std::reverse(found.moves.begin(), found.moves.end());
  for (relocation &move : found.moves) {
    move.to = found.slot;
    found.slot = move.from;
    set_slot(move.node, move.to);
  }
  set_slot(node, found.slot);
  ++used_;
  return found;
}

void slot_keeper::settle(uint32_t node, uint32_t slot) {
  free_.erase(slot);
  set_slot(node, slot);
  ++used_;
}

void slot_keeper::release(uint32_t node) {
  free_.insert(slot_of_[node]);
  set_slot(node, no_slot);
  --used_;
}

}  // namespace v6tool
