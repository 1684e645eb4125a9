// SPDX-License-Identifier: Apache-2.0
// Initialising an instance, and asking whether it has been compressed.
#include "tcamv6_fixture.h"

namespace {

class tcamv6_state_test : public tcamv6_test {
 protected:
  tcamv6_conf conf = {100, 50, nullptr};
  int32_t was_reset = 99;
};

}  // namespace

TEST_F(tcamv6_state_test, init_clears_an_instance_that_was_not_compressed_and_copies_the_limits) {
  std::memset(static_cast<void *>(state), 0x11, sizeof *state);
  ASSERT_EQ(tcamv6_init(state, &conf, &was_reset), TM_OK);
  EXPECT_EQ(was_reset, 1);
  EXPECT_EQ(state->max_pref_len, 100u);
  EXPECT_EQ(state->max_cmpr_len, 50u);
  tcamv6_state expected = {};
  expected.max_pref_len = 100;
  expected.max_cmpr_len = 50;
  EXPECT_EQ(std::memcmp(state, &expected, sizeof expected), 0);
}

TEST_F(tcamv6_state_test, init_of_a_compressed_instance_keeps_all_its_contents_and_reports_was_reset_0) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  std::vector<unsigned char> before(sizeof *state);
  std::memcpy(before.data(), state, sizeof *state);
  ASSERT_EQ(tcamv6_init(state, &conf, &was_reset), TM_OK);
  EXPECT_EQ(was_reset, 0);
  EXPECT_EQ(std::memcmp(state, before.data(), before.size()), 0);
}

TEST_F(tcamv6_state_test, only_the_value_1_keeps_an_instance) {
  for (const int32_t value : {2, -1, 0x100}) {
    state->opt_done = value;
    EXPECT_EQ(tcamv6_init_opt_done(state), TM_ENOENT) << value;
    ASSERT_EQ(tcamv6_init(state, &conf, &was_reset), TM_OK);
    EXPECT_EQ(was_reset, 1) << value;
    EXPECT_EQ(state->opt_done, 0) << value;
  }
}

TEST_F(tcamv6_state_test, init_with_a_null_pointer_is_refused_and_changes_nothing) {
  state->opt_done = 5;
  EXPECT_EQ(tcamv6_init(nullptr, &conf, &was_reset), TM_EINVAL);
  EXPECT_EQ(tcamv6_init(state, nullptr, &was_reset), TM_EINVAL);
  EXPECT_EQ(tcamv6_init(state, &conf, nullptr), TM_EINVAL);
  EXPECT_EQ(was_reset, 99);
  EXPECT_EQ(state->opt_done, 5);
  state->opt_done = 0;
}

TEST_F(tcamv6_state_test, init_opt_done_is_minus_2_when_fresh_and_0_after_a_successful_compression) {
  EXPECT_EQ(tcamv6_init_opt_done(state), TM_ENOENT);
  ASSERT_EQ(compress(nested_records(65)).result, TM_EOVERFLOW);
  EXPECT_EQ(tcamv6_init_opt_done(state), TM_ENOENT) << "a failure is no compression";
  ASSERT_EQ(compress(nested_records(64)).result, TM_OK);
  EXPECT_EQ(tcamv6_init_opt_done(state), TM_OK);
  EXPECT_EQ(tcamv6_init_opt_done(nullptr), TM_EINVAL);
}

TEST_F(tcamv6_state_test, messages_of_init_are_gated_by_trace_and_info) {
  tcamv6_debug_flags = {1, 1, 0, 0, 0, 0};
  tcamv6_init(state, &conf, &was_reset);
  tcamv6_init(nullptr, &conf, &was_reset);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   "tcamv6_init: Starting handlep <ptr>, confp <ptr> ",
                                   "tcamv6_init_opt_done: Starting state_hndl <ptr>",
                                   "tcamv6_init_opt_done: Complete -2",
                                   "tcamv6_init: Complete 0",
                                   "tcamv6_init: Starting handlep <ptr>, confp <ptr> ",
                                   "tcamv6_init: Bad arguments",
                                   "tcamv6_init: Complete -22",
                               }));
  test_host::clear_log();
  only_info();
  tcamv6_init(nullptr, &conf, &was_reset);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_init: Bad arguments"});
  test_host::clear_log();
  only_error();
  tcamv6_init(nullptr, &conf, &was_reset);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tcamv6_state_test, messages_of_init_opt_done_are_gated_by_trace_and_info) {
  tcamv6_debug_flags = {1, 1, 0, 0, 0, 0};
  tcamv6_init_opt_done(nullptr);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{"tcamv6_init_opt_done: Starting state_hndl <ptr>",
                                      "tcamv6_init_opt_done: Bad arguments", "tcamv6_init_opt_done: Complete -22"}));
  test_host::clear_log();
  only_error();
  tcamv6_init_opt_done(nullptr);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tcamv6_state_test, every_message_is_one_call_and_its_line_end_another) {
  only_info();
  tcamv6_init_opt_done(nullptr);
  EXPECT_EQ(test_host::log_calls(), (std::vector<std::string>{"tcamv6_init_opt_done: Bad arguments", "\n"}));
}

TEST_F(tcamv6_state_test, state_can_be_used_as_an_update_list) {
  auto *list = reinterpret_cast<tm_incr_update_list *>(state);
  list->entries[0].length = 7;
  list->entries[31999].length = 9;
  list->count = 11;
  list->n_insert = 13;
  EXPECT_EQ(state->entries[0].length, 7);
  EXPECT_EQ(state->entries[31999].length, 9);
  EXPECT_EQ(state->count, 11u);
  EXPECT_EQ(state->n_insert, 13u);
}
