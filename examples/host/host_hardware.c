// SPDX-License-Identifier: Apache-2.0
/* The order of the writes:
 *
 *   1. inserts, more specific prefixes first     an address gets its new result as soon as the prefix is there
 *   2. updates
 *   3. deletes, less specific prefixes first     what shows under a deleted prefix is new already
 *
 * Two habits of the update list need care. It compares the last, partial byte of a prefix by its LOW bits: so the list
 * is given prefixes whose partial byte is moved down. And it compares 7 bytes of the result: the eighth is compared
 * here.
 */
#include "host_hardware.h"

#include <string.h>

static host_prefix fold(const host_prefix *prefix) {
  host_prefix folded = *prefix;
  if (prefix->length % 8 != 0) {
    uint8_t *partial = &folded.address[prefix->length / 8];
    *partial = (uint8_t)(*partial >> (8 - prefix->length % 8));
  }
  return folded;
}

static host_prefix unfold(const tm_incr_update_entry *entry) {
  host_prefix prefix = {.length = entry->length};
  memcpy(prefix.address, entry->prefix, sizeof prefix.address);
  if (prefix.length % 8 != 0) {
    uint8_t *partial = &prefix.address[prefix.length / 8];
    *partial = (uint8_t)(*partial << (8 - prefix.length % 8));
  }
  return prefix;
}

/* The slot of a prefix, or a free one. Null: there is none. */
static host_slot *find_slot(host_hardware *hardware, const host_prefix *prefix) {
  host_slot *free_slot = NULL;
  for (uint32_t i = 0; i < hardware->n_reached; ++i) {
    host_slot *slot = &hardware->slots[i];
    if (slot->used && host_same_prefix(&slot->prefix, prefix)) {
      return slot;
    }
    if (!slot->used && free_slot == NULL) {
      free_slot = slot;
    }
  }
  if (free_slot == NULL && hardware->n_reached < TM_INCR_SLOTS) {
    free_slot = &hardware->slots[hardware->n_reached++];
  }
  return free_slot;
}

static void write_slot(host_hardware *hardware, const tm_incr_update_entry *entry) {
  const host_prefix prefix = unfold(entry);
  host_slot *slot = find_slot(hardware, &prefix);
  slot->used = entry->state != TM_INCR_DELETE;
  slot->prefix = prefix;
  memcpy(slot->result, entry->cmpr_addr, sizeof slot->result);
  ++hardware->writes;
}

static void compare_eighth_bytes(tm_incr_update_list *list, const host_wanted *wanted, uint32_t n) {
  for (uint32_t i = 0; i < list->count; ++i) {
    tm_incr_update_entry *entry = &list->entries[i];
    const host_prefix prefix = unfold(entry);
    for (uint32_t k = 0; k < n; ++k) {
      if (host_same_prefix(&wanted[k].prefix, &prefix)) {
        if (entry->cmpr_addr[7] != wanted[k].result.bytes[7]) {
          entry->cmpr_addr[7] = wanted[k].result.bytes[7];
          entry->state = TM_INCR_UPDATE;
        }
        break;
      }
    }
  }
}

static bool build_list(tm_incr_update_list *list, const host_wanted *wanted, uint32_t n) {
  static tcamv6_prefix records[TM_INCR_SLOTS];
  static tcamv6_cmpr_addr results[TM_INCR_SLOTS];
  if (n > TM_INCR_SLOTS || list->count + n > TM_INCR_SLOTS) {
    return false;
  }
  for (uint32_t i = 0; i < n; ++i) {
    const host_prefix folded = fold(&wanted[i].prefix);
    records[i] = (tcamv6_prefix){.length = folded.length};
    memcpy(records[i].address, folded.address, sizeof folded.address);
    results[i] = wanted[i].result;
  }
  uint32_t corrupted = 0;
  tm_build_incremental_update_prefixes_list(list, records, NULL, results, n, list->count, &corrupted, 0);
  compare_eighth_bytes(list, wanted, n);
  return corrupted == 0;
}

bool host_program(host_hardware *hardware, const host_wanted *wanted, uint32_t n) {
  tm_incr_update_list *list = &hardware->list;
  if (!build_list(list, wanted, n)) {
    return false;
  }
  for (uint32_t i = 0; i < list->n_insert; ++i) { /* in the order of the rows: what lies inside comes first */
    write_slot(hardware, &list->entries[list->count + i]);
  }
  for (uint32_t i = 0; i < list->count; ++i) {
    if (list->entries[i].state == TM_INCR_UPDATE) {
      write_slot(hardware, &list->entries[i]);
    }
  }
  uint32_t n_deleted = 0;
  for (uint32_t i = list->count; i-- > 0;) { /* used entries stand longest first */
    if (list->entries[i].state == TM_INCR_DELETE) {
      write_slot(hardware, &list->entries[i]);
      ++n_deleted;
    }
  }
  tm_clear_pending_state(list, 0, list->count, TM_INCR_UPDATE);
  tm_clear_pending_state(list, 0, list->count, TM_INCR_DELETE);
  list->count -= n_deleted;
  tm_prepare_incremental_update_prefixes_list_for_insert_and_update(list, n_deleted, list->n_insert, 0);
  tm_clear_pending_state(list, 0, list->count, TM_INCR_INSERT);
  return true;
}

const host_slot *host_hardware_match(const host_hardware *hardware, const uint8_t address[16]) {
  const host_slot *best = NULL;
  for (uint32_t i = 0; i < hardware->n_reached; ++i) {
    const host_slot *slot = &hardware->slots[i];
    if (slot->used && (best == NULL || slot->prefix.length > best->prefix.length) &&
        host_covers(&slot->prefix, address)) {
      best = slot;
    }
  }
  return best;
}

const host_slot *host_hardware_slot(const host_hardware *hardware, const host_prefix *prefix) {
  for (uint32_t i = 0; i < hardware->n_reached; ++i) {
    if (hardware->slots[i].used && host_same_prefix(&hardware->slots[i].prefix, prefix)) {
      return &hardware->slots[i];
    }
  }
  return NULL;
}

uint32_t host_count_used(const host_hardware *hardware) {
  uint32_t n = 0;
  for (uint32_t i = 0; i < hardware->n_reached; ++i) {
    n += hardware->slots[i].used ? 1 : 0;
  }
  return n;
}
