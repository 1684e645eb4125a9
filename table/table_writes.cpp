// SPDX-License-Identifier: Apache-2.0
#include "table_writes.h"

#include <string.h>

#include "tm_memory.h"

namespace {

zel_v6comp_table_write *next_write(table_writes *writes, const table_row_change *row, uint8_t kind) {
  zel_v6comp_table_write *write = &writes->list[writes->count++];
  memset(write, 0, sizeof *write);
  tm_key_store(write->address, row->address);
  write->word = row->word;
  write->length = row->length;
  write->kind = kind;
  return write;
}

}  // namespace

bool table_reserve_writes(table_writes *writes, size_t more) {
  if (writes->room - writes->count >= more) {
    return true;
  }
  const size_t room = writes->count + more + writes->room / 2;
  auto *list = static_cast<zel_v6comp_table_write *>(zel_malloc_named(TM_MEM_TAG_RESULT, room * sizeof *writes->list));
  if (list == nullptr) {
    return false;
  }
  if (writes->count != 0) {
    memcpy(list, writes->list, writes->count * sizeof *list);
  }
  tm_free(writes->list);
  writes->list = list;
  writes->room = room;
  return true;
}

void table_put_code(table_writes *writes, const table_row_change *row, uint8_t kind, uint64_t code, uint8_t length) {
  zel_v6comp_table_write *write = next_write(writes, row, kind);
  write->code = code;
  write->code_length = length;
}

void table_put_key(table_writes *writes, const table_row_change *row, uint8_t kind, uint64_t key) {
  next_write(writes, row, kind)->key = key;
}

void table_free_writes(table_writes *writes) {
  tm_free(writes->list);
  *writes = {};
}
