// SPDX-License-Identifier: Apache-2.0
#include "tm_chunk.h"

#include <cstdio>

#include "utils_fixture.h"

namespace {

std::vector<std::string> line(const std::string &text) { return {text, "\n"}; }

class tm_chunk_test : public utils_test {};

const char *const pool_names[] = {"TM_V6_ANC_TREE", "TM_V6_ANC_DATA", "TM_V6_ORIG_DATA", "TM_V6_PCMPR_DATA",
                                  "TM_V6_TRIE_NODE"};

}  // namespace

TEST_F(tm_chunk_test, table_describes_eight_types) {
  const struct {
    const char *name;
    uint64_t n_elems, elem_size;
    bool enabled;
  } rows[] = {
      {"TM_RAW_BLK_GBL_STATE", 8193088, 0, true}, {"TM_V6_ANC_TREE", 32768, 24, true},
      {"TM_V6_ANC_DATA", 32768, 48, true},        {"TM_V6_ORIG_DATA", 32768, 8, true},
      {"TM_V6_PCMPR_DATA", 32768, 40, true},      {"TM_V6_TRIE_NODE", 32768, 56, true},
      {"TM_V6_TRIE_NODE2", 65536, 56, false},     {"TM_V6_TRIE_NODE3", 65536, 56, false},
  };
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    EXPECT_EQ(raw_blk[type].type, type);
    EXPECT_STREQ(raw_blk[type].name, rows[type].name);
    EXPECT_EQ(raw_blk[type].n_elems, rows[type].n_elems);
    EXPECT_EQ(raw_blk[type].elem_size, rows[type].elem_size);
    EXPECT_EQ(raw_blk[type].enabled != 0, rows[type].enabled);
  }
}

TEST_F(tm_chunk_test, init_creates_five_pools_in_ascending_order_of_type) {
  const std::vector<test_host::pool_view> pools = test_host::pools();
  ASSERT_EQ(pools.size(), 5u);
  for (uint32_t i = 0; i < 5; ++i) {
    const tm_raw_blk_row &row = raw_blk[i + 1];
    EXPECT_EQ(pools[i].name, pool_names[i]);
    EXPECT_EQ(pools[i].elem_size, row.elem_size);
    EXPECT_EQ(pools[i].n_elems, row.n_elems);
    EXPECT_EQ(pools[i].fixed[0], 1);
    EXPECT_EQ(pools[i].fixed[1], 4);
    EXPECT_EQ(pools[i].fixed[2], 0);
    EXPECT_EQ(row.handle, reinterpret_cast<uintptr_t>(pools[i].handle));
    EXPECT_EQ(info[i + 1].handle, row.handle);
    EXPECT_EQ(info[i + 1].elem_size, row.elem_size);
    EXPECT_EQ(info[i + 1].n_elems, row.n_elems);
  }
}

TEST_F(tm_chunk_test, init_clears_the_counters_of_pools_and_the_handle_only_of_disabled_rows) {
  tm_chunk_info dirty[TM_CHUNK_TYPES];
  for (tm_chunk_info &record : dirty) {
    record = {1, 2, 3, 4, 5, 6, 7};
  }
  ASSERT_EQ(tm_init_raw_chunks(dirty, raw_blk, 0, TM_CHUNK_TYPES), 0u);
  const tm_chunk_info &no_pool = dirty[TM_RAW_BLK_GBL_STATE];
  EXPECT_EQ(no_pool.handle, 1u) << "a row of element size 0 is passed over";
  EXPECT_EQ(no_pool.failed, 7u);
  for (const uint32_t type : {6u, 7u}) {
    EXPECT_EQ(dirty[type].handle, 0u);
    EXPECT_EQ(dirty[type].elem_size, 2u);
    EXPECT_EQ(dirty[type].n_elems, 3u);
    EXPECT_EQ(dirty[type].failed, 7u);
  }
  for (uint32_t type = 1; type <= 5; ++type) {
    EXPECT_EQ(dirty[type].allocated + dirty[type].mallocs + dirty[type].frees + dirty[type].failed, 0u);
  }
}

