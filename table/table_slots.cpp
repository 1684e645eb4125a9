// SPDX-License-Identifier: Apache-2.0
// table_slots.cpp - room for one more row in a first-match TCAM.
//
// A row must stand behind all rows inside it and ahead of all rows around it; rows that do not overlap do not care
// about each other. With L the last slot of a row inside and H the slot of the next row around, any free slot between L
// and H will do. If there is none, the next free slot behind H or ahead of L is reached by moving one row for each link
// of a chain:
//
//   behind  L  H=A1  ..  A2  ..  free  A3      A2 goes to the free slot, A1 to A2's, the new row to A1's: A2 stays
//                                              ahead of A3, and so on. 2 moves: rows around between H and the free slot
//
//   ahead   free  ..  D2  ..  L=D1  H          D1 = last row inside the new one, D2 = last row inside D1, ...
//                                              D2 goes to the free slot, D1 to D2's, the new row to D1's: all other
//                                              rows inside D1 stand ahead of D2. 2 moves
//
// The nearest free slot on a side has the shortest chain of that side; the shorter of the two chains is taken. Its last
// row goes as far as the next link lets it, not into the nearest free slot: ::/0 at the end of packed slots moves to
// the end of the hardware once, and all later rows find room ahead of it.
//
// Each step puts a second copy of a row where only the order of that row's own chain matters, and the next step
// replaces the first copy: no address notices, and no slot is ever empty meanwhile.
#include "table_slots.h"

#include "tm_memory.h"

namespace {

enum { longest_chain = TM_KEY_BITS + 1 };  // rows of a chain lie inside each other

struct slot_chain {
  uint32_t nodes[longest_chain];  // the first one gives its slot to the new row
  uint32_t n;
  uint32_t slot;  // the free one at the end; table_no_slot: there is none on this side
};

uint32_t slot_at(const zel_v6comp_slots *slots, uint32_t node) { return slots->tree.nodes[node].slot; }

void find_chain_behind(const zel_v6comp_slots *slots, uint32_t node, uint32_t free_slot, slot_chain *chain) {
  uint32_t at = table_slot_tree_around(&slots->tree, node);
  for (; at != table_no_node && slot_at(slots, at) < free_slot; at = table_slot_tree_around(&slots->tree, at)) {
    chain->nodes[chain->n++] = at;
  }
  const uint32_t limit = at == table_no_node ? slots->n : slot_at(slots, at);
  chain->slot = table_previous_free(&slots->free, limit - 1);
}

void find_chain_ahead(const zel_v6comp_slots *slots, uint32_t node, uint32_t free_slot, slot_chain *chain) {
  uint32_t at = table_slot_tree_last_inside(&slots->tree, node);
  for (; at != table_no_node && slot_at(slots, at) > free_slot; at = table_slot_tree_last_inside(&slots->tree, at)) {
    chain->nodes[chain->n++] = at;
  }
  chain->slot = table_next_free(&slots->free, at == table_no_node ? 0 : slot_at(slots, at) + 1);
}

// The shorter of both chains; an empty one where a slot between the rows inside and around is free.
void find_chain(const zel_v6comp_slots *slots, uint32_t node, slot_chain *chain) {
  const uint32_t inside = table_slot_tree_last_inside(&slots->tree, node);
  const uint32_t around = table_slot_tree_around(&slots->tree, node);
  const uint32_t low = inside == table_no_node ? 0 : slot_at(slots, inside) + 1;
  const uint32_t high = around == table_no_node ? slots->n : slot_at(slots, around);
  const uint32_t behind = table_next_free(&slots->free, low);
  chain->n = 0;
  chain->slot = behind;
  if (behind != table_no_slot && behind < high) {
    return;
  }
  if (behind != table_no_slot) {
    find_chain_behind(slots, node, behind, chain);
  }
  const uint32_t ahead = high == 0 ? table_no_slot : table_previous_free(&slots->free, high - 1);
  if (ahead != table_no_slot) {
    slot_chain other = {};
    find_chain_ahead(slots, node, ahead, &other);
    if (chain->slot == table_no_slot || other.n < chain->n) {
      *chain = other;
    }
  }
}

// ---- steps

bool reserve_steps(zel_v6comp_slots *slots, size_t more) {
  if (slots->room - slots->n_steps >= more) {
    return true;
  }
  const size_t room = slots->n_steps + more + slots->room / 2;
  auto *steps = static_cast<zel_v6comp_slot_step *>(zel_malloc_named(TM_MEM_TAG_RESULT, room * sizeof *slots->steps));
  auto *undo = static_cast<table_slot_undo *>(zel_malloc_named(TM_MEM_TAG_LIST, room * sizeof *slots->undo));
  if (steps == nullptr || undo == nullptr) {
    tm_free(steps);
    tm_free(undo);
    return false;
  }
  for (size_t i = 0; i < slots->n_steps; ++i) {
    steps[i] = slots->steps[i];
    undo[i] = slots->undo[i];
  }
  tm_free(slots->steps);
  tm_free(slots->undo);
  slots->steps = steps;
  slots->undo = undo;
  slots->room = room;
  return true;
}

zel_v6comp_slot_step *put_step(zel_v6comp_slots *slots, uint32_t node, uint8_t kind, const table_slot_undo *undo) {
  const table_slot_node *row = &slots->tree.nodes[node];
  slots->undo[slots->n_steps] = *undo;
  zel_v6comp_slot_step *step = &slots->steps[slots->n_steps++];
  *step = {};
  tm_key_store(step->address, row->address);
  step->key = row->key;
  step->slot = row->slot;
  step->write = slots->write;
  step->length = row->length;
  step->kind = kind;
  return step;
}

void move_row(zel_v6comp_slots *slots, uint32_t node, uint32_t to) {
  const uint32_t from = slot_at(slots, node);
  table_mark_free(&slots->free, from);
  table_mark_used(&slots->free, to);
  table_slot_tree_set(&slots->tree, node, to);
}

void release(zel_v6comp_slots *slots, uint32_t node) {
  table_mark_free(&slots->free, slot_at(slots, node));
  table_slot_tree_set(&slots->tree, node, table_no_slot);
  table_slot_tree_remove(&slots->tree, node);
  --slots->used;
}

}  // namespace

