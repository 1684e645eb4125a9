// SPDX-License-Identifier: Apache-2.0
#include "host_hardware.h"

#include <string.h>

static bool is_same(const zel_v6comp_table_write *a, const zel_v6comp_table_write *b) {
  return a->length == b->length && a->code == b->code && a->code_length == b->code_length &&
         memcmp(a->address, b->address, sizeof a->address) == 0;
}

bool host_write(host_hardware *hardware, const zel_v6comp_table_write *write) {
  const bool is_code = write->kind == ZEL_V6COMP_TABLE_ADD_CODE || write->kind == ZEL_V6COMP_TABLE_REMOVE_CODE;
  const bool adds = write->kind == ZEL_V6COMP_TABLE_ADD_CODE || write->kind == ZEL_V6COMP_TABLE_ADD_KEY;
  host_stage *stage = is_code ? &hardware->codes : &hardware->keys;
  size_t at = 0;
  while (at < stage->n && !is_same(&stage->entries[at], write)) {
    ++at;
  }
  if ((at == stage->n) != adds || at == HOST_ENTRIES) {
    return false;
  }
  if (adds || write->kind == ZEL_V6COMP_TABLE_CHANGE_KEY) {
    stage->entries[at] = *write;
    stage->n += adds ? 1 : 0;
  } else {
    stage->entries[at] = stage->entries[--stage->n];
  }
  return true;
}

static bool covers(const zel_v6comp_table_write *entry, const uint8_t address[16]) {
  const size_t whole = entry->length / 8;
  const int rest = entry->length % 8;
  return memcmp(entry->address, address, whole) == 0 &&
         (rest == 0 || (entry->address[whole] ^ address[whole]) >> (8 - rest) == 0);
}

static bool begins(const zel_v6comp_table_write *entry, uint64_t key) {
  return entry->code_length == 0 || (entry->code ^ key) >> (64 - entry->code_length) == 0;
}

const zel_v6comp_table_write *host_match(const host_hardware *hardware, const uint8_t address[16]) {
  const zel_v6comp_table_write *key = NULL;
  for (const zel_v6comp_table_write *e = hardware->keys.entries; e < hardware->keys.entries + hardware->keys.n; ++e) {
    key = (key == NULL || e->length > key->length) && covers(e, address) ? e : key;
  }
  const zel_v6comp_table_write *rule = NULL;
  for (size_t i = 0; key != NULL && i < hardware->codes.n; ++i) {
    const zel_v6comp_table_write *e = &hardware->codes.entries[i];
    rule = (rule == NULL || e->length > rule->length) && begins(e, key->key) ? e : rule;
  }
  return rule;
}