TEST_F(tm_chunk_test, init_of_a_range_leaves_the_other_rows_alone) {
  tm_raw_blk_row table[TM_CHUNK_TYPES];
  std::memcpy(table, raw_blk, sizeof table);
  for (tm_raw_blk_row &row : table) {
    row.handle = 0;
  }
  tm_chunk_info records[TM_CHUNK_TYPES] = {};
  const size_t before = test_host::pools().size();
  EXPECT_EQ(tm_init_raw_chunks(records, table, 2, 2), 0u);
  EXPECT_EQ(test_host::pools().size(), before + 2);
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    const bool made = type == 2 || type == 3;
    EXPECT_EQ(table[type].handle != 0, made) << type;
    EXPECT_EQ(records[type].handle != 0, made) << type;
  }
  EXPECT_EQ(tm_init_raw_chunks(records, table, 0, 0), 0u);
  EXPECT_EQ(test_host::pools().size(), before + 2);
}

TEST_F(tm_chunk_test, init_obeys_a_table_that_the_host_changed) {
  tm_raw_blk_row table[TM_CHUNK_TYPES];
  std::memcpy(table, raw_blk, sizeof table);
  table[TM_V6_TRIE_NODE].n_elems = 3;
  table[TM_V6_ANC_TREE].enabled = 0;
  table[TM_V6_TRIE_NODE2].enabled = -1;
  tm_chunk_info records[TM_CHUNK_TYPES] = {};
  ASSERT_EQ(tm_init_raw_chunks(records, table, 0, TM_CHUNK_TYPES), 0u);
  tm_chunk_set_chunk_inf_base(records);
  EXPECT_EQ(tm_chunk_malloc(TM_V6_ANC_TREE), nullptr);
  EXPECT_NE(tm_chunk_malloc(TM_V6_TRIE_NODE2), nullptr) << "anything but 0 is enabled";
  for (int i = 0; i < 3; ++i) {
    EXPECT_NE(tm_chunk_malloc(TM_V6_TRIE_NODE), nullptr);
  }
  EXPECT_EQ(tm_chunk_malloc(TM_V6_TRIE_NODE), nullptr);
}

TEST_F(tm_chunk_test, init_stops_at_the_pool_that_cannot_be_made_and_keeps_the_earlier_ones) {
  for (uint32_t k = 1; k <= 5; ++k) {
    tm_raw_blk_row table[TM_CHUNK_TYPES];
    std::memcpy(table, raw_blk, sizeof table);
    tm_chunk_info records[TM_CHUNK_TYPES] = {};
    for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
      table[type].handle = 77;
      records[type].handle = 88;
    }
    test_host::fail_pool_creation(k);
    EXPECT_EQ(tm_init_raw_chunks(records, table, 0, TM_CHUNK_TYPES), static_cast<uint32_t>(TM_ENOMEM));
    for (uint32_t type = 1; type <= 5; ++type) {
      if (type < k) {
        EXPECT_EQ(records[type].handle, table[type].handle);
        EXPECT_NE(table[type].handle, 77u);
      } else if (type == k) {
        EXPECT_EQ(records[type].handle, 0u);
        EXPECT_EQ(table[type].handle, 0u);
      } else {
        EXPECT_EQ(table[type].handle, 77u);
        EXPECT_EQ(records[type].handle, 88u);
      }
    }
  }
}

TEST_F(tm_chunk_test, malloc_of_types_8_and_6_gives_null_for_different_reasons) {
  EXPECT_EQ(tm_chunk_malloc(8), nullptr);
  EXPECT_EQ(test_host::log_calls(), line("tm_chunk_malloc: Unknown chunk type (8)"));
  test_host::clear_log();
  EXPECT_EQ(tm_chunk_malloc(6), nullptr);
  EXPECT_EQ(test_host::log_calls(), line("tm_chunk_malloc: uninitialized chunk:(6)"));
  test_host::clear_log();
  EXPECT_EQ(tm_chunk_malloc(TM_RAW_BLK_GBL_STATE), nullptr);
  EXPECT_EQ(test_host::log_calls(), line("tm_chunk_malloc: uninitialized chunk:(0)"));
  test_host::clear_log();
  EXPECT_EQ(tm_chunk_malloc(UINT32_MAX), nullptr);
  EXPECT_EQ(test_host::log_calls(), line("tm_chunk_malloc: Unknown chunk type (-1)"));
  for (const tm_chunk_info &record : info) {
    EXPECT_EQ(record.failed + record.mallocs, 0u);
  }
}

