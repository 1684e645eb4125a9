// SPDX-License-Identifier: Apache-2.0
// Every exported function, asked with what it must refuse: records that are none, counts and indexes off their range,
// null. A row a function; a function that is exported and has no row fails the test.
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>

#include "hostile_fixture.h"

namespace {

// How a refusal shows in the log: under the info word, under the error word after "TM_PROCESSING", or not at all.
enum class says { bad_arguments, bad_arguments_of_a_request, nothing };

struct row {
  says told;
  int64_t answer;
  std::vector<std::function<int64_t()>> calls;
};

using table = std::map<std::string, row>;

int64_t of_pointer(const void *pointer) { return static_cast<int64_t>(reinterpret_cast<intptr_t>(pointer)); }

// What takes no argument that could be wrong, and platform calls, which only the library makes.
const std::set<std::string> nothing_to_refuse = {
    "zel_v6comp_init_global_state",  // counts above the grid are 22, others make no instance: zel_v6comp_global_test
    "zel_v6comp_free_compr_result",
    "zel_v6comp_set_safe_updates",
    "zel_v6comp_safe_updates",
    "zel_v6comp_set_room",
    "zel_v6comp_room",
    "zel_v6comp_set_move_limit",
    "zel_v6comp_status_text",
    "zel_v6comp_version",
    "zel_v6comp_dbg_init",
    "zel_v6comp_dbg_trace_set",
    "zel_v6comp_dbg_info_set",
    "zel_v6comp_dbg_error_set",
    "zel_v6comp_dbg_warning_set",
    "zel_v6comp_dbg_result_set",
    "zel_v6comp_dbg_set_by_level",
    "zel_v6comp_debug_all",
    "tm_chunk_set_chunk_inf_base",  // null ends the process: tm_chunk_test
    "tm_dump_chk_info_set_base",
    "tm_util_bit_cnt_1",
    "tm_util_bit_find_first_set",
    "tm_util_trie_tracepath",            // null ends the process: tm_trie_paths_test
    "tm_util_calculate_longest_pathlen"  // likewise: tm_pcmpr_trie_test
};

const std::set<std::string> data = {"tcamv6_debug_flags",
                                    "tcamv6_debug_processing_flag",
                                    "tcamv6_debug_trace_flag",
                                    "tcamv6_debug_errors_flag",
                                    "tcamv6_debug_result_flag",
                                    "tcamv6_debug_profiling_flag",
                                    "tcamv6_debug_incremental_flag",
                                    "tags_so_far",
                                    "raw_blk",
                                    "gbl_chunk_info"};

class hostile_exports_test : public hostile_test {
 protected:
  void SetUp() override {
    hostile_test::SetUp();
    for (tcamv6_prefix &record : long_records) {
      record = record_of("2001:db8::/32");
    }
    long_records[1].length = 129;
    tm_util_trie_node_initialize(&node, nullptr, 1);
    list.reset(new tm_incr_update_list());
  }

