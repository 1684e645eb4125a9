// SPDX-License-Identifier: Apache-2.0
// tm_incr_update_order.h - the order of an update list's slots. Internal.
#ifndef TM_INCR_UPDATE_ORDER_H
#define TM_INCR_UPDATE_ORDER_H

#include "tm_incr_update.h"

// Slots that the list says are in use, and that exist.
inline uint32_t tm_incr_used(const tm_incr_update_list *list) {
  return list->count < TM_INCR_SLOTS ? list->count : static_cast<uint32_t>(TM_INCR_SLOTS);
}

// Put used slots before free ones; both keep their order.
void tm_incr_sort_by_state(tm_incr_update_entry *entries, uint32_t n);

// Put longer prefixes first, then sort the runs of equal length by tm_cmp_v6_pref.
// Returns the position that the sort of the runs reached.
uint32_t tm_incr_sort_by_prefix(tm_incr_update_entry *entries, uint32_t n);

#endif
