// SPDX-License-Identifier: Apache-2.0
// The global block, its grid of instances, starting anew.
#include "zel_v6comp_fixture.h"

namespace {

const std::string function = "zel_v6comp_init_global_state: ";

// Starts nothing: each test does.
class zel_v6comp_global_test : public zel_v6comp_test {
 protected:
  void start() override {}

  static void drop() {
    if (gbl_state != nullptr) {
      zel_free_named(gbl_state);
      gbl_state = nullptr;
    }
  }
};

}  // namespace

TEST_F(zel_v6comp_global_test, two_instances_on_four_processors_succeed) {
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  ASSERT_NE(gbl_state, nullptr);
  EXPECT_EQ(test_host::heap().bytes, 8193088u);
  EXPECT_EQ(test_host::pools().size(), 5u);
  for (int32_t p = 0; p < 4; ++p) {
    for (int32_t i = 0; i < 2; ++i) {
      tcamv6_state *state = zel_v6comp_instance(p, i);
      ASSERT_EQ(state, &gbl_state->state[p][i]);
      EXPECT_EQ(state->max_pref_len, 128u);
      EXPECT_EQ(state->max_cmpr_len, 64u);
      EXPECT_EQ(gbl_state->conf[p][i].max_pref_len, 128u);
      EXPECT_EQ(gbl_state->conf[p][i].max_cmpr_len, 64u);
      EXPECT_EQ(tcamv6_init_opt_done(state), TM_ENOENT);
    }
  }
}

TEST_F(zel_v6comp_global_test, five_processors_or_three_instances_are_22_and_allocate_nothing) {
  EXPECT_EQ(zel_v6comp_init_global_state(2, 5), 22u);
  EXPECT_EQ(zel_v6comp_init_global_state(3, 4), 22u);
  EXPECT_EQ(zel_v6comp_init_global_state(3, 5), 22u);
  EXPECT_EQ(test_host::heap().allocations, 0u);
  EXPECT_TRUE(test_host::pools().empty());
  EXPECT_EQ(gbl_state, nullptr);
  EXPECT_EQ(test_host::log_lines(),
            (std::vector<std::string>{function + "ERROR: Invalid number of zels :5 ",
                                      function + "error, current v6comp lib support only 2 instances ",
                                      function + "ERROR: Invalid number of zels :5 "}))
      << "processors are checked first";
}

TEST_F(zel_v6comp_global_test, refused_counts_leave_an_earlier_start_alone) {
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  const gbl_state_block *before = gbl_state;
  EXPECT_EQ(zel_v6comp_init_global_state(2, 5), 22u);
  EXPECT_EQ(gbl_state, before);
}

TEST_F(zel_v6comp_global_test, no_or_negative_counts_make_block_and_pools_but_no_instance) {
  const int32_t counts[][2] = {{2, 0}, {2, -3}, {0, 4}, {-1, 4}, {INT32_MIN, INT32_MIN}};
  for (const auto &count : counts) {
    drop();
    test_host::reset();
    EXPECT_EQ(zel_v6comp_init_global_state(count[0], count[1]), 0u);
    ASSERT_NE(gbl_state, nullptr);
    EXPECT_EQ(test_host::pools().size(), 5u);
    for (int32_t p = 0; p < 4; ++p) {
      for (int32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(zel_v6comp_instance(p, i), nullptr);
      }
    }
  }
}

TEST_F(zel_v6comp_global_test, grid_outside_the_counts_stays_zero) {
  ASSERT_EQ(zel_v6comp_init_global_state(1, 3), 0u);
  const tcamv6_conf zero = {};
  const tcamv6_state zero_state = {};
  for (int32_t p = 0; p < 4; ++p) {
    for (int32_t i = 0; i < 2; ++i) {
      const bool inside = p < 3 && i < 1;
      EXPECT_EQ(std::memcmp(&gbl_state->conf[p][i], &zero, sizeof zero) != 0, inside) << p << ' ' << i;
      EXPECT_EQ(std::memcmp(&gbl_state->state[p][i], &zero_state, sizeof zero_state) != 0, inside) << p << ' ' << i;
    }
  }
}

TEST_F(zel_v6comp_global_test, block_that_cannot_be_had_is_12_with_its_size) {
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(zel_v6comp_init_global_state(2, 4), 12u);
  EXPECT_EQ(gbl_state, nullptr);
  EXPECT_TRUE(test_host::pools().empty());
  EXPECT_EQ(test_host::log_lines(),
            std::vector<std::string>{function + "Fatal error -- Failed allocate gbl_state, size 8193088 "});
}

