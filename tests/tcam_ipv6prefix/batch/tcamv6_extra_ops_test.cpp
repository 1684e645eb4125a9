// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_extra_ops.h"

#include <cstring>

#include "incr_fixture.h"

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

TEST_F(tcamv6_extra_ops_test, reference_is_never_followed_whatever_it_holds) {
  compress("2001:db8::/32");
  run_and_keep("+2001:db8:1::/48");
  only({&tcamv6_debug_flags_t::info});
  for (const uint32_t reference : {1u, 0xFFFFFFFFu, static_cast<uint32_t>(tm_idx(stored("2001:db8::/32")))}) {
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

TEST_F(tcamv6_extra_ops_test, kept_state_is_refused) {
  compress("2001:db8::/32");
  ASSERT_EQ(tcamv6_reset(&state, 1), 0);
  only({&tcamv6_debug_flags_t::info});
  EXPECT_EQ(get().result, -22);
  EXPECT_EQ(lines(), std::vector<std::string>{"tcamv6_extra_ops_get: Bad arguments"});
}
