// SPDX-License-Identifier: Apache-2.0
// table_slots.h - the rows of a first-match TCAM, and the steps that change them.
#ifndef TABLE_SLOTS_H
#define TABLE_SLOTS_H

#include "table_free_slots.h"
#include "table_slot_tree.h"
#include "zel_v6comp_plan.h"

// What a step replaced.
struct table_slot_undo {
  uint64_t key;
  bool was;  // was there a row?
};

struct zel_v6comp_slots {
  uint32_t n;
  uint32_t used;
  table_slot_tree tree;
  table_free_slots free;
  zel_v6comp_slot_step *steps;  // on the heap, as is `undo`, which goes along
  table_slot_undo *undo;
  size_t n_steps;
  size_t room;
  uint32_t write;  // whose steps are being taken
  uint32_t moves;
  uint32_t early;
  uint32_t peak;
};

// Each takes the steps for one row, or returns false: memory was refused, and nothing has changed.
// A row comes; a slot is free.
bool table_slots_insert(zel_v6comp_slots *slots, tm_key_number address, uint8_t length, uint64_t key);
bool table_slots_change(zel_v6comp_slots *slots, uint32_t node, uint64_t key);
bool table_slots_clear(zel_v6comp_slots *slots, uint32_t node, bool early);

// Take all steps back.
void table_slots_undo(zel_v6comp_slots *slots);

#endif