TEST_F(zel_v6comp_global_test, block_refused_at_a_second_start_leaves_no_global_state) {
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  gbl_state_block *first = gbl_state;
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(zel_v6comp_init_global_state(2, 4), 12u);
  EXPECT_EQ(gbl_state, nullptr);
  EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr);
  zel_free_named(first);
}

TEST_F(zel_v6comp_global_test, pool_that_cannot_be_made_is_12_and_keeps_the_block) {
  for (uint64_t k = 1; k <= 5; ++k) {
    drop();
    test_host::reset();
    test_host::fail_pool_creation(k);
    EXPECT_EQ(zel_v6comp_init_global_state(2, 4), 12u);
    EXPECT_NE(gbl_state, nullptr);
    EXPECT_EQ(test_host::pools().size(), k - 1);
    EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr);
    EXPECT_EQ(test_host::log_lines(), std::vector<std::string>{function + "Fatal error -- Failed to init tm chunks "});
  }
}

TEST_F(zel_v6comp_global_test, environment_is_read_before_the_first_message) {
  test_host::set_environment("ZEL_V6COMP_DBG_TRACE", "1");
  ASSERT_EQ(zel_v6comp_init_global_state(1, 1), 0u);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   "tcamv6_init: Starting handlep <ptr>, confp <ptr> ",
                                   "tcamv6_init_opt_done: Starting state_hndl <ptr>",
                                   "tcamv6_init_opt_done: Complete -2",
                                   "tcamv6_init: Complete 0",
                               }));
}

TEST_F(zel_v6comp_global_test, block_is_cleared_whatever_the_allocator_gave) {
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  for (const tm_incr_update_entry &entry : gbl_state->state[3][1].entries) {
    ASSERT_EQ(entry.state, 0u);
  }
  EXPECT_EQ(gbl_chunk_info, gbl_state->chunk_info);
  EXPECT_EQ(tm_chunk_info_base(), gbl_state->chunk_info);
}

TEST_F(zel_v6comp_global_test, second_start_has_a_new_block_new_pools_and_empty_instances) {
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  gbl_state_block *first = gbl_state;
  ASSERT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u);
  ASSERT_EQ(ask(nested_records(65), 1, 1).status, 75u);
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  EXPECT_NE(gbl_state, first);
  EXPECT_EQ(test_host::pools().size(), 10u);
  EXPECT_EQ(tcamv6_init_opt_done(zel_v6comp_instance(0, 0)), TM_ENOENT);
  EXPECT_EQ(allocated(), std::vector<uint32_t>(TM_CHUNK_TYPES, 0));
  EXPECT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u) << "full again, and nothing of the old pools is given back";
  EXPECT_EQ(gbl_chunk_info[TM_V6_TRIE_NODE].frees,
            gbl_chunk_info[TM_V6_TRIE_NODE].mallocs - gbl_chunk_info[TM_V6_TRIE_NODE].allocated);
  EXPECT_EQ(test_host::pool_damage(), "");
  reset_all();
  zel_free_named(gbl_state);
  zel_free_named(first);
  gbl_state = nullptr;
  tcamv6_forget_leftovers();
  test_host::reset();  // the first pools are abandoned with what they hold
}

TEST_F(zel_v6comp_global_test, second_start_does_not_reset_the_tag_counter) {
  ASSERT_EQ(zel_v6comp_init_global_state(1, 1), 0u);
  tags_so_far = 5;
  gbl_state_block *first = gbl_state;
  ASSERT_EQ(zel_v6comp_init_global_state(1, 1), 0u);
  EXPECT_EQ(tags_so_far, 5u);
  tags_so_far = 0;
  zel_free_named(first);
}

TEST_F(zel_v6comp_global_test, instance_is_null_before_the_start_and_off_the_grid) {
  EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr);
  EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 22u);
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  const int32_t off[][2] = {{-1, 0}, {4, 0}, {0, -1}, {0, 2}, {INT32_MAX, 0}, {0, INT32_MIN}};
  for (const auto &at : off) {
    EXPECT_EQ(zel_v6comp_instance(at[0], at[1]), nullptr);
    EXPECT_EQ(zel_v6comp_reset_instance(at[0], at[1]), 22u);
  }
}

TEST_F(zel_v6comp_global_test, version_and_safe_switch) {
  EXPECT_STREQ(zel_v6comp_version(), "1.0.0");
  EXPECT_EQ(zel_v6comp_safe_updates(), 0u);
  zel_v6comp_set_safe_updates(7);
  EXPECT_EQ(zel_v6comp_safe_updates(), 1u);
  zel_v6comp_set_safe_updates(0);
  EXPECT_EQ(zel_v6comp_safe_updates(), 0u);
}
