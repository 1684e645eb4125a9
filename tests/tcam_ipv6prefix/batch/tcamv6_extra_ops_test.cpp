// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_extra_ops.h"

#include <cstring>

#include "incr_fixture.h"
#include "tcamv6_state_internal.h"

namespace {

class tcamv6_extra_ops_test : public incr_test {
 protected:
  struct halves {
    int32_t result;
    tcamv6_cmpr_pref *first;
    tcamv6_cmpr_pref *second;
    uint32_t count;
  };

  halves get() {
    static tcamv6_cmpr_pref elsewhere;
    halves got = {99, &elsewhere, &elsewhere, 99};
    got.result = tcamv6_extra_ops_get(state, &got.first, &got.second, &got.count);
    return got;
  }

  // A batch whose extra operations stay with the instance.
  void run_and_keep(const std::string &batch) {
    const std::vector<tcamv6_prefix> records = records_of(batch);
    std::vector<tcamv6_cmpr_pref> prefs(records.size());
    std::vector<tcamv6_cmpr_addr> addrs(records.size());
    uint32_t pending = 0;
    uint32_t changed = 0;
    uint32_t rows = 0;
    ASSERT_EQ(tcamv6_incr_compress(state, static_cast<uint32_t>(records.size()), records.data(), prefs.data(),
                                   addrs.data(), &pending, &changed, &rows),
              0);
    ASSERT_EQ(pending, 1u);
  }
};

const std::string no_anc_data = "tcamv6_extra_ops_get: Error - Original prefix points to NULL anc_data";

}  // namespace

TEST_F(tcamv6_extra_ops_test, free_twice_in_a_row_returns_0_both_times) {
  compress("2001:db8::/32");
  run_and_keep("+2001:db8:1::/48");
  ASSERT_NE(state->extra_ops, nullptr);
  EXPECT_EQ(tcamv6_extra_ops_free(state), 0);
  EXPECT_EQ(state->extra_ops, nullptr);
  EXPECT_EQ(state->extra_op_count, 0u);
  EXPECT_EQ(tcamv6_extra_ops_free(state), 0);
}

TEST_F(tcamv6_extra_ops_test, get_after_a_free_returns_0_with_no_halves) {
  compress("2001:db8::/32");
  run_and_keep("+2001:db8:1::/48");
  tcamv6_extra_ops_free(state);
  const halves got = get();
  EXPECT_EQ(got.result, 0);
  EXPECT_EQ(got.count, 0u);
  EXPECT_EQ(got.first, nullptr);
  EXPECT_EQ(got.second, nullptr);
}

TEST_F(tcamv6_extra_ops_test, get_on_an_instance_without_a_table_returns_0_with_no_halves) {
  const halves got = get();
  EXPECT_EQ(got.result, 0);
  EXPECT_EQ(got.count, 0u);
  EXPECT_EQ(got.first, nullptr);
  EXPECT_EQ(got.second, nullptr);
}

TEST_F(tcamv6_extra_ops_test, get_right_after_a_batch_is_broken_at_slot_0_with_count_and_halves_set) {
  compress("2001:db8::/32");
  run_and_keep("+2001:db8:1::/48 +2001:db8:2::/48 +2001:db9::/32");
  only({&tcamv6_debug_flags_t::info});
  const halves got = get();
  EXPECT_EQ(got.result, -14);
  EXPECT_EQ(got.count, 3u);
  EXPECT_EQ(got.first, state->extra_ops);
  EXPECT_EQ(got.second, state->extra_ops + 3);
  EXPECT_EQ(lines(), std::vector<std::string>{no_anc_data});
}

TEST_F(tcamv6_extra_ops_test, get_with_a_count_of_0_returns_0_though_an_array_is_held) {
  compress("2001:db8::/32");
  run_and_keep("");
  ASSERT_NE(state->extra_ops, nullptr);
  const halves got = get();
  EXPECT_EQ(got.result, 0);
  EXPECT_EQ(got.count, 0u);
  EXPECT_EQ(got.first, state->extra_ops);
  EXPECT_EQ(got.second, state->extra_ops);
}

#if defined(__x86_64__)
// Pools below 4 GiB: 32 bits tell where a node is.
class low_extra_ops_test : public tcamv6_extra_ops_test {
 protected:
  void SetUp() override {
    tcamv6_extra_ops_test::SetUp();
    zel_free_named(gbl_state);
    test_host::make_low_pools(true);
    ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
    state = zel_v6comp_instance(0, 0);
  }

