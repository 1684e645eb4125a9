// SPDX-License-Identifier: Apache-2.0
// table_slots_follow.cpp - slots for the rows that a table's writes bring.
//
// What can be refused is found before anything changes: each row's writes must fit what is there, and the rows must fit
// the slots in the end. In between they may not: then the row that goes next goes at once.
#include "table_array.h"
#include "table_slots.h"
#include "tm_stable_sort.h"

namespace {

struct row_write {
  tm_key_number address;
  uint32_t write;  // its index
  uint8_t length;
  uint8_t kind;
};

struct follow_run {
  zel_v6comp_slots *slots;
  const zel_v6comp_table_write *writes;
  uint32_t n;
  uint32_t next_removal;  // no write ahead of this one can be done early
};

bool is_of_stage_1(const zel_v6comp_table_write *write) {
  return write->kind != ZEL_V6COMP_TABLE_ADD_CODE && write->kind != ZEL_V6COMP_TABLE_REMOVE_CODE;
}

int32_t judge_write(const zel_v6comp_table_write *write) {
  if (write->kind < ZEL_V6COMP_TABLE_ADD_CODE || write->kind > ZEL_V6COMP_TABLE_REMOVE_CODE) {
    return ZEL_V6COMP_TABLE_E_OPERATION;
  }
  if (write->length > TM_KEY_BITS) {
    return ZEL_V6COMP_TABLE_E_LENGTH;
  }
  return (tm_key_load(write->address) & ~tm_key_number_leading(write->length)) != 0
             ? int32_t{ZEL_V6COMP_TABLE_E_HOST_BITS}
             : int32_t{ZEL_V6COMP_TABLE_OK};
}

int cmp_row_writes(const void *a, const void *b) {
  const auto *x = static_cast<const row_write *>(a);
  const auto *y = static_cast<const row_write *>(b);
  if (x->address != y->address) {
    return x->address < y->address ? -1 : 1;
  }
  return x->length - y->length;
}

int32_t collect(const follow_run *run, row_write *list, uint32_t *count) {
  *count = 0;
  for (uint32_t i = 0; i < run->n; ++i) {
    const zel_v6comp_table_write *write = &run->writes[i];
    const int32_t status = judge_write(write);
    if (status != ZEL_V6COMP_TABLE_OK) {
      return status;
    }
    if (is_of_stage_1(write)) {
      list[(*count)++] = {tm_key_load(write->address), i, write->length, write->kind};
    }
  }
  tm_stable_sort(list, *count, sizeof *list, cmp_row_writes);
  return ZEL_V6COMP_TABLE_OK;
}

// Go through the writes row by row.
int32_t judge_rows(const zel_v6comp_slots *slots, const row_write *list, uint32_t count) {
  int64_t rows = slots->used;
  bool is_there = false;
  for (uint32_t i = 0; i < count; ++i) {
    if (i == 0 || cmp_row_writes(&list[i - 1], &list[i]) != 0) {
      is_there = table_slot_tree_find(&slots->tree, list[i].address, list[i].length) != table_no_node;
    }
    const bool comes = list[i].kind == ZEL_V6COMP_TABLE_ADD_KEY;
    if (comes == is_there) {
      return ZEL_V6COMP_TABLE_E_OPERATION;
    }
    is_there = list[i].kind != ZEL_V6COMP_TABLE_REMOVE_KEY;
    rows += int64_t{comes} - int64_t{!is_there};
  }
  return rows > slots->n ? int32_t{ZEL_V6COMP_TABLE_E_ROOM} : int32_t{ZEL_V6COMP_TABLE_OK};
}

int32_t judge(const follow_run *run) {
  row_write *list = nullptr;
  if (!table_make_array(&list, run->n)) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  uint32_t count;
  int32_t status = collect(run, list, &count);
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = judge_rows(run->slots, list, count);
  }
  zel_free_named(list);
  return status;
}

uint32_t find_row(const zel_v6comp_slots *slots, const zel_v6comp_table_write *write) {
  return table_slot_tree_find(&slots->tree, tm_key_load(write->address), write->length);
}

int32_t status_of(bool done) { return done ? int32_t{ZEL_V6COMP_TABLE_OK} : int32_t{ZEL_V6COMP_TABLE_E_MEMORY}; }

// The rows fit in the end: of those that are there, one will go.
int32_t clear_one_early(follow_run *run, uint32_t now) {
  for (uint32_t i = run->next_removal > now ? run->next_removal : now + 1; i < run->n; ++i) {
    const bool goes = run->writes[i].kind == ZEL_V6COMP_TABLE_REMOVE_KEY;
    const uint32_t node = goes ? find_row(run->slots, &run->writes[i]) : table_no_node;
    if (node != table_no_node) {
      run->next_removal = i + 1;
      return status_of(table_slots_clear(run->slots, node, true));
    }
  }
  return ZEL_V6COMP_TABLE_E_ROOM;
}

