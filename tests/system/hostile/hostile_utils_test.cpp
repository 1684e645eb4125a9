// SPDX-License-Identifier: Apache-2.0
// Lists, heaps, trees, tries and pools: each pointer null in turn.
#include "hostile_fixture.h"

namespace {

using u8 = uint8_t;

TEST_F(hostile_test, lists_answer_null) {
  tm_util_list_node *list = nullptr;
  uint64_t word = 7;
  EXPECT_EQ(tm_util_list_insert(nullptr, 1), -22);
  EXPECT_EQ(tm_util_list_delete(nullptr, 1), -22);
  EXPECT_EQ(tm_util_list_delete(&list, 1), -2);
  tm_util_list_delete_next_node(nullptr, nullptr);
  tm_util_list_delete_next_node(&list, nullptr);
  EXPECT_EQ(tm_util_list_delhead(nullptr, &word), -22);
  EXPECT_EQ(tm_util_list_delhead(&list, nullptr), -22);
  EXPECT_EQ(word, 7u);
  EXPECT_EQ(tm_util_list_cat(nullptr, list), -22);
  EXPECT_EQ(tm_util_list_cat(&list, nullptr), 0);
  EXPECT_EQ(tm_util_list_copy(list, nullptr), -22);
  EXPECT_EQ(tm_util_list_copy(nullptr, &list), 0);
  tm_util_list_free(nullptr, 1);
  tm_util_list_free(&list, 1);
  EXPECT_EQ(tm_util_list_sort(nullptr, tm_util_cmp_int), 0);
  EXPECT_EQ(tm_util_list_sort(&list, nullptr), 0);
  EXPECT_EQ(list, nullptr);
}

TEST_F(hostile_test, heaps_answer_null) {
  tm_util_heap_elem elements[2] = {{3, 0, 0}, {4, 0, 0}};
  tm_util_heap_elem result = {9, 0, 0};
  uint32_t count = 1;
  for (const uint32_t n : {0u, 1u, 32000u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(tm_util_heap_heapify(nullptr, n), -22);
  }
  EXPECT_EQ(tm_util_heap_delmin(nullptr, &count, &result), -22);
  EXPECT_EQ(tm_util_heap_delmin(elements, nullptr, &result), -22);
  EXPECT_EQ(tm_util_heap_delmin(elements, &count, nullptr), -22);
  EXPECT_EQ(tm_util_heap_insert(nullptr, &count, &result), -22);
  EXPECT_EQ(tm_util_heap_insert(elements, nullptr, &result), -22);
  EXPECT_EQ(tm_util_heap_insert(elements, &count, nullptr), -22);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(elements[1].key, 4);
}

TEST_F(hostile_test, n_ary_trees_answer_null) {
  tm_n_ary_node node = {};
  tm_util_list_node *list = nullptr;
  tm_util_n_ary_tree_node_init(nullptr);
  EXPECT_EQ(tm_util_n_ary_tree_postorder_nodelist(nullptr, &list), 0);
  EXPECT_EQ(tm_util_n_ary_tree_postorder_nodelist(&node, nullptr), -22);
  tm_util_n_ary_tree_free(nullptr, 1, TM_V6_ANC_DATA);
  tm_n_ary_tree_freenode(nullptr, 1, TM_V6_ANC_DATA);
  EXPECT_EQ(tm_n_ary_tree_delchld(nullptr, &node), -22);
  EXPECT_EQ(tm_n_ary_tree_delchld(&node, nullptr), -22);
  EXPECT_EQ(tm_n_ary_tree_delchld(&node, &node), -22);
  tm_merge_n_ary_chldlst(nullptr, &node);
  tm_merge_n_ary_chldlst(&node, nullptr);
  EXPECT_EQ(node.child, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(list, nullptr);
}

TEST_F(hostile_test, tries_answer_null_and_impossible_lengths) {
  u8 key[16] = {};
  tm_util_trie_node node;
  tm_util_trie_node_initialize(&node, nullptr, 1);
  EXPECT_EQ(tm_util_trie_lookup(nullptr, key, 0, 0), nullptr);
  EXPECT_EQ(tm_util_trie_lookup(nullptr, nullptr, 128, 1), nullptr);
  EXPECT_EQ(tm_util_trie_find(nullptr, 1), nullptr);
  tm_util_trie_free(nullptr, 1, TM_V6_ORIG_DATA);
  EXPECT_EQ(tm_util_trie_make_printable(nullptr, key, 0, 0), 0);
  EXPECT_EQ(tm_util_trie_make_printable(&node, nullptr, 0, 0), -22);
  for (const int32_t len : {-1, 129, 255, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(tm_util_trie_make_printable(&node, key, len, 0), -22) << len;
  }
  EXPECT_EQ(tm_util_trie_gen_extending_path(nullptr, 1, 0), nullptr);
  EXPECT_EQ(tm_util_trie_gen_extending_path(&node, 0, 1), nullptr);
  EXPECT_EQ(tm_util_trie_is_ancestor(nullptr, &node, 1), -22);
  EXPECT_EQ(tm_util_trie_is_ancestor(&node, nullptr, 1), -22);
  EXPECT_EQ(tm_util_trie_is_ancestor(&node, &node, 0), -22);
  EXPECT_EQ(tm_util_trie_common_ancestor(nullptr, &node, &node, 1), nullptr);
  EXPECT_EQ(tm_util_trie_common_ancestor(&node, nullptr, &node, 1), nullptr);
  EXPECT_EQ(tm_util_trie_common_ancestor(&node, &node, nullptr, 1), nullptr);
  EXPECT_EQ(tm_util_trie_common_ancestor(&node, &node, &node, 0), nullptr);
  EXPECT_EQ(tm_util_trie_free_trailing_path(nullptr, &node, 0, 0), 0);
  EXPECT_EQ(tm_util_trie_free_trailing_path(&node, nullptr, 0, 0), 0);
  EXPECT_EQ(node.left, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(node.right, TM_CHUNK_IDX_NULL);
}

TEST_F(hostile_test, path_compressed_tries_answer_null_and_impossible_lengths) {
  u8 key[16] = {};
  u8 edge[16] = {};
  u8 edge_len = 0;
  int32_t count = 77;
  int8_t longest = 7;
  tm_util_trie_node node;
  tm_util_trie_node_initialize(&node, nullptr, 1);
  tm_util_trie_node *output = &node;
  EXPECT_EQ(tm_util_trie_pcmpr_gen(&node, nullptr), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_gen(nullptr, &output), 0);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(&node, nullptr, edge, &edge_len, 0), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(&node, &node, nullptr, &edge_len, 0), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(&node, &node, edge, nullptr, 0), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(nullptr, key, 8, 0, 1, edge, &count), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(&node, nullptr, 8, 0, 1, edge, &count), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(&node, key, 8, 0, 1, nullptr, &count), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(&node, key, 8, 0, 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_len(nullptr, key, 0, key, 8, &longest), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_len(&node, nullptr, 0, key, 8, &longest), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_len(&node, key, 0, nullptr, 8, &longest), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(nullptr, key, 0, key, 8, edge, &count), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(&node, nullptr, 0, key, 8, edge, &count), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(&node, key, 0, nullptr, 8, edge, &count), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(&node, key, 0, key, 8, nullptr, &count), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(&node, key, 0, key, 8, edge, nullptr), -22);
  for (const int32_t len : {-1, 129, 255, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(tm_util_trie_pcmpr_len(&node, key, 0, key, len, &longest), -22) << len;
    EXPECT_EQ(tm_util_trie_pcmpr_getpath(&node, key, 0, key, len, edge, &count), -22) << len;
    EXPECT_EQ(tm_util_trie_pcmpr_len(&node, key, len, key, 128, &longest), -22) << len;
  }
  EXPECT_EQ(longest, 7);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(nullptr, &node, edge, 1), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(&node, &node, nullptr, 1), -22);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(&node, nullptr, edge, 0), 0);
}

using hostile_deathtest = hostile_test;

TEST_F(hostile_deathtest, what_cannot_be_answered_ends_the_process_and_says_where) {
  const u8 key[16] = {};
  tm_util_trie_node node;
  tm_util_trie_node_initialize(&node, nullptr, 1);
  EXPECT_FATAL(tm_chunk_set_chunk_inf_base(nullptr), "\ntm_chunk_set_chunk_inf_base: ck_inf_base is NULL");
  EXPECT_FATAL(tm_util_trie_tracepath(nullptr, key, 0, 1, 0, 0), "\ntm_util_trie_tracepath: root is NULL");
  EXPECT_FATAL(tm_util_trie_tracepath(&node, nullptr, 0, 1, 0, 0), "\ntm_util_trie_tracepath: path is NULL");
  EXPECT_FATAL(tm_util_calculate_longest_pathlen(nullptr), "\ntm_util_calculate_longest_pathlen: root is NULL");
}

TEST_F(hostile_test, pools_answer_unknown_types) {
  int element = 0;
  for (const uint32_t type : {8u, 9u, 255u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(tm_chunk_malloc(type), nullptr);
    tm_chunk_free(type, &element);
    EXPECT_EQ(tm_chunk_idx2ptr(type, 8), nullptr);
    EXPECT_EQ(tm_chunk_ptr2idx(type, &element), TM_CHUNK_IDX_NULL);
  }
  for (const uint32_t type : {0u, 6u, 7u}) {
    EXPECT_EQ(tm_chunk_malloc(type), nullptr);
    tm_chunk_free(type, &element);
  }
  EXPECT_EQ(tm_chunk_idx2ptr(TM_V6_TRIE_NODE, TM_CHUNK_IDX_NULL), nullptr);
  EXPECT_EQ(tm_chunk_ptr2idx(TM_V6_TRIE_NODE, nullptr), TM_CHUNK_IDX_NULL);
  EXPECT_EQ(tm_init_raw_chunks(nullptr, nullptr, 0, 0), 0u);
  tm_chunk_info *info = gbl_chunk_info;
  tm_dump_chk_info_set_base(nullptr);
  tcamv6_debug_flags.stats = 1;
  EXPECT_EQ(instance_model::request({}).status, 0u);
  tcamv6_debug_flags = {};
  tm_dump_chk_info_set_base(info);
}

TEST_F(hostile_test, debug_switches_take_every_value) {
  for (const uint32_t level : {0u, 2u, 3u, 6u, 7u, 8u, 0x80000000u, 0xFFFFFFFFu}) {
    zel_v6comp_dbg_set_by_level(level);
    EXPECT_EQ(tcamv6_debug_flags.error, level >= 3 ? 1u : 0u);
    EXPECT_EQ(tcamv6_debug_flags.trace, level >= 7 ? 1u : 0u);
  }
  zel_v6comp_debug_all(-1);
  EXPECT_EQ(tcamv6_debug_flags.trace, 1u);
  zel_v6comp_debug_all(0);
  EXPECT_EQ(tcamv6_debug_flags.trace, 0u);
  tcamv6_write_to_file(-1, "%s", std::string(1000, 'x').c_str());
  tcamv6_debug_flags = {};
}

TEST_F(hostile_test, sorted_insertion_takes_counts_of_nothing) {
  int32_t array[2] = {7, 7};
  const int32_t element = 5;
  for (const int32_t count : {0, -1, INT32_MIN}) {
    array[0] = 7;
    EXPECT_EQ(tm_util_array_insert(&element, array, count, sizeof element, tm_util_cmp_int), array);
    EXPECT_EQ(array[0], 5);
  }
  EXPECT_EQ(array[1], 7);
}

}  // namespace