  // The batch of three additions, and the references that a host would put in.
  void run_with_references(const std::vector<std::string> &prefixes) {
    run_and_keep("+2001:db8:1::/48 +2001:db8:2::/48 +2001:db9::/32");
    for (size_t i = 0; i < prefixes.size(); ++i) {
      const uint64_t address = prefixes[i].empty() ? 0 : tm_idx(stored(prefixes[i]));
      ASSERT_EQ(address >> 32, 0u) << "the pool is not below 4 GiB";
      state->extra_ops[i].reference = static_cast<uint32_t>(address);
    }
  }

  void attach(const std::string &prefix, uint32_t handle) {
    const tcamv6_prefix record = record_of(prefix);
    ASSERT_EQ(tcamv6_prefix_handle_attach(state, &record, handle), 0);
  }

  void expect_rewritten(uint32_t slot, const std::string &prefix, uint32_t handle) {
    const tm_util_trie_node *node = stored(prefix);
    for (uint32_t half = 0; half < 2; ++half) {
      const tcamv6_cmpr_pref &record = state->extra_ops[half * state->extra_op_count + slot];
      EXPECT_EQ(record.operation, half);
      EXPECT_EQ(record.reference, handle);
      EXPECT_EQ(text_of(record.key, record.length), prefix);
      EXPECT_EQ(record.own_node, node->aux1);
      EXPECT_EQ(record.node_aux, node->aux2);
    }
  }
};

TEST_F(low_extra_ops_test, references_of_stored_prefixes_are_followed_and_both_halves_rewritten) {
  compress("2001:db8::/32*5 2400::/12*2@1");
  run_with_references({"2001:db8::/32", "2400::/12", "2001:db8::/32"});
  attach("2001:db8::/32", 77);
  attach("2400::/12", 0xFFFFFFFF);
  only({&tcamv6_debug_flags_t::info});
  const halves got = get();
  EXPECT_EQ(got.result, 0);
  EXPECT_EQ(got.count, 3u);
  EXPECT_EQ(got.second, got.first + 3);
  EXPECT_EQ(lines(), std::vector<std::string>{});
  expect_rewritten(0, "2001:db8::/32", 77);
  expect_rewritten(1, "2400::/12", 0xFFFFFFFF);
  expect_rewritten(2, "2001:db8::/32", 77);
}

TEST_F(low_extra_ops_test, slots_before_a_broken_one_stay_rewritten_and_the_others_are_left_alone) {
  compress("2001:db8::/32*5 2400::/12");
  const auto inside = [this](uint32_t by) { return static_cast<uint32_t>(tm_idx(stored("2400::/12")) + by); };
  for (const uint32_t broken : {0u, 1u, inside(8), 0xFFFFFFF8u, static_cast<uint32_t>(state->cmpr_root)}) {
    run_with_references({"2400::/12", "", "2001:db8::/32"});
    state->extra_ops[1].reference = broken;
    const std::vector<tcamv6_cmpr_pref> old(state->extra_ops, state->extra_ops + 6);
    only({&tcamv6_debug_flags_t::info});
    EXPECT_EQ(get().result, -14);
    EXPECT_EQ(lines(), std::vector<std::string>{no_anc_data});
    expect_rewritten(0, "2400::/12", 0);
    for (const size_t i : {size_t{1}, size_t{2}, size_t{4}, size_t{5}}) {
      EXPECT_EQ(std::memcmp(&state->extra_ops[i], &old[i], sizeof old[i]), 0) << i;
    }
    ASSERT_EQ(tcamv6_extra_ops_free(state), 0);
    tcamv6_debug_flags = {};
  }
}

TEST_F(low_extra_ops_test, prefix_that_was_deleted_is_not_followed) {
  compress("2001:db8::/32 2400::/12");
  run_with_references({"2400::/12", "2001:db8:1::/48", "2001:db8::/32"});
  const std::vector<tcamv6_cmpr_pref> old(state->extra_ops, state->extra_ops + 6);
  tcamv6_cmpr_pref *kept = state->extra_ops;
  state->extra_ops = nullptr;  // the next batch would release them
  ASSERT_EQ(run("-2001:db8:1::/48").result, 0);
  state->extra_ops = kept;
  state->extra_op_count = 3;
  EXPECT_EQ(get().result, -14);
  expect_rewritten(0, "2400::/12", 0);
  EXPECT_EQ(std::memcmp(&state->extra_ops[1], &old[1], sizeof old[1]), 0);
}

TEST_F(low_extra_ops_test, answers_are_the_same_without_memory_for_the_search) {
  compress("2001:db8::/32*5 2400::/12");
  run_with_references({"2001:db8::/32", "2400::/12", "2001:db8::/32"});
  test_host::fail_all_heap_allocations(true);
  EXPECT_EQ(get().result, 0);
  test_host::fail_all_heap_allocations(false);
  expect_rewritten(0, "2001:db8::/32", 0);
  expect_rewritten(1, "2400::/12", 0);
  expect_rewritten(2, "2001:db8::/32", 0);
}
#endif