int32_t follow_addition(follow_run *run, uint32_t i) {
  zel_v6comp_slots *slots = run->slots;
  const zel_v6comp_table_write *write = &run->writes[i];
  int32_t status = slots->used == slots->n ? clear_one_early(run, i) : int32_t{ZEL_V6COMP_TABLE_OK};
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = status_of(table_slots_insert(slots, tm_key_load(write->address), write->length, write->key));
    slots->peak = slots->used > slots->peak ? slots->used : slots->peak;
  }
  return status;
}

int32_t follow_write(follow_run *run, uint32_t i) {
  zel_v6comp_slots *slots = run->slots;
  const zel_v6comp_table_write *write = &run->writes[i];
  slots->write = i;
  if (write->kind == ZEL_V6COMP_TABLE_ADD_KEY) {
    return follow_addition(run, i);
  }
  const uint32_t node = find_row(slots, write);
  if (node == table_no_node) {
    return ZEL_V6COMP_TABLE_OK;  // it has gone before its time
  }
  return status_of(write->kind == ZEL_V6COMP_TABLE_CHANGE_KEY ? table_slots_change(slots, node, write->key)
                                                              : table_slots_clear(slots, node, false));
}

int32_t follow(follow_run *run) {
  zel_v6comp_slots *slots = run->slots;
  slots->n_steps = 0;
  slots->moves = 0;
  slots->early = 0;
  slots->peak = slots->used;
  int32_t status = ZEL_V6COMP_TABLE_OK;
  for (uint32_t i = 0; status == ZEL_V6COMP_TABLE_OK && i < run->n; ++i) {
    status = is_of_stage_1(&run->writes[i]) ? follow_write(run, i) : int32_t{ZEL_V6COMP_TABLE_OK};
  }
  if (status != ZEL_V6COMP_TABLE_OK) {
    table_slots_undo(slots);
  }
  return status;
}

void free_all(zel_v6comp_slots *slots) {
  table_slot_tree_end(&slots->tree);
  table_free_slots_end(&slots->free);
  tm_free(slots->steps);
  tm_free(slots->undo);
  zel_free_named(slots);
}

}  // namespace

int32_t zel_v6comp_slots_open(uint32_t n, zel_v6comp_slots **slots) {
  if (slots == nullptr) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  *slots = nullptr;
  if (n == 0 || n > ZEL_V6COMP_MAX_SLOTS) {
    return ZEL_V6COMP_TABLE_E_COUNT;
  }
  auto *made = static_cast<zel_v6comp_slots *>(zel_calloc_named(TM_MEM_TAG_LIST, 1, sizeof(zel_v6comp_slots)));
  if (made == nullptr) {
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  made->n = n;
  if (!table_slot_tree_begin(&made->tree, n) || !table_free_slots_begin(&made->free, n)) {
    free_all(made);
    return ZEL_V6COMP_TABLE_E_MEMORY;
  }
  *slots = made;
  return ZEL_V6COMP_TABLE_OK;
}

void zel_v6comp_slots_close(zel_v6comp_slots *slots) {
  if (slots != nullptr) {
    free_all(slots);
  }
}

int32_t zel_v6comp_slots_follow(zel_v6comp_slots *slots, const zel_v6comp_table_write *writes, size_t n,
                                zel_v6comp_slot_steps *steps) {
  if (slots == nullptr || steps == nullptr || (writes == nullptr && n != 0)) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  if (steps->struct_size != sizeof *steps) {
    return ZEL_V6COMP_TABLE_E_SIZE;
  }
  *steps = ZEL_V6COMP_SLOT_STEPS_INIT;
  if (n > UINT32_MAX) {
    return ZEL_V6COMP_TABLE_E_COUNT;
  }
  follow_run run = {slots, writes, static_cast<uint32_t>(n), 0};
  int32_t status = judge(&run);
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = follow(&run);
  }
  if (status == ZEL_V6COMP_TABLE_OK) {
    *steps = {sizeof *steps, slots->steps, slots->n_steps, slots->moves, slots->early, slots->peak, 0};
  }
  return status;
}

int32_t zel_v6comp_slots_find(const zel_v6comp_slots *slots, const uint8_t address[16], uint32_t length,
                              uint32_t *slot) {
  if (slots == nullptr || address == nullptr || slot == nullptr) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  if (length > TM_KEY_BITS) {
    return ZEL_V6COMP_TABLE_E_LENGTH;
  }
  const tm_key_number key = tm_key_load(address);
  if ((key & ~tm_key_number_leading(static_cast<int32_t>(length))) != 0) {
    return ZEL_V6COMP_TABLE_E_HOST_BITS;
  }
  const uint32_t node = table_slot_tree_find(&slots->tree, key, length);
  if (node == table_no_node) {
    return 0;
  }
  *slot = slots->tree.nodes[node].slot;
  return 1;
}