TEST_F(tm_chunk_test, free_of_types_8_and_6_does_nothing_but_report) {
  void *element = tm_chunk_malloc(TM_V6_TRIE_NODE);
  tm_chunk_free(8, element);
  EXPECT_EQ(test_host::log_calls(), line("tm_chunk_free: Unknown chunk type (8)"));
  test_host::clear_log();
  tm_chunk_free(7, element);
  EXPECT_EQ(test_host::log_calls(), line("tm_chunk_free: uninitialized chunk:(7)"));
  EXPECT_EQ(test_host::pool_used(), 1u);
  EXPECT_EQ(info[7].frees, 0u);
  EXPECT_EQ(info[TM_V6_TRIE_NODE].frees, 0u);
}

TEST_F(tm_chunk_test, unknown_types_are_silent_without_the_error_word) {
  tcamv6_debug_flags = {1, 1, 0, 1, 1, 1};
  EXPECT_EQ(tm_chunk_malloc(8), nullptr);
  EXPECT_EQ(tm_chunk_malloc(6), nullptr);
  tm_chunk_free(8, nullptr);
  tm_chunk_free(6, nullptr);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tm_chunk_test, allocation_after_32768_without_release_is_refused_and_counted) {
  for (uint32_t i = 0; i < 32768; ++i) {
    ASSERT_NE(tm_chunk_malloc(TM_V6_ANC_TREE), nullptr) << i;
  }
  EXPECT_EQ(tm_chunk_malloc(TM_V6_ANC_TREE), nullptr);
  EXPECT_EQ(info[TM_V6_ANC_TREE].failed, 1u);
  EXPECT_EQ(info[TM_V6_ANC_TREE].mallocs, 32768u);
  EXPECT_EQ(info[TM_V6_ANC_TREE].allocated, 32768u);
  EXPECT_EQ(info[TM_V6_ANC_DATA].failed, 0u);
  EXPECT_TRUE(test_host::log_calls().empty()) << "a refusal is the caller's to report";
}

TEST_F(tm_chunk_test, malloc_and_free_of_one_type_move_its_counters_only) {
  for (uint32_t type = 1; type <= 5; ++type) {
    void *kept = tm_chunk_malloc(type);
    ASSERT_NE(kept, nullptr);
    const tm_chunk_info before = info[type];
    void *element = tm_chunk_malloc(type);
    EXPECT_EQ(info[type].allocated, before.allocated + 1);
    tm_chunk_free(type, element);
    EXPECT_EQ(info[type].allocated, before.allocated);
    EXPECT_EQ(info[type].mallocs, before.mallocs + 1);
    EXPECT_EQ(info[type].frees, before.frees + 1);
    EXPECT_EQ(info[type].failed, 0u);
  }
  EXPECT_EQ(test_host::pool_used(), 5u);
}

TEST_F(tm_chunk_test, malloc_does_not_clear_the_element) {
  const auto *element = static_cast<unsigned char *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
  EXPECT_EQ(*element, test_host::fresh_byte);
}

TEST_F(tm_chunk_test, null_index_and_null_pointer_map_to_each_other_for_every_type) {
  for (uint32_t type = 0; type < 12; ++type) {
    EXPECT_EQ(tm_chunk_idx2ptr(type, TM_CHUNK_IDX_NULL), nullptr);
    EXPECT_EQ(tm_chunk_ptr2idx(type, nullptr), TM_CHUNK_IDX_NULL);
  }
}

TEST_F(tm_chunk_test, pointer_to_index_and_back_for_every_type_below_8) {
  int element = 0;
  for (uint32_t type = 0; type < 8; ++type) {
    const tm_chunk_idx idx = tm_chunk_ptr2idx(type, &element);
    EXPECT_EQ(idx, reinterpret_cast<uintptr_t>(&element));
    EXPECT_EQ(tm_chunk_idx2ptr(type, idx), &element);
  }
  for (const uint32_t type : {8u, 9u, UINT32_MAX}) {
    EXPECT_EQ(tm_chunk_ptr2idx(type, &element), TM_CHUNK_IDX_NULL);
    EXPECT_EQ(tm_chunk_idx2ptr(type, reinterpret_cast<uintptr_t>(&element)), nullptr);
  }
}