  table requests() {
    return {
        {"zel_v6comp_prefix_compress", {says::nothing, 12, {[] { return zel_v6comp_prefix_compress(nullptr); }}}},
        {"zel_v6comp_prefix_compress_prefixes",
         {says::bad_arguments_of_a_request,
          22,
          {[&] { return zel_v6comp_prefix_compress_prefixes(&off_grid, &prefs, &addrs, nullptr); },
           [&] { return zel_v6comp_prefix_compress_prefixes(&empty, nullptr, &addrs, nullptr); },
           [&] { return zel_v6comp_prefix_compress_prefixes(&empty, &prefs, nullptr, nullptr); }}}},
        {"zel_v6comp_sort_and_dump_prefix",
         {says::bad_arguments_of_a_request,
          22,
          {[&] { return zel_v6comp_sort_and_dump_prefix(0, 0, nullptr, &entries); },
           [&] { return zel_v6comp_sort_and_dump_prefix(0, 0, &n, nullptr); }}}},
        {"zel_v6comp_instance",
         {says::nothing,
          0,
          {[] { return of_pointer(zel_v6comp_instance(-1, 0)); }, [] { return of_pointer(zel_v6comp_instance(4, 0)); },
           [] { return of_pointer(zel_v6comp_instance(0, 2)); }}}},
        {"zel_v6comp_reset_instance",
         {says::bad_arguments,
          22,
          {[] { return zel_v6comp_reset_instance(4, 0); }, [] { return zel_v6comp_reset_instance(0, -1); }}}},
        {"zel_v6comp_build_index",
         {says::nothing,
          22,
          {[] { return zel_v6comp_build_index(4, 0); }, [] { return zel_v6comp_build_index(0, -1); }}}},
        {"zel_v6comp_moves",
         {says::nothing,
          22,
          {[&] { return zel_v6comp_moves(4, 0, &moves, &n); }, [&] { return zel_v6comp_moves(0, -1, &moves, &n); },
           [&] { return zel_v6comp_moves(0, 0, nullptr, &n); },
           [&] { return zel_v6comp_moves(0, 0, &moves, nullptr); }}}},
        {"zel_v6comp_recompress",
         {says::bad_arguments_of_a_request,
          22,
          {[] { return zel_v6comp_recompress(4, 0); }, [] { return zel_v6comp_recompress(0, -1); }}}},
        {"tcamv6_write_to_file", {says::bad_arguments, 0, {[&] {
                                    const char *none = nullptr;
                                    tcamv6_write_to_file(-1, none, "");
                                    return 0;
                                  }}}},
    };
  }

