// SPDX-License-Identifier: Apache-2.0
// Releasing what an instance holds, with and without its record.
#include "tcamv6_dump.h"
#include "tcamv6_extra_ops.h"
#include "tcamv6_fixture.h"
#include "tcamv6_handle.h"
#include "tcamv6_incr.h"
#include "tcamv6_lookup.h"
#include "tm_pcmpr_trie.h"

namespace {

const std::vector<std::string> table = {"2001:db8::/32", "2001:db8:1::/48", "2001:db8:1:2::/64", "fe80::1/128"};

class tcamv6_reset_test : public tcamv6_test {
 protected:
  void SetUp() override {
    tcamv6_test::SetUp();
    empty = allocated();
  }

  std::vector<uint32_t> empty;
};

}  // namespace

TEST_F(tcamv6_reset_test, null_handle_address_and_a_handle_of_null_are_refused_and_change_nothing) {
  ASSERT_EQ(compress(table).result, TM_OK);
  const std::vector<uint32_t> before = allocated();
  tcamv6_state *none = nullptr;
  for (const int32_t keep : {0, 1}) {
    EXPECT_EQ(tcamv6_reset(nullptr, keep), TM_EINVAL);
    EXPECT_EQ(tcamv6_reset(&none, keep), TM_EINVAL);
  }
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(allocated(), before);
}

TEST_F(tcamv6_reset_test, without_keep_the_handle_reads_null_and_pools_and_record_are_given_back) {
  ASSERT_EQ(compress(table).result, TM_OK);
  ASSERT_NE(allocated(), empty);
  ASSERT_EQ(test_host::heap().blocks, 1u);
  ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
  EXPECT_EQ(state, nullptr);
  EXPECT_EQ(allocated(), empty);
  EXPECT_EQ(test_host::pool_used(), 0u);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tcamv6_reset_test, any_keep_but_1_releases_the_record) {
  for (const int32_t keep : {2, -1, 0x101}) {
    state = state != nullptr ? state : new_state();
    ASSERT_EQ(tcamv6_reset(&state, keep), TM_OK);
    EXPECT_EQ(state, nullptr) << keep;
  }
}

TEST_F(tcamv6_reset_test, with_keep_the_handle_stays_and_only_the_heap_buffer_field_is_cleared) {
  ASSERT_EQ(compress(table).result, TM_OK);
  state->extra_ops = static_cast<tcamv6_cmpr_pref *>(zel_calloc_named(TM_MEM_TAG_LIST, 2, sizeof(tcamv6_cmpr_pref)));
  state->extra_op_count = 1;
  tcamv6_state before = *state;
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  EXPECT_EQ(handle, state);
  EXPECT_EQ(state->extra_ops, nullptr);
  EXPECT_EQ(state->opt_done, 1);
  EXPECT_EQ(state->orig_root, before.orig_root);
  EXPECT_EQ(state->cmpr_root, before.cmpr_root);
  EXPECT_EQ(state->pcmpr_root, before.pcmpr_root);
  EXPECT_EQ(state->anc_root, before.anc_root);
  EXPECT_EQ(state->n_prefs, before.n_prefs);
  EXPECT_EQ(allocated(), empty);
  EXPECT_EQ(test_host::heap().blocks, 1u) << "the record alone";
}

TEST_F(tcamv6_reset_test, empty_instance_resets_with_result_0_and_no_pool_release) {
  const uint64_t granted = test_host::pool_elements_granted();
  tcamv6_state *handle = state;
  EXPECT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  for (const tm_chunk_info &row : info) {
    EXPECT_EQ(row.frees, 0u);
  }
  EXPECT_EQ(test_host::pool_elements_granted(), granted);
}

TEST_F(tcamv6_reset_test, path_compressed_trie_left_in_the_record_is_released_too) {
  tm_util_trie_node *node = nullptr;
  ASSERT_EQ(tm_util_trie_pcmpr_gen(nullptr, &node), TM_OK);
  node = new_trie_node();
  node->data = tm_idx(tm_chunk_malloc(TM_V6_PCMPR_DATA));
  state->pcmpr_root = tm_idx(node);
  ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
  EXPECT_EQ(test_host::pool_used(), 0u);
}

TEST_F(tcamv6_reset_test, what_a_failed_compression_left_is_given_back_when_a_reset_of_any_instance_starts) {
  ASSERT_EQ(compress(nested_records(65)).result, TM_EOVERFLOW);
  ASSERT_NE(allocated(), empty);
  tcamv6_state *other = new_state();
  ASSERT_EQ(tcamv6_reset(&other, 0), TM_OK);
  EXPECT_EQ(allocated(), empty);
}

TEST_F(tcamv6_reset_test, second_reset_of_a_kept_record_releases_nothing_and_returns_0) {
  ASSERT_EQ(compress(table).result, TM_OK);
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  const uint32_t frees = info[TM_V6_TRIE_NODE].frees;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  EXPECT_EQ(handle, state);
  EXPECT_EQ(info[TM_V6_TRIE_NODE].frees, frees);
  ASSERT_EQ(tcamv6_reset(&handle, 0), TM_OK);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(info[TM_V6_TRIE_NODE].frees, frees);
  state = nullptr;
}

