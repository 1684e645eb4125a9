// SPDX-License-Identifier: Apache-2.0
// What a host does with a planned list: find a run to program, confirm it, reorder, print.
#include "tm_incr_update.h"

#include "tm_debug.h"
#include "tm_incr_update_order.h"

namespace {

const char *state_text(uint32_t state) {
  switch (state) {
    case TM_INCR_INVALID:
      return "Invalid";
    case TM_INCR_IN_HW:
      return "In HW";
    case TM_INCR_DELETE:
      return "Delete";
    case TM_INCR_INSERT:
      return "Insert";
    case TM_INCR_UPDATE:
      return "Update";
    default:
      return "Unknown";
  }
}

bool is_shown(uint32_t state) { return state >= TM_INCR_IN_HW && state <= TM_INCR_UPDATE; }

void show_slot(const tm_incr_update_entry &slot) {
  const uint8_t *p = slot.prefix;
  const uint8_t *c = slot.cmpr_addr;
  TM_LOG(result_hw, "%s: Original %02x%02x%02x%02x:%02x%02x%02x%02x:%02x%02x%02x%02x:%02x%02x%02x%02x / %d",
         state_text(slot.state), p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9], p[10], p[11], p[12], p[13],
         p[14], p[15], slot.length);
  TM_LOG(result_hw, "Cmpr Addr %02x%02x%02x:%02x%02x%02x%02x", c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
}

// The state that a pending one becomes once the hardware has it; the others stay.
uint32_t confirmed(uint32_t state) {
  switch (state) {
    case TM_INCR_INSERT:
    case TM_INCR_UPDATE:
      return TM_INCR_IN_HW;
    case TM_INCR_DELETE:
      return TM_INCR_INVALID;
    default:
      return state;
  }
}

}  // namespace

extern "C" {

int32_t tm_build_incremental_update_hw_requests_find_entries(tm_incr_update_list *list, uint32_t first_index,
                                                             uint32_t *first, uint32_t *last, uint32_t *found,
                                                             uint32_t state, uint32_t limit) {
  constexpr const char *function = "tm_build_incremental_update_hw_requests_find_entries";
  if (list == nullptr || first == nullptr || last == nullptr || found == nullptr) {
    return TM_EINVAL;
  }
  *found = *first = *last = 0;
  TM_LOG(result_hw, "%s: first_index %d limit %d %s", function, first_index, limit, state_text(state));
  const uint32_t used = tm_incr_used(list);
  uint32_t i = first_index;
  for (; i < used; ++i) {
    const bool matches = list->entries[i].state == state;
    if (*found == 0 && matches) {
      *found = 1;
      *first = i;
    } else if (*found != 0 && (!matches || i - *first + 1 > limit)) {
      break;
    }
  }
  *last = i - 1;
  TM_LOG(result_hw, "%s: found %s first %d last %d", function, *found != 0 ? "Y" : "N", *first, *last);
  return TM_OK;
}

int32_t tm_clear_pending_state(tm_incr_update_list *list, uint32_t first, uint32_t n, uint32_t state) {
  if (list == nullptr) {
    return TM_EINVAL;
  }
  const uint32_t used = tm_incr_used(list);
  if (uint64_t{first} + n > used) {
    return TM_EINVAL;
  }
  uint32_t changed = 0;
  for (uint32_t i = first; i < used && changed < n; ++i) {
    tm_incr_update_entry &slot = list->entries[i];
    if (slot.state == state && confirmed(state) != state) {
      slot.state = confirmed(state);
      ++changed;
    }
  }
  return TM_OK;
}

uint32_t tm_prepare_incremental_update_prefixes_list_for_insert_and_update(tm_incr_update_list *list, uint32_t n_freed,
                                                                           uint32_t n_added, int32_t keep_count) {
  if (list == nullptr) {
    return 0;
  }
  if (keep_count == 0) {
    list->count += n_freed + n_added;
  }
  tm_incr_sort_by_state(list->entries, tm_incr_used(list));
  list->count -= n_freed;
  return tm_incr_sort_by_prefix(list->entries, tm_incr_used(list));
}

int32_t tm_show_incremental_update_prefixes(tm_incr_update_list *list) {
  constexpr const char *function = "tm_show_incremental_update_prefixes";
  if (list == nullptr) {
    return TM_EINVAL;
  }
  if (tcamv6_debug_flags.result_hw == 0) {
    return TM_OK;
  }
  TM_LOG(result_hw, "%s: starts", function);
  const uint32_t used = tm_incr_used(list);
  for (uint32_t i = 0; i < used; ++i) {
    if (is_shown(list->entries[i].state)) {
      show_slot(list->entries[i]);
    }
  }
  TM_LOG(result_hw, "%s: ends", function);
  return TM_OK;
}

}  // extern "C"