  table engine() {
    return {
        {"tcamv6_init",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_init(nullptr, &conf, &word); }, [&] { return tcamv6_init(state, nullptr, &word); },
           [&] { return tcamv6_init(state, &conf, nullptr); },
           [&] {
             const tcamv6_conf long_keys = {129, 64, state};
             return tcamv6_init(state, &long_keys, &word);
           },
           [&] {
             const tcamv6_conf long_codes = {128, 129, state};
             return tcamv6_init(state, &long_codes, &word);
           }}}},
        {"tcamv6_init_opt_done", {says::bad_arguments, -22, {[] { return tcamv6_init_opt_done(nullptr); }}}},
        {"tcamv6_reset",
         {says::bad_arguments,
          -22,
          {[] { return tcamv6_reset(nullptr, 0); },
           [] {
             tcamv6_state *none = nullptr;
             return tcamv6_reset(&none, 0);
           }}}},
        {"tcamv6_build_prefix_list",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_build_prefix_list(nullptr, &out_list, 1, &n, 1); },
           [&] { return tcamv6_build_prefix_list(long_records, nullptr, 1, &n, 1); },
           [&] { return tcamv6_build_prefix_list(long_records, &out_list, 1, nullptr, 1); },
           [&] { return tcamv6_build_prefix_list(long_records, &out_list, 2, &n, 1); },
           [&] { return tcamv6_build_prefix_list(long_records, &out_list, 2, &n, 0); }}}},
        {"tcamv6_prepare_return_cmpr_prefs",
         {says::nothing,
          0,
          {[] {
             tcamv6_prepare_return_cmpr_prefs(nullptr, 7);
             return 0;
           },
           [&] {
             tcamv6_prepare_return_cmpr_prefs(&pref, 0);
             return 0;
           }}}},
        {"tcamv6_optimized_compress",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_optimized_compress(nullptr, 1, long_records, &pref, &addr, &n); },
           [&] { return tcamv6_optimized_compress(state, 0, long_records, &pref, &addr, &n); },
           [&] { return tcamv6_optimized_compress(state, 0xFFFFFFFF, long_records, &pref, &addr, &n); },
           [&] { return tcamv6_optimized_compress(state, 2, long_records, &pref, &addr, &n); },
           [&] { return tcamv6_optimized_compress(state, 1, nullptr, &pref, &addr, &n); },
           [&] { return tcamv6_optimized_compress(state, 1, long_records, nullptr, &addr, &n); },
           [&] { return tcamv6_optimized_compress(state, 1, long_records, &pref, nullptr, &n); },
           [&] { return tcamv6_optimized_compress(state, 1, long_records, &pref, &addr, nullptr); }}}},
        {"tcamv6_incr_compress",
         {says::bad_arguments,
          -22,
          {[&] { return batch(nullptr, 1, long_records, &pref, &addr, &n); },
           [&] { return batch(state, 2, long_records, &pref, &addr, &n); },
           [&] { return batch(state, 0x80000000, long_records, &pref, &addr, &n); },
           [&] { return batch(state, 1, nullptr, &pref, &addr, &n); },
           [&] { return batch(state, 1, long_records, nullptr, &addr, &n); },
           [&] { return batch(state, 1, long_records, &pref, nullptr, &n); },
           [&] { return batch(state, 1, long_records, &pref, &addr, nullptr); }}}},
        {"tcamv6_extra_ops_get",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_extra_ops_get(nullptr, &prefs, &prefs, &n); },
           [&] { return tcamv6_extra_ops_get(state, nullptr, &prefs, &n); },
           [&] { return tcamv6_extra_ops_get(state, &prefs, nullptr, &n); },
           [&] { return tcamv6_extra_ops_get(state, &prefs, &prefs, nullptr); }}}},
        {"tcamv6_extra_ops_free", {says::bad_arguments, -22, {[] { return tcamv6_extra_ops_free(nullptr); }}}},
    };
  }

  table queries() {
    return {
        {"tcamv6_lookup_prefix",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_lookup_prefix(nullptr, long_records, &pref, &addr); },
           [&] { return tcamv6_lookup_prefix(state, nullptr, &pref, &addr); },
           [&] { return tcamv6_lookup_prefix(state, &long_records[1], &pref, &addr); },
           [&] { return tcamv6_lookup_prefix(state, long_records, nullptr, &addr); },
           [&] { return tcamv6_lookup_prefix(state, long_records, &pref, nullptr); }}}},
        {"tcamv6_lookup_address",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_lookup_address(nullptr, key, long_records, &pref, &addr); },
           [&] { return tcamv6_lookup_address(state, nullptr, long_records, &pref, &addr); },
           [&] { return tcamv6_lookup_address(state, key, nullptr, &pref, &addr); },
           [&] { return tcamv6_lookup_address(state, key, long_records, nullptr, &addr); },
           [&] { return tcamv6_lookup_address(state, key, long_records, &pref, nullptr); }}}},
        {"tcamv6_prefix_handle_attach",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_prefix_handle_attach(nullptr, long_records, 1); },
           [&] { return tcamv6_prefix_handle_attach(state, nullptr, 1); },
           [&] { return tcamv6_prefix_handle_attach(state, &long_records[1], 1); }}}},
        {"tcamv6_prefix_handle_query",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_prefix_handle_query(nullptr, long_records, &n); },
           [&] { return tcamv6_prefix_handle_query(state, nullptr, &n); },
           [&] { return tcamv6_prefix_handle_query(state, &long_records[1], &n); },
           [&] { return tcamv6_prefix_handle_query(state, long_records, nullptr); }}}},
        {"tcamv6_dump_cmpr_tbl",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_dump_cmpr_tbl(nullptr, 1, long_records, &pref, &addr, &n); },
           [&] { return tcamv6_dump_cmpr_tbl(state, 1, nullptr, &pref, &addr, &n); },
           [&] { return tcamv6_dump_cmpr_tbl(state, 1, long_records, nullptr, &addr, &n); },
           [&] { return tcamv6_dump_cmpr_tbl(state, 1, long_records, &pref, nullptr, &n); },
           [&] { return tcamv6_dump_cmpr_tbl(state, 1, long_records, &pref, &addr, nullptr); }}}},
        {"tcamv6_dump_n_prefixes",
         {says::bad_arguments,
          -22,
          {[&] { return tcamv6_dump_n_prefixes(nullptr, &n); },
           [&] { return tcamv6_dump_n_prefixes(state, nullptr); }}}},
    };
  }

  table plans() {
    const auto slots = [&] { return list.get(); };
    return {
        {"tm_build_incremental_update_prefixes_list",
         {says::nothing,
          -22,
          {[=, this] {
             return tm_build_incremental_update_prefixes_list(nullptr, nullptr, nullptr, nullptr, 0, 0, &n, 0);
           },
           [=, this] {
             return tm_build_incremental_update_prefixes_list(slots(), long_records, nullptr, &addr, 1, 0, nullptr, 0);
           },
           [=, this] {
             return tm_build_incremental_update_prefixes_list(slots(), nullptr, nullptr, &addr, 1, 0, &n, 0);
           },
           [=, this] {
             return tm_build_incremental_update_prefixes_list(slots(), long_records, nullptr, nullptr, 1, 0, &n, 0);
           }}}},
        {"tm_prepare_incremental_update_prefixes_list_initial",
         {says::nothing, 0, {[=, this] {
            tm_prepare_incremental_update_prefixes_list_initial(nullptr, 0, &n);
            tm_prepare_incremental_update_prefixes_list_initial(slots(), 0, nullptr);
            return 0;
          }}}},
        {"tm_build_incremental_update_hw_requests_find_entries",
         {says::nothing,
          -22,
          {[=, this] { return tm_build_incremental_update_hw_requests_find_entries(nullptr, 0, &n, &n, &n, 1, 1); },
           [=, this] {
             return tm_build_incremental_update_hw_requests_find_entries(slots(), 0, nullptr, &n, &n, 1, 1);
           },
           [=, this] {
             return tm_build_incremental_update_hw_requests_find_entries(slots(), 0, &n, nullptr, &n, 1, 1);
           },
           [=, this] {
             return tm_build_incremental_update_hw_requests_find_entries(slots(), 0, &n, &n, nullptr, 1, 1);
           }}}},
        {"tm_clear_pending_state",
         {says::nothing,
          -22,
          {[] { return tm_clear_pending_state(nullptr, 0, 0, 3); },
           [=] { return tm_clear_pending_state(slots(), 0, 1, 3); },
           [=] { return tm_clear_pending_state(slots(), 0xFFFFFFFF, 1, 3); }}}},
        {"tm_prepare_incremental_update_prefixes_list_for_insert_and_update",
         {says::nothing, 0, {[] {
            return tm_prepare_incremental_update_prefixes_list_for_insert_and_update(nullptr, 1, 1, 0);
          }}}},
        {"tm_show_incremental_update_prefixes",
         {says::nothing, -22, {[] { return tm_show_incremental_update_prefixes(nullptr); }}}},
    };
  }

  table comparators() {
    table rows;
    using comparator = int (*)(const void *, const void *);
    const std::map<std::string, comparator> all = {
        {"tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f",
         tm_prepare_incremental_update_prefixes_list_cmp_prefix_length_f},
        {"tm_prepare_incremental_update_prefixes_list_cmp_state_f",
         tm_prepare_incremental_update_prefixes_list_cmp_state_f},
        {"tm_prepare_incremental_update_prefixes_list_cmp_prefix_f",
         tm_prepare_incremental_update_prefixes_list_cmp_prefix_f},
        {"tm_util_cmp_int", tm_util_cmp_int},
        {"tm_prefix_length_cmp", tm_prefix_length_cmp},
        {"tm_cmpr_pref_tag_cmp", tm_cmpr_pref_tag_cmp},
        {"tm_cmp_v6_pref", tm_cmp_v6_pref},
    };
    for (const auto &[name, compare] : all) {
      const comparator cmp = compare;
      rows[name] = {
          says::nothing,
          -22,
          {[=, this] { return cmp(nullptr, long_records); }, [=, this] { return cmp(long_records, nullptr); }}};
    }
    return rows;
  }

  table pools() {
    return {
        {"tm_init_raw_chunks",
         {says::bad_arguments,
          static_cast<uint32_t>(-22),
          {[&] { return tm_init_raw_chunks(nullptr, raw_blk, 0, 1); },
           [&] { return tm_init_raw_chunks(info, nullptr, 0, 1); },
           [&] { return tm_init_raw_chunks(info, raw_blk, 0, 9); },
           [&] { return tm_init_raw_chunks(info, raw_blk, 8, 1); },
           [&] { return tm_init_raw_chunks(info, raw_blk, 0xFFFFFFFF, 2); },
           [&] { return tm_init_raw_chunks(info, raw_blk, 2, 0xFFFFFFFF); }}}},
        {"tm_chunk_malloc",
         {says::nothing,
          0,
          {[] { return of_pointer(tm_chunk_malloc(8)); }, [] { return of_pointer(tm_chunk_malloc(0xFFFFFFFF)); }}}},
        {"tm_chunk_free", {says::nothing, 0, {[&] {
                             tm_chunk_free(8, &node);
                             tm_chunk_free(0xFFFFFFFF, &node);
                             return 0;
                           }}}},
        {"tm_chunk_idx2ptr",
         {says::nothing,
          0,
          {[] { return of_pointer(tm_chunk_idx2ptr(TM_V6_TRIE_NODE, 0)); },
           [] { return of_pointer(tm_chunk_idx2ptr(8, 8)); }}}},
        {"tm_chunk_ptr2idx",
         {says::nothing,
          0,
          {[] { return static_cast<int64_t>(tm_chunk_ptr2idx(TM_V6_TRIE_NODE, nullptr)); },
           [&] { return static_cast<int64_t>(tm_chunk_ptr2idx(8, &node)); }}}},
    };
  }

  table containers() {
    return {
        {"tm_util_list_insert", {says::nothing, -22, {[] { return tm_util_list_insert(nullptr, 1); }}}},
        {"tm_util_list_delete", {says::nothing, -22, {[] { return tm_util_list_delete(nullptr, 1); }}}},
        {"tm_util_list_delete_next_node", {says::nothing, 0, {[&] {
                                             tm_util_list_delete_next_node(nullptr, nullptr);
                                             tm_util_list_delete_next_node(&cells, nullptr);
                                             return 0;
                                           }}}},
        {"tm_util_list_delhead",
         {says::nothing,
          -22,
          {[&] { return tm_util_list_delhead(nullptr, &data_word); },
           [&] { return tm_util_list_delhead(&cells, nullptr); },
           [&] { return tm_util_list_delhead(&cells, &data_word); }}}},
        {"tm_util_list_cat", {says::nothing, -22, {[] { return tm_util_list_cat(nullptr, nullptr); }}}},
        {"tm_util_list_copy", {says::nothing, -22, {[] { return tm_util_list_copy(nullptr, nullptr); }}}},
        {"tm_util_list_free", {says::nothing, 0, {[] {
                                 tm_util_list_free(nullptr, 1);
                                 return 0;
                               }}}},
        {"tm_util_list_sort", {says::nothing, -22, {[] {
                                 tm_util_list_node second = {2, nullptr};
                                 tm_util_list_node first = {1, &second};
                                 tm_util_list_node *head = &first;
                                 return tm_util_list_sort(&head, nullptr);
                               }}}},
        {"tm_util_n_ary_tree_node_init", {says::nothing, 0, {[] {
                                            tm_util_n_ary_tree_node_init(nullptr);
                                            return 0;
                                          }}}},
        {"tm_util_n_ary_tree_postorder_nodelist",
         {says::nothing, -22, {[&] { return tm_util_n_ary_tree_postorder_nodelist(&n_ary, nullptr); }}}},
        {"tm_util_n_ary_tree_free", {says::nothing, 0, {[] {
                                       tm_util_n_ary_tree_free(nullptr, 1, 2);
                                       return 0;
                                     }}}},
        {"tm_n_ary_tree_freenode", {says::nothing, 0, {[] {
                                      tm_n_ary_tree_freenode(nullptr, 1, 2);
                                      return 0;
                                    }}}},
        {"tm_n_ary_tree_delchld",
         {says::nothing,
          -22,
          {[&] { return tm_n_ary_tree_delchld(nullptr, &n_ary); },
           [&] { return tm_n_ary_tree_delchld(&n_ary, nullptr); }}}},
        {"tm_merge_n_ary_chldlst", {says::nothing, 0, {[&] {
                                      tm_n_ary_node with_child = {0, tm_chunk_ptr2idx(TM_V6_ANC_TREE, &n_ary), 0};
                                      tm_merge_n_ary_chldlst(nullptr, &with_child);
                                      tm_merge_n_ary_chldlst(&with_child, nullptr);
                                      tm_merge_n_ary_chldlst(&with_child, &with_child);
                                      EXPECT_NE(with_child.child, 0u);
                                      EXPECT_EQ(n_ary.sibling, 0u);
                                      return 0;
                                    }}}},
        {"tm_util_heap_heapify",
         {says::nothing,
          -22,
          {[] { return tm_util_heap_heapify(nullptr, 1); }, [&] { return tm_util_heap_heapify(&element, 0); }}}},
        {"tm_util_heap_delmin",
         {says::nothing,
          -22,
          {[&] { return tm_util_heap_delmin(nullptr, &one, &element); },
           [&] { return tm_util_heap_delmin(&element, nullptr, &element); },
           [&] { return tm_util_heap_delmin(&element, &one, nullptr); },
           [&] {
             uint32_t none = 0;
             const int32_t result = tm_util_heap_delmin(&element, &none, &element);
             EXPECT_EQ(none, 0u);
             return result;
           }}}},
        {"tm_util_heap_insert",
         {says::nothing,
          -22,
          {[&] { return tm_util_heap_insert(nullptr, &one, &element); },
           [&] { return tm_util_heap_insert(&element, nullptr, &element); },
           [&] { return tm_util_heap_insert(&element, &one, nullptr); },
           [&] {
             uint32_t most = 0xFFFFFFFF;
             return tm_util_heap_insert(&element, &most, &element);
           }}}},
        {"tm_util_array_insert",
         {says::nothing,
          0,
          {[&] { return of_pointer(tm_util_array_insert(nullptr, &word, 0, 4, tm_util_cmp_int)); },
           [&] { return of_pointer(tm_util_array_insert(&word, nullptr, 0, 4, tm_util_cmp_int)); },
           [&] { return of_pointer(tm_util_array_insert(&word, &word, 0, 4, nullptr)); }}}},
    };
  }

  table tries() {
    return {
        {"tm_util_trie_node_initialize", {says::nothing, 0, {[] {
                                            tm_util_trie_node_initialize(nullptr, nullptr, 1);
                                            return 0;
                                          }}}},
        {"tm_util_trie_insert",
         {says::nothing,
          0,
          {[&] { return of_pointer(tm_util_trie_insert(nullptr, key, 1)); },
           [&] { return of_pointer(tm_util_trie_insert(&node, nullptr, 1)); },
           [&] { return of_pointer(tm_util_trie_insert(&node, key, 129)); }}}},
        {"tm_util_trie_lookup",
         {says::nothing,
          0,
          {[&] { return of_pointer(tm_util_trie_lookup(nullptr, key, 1, 0)); },
           [&] { return of_pointer(tm_util_trie_lookup(&node, nullptr, 1, 0)); },
           [&] { return of_pointer(tm_util_trie_lookup(&node, key, 129, 0)); }}}},
        {"tm_util_trie_find", {says::nothing, 0, {[] { return of_pointer(tm_util_trie_find(nullptr, 1)); }}}},
        {"tm_util_trie_free", {says::nothing, 0, {[] {
                                 tm_util_trie_free(nullptr, 1, 3);
                                 return 0;
                               }}}},
        {"tm_util_trie_make_printable",
         {says::nothing,
          -22,
          {[&] { return tm_util_trie_make_printable(&node, nullptr, 0, 0); },
           [&] { return tm_util_trie_make_printable(&node, key, -1, 0); },
           [&] { return tm_util_trie_make_printable(&node, key, 129, 0); }}}},
        {"tm_util_trie_gen_extending_path",
         {says::nothing,
          0,
          {[] { return of_pointer(tm_util_trie_gen_extending_path(nullptr, 1, 0)); },
           [&] { return of_pointer(tm_util_trie_gen_extending_path(&node, -1, 1)); },
           [&] { return of_pointer(tm_util_trie_gen_extending_path(&node, 129, 1)); },
           [&] { return of_pointer(tm_util_trie_gen_extending_path(&node, INT32_MAX, 1)); }}}},
        {"tm_util_trie_is_ancestor",
         {says::nothing,
          -22,
          {[&] { return tm_util_trie_is_ancestor(nullptr, &node, 1); },
           [&] { return tm_util_trie_is_ancestor(&node, nullptr, 1); }}}},
        {"tm_util_trie_common_ancestor",
         {says::nothing,
          0,
          {[&] { return of_pointer(tm_util_trie_common_ancestor(nullptr, &node, &node, 1)); },
           [&] { return of_pointer(tm_util_trie_common_ancestor(&node, nullptr, &node, 1)); },
           [&] { return of_pointer(tm_util_trie_common_ancestor(&node, &node, nullptr, 1)); },
           [&] {
             tm_util_trie_node deep = node;
             deep.len = 0xFFFF;  // keys have 16 bytes all the same
             return of_pointer(tm_util_trie_common_ancestor(&node, &deep, &deep, 1));
           }}}},
        {"tm_util_trie_free_trailing_path",
         {says::nothing,
          0,
          {[&] { return tm_util_trie_free_trailing_path(nullptr, &node, 0, 0); },
           [&] { return tm_util_trie_free_trailing_path(&node, nullptr, 0, 0); }}}},
        {"is_trie_left_path",
         {says::nothing,
          -22,
          {[] { return is_trie_left_path(nullptr, 0); }, [&] { return is_trie_left_path(&node, -1); },
           [&] { return is_trie_left_path(&node, 128); }}}},
        {"tm_util_trie_pcmpr_gen", {says::nothing, -22, {[&] { return tm_util_trie_pcmpr_gen(&node, nullptr); }}}},
        {"tm_util_trie_pcmpr_gen_internal",
         {says::nothing,
          -22,
          {[&] { return tm_util_trie_pcmpr_gen_internal(&node, nullptr, key, &byte, 0); },
           [&] { return tm_util_trie_pcmpr_gen_internal(&node, &node, nullptr, &byte, 0); },
           [&] { return tm_util_trie_pcmpr_gen_internal(&node, &node, key, nullptr, 0); }}}},
        {"tm_util_trie_pcmpr_lookup_internal",
         {says::nothing,
          0,
          {[&] { return of_pointer(tm_util_trie_pcmpr_lookup_internal(&node, nullptr, 1, 0, 0, nullptr, &word)); },
           [&] { return of_pointer(tm_util_trie_pcmpr_lookup_internal(&node, key, 1, 0, 1, nullptr, &word)); },
           [&] { return of_pointer(tm_util_trie_pcmpr_lookup_internal(&node, key, 1, 0, 0, nullptr, nullptr)); },
           [&] { return of_pointer(tm_util_trie_pcmpr_lookup_internal(&node, key, 129, 128, 0, nullptr, &word)); },
           [&] { return of_pointer(tm_util_trie_pcmpr_lookup_internal(&node, key, 1, -1, 0, nullptr, &word)); }}}},
        {"tm_util_trie_pcmpr_len",
         {says::nothing,
          -22,
          {[&] { return tm_util_trie_pcmpr_len(nullptr, key, 0, key, 0, nullptr); },
           [&] { return tm_util_trie_pcmpr_len(&node, nullptr, 0, key, 0, nullptr); },
           [&] { return tm_util_trie_pcmpr_len(&node, key, 0, nullptr, 0, nullptr); },
           [&] { return tm_util_trie_pcmpr_len(&node, key, -1, key, 0, nullptr); },
           [&] { return tm_util_trie_pcmpr_len(&node, key, 129, key, 129, nullptr); }}}},
        {"tm_util_trie_pcmpr_getpath",
         {says::nothing,
          -22,
          {[&] { return tm_util_trie_pcmpr_getpath(nullptr, key, 0, key, 0, key, &word); },
           [&] { return tm_util_trie_pcmpr_getpath(&node, nullptr, 0, key, 0, key, &word); },
           [&] { return tm_util_trie_pcmpr_getpath(&node, key, 0, nullptr, 0, key, &word); },
           [&] { return tm_util_trie_pcmpr_getpath(&node, key, 0, key, 0, nullptr, &word); },
           [&] { return tm_util_trie_pcmpr_getpath(&node, key, 0, key, 0, key, nullptr); },
           [&] { return tm_util_trie_pcmpr_getpath(&node, key, 0, key, 129, key, &word); }}}},
        {"tm_util_trie_pcmpr_addpath",
         {says::nothing,
          -22,
          {[&] { return tm_util_trie_pcmpr_addpath(nullptr, &node, key, 1); },
           [&] { return tm_util_trie_pcmpr_addpath(&node, &node, nullptr, 1); },
           [&] { return tm_util_trie_pcmpr_addpath(&node, &node, key, -1); },
           [&] { return tm_util_trie_pcmpr_addpath(&node, &node, key, 129); }}}},
    };
  }

  table all_rows() {
    table rows = requests();
    for (const table &more : {engine(), queries(), plans(), comparators(), pools(), containers(), tries()}) {
      rows.insert(more.begin(), more.end());
    }
    return rows;
  }

  static int32_t batch(tcamv6_state *on, uint32_t count, const tcamv6_prefix *records, tcamv6_cmpr_pref *prefs,
                       tcamv6_cmpr_addr *addrs, uint32_t *rows) {
    uint32_t pending = 0;
    uint32_t changed = 0;
    return tcamv6_incr_compress(on, count, records, prefs, addrs, &pending, &changed, rows);
  }

  static void expect_refused(const std::string &name, const row &expected) {
    for (size_t i = 0; i < expected.calls.size(); ++i) {
      SCOPED_TRACE(name + " call " + std::to_string(i));
      tcamv6_debug_flags = {};
      tcamv6_debug_flags.info = expected.told != says::bad_arguments_of_a_request;
      tcamv6_debug_flags.error = expected.told == says::bad_arguments_of_a_request;
      test_host::clear_log();
      EXPECT_EQ(expected.calls[i](), expected.answer);
      const std::string line = name + ": Bad arguments";
      const std::vector<std::string> lines = plain_log_lines();
      switch (expected.told) {
        case says::bad_arguments:
          EXPECT_EQ(lines, std::vector<std::string>{line});
          break;
        case says::bad_arguments_of_a_request:
          EXPECT_EQ(lines, std::vector<std::string>{"TM_PROCESSING " + line});
          break;
        case says::nothing:
          EXPECT_EQ(lines, std::vector<std::string>{});
          break;
      }
      tcamv6_debug_flags = {};
    }
  }

  tcamv6_prefix long_records[2];  // the second one's length is 129
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  tcamv6_cmpr_pref *prefs = nullptr;
  tcamv6_cmpr_addr *addrs = nullptr;
  tcamv6_prefix *out_list = nullptr;
  tm_incr_update_entry *entries = nullptr;
  const zel_v6comp_move *moves = nullptr;
  v6comp_pref_info empty = {0, 0, 0};
  v6comp_pref_info off_grid = {4, 0, 0};
  tcamv6_conf conf = {128, 64, nullptr};
  tm_chunk_info info[TM_CHUNK_TYPES] = {};
  tm_util_list_node *cells = nullptr;
  tm_n_ary_node n_ary = {};
  tm_util_heap_elem element = {};
  tm_util_trie_node node;
  std::unique_ptr<tm_incr_update_list> list;
  uint8_t key[16] = {};
  uint8_t byte = 0;
  uint32_t n = 0;
  uint32_t one = 1;
  int32_t word = 0;
  uint64_t data_word = 0;
};

