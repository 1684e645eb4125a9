// SPDX-License-Identifier: Apache-2.0
// The build of a plan: what the hardware holds, against what a table wants.
//
// Each used slot and each record needs one answer from the other side. An index over the records gives it in
// constant time: slots look their group up and mark it, records whose group is unmarked are inserted. When the
// memory for the index is refused, slots and records are compared pair by pair; both ways answer alike.
#include <cstring>

#include "tm_debug.h"
#include "tm_incr_update_index.h"
#include "tm_incr_update_order.h"
#include "tm_prefix_internal.h"

namespace {

struct wanted_table {
  const tcamv6_prefix *prefixes;
  const tcamv6_cmpr_addr *cmpr_addrs;
  uint32_t n;
  bool force_update;
};

// What the table says about a slot.
struct verdict {
  bool wanted;      // some record equals the slot
  uint32_t update;  // the record whose compressed address it takes over, or TM_INCR_NO_RECORD
};

bool differs(const tm_incr_update_entry &slot, const tcamv6_cmpr_addr &cmpr_addr) {
  return std::memcmp(slot.cmpr_addr, cmpr_addr.bytes, TM_INCR_ADDR_BYTES) != 0;
}

bool equal(const tm_incr_update_entry &slot, const tcamv6_prefix &record) {
  return tm_cmp_v6_bits(slot.length, slot.prefix, record.length, record.address) == 0;
}

verdict ask_records(const wanted_table &table, const tm_incr_update_entry &slot) {
  verdict answer = {false, TM_INCR_NO_RECORD};
  for (uint32_t j = 0; j < table.n; ++j) {
    if (equal(slot, table.prefixes[j])) {
      answer.wanted = true;
      if (table.force_update || differs(slot, table.cmpr_addrs[j])) {
        answer.update = j;
        break;
      }
    }
  }
  return answer;
}

verdict ask_index(const wanted_table &table, const tm_incr_index &index, const tm_incr_update_entry &slot) {
  tm_incr_group *group = tm_incr_index_find(&index, slot.length, slot.prefix);
  if (group == nullptr) {
    return {false, TM_INCR_NO_RECORD};
  }
  group->in_list = true;
  const bool take_first = table.force_update || differs(slot, table.cmpr_addrs[group->first]);
  return {true, take_first ? group->first : group->other};
}

void mark_slot(const wanted_table &table, verdict answer, tm_incr_update_entry *slot) {
  if (!answer.wanted) {
    slot->state = TM_INCR_DELETE;
  } else if (answer.update != TM_INCR_NO_RECORD) {
    std::memcpy(slot->cmpr_addr, table.cmpr_addrs[answer.update].bytes, TM_INCR_ADDR_BYTES);
    slot->state = TM_INCR_UPDATE;
  }
}

// Slots being appended behind the used ones.
struct appender {
  tm_incr_update_list *list;
  uint32_t next;
  uint32_t dropped;
};

void append(appender *to, const wanted_table &table, uint32_t j) {
  if (to->next == TM_INCR_SLOTS) {
    ++to->dropped;
    return;
  }
  tm_incr_update_entry *slot = &to->list->entries[to->next++];
  std::memcpy(slot->prefix, table.prefixes[j].address, sizeof(slot->prefix));
  slot->length = table.prefixes[j].length;
  std::memcpy(slot->cmpr_addr, table.cmpr_addrs[j].bytes, sizeof(slot->cmpr_addr));
  slot->state = TM_INCR_INSERT;
}

void plan_with_index(const wanted_table &table, const tm_incr_index &index, appender *to) {
  tm_incr_update_list *list = to->list;
  for (uint32_t i = 0; i < list->count; ++i) {
    mark_slot(table, ask_index(table, index, list->entries[i]), &list->entries[i]);
  }
  for (uint32_t j = 0; j < table.n; ++j) {
    if (!index.groups[index.group_of[j]].in_list) {
      append(to, table, j);
    }
  }
}

bool is_in_list(const tm_incr_update_list *list, const tcamv6_prefix &record) {
  for (uint32_t i = 0; i < list->count; ++i) {
    if (equal(list->entries[i], record)) {
      return true;
    }
  }
  return false;
}

void plan_by_scanning(const wanted_table &table, appender *to) {
  tm_incr_update_list *list = to->list;
  for (uint32_t i = 0; i < list->count; ++i) {
    mark_slot(table, ask_records(table, list->entries[i]), &list->entries[i]);
  }
  for (uint32_t j = 0; j < table.n; ++j) {
    if (!is_in_list(list, table.prefixes[j])) {
      append(to, table, j);
    }
  }
}

// What an interrupted plan left pending never reached the hardware: forget it. Returns the slots in hardware.
uint32_t revert_pending(tm_incr_update_list *list) {
  uint32_t used = 0;
  for (tm_incr_update_entry &slot : list->entries) {
    if (slot.state == TM_INCR_INSERT) {
      slot.state = TM_INCR_INVALID;
    } else if (slot.state == TM_INCR_DELETE) {
      slot.state = TM_INCR_IN_HW;
    }
    used += slot.state != TM_INCR_INVALID ? 1 : 0;
  }
  return used;
}

void reset_to_default_entry(tm_incr_update_list *list) {
  std::memset(list->entries, 0, sizeof(list->entries));
  list->entries[0].state = TM_INCR_IN_HW;
  list->count = 1;
}

}  // namespace

extern "C" {

void tm_prepare_incremental_update_prefixes_list_initial(tm_incr_update_list *list, uint32_t expected,
                                                         uint32_t *corrupted) {
  constexpr const char *function = "tm_prepare_incremental_update_prefixes_list_initial";
  if (list == nullptr || corrupted == nullptr) {
    return;
  }
  list->n_insert = 0;
  list->count = revert_pending(list);
  if (list->count == expected) {
    *corrupted = 0;
    tm_incr_sort_by_state(list->entries, TM_INCR_SLOTS);
    tm_incr_sort_by_prefix(list->entries, list->count);
    return;
  }
  TM_LOG(result_hw, "%s: Sizes don't match %d %d", function, list->count, expected);
  *corrupted = 1;
  reset_to_default_entry(list);
  TM_LOG(result_hw, "%s: region corrupted", function);
}

int32_t tm_build_incremental_update_prefixes_list(tm_incr_update_list *list, const tcamv6_prefix *prefixes,
                                                  const void * /*ignored*/, const tcamv6_cmpr_addr *cmpr_addrs,
                                                  uint32_t n, uint32_t expected, uint32_t *corrupted,
                                                  uint32_t force_update) {
  constexpr const char *function = "tm_build_incremental_update_prefixes_list";
  const bool no_table = n != 0 && (prefixes == nullptr || cmpr_addrs == nullptr);
  if (list == nullptr || corrupted == nullptr || no_table) {
    return TM_EINVAL;
  }
  tm_prepare_incremental_update_prefixes_list_initial(list, expected, corrupted);

  const wanted_table table = {prefixes, cmpr_addrs, n, force_update != 0};
  appender to = {list, list->count, 0};
  tm_incr_index index = {};
  if (tm_incr_index_make(&index, prefixes, cmpr_addrs, n)) {
    plan_with_index(table, index, &to);
    tm_incr_index_free(&index);
  } else {
    plan_by_scanning(table, &to);
  }
  list->n_insert = to.next - list->count;
  if (to.dropped != 0) {
    TM_LOG(error, "%s: update list full, %u inserts dropped", function, to.dropped);
  }
  return tm_show_incremental_update_prefixes(list);
}

}  // extern "C"
