// SPDX-License-Identifier: Apache-2.0
// Queries and engine calls: each pointer null in turn, lengths that no prefix has, states that nobody filled.
#include <memory>

#include "hostile_fixture.h"

namespace {

using namespace instance_model;

TEST_F(hostile_test, lookups_refuse_each_null_in_turn) {
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  tcamv6_prefix match = {};
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  EXPECT_EQ(tcamv6_lookup_prefix(nullptr, &prefix, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_prefix(state, nullptr, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, nullptr, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, &pref, nullptr), -22);
  EXPECT_EQ(tcamv6_lookup_address(nullptr, prefix.address, &match, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_address(state, nullptr, &match, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_address(state, prefix.address, nullptr, &pref, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_address(state, prefix.address, &match, nullptr, &addr), -22);
  EXPECT_EQ(tcamv6_lookup_address(state, prefix.address, &match, &pref, nullptr), -22);
}

TEST_F(hostile_test, handles_refuse_each_null_in_turn) {
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  uint32_t handle = 77;
  EXPECT_EQ(tcamv6_prefix_handle_attach(nullptr, &prefix, 1), -22);
  EXPECT_EQ(tcamv6_prefix_handle_attach(state, nullptr, 1), -22);
  EXPECT_EQ(tcamv6_prefix_handle_query(nullptr, &prefix, &handle), -22);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, nullptr, &handle), -22);
  EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, nullptr), -22);
  EXPECT_EQ(handle, 77u);
}

TEST_F(hostile_test, no_prefix_has_a_length_above_128) {
  for (const uint8_t length : {uint8_t{129}, uint8_t{130}, uint8_t{255}}) {
    tcamv6_prefix prefix = record_of("2001:db8:1::/48");
    prefix.length = length;
    tcamv6_cmpr_pref pref = {};
    tcamv6_cmpr_addr addr = {};
    uint32_t handle = 77;
    EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, &pref, &addr), -22);
    EXPECT_EQ(tcamv6_prefix_handle_attach(state, &prefix, 1), -22);
    EXPECT_EQ(tcamv6_prefix_handle_query(state, &prefix, &handle), -22);
    EXPECT_EQ(handle, 77u);
  }
}

TEST_F(hostile_test, dumps_refuse_each_null_and_every_other_number_of_rows) {
  uint32_t n = 77;
  EXPECT_EQ(tcamv6_dump_n_prefixes(nullptr, &n), -22);
  EXPECT_EQ(tcamv6_dump_n_prefixes(state, nullptr), -22);
  EXPECT_EQ(n, 77u);
  ASSERT_EQ(tcamv6_dump_n_prefixes(state, &n), 0);
  const auto rows = static_cast<int32_t>(n);
  std::vector<tcamv6_prefix> orig(n);
  std::vector<tcamv6_cmpr_pref> prefs(n);
  std::vector<tcamv6_cmpr_addr> addrs(n);
  uint32_t count = 77;
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(nullptr, rows, orig.data(), prefs.data(), addrs.data(), &count), -22);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, rows, nullptr, prefs.data(), addrs.data(), &count), -22);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, rows, orig.data(), nullptr, addrs.data(), &count), -22);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, rows, orig.data(), prefs.data(), nullptr, &count), -22);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, rows, orig.data(), prefs.data(), addrs.data(), nullptr), -22);
  for (const int32_t wrong : {0, 1, rows - 1, rows + 1, -1, 32000, 32001, 65534, 65535, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, wrong, orig.data(), prefs.data(), addrs.data(), &count), -22) << wrong;
  }
  EXPECT_EQ(count, 77u);
  tm_incr_update_entry *list = nullptr;
  EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, nullptr, &list), 22u);
  EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, nullptr), 22u);
}

TEST_F(hostile_test, an_instance_without_a_table_dumps_nothing) {
  tcamv6_state *empty = zel_v6comp_instance(3, 1);
  tcamv6_prefix orig;
  tcamv6_cmpr_pref pref;
  tcamv6_cmpr_addr addr;
  uint32_t count = 77;
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(empty, 0, &orig, &pref, &addr, &count), -22);
  EXPECT_EQ(count, 77u);
  tm_incr_update_entry *list = nullptr;
  EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(3, 1, &count, &list), 0u);
  EXPECT_EQ(count, 0u);
}

TEST_F(hostile_test, extra_operations_refuse_each_null_in_turn) {
  tcamv6_cmpr_pref *first = nullptr;
  tcamv6_cmpr_pref *second = nullptr;
  uint32_t count = 77;
  EXPECT_EQ(tcamv6_extra_ops_get(nullptr, &first, &second, &count), -22);
  EXPECT_EQ(tcamv6_extra_ops_get(state, nullptr, &second, &count), -22);
  EXPECT_EQ(tcamv6_extra_ops_get(state, &first, nullptr, &count), -22);
  EXPECT_EQ(tcamv6_extra_ops_get(state, &first, &second, nullptr), -22);
  EXPECT_EQ(count, 77u);
  EXPECT_EQ(tcamv6_extra_ops_free(nullptr), -22);
  EXPECT_EQ(tcamv6_extra_ops_free(state), 0);
}

