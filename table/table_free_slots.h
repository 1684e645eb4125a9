// SPDX-License-Identifier: Apache-2.0
// table_free_slots.h - which slots are free, and the next one on either side of a place.
#ifndef TABLE_FREE_SLOTS_H
#define TABLE_FREE_SLOTS_H

#include <stdint.h>

enum { TABLE_FREE_LEVELS = 5 };

// A bit a slot, and above it a bit for each word that has bits: 64 slots of one level are one of the next.
struct table_free_slots {
  uint64_t *words[TABLE_FREE_LEVELS];  // level 0 is that of the slots
  uint32_t n;
};

inline constexpr uint32_t table_no_slot = UINT32_MAX;

// All n slots (1 or more) are free. Returns false when memory is refused; the record is to be freed in any case.
bool table_free_slots_begin(table_free_slots *free, uint32_t n);

void table_free_slots_end(table_free_slots *free);

void table_mark_free(table_free_slots *free, uint32_t slot);
void table_mark_used(table_free_slots *free, uint32_t slot);

// The first free slot at or behind `slot`, and the last one at or ahead of it; table_no_slot when there is none.
uint32_t table_next_free(const table_free_slots *free, uint32_t slot);
uint32_t table_previous_free(const table_free_slots *free, uint32_t slot);

#endif