bool table_slots_insert(zel_v6comp_slots *slots, tm_key_number address, uint8_t length, uint64_t key) {
  if (!reserve_steps(slots, longest_chain + 1)) {
    return false;
  }
  const uint32_t node = table_slot_tree_add(&slots->tree, address, length);
  slot_chain chain;
  find_chain(slots, node, &chain);
  uint32_t slot = chain.slot;
  const table_slot_undo undo = {0, false};
  for (uint32_t i = chain.n; i-- > 0;) {  // the far end moves first, into the free slot
    const uint32_t from = slot_at(slots, chain.nodes[i]);
    move_row(slots, chain.nodes[i], slot);
    put_step(slots, chain.nodes[i], ZEL_V6COMP_SLOT_MOVE, &undo)->from = from;
    ++slots->moves;
    slot = from;
  }
  slots->tree.nodes[node].key = key;
  table_mark_used(&slots->free, slot);
  table_slot_tree_set(&slots->tree, node, slot);
  put_step(slots, node, ZEL_V6COMP_SLOT_WRITE, &undo);
  ++slots->used;
  return true;
}

bool table_slots_change(zel_v6comp_slots *slots, uint32_t node, uint64_t key) {
  if (!reserve_steps(slots, 1)) {
    return false;
  }
  const table_slot_undo undo = {slots->tree.nodes[node].key, true};
  slots->tree.nodes[node].key = key;
  put_step(slots, node, ZEL_V6COMP_SLOT_WRITE, &undo);
  return true;
}

bool table_slots_clear(zel_v6comp_slots *slots, uint32_t node, bool early) {
  if (!reserve_steps(slots, 1)) {
    return false;
  }
  const table_slot_undo undo = {slots->tree.nodes[node].key, true};
  zel_v6comp_slot_step *step = put_step(slots, node, ZEL_V6COMP_SLOT_CLEAR, &undo);
  step->key = 0;
  step->early = early;
  slots->early += early;
  release(slots, node);
  return true;
}

void table_slots_undo(zel_v6comp_slots *slots) {
  while (slots->n_steps > 0) {
    const zel_v6comp_slot_step *step = &slots->steps[--slots->n_steps];
    const table_slot_undo *undo = &slots->undo[slots->n_steps];
    const tm_key_number address = tm_key_load(step->address);
    const uint32_t node = step->kind == ZEL_V6COMP_SLOT_CLEAR
                              ? table_slot_tree_add(&slots->tree, address, step->length)
                              : table_slot_tree_find(&slots->tree, address, step->length);
    if (step->kind == ZEL_V6COMP_SLOT_MOVE) {
      move_row(slots, node, step->from);
    } else if (!undo->was) {
      release(slots, node);
    } else {
      slots->tree.nodes[node].key = undo->key;
    }
    if (step->kind == ZEL_V6COMP_SLOT_CLEAR) {
      table_mark_used(&slots->free, step->slot);
      table_slot_tree_set(&slots->tree, node, step->slot);
      ++slots->used;
    }
  }
}