TEST_F(hostile_test, starting_and_resetting_an_instance_refuse_each_null_in_turn) {
  const tcamv6_conf conf = {128, 64, state};
  int32_t was_reset = 77;
  EXPECT_EQ(tcamv6_init(nullptr, &conf, &was_reset), -22);
  EXPECT_EQ(tcamv6_init(state, nullptr, &was_reset), -22);
  EXPECT_EQ(tcamv6_init(state, &conf, nullptr), -22);
  EXPECT_EQ(was_reset, 77);
  EXPECT_EQ(tcamv6_init_opt_done(nullptr), -22);
  tcamv6_state *none = nullptr;
  for (const int32_t keep : {0, 1, -1, 2}) {
    EXPECT_EQ(tcamv6_reset(nullptr, keep), -22);
    EXPECT_EQ(tcamv6_reset(&none, keep), -22);
  }
}

TEST_F(hostile_test, full_compression_refuses_each_null_in_turn) {
  const tcamv6_prefix list = record_of("::/0");
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  uint32_t n = 0;
  EXPECT_EQ(tcamv6_optimized_compress(nullptr, 1, &list, &pref, &addr, &n), -22);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, nullptr, &pref, &addr, &n), -22);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &list, nullptr, &addr, &n), -22);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &list, &pref, nullptr, &n), -22);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &list, &pref, &addr, nullptr), -22);
}

TEST_F(hostile_test, batches_refuse_each_null_in_turn) {
  const tcamv6_prefix record = record_of("2500::/12");
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  uint32_t pending = 0;
  uint32_t changed = 77;
  uint32_t walk = 0;
  EXPECT_EQ(tcamv6_incr_compress(nullptr, 1, &record, &pref, &addr, &pending, &changed, &walk), -22);
  EXPECT_EQ(changed, 0u);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, nullptr, &pref, &addr, &pending, &changed, &walk), -22);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, &record, nullptr, &addr, &pending, &changed, &walk), -22);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, &record, &pref, nullptr, &pending, &changed, &walk), -22);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, &record, &pref, &addr, nullptr, &changed, &walk), -22);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, &record, &pref, &addr, &pending, nullptr, &walk), -22);
  EXPECT_EQ(tcamv6_incr_compress(state, 1, &record, &pref, &addr, &pending, &changed, nullptr), -22);
}

TEST_F(hostile_test, working_lists_refuse_each_null_in_turn) {
  const tcamv6_prefix record = record_of("2500::/12");
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  for (const uint32_t n : {1u, 32000u, 65535u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(tcamv6_build_prefix_list(nullptr, &list, n, &count, 1), -22);
  }
  EXPECT_EQ(tcamv6_build_prefix_list(&record, nullptr, 1, &count, 1), -22);
  EXPECT_EQ(tcamv6_build_prefix_list(&record, &list, 1, nullptr, 1), -22);
  EXPECT_EQ(list, nullptr);
  ASSERT_EQ(tcamv6_build_prefix_list(nullptr, &list, 0, &count, 1), 0);
  EXPECT_EQ(count, 1u);
  zel_free_named(list);
  tcamv6_prepare_return_cmpr_prefs(nullptr, 5);
  tcamv6_cmpr_pref pref = {};
  tcamv6_prepare_return_cmpr_prefs(&pref, 0);
}

TEST_F(hostile_test, every_word_of_the_log_may_be_on_while_a_call_is_refused) {
  tcamv6_debug_flags = {1, 1, 1, 1, 1, 1};
  EXPECT_EQ(tcamv6_lookup_prefix(nullptr, nullptr, nullptr, nullptr), -22);
  EXPECT_EQ(tcamv6_lookup_address(nullptr, nullptr, nullptr, nullptr, nullptr), -22);
  EXPECT_EQ(tcamv6_prefix_handle_attach(nullptr, nullptr, 0), -22);
  EXPECT_EQ(tcamv6_prefix_handle_query(nullptr, nullptr, nullptr), -22);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(nullptr, 0, nullptr, nullptr, nullptr, nullptr), -22);
  EXPECT_EQ(tcamv6_optimized_compress(nullptr, 0, nullptr, nullptr, nullptr, nullptr), -22);
  EXPECT_EQ(tcamv6_incr_compress(nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -22);
  EXPECT_TRUE(was_logged("tcamv6_lookup_prefix: Bad arguments"));
  EXPECT_TRUE(was_logged("tcamv6_incr_compress: Bad arguments"));
  tcamv6_debug_flags = {};
}

}  // namespace