TEST_F(tcamv6_reset_test, kept_record_answers_minus_22_to_lookups_handles_dumps_extra_ops_and_engine_calls) {
  ASSERT_EQ(compress(table).result, TM_OK);
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  only_info();
  tcamv6_prefix prefix = record_of("2001:db8::/32");
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  tcamv6_cmpr_pref *first = nullptr;
  tcamv6_cmpr_pref *second = nullptr;
  uint32_t words[3] = {7, 7, 7};
  EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_address(state, prefix.address, &prefix, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_prefix_handle_attach(state, &prefix, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, words), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_n_prefixes(state, words), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, 1, &prefix, &pref, &addr, words), TM_EINVAL);
  EXPECT_EQ(tcamv6_extra_ops_get(state, &first, &second, words), TM_EINVAL);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &prefix, &pref, &addr, words), TM_EINVAL);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, &prefix, &pref, &addr, &words[0], &words[1], &words[2]), TM_EINVAL);
  for (const char *function : {"tcamv6_lookup_prefix", "tcamv6_lookup_address", "tcamv6_prefix_handle_attach",
                               "tcamv6_prefix_handle_query", "tcamv6_dump_n_prefixes", "tcamv6_dump_cmpr_tbl",
                               "tcamv6_extra_ops_get", "tcamv6_optimized_compress", "tcamv6_incr_compress"}) {
    EXPECT_TRUE(was_logged(std::string(function) + ": Bad arguments")) << function;
  }
  EXPECT_EQ(allocated(), empty);
}

TEST_F(tcamv6_reset_test, kept_record_serves_again_once_the_host_has_cleared_it) {
  ASSERT_EQ(compress(table).result, TM_OK);
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  std::memset(static_cast<void *>(state), 0, sizeof *state);
  const tcamv6_conf conf = {128, 64, state};
  int32_t was_reset = 0;
  ASSERT_EQ(tcamv6_init(state, &conf, &was_reset), TM_OK);
  EXPECT_EQ(was_reset, 1);
  EXPECT_EQ(compress(table).result, TM_OK);
}

TEST_F(tcamv6_reset_test, init_clears_a_kept_record_that_was_not_compressed) {
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  ASSERT_EQ(compress(table).result, TM_EINVAL);
  const tcamv6_conf conf = {128, 64, state};
  int32_t was_reset = 0;
  ASSERT_EQ(tcamv6_init(state, &conf, &was_reset), TM_OK);
  EXPECT_EQ(was_reset, 1);
  EXPECT_EQ(compress(table).result, TM_OK);
}

TEST_F(tcamv6_reset_test, init_leaves_a_kept_record_that_was_compressed_kept) {
  ASSERT_EQ(compress(table).result, TM_OK);
  tcamv6_state *handle = state;
  ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
  const tcamv6_conf conf = {128, 64, state};
  int32_t was_reset = 9;
  ASSERT_EQ(tcamv6_init(state, &conf, &was_reset), TM_OK);
  EXPECT_EQ(was_reset, 0);
  uint32_t n = 0;
  EXPECT_EQ(tcamv6_dump_n_prefixes(state, &n), TM_EINVAL);
}

TEST_F(tcamv6_reset_test, messages_are_gated_by_trace_and_info) {
  tcamv6_debug_flags = {1, 1, 0, 0, 0, 0};
  tcamv6_state *handle = state;
  tcamv6_reset(&handle, 1);
  tcamv6_reset(nullptr, 1);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{"tcamv6_reset: Starting handlep <ptr>", "tcamv6_reset: Complete 0",
                                      "tcamv6_reset: Bad arguments", "tcamv6_reset: Complete -22"}));
  test_host::clear_log();
  only_error();
  tcamv6_reset(&handle, 1);
  tcamv6_reset(nullptr, 1);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tcamv6_reset_test, thousand_fills_and_resets_lose_no_element_and_no_heap_byte) {
  const test_host::heap_counts before = test_host::heap();
  test_host::keep_log(false);
  for (int round = 0; round < 1000; ++round) {
    ASSERT_EQ(compress(table).result, TM_OK);
    tcamv6_state *handle = state;
    ASSERT_EQ(tcamv6_reset(&handle, 1), TM_OK);
    std::memset(static_cast<void *>(state), 0, sizeof *state);
    state->max_pref_len = TCAMV6_MAX_PREF_LEN;
    state->max_cmpr_len = TCAMV6_MAX_CMPR_LEN;
    ASSERT_EQ(allocated(), empty) << round;
  }
  EXPECT_EQ(test_host::heap().blocks, before.blocks);
  EXPECT_EQ(test_host::heap().bytes, before.bytes);
}