TEST_F(tcamv6_extra_ops_test, reference_that_names_no_stored_prefix_is_not_followed) {
  compress("2001:db8::/32");
  run_and_keep("+2001:db8:1::/48");
  only({&tcamv6_debug_flags_t::info});
  for (const uint32_t reference : {1u, 0xFFFFFFFFu, static_cast<uint32_t>(tm_idx(state)), 4096u}) {
    state->extra_ops[0].reference = reference;
    EXPECT_EQ(get().result, -14);
    EXPECT_EQ(lines(), std::vector<std::string>{no_anc_data});
    EXPECT_EQ(state->extra_ops[0].reference, reference) << "the slot is left alone";
  }
}

TEST_F(tcamv6_extra_ops_test, null_arguments_are_refused_under_the_info_word) {
  compress("2001:db8::/32");
  tcamv6_cmpr_pref *half = nullptr;
  uint32_t count = 7;
  only({&tcamv6_debug_flags_t::info});
  EXPECT_EQ(tcamv6_extra_ops_get(nullptr, &half, &half, &count), -22);
  EXPECT_EQ(tcamv6_extra_ops_get(state, nullptr, &half, &count), -22);
  EXPECT_EQ(tcamv6_extra_ops_get(state, &half, nullptr, &count), -22);
  EXPECT_EQ(tcamv6_extra_ops_get(state, &half, &half, nullptr), -22);
  EXPECT_EQ(tcamv6_extra_ops_free(nullptr), -22);
  EXPECT_EQ(count, 7u);
  EXPECT_THAT(lines(),
              ::testing::ElementsAre("tcamv6_extra_ops_get: Bad arguments", "tcamv6_extra_ops_get: Bad arguments",
                                     "tcamv6_extra_ops_get: Bad arguments", "tcamv6_extra_ops_get: Bad arguments",
                                     "tcamv6_extra_ops_free: Bad arguments"));
  tcamv6_debug_flags = {1, 0, 1, 1, 1, 1};
  EXPECT_EQ(tcamv6_extra_ops_free(nullptr), -22);
  EXPECT_EQ(lines(), std::vector<std::string>{});
}

TEST_F(tcamv6_extra_ops_test, batch_fills_the_slot_of_an_addition_below_a_leaf_and_no_other) {
  compress("2001:db8::/32*5");
  run_and_keep("+2001:db8:1::/48 +2001:db8:2::/48 -2001:db8:2::/48");
  const tcamv6_cmpr_pref *first = state->extra_ops;
  const tcamv6_cmpr_pref *second = state->extra_ops + 3;
  const tcamv6_cmpr_pref zero = {};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(std::memcmp(&first[i], &zero, sizeof zero), 0) << i;
  }
  EXPECT_EQ(std::memcmp(&second[1], &zero, sizeof zero), 0);
  EXPECT_EQ(std::memcmp(&second[2], &zero, sizeof zero), 0);
  EXPECT_EQ(second[0].flags_tag, 1u);
  EXPECT_EQ(second[0].reference, stored("2001:db8::/32")->tag);
  EXPECT_EQ(second[0].operation, 1u);
  // Its key is the compressed node of the new prefix, whose counters are 0.
  EXPECT_EQ(bits_of_key(second[0].key, second[0].length), code("2001:db8:1::/48"));
  EXPECT_EQ(second[0].own_node, 0u);
  EXPECT_EQ(second[0].node_aux, 0u);
}

TEST_F(tcamv6_extra_ops_test, request_releases_what_its_batch_recorded) {
  compress("2001:db8::/32");
  ASSERT_EQ(request("+2001:db8:1::/48"), 0u);
  EXPECT_EQ(state->extra_ops, nullptr);
  EXPECT_EQ(state->extra_op_count, 0u);
  ASSERT_EQ(request("-2001:db8:1::/48*9"), 22u);
  EXPECT_EQ(state->extra_ops, nullptr);
}

TEST_F(tcamv6_extra_ops_test, get_on_a_kept_state_is_refused_and_free_answers_0) {
  compress("2001:db8::/32");
  ASSERT_EQ(tcamv6_reset(&state, 1), 0);
  only({&tcamv6_debug_flags_t::info});
  EXPECT_EQ(get().result, -22);
  EXPECT_EQ(lines(), std::vector<std::string>{"tcamv6_extra_ops_get: Bad arguments"});
  EXPECT_EQ(tcamv6_extra_ops_free(state), 0);
  EXPECT_EQ(lines(), std::vector<std::string>{});
}