TEST_F(hostile_exports_test, what_cannot_be_is_refused_by_every_function) {
  for (const auto &[name, expected] : all_rows()) {
    expect_refused(name, expected);
  }
  EXPECT_EQ(one, 1u);
  EXPECT_EQ(cells, nullptr);
  EXPECT_EQ(out_list, nullptr);
}

// The interface of tables and slots has tests of its own; platform calls are made by the library alone.
TEST_F(hostile_exports_test, every_exported_function_has_a_row) {
  const table rows = all_rows();
  std::ifstream map(source_path("zel_v6comp_lib/exports.map"));
  const std::regex name_of("^ +((?:zel_v6comp|tcamv6|tm|is)_\\w+|tags_so_far|raw_blk|gbl_chunk_info);$");
  size_t seen = 0;
  for (std::string line; std::getline(map, line);) {
    std::smatch match;
    if (std::regex_match(line, match, name_of) && line.find("zel_v6comp_table_") == std::string::npos &&
        line.find("zel_v6comp_slots_") == std::string::npos) {
      ++seen;
      const std::string name = match[1];
      EXPECT_EQ(rows.count(name) + nothing_to_refuse.count(name) + data.count(name), 1u) << name;
    }
  }
  EXPECT_GE(seen, 100u);
}

}  // namespace
