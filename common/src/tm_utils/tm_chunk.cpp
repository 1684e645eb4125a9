// SPDX-License-Identifier: Apache-2.0
// tm_chunk.cpp - the typed layer over the platform's pools: counting, handles, abandoned elements.
#include "tm_chunk.h"

#include "tm_chunk_internal.h"
#include "tm_debug.h"
#include "tm_journal.h"

extern "C" {

tm_raw_blk_row raw_blk[TM_CHUNK_TYPES] = {
    {TM_RAW_BLK_GBL_STATE, "TM_RAW_BLK_GBL_STATE", 8193088, 0, 0, 1},
    {TM_V6_ANC_TREE, "TM_V6_ANC_TREE", 32768, 24, 0, 1},
    {TM_V6_ANC_DATA, "TM_V6_ANC_DATA", 32768, 48, 0, 1},
    {TM_V6_ORIG_DATA, "TM_V6_ORIG_DATA", 32768, 8, 0, 1},
    {TM_V6_PCMPR_DATA, "TM_V6_PCMPR_DATA", 32768, 40, 0, 1},
    {TM_V6_TRIE_NODE, "TM_V6_TRIE_NODE", 32768, 56, 0, 1},
    {TM_V6_TRIE_NODE2, "TM_V6_TRIE_NODE2", 65536, 56, 0, 0},
    {TM_V6_TRIE_NODE3, "TM_V6_TRIE_NODE3", 65536, 56, 0, 0},
};

tm_chunk_info *gbl_chunk_info = nullptr;

}  // extern "C"

namespace {

tm_chunk_info *chunk_info_base = nullptr;

// Abandoned elements, one chain per type. Nothing refers to them, so the first 8 bytes of each hold the next.
void *abandoned[TM_CHUNK_TYPES] = {};

void *pool_of(uint32_t type) { return reinterpret_cast<void *>(static_cast<uintptr_t>(chunk_info_base[type].handle)); }

bool has_pool(uint32_t type) {
  return type < TM_CHUNK_TYPES && chunk_info_base != nullptr && chunk_info_base[type].handle != 0;
}

// What never happens in a sound process stays out of the way of what happens for every node.
[[gnu::cold, gnu::noinline]] void report_no_pool(uint32_t type, const char *function) {
  if (type >= TM_CHUNK_TYPES) {
    TM_LOG(error, "%s: Unknown chunk type (%d)", function, static_cast<int>(type));
  } else {
    TM_LOG(error, "%s: uninitialized chunk:(%d)", function, static_cast<int>(type));
  }
}

// An element that the journal could not note goes back.
void *note_taken(uint32_t type, void *element) {
  if (tm_journal_take(type, element)) {
    return element;
  }
  chunk_free(pool_of(type), element);
  return nullptr;
}

}  // namespace

tm_chunk_info *tm_chunk_info_base() { return chunk_info_base; }

uint32_t tm_init_raw_chunks(tm_chunk_info *info_base, tm_raw_blk_row *table, uint32_t first_type, uint32_t n_types) {
  constexpr const char *function = "tm_init_raw_chunks";
  const bool no_table = n_types != 0 && (info_base == nullptr || table == nullptr);
  if (no_table || first_type > TM_CHUNK_TYPES || n_types > TM_CHUNK_TYPES - first_type) {
    TM_LOG(info, "%s: Bad arguments", function);
    return static_cast<uint32_t>(TM_EINVAL);
  }
  for (uint32_t type = first_type; type < first_type + n_types; ++type) {
    tm_raw_blk_row *row = &table[type];
    tm_chunk_info *info = &info_base[type];
    if (row->enabled == 0) {
      info->handle = 0;
      continue;
    }
    if (row->elem_size == 0) {
      continue;
    }
    const void *pool = zel_chunk_create(row->name, row->elem_size, row->n_elems, 1, 4, 0);
    row->handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(pool));
    if (pool == nullptr) {
      info->handle = 0;
      return static_cast<uint32_t>(TM_ENOMEM);
    }
    *info = {row->handle, static_cast<uint32_t>(row->elem_size), static_cast<uint32_t>(row->n_elems), 0, 0, 0, 0};
  }
  return 0;
}

void *tm_chunk_malloc(uint32_t type) {
  if (!has_pool(type)) {
    report_no_pool(type, "tm_chunk_malloc");
    return nullptr;
  }
  tm_chunk_info *info = &chunk_info_base[type];
  void *element = chunk_malloc(pool_of(type));
  if (tm_journal_is_open && element != nullptr) {
    element = note_taken(type, element);
  }
  if (element == nullptr) {
    ++info->failed;
    return nullptr;
  }
  ++info->mallocs;
  ++info->allocated;
  return element;
}

void tm_chunk_free(uint32_t type, void *element) {
  if (!has_pool(type)) {
    report_no_pool(type, "tm_chunk_free");
    return;
  }
  if (tm_journal_is_open) {
    tm_journal_release(type, element);
    return;
  }
  chunk_free(pool_of(type), element);
  ++chunk_info_base[type].frees;
  --chunk_info_base[type].allocated;
}

void *tm_chunk_idx2ptr(uint32_t type, tm_chunk_idx idx) { return type < TM_CHUNK_TYPES ? tm_ptr<void>(idx) : nullptr; }

tm_chunk_idx tm_chunk_ptr2idx(uint32_t type, const void *ptr) {
  return type < TM_CHUNK_TYPES ? tm_idx(ptr) : TM_CHUNK_IDX_NULL;
}

void tm_chunk_set_chunk_inf_base(tm_chunk_info *base) {
  TM_REQUIRE("tm_chunk_set_chunk_inf_base", base != nullptr, "ck_inf_base is NULL");
  chunk_info_base = base;
}

void tm_dump_chk_info_set_base(tm_chunk_info *base) { gbl_chunk_info = base; }

void tm_chunk_log_statistics(const char *label) {
  TM_LOG(stats, "%s chunk information --", label);
  if (gbl_chunk_info == nullptr) {
    return;
  }
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    const tm_chunk_info *info = &gbl_chunk_info[type];
    TM_LOG(stats, "Chunk type %d: mallocs %d, frees %d, failed %d, allocated %d, size %d", static_cast<int>(type),
           static_cast<int>(info->mallocs), static_cast<int>(info->frees), static_cast<int>(info->failed),
           static_cast<int>(info->allocated), static_cast<int>(info->n_elems));
  }
}

void tm_chunk_abandon(uint32_t type, void *element) {
  if (tm_journal_is_open || element == nullptr) {
    return;
  }
  *static_cast<void **>(element) = abandoned[type];
  abandoned[type] = element;
}

void tm_chunk_release_abandoned() {
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    while (abandoned[type] != nullptr) {
      void *element = abandoned[type];
      abandoned[type] = *static_cast<void **>(element);
      tm_chunk_free(type, element);
    }
  }
}

void tm_chunk_forget_abandoned() {
  for (void *&first : abandoned) {
    first = nullptr;
  }
}