TEST_F(tm_chunk_test, null_base_is_fatal_to_the_allocator_but_not_to_the_dump) {
  EXPECT_FATAL(tm_chunk_set_chunk_inf_base(nullptr), "\ntm_chunk_set_chunk_inf_base: ck_inf_base is NULL");
  tm_dump_chk_info_set_base(nullptr);
  EXPECT_EQ(gbl_chunk_info, nullptr);
}

TEST_F(tm_chunk_test, bases_of_allocator_and_dump_are_independent) {
  tm_chunk_info other[TM_CHUNK_TYPES] = {};
  tm_dump_chk_info_set_base(other);
  EXPECT_EQ(gbl_chunk_info, other);
  EXPECT_EQ(tm_chunk_info_base(), info);
  EXPECT_NE(tm_chunk_malloc(TM_V6_TRIE_NODE), nullptr);
  EXPECT_EQ(info[TM_V6_TRIE_NODE].mallocs, 1u);
  EXPECT_EQ(other[TM_V6_TRIE_NODE].mallocs, 0u);
}

TEST_F(tm_chunk_test, dump_prints_all_eight_types_and_zeros_for_those_without_a_pool) {
  tm_chunk_free(TM_V6_TRIE_NODE, tm_chunk_malloc(TM_V6_TRIE_NODE));
  ASSERT_NE(tm_chunk_malloc(TM_V6_TRIE_NODE), nullptr);
  info[TM_V6_TRIE_NODE].failed = 4;
  tcamv6_debug_flags = {};
  tcamv6_debug_flags.stats = 1;
  tm_chunk_log_statistics("Starting point");
  std::vector<std::string> expected = line("Starting point chunk information --");
  for (int type = 0; type < 8; ++type) {
    char text[160];
    const bool has_pool = type >= 1 && type <= 5;
    const char *counters =
        type == 5 ? "mallocs 2, frees 1, failed 4, allocated 1" : "mallocs 0, frees 0, failed 0, allocated 0";
    std::snprintf(text, sizeof text, "Chunk type %d: %s, size %d", type, counters, has_pool ? 32768 : 0);
    expected.emplace_back(text);
    expected.emplace_back("\n");
  }
  EXPECT_EQ(test_host::log_calls(), expected);
}

TEST_F(tm_chunk_test, dump_is_gated_by_the_stats_word_alone) {
  tcamv6_debug_flags = {1, 1, 1, 0, 1, 1};
  tm_chunk_log_statistics("End point");
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tm_chunk_test, abandoned_elements_stay_allocated_until_they_are_given_back) {
  for (uint32_t type = 1; type <= 5; ++type) {
    for (int i = 0; i < 3; ++i) {
      tm_chunk_abandon(type, tm_chunk_malloc(type));
    }
  }
  EXPECT_EQ(test_host::pool_used(), 15u);
  for (uint32_t type = 1; type <= 5; ++type) {
    EXPECT_EQ(info[type].allocated, 3u);
    EXPECT_EQ(info[type].frees, 0u);
  }
  tm_chunk_release_abandoned();
  EXPECT_EQ(test_host::pool_used(), 0u);
  for (uint32_t type = 1; type <= 5; ++type) {
    EXPECT_EQ(info[type].allocated, 0u);
    EXPECT_EQ(info[type].frees, 3u);
  }
  tm_chunk_release_abandoned();
  EXPECT_EQ(info[TM_V6_TRIE_NODE].frees, 3u) << "given back once";
}

TEST_F(tm_chunk_test, abandoning_needs_no_memory) {
  void *element = tm_chunk_malloc(TM_V6_ORIG_DATA);
  test_host::fail_all_heap_allocations(true);
  test_host::fail_pool_element(1);
  tm_chunk_abandon(TM_V6_ORIG_DATA, element);
  tm_chunk_release_abandoned();
  EXPECT_EQ(test_host::pool_used(), 0u);
  EXPECT_EQ(test_host::heap().refused, 0u);
}

TEST_F(tm_chunk_test, forgotten_elements_are_not_given_back) {
  tm_chunk_abandon(TM_V6_TRIE_NODE, tm_chunk_malloc(TM_V6_TRIE_NODE));
  tm_chunk_forget_abandoned();
  tm_chunk_release_abandoned();
  EXPECT_EQ(test_host::pool_used(), 1u);
  EXPECT_EQ(info[TM_V6_TRIE_NODE].frees, 0u);
}
