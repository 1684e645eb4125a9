// SPDX-License-Identifier: Apache-2.0
// What failed work leaves behind: counted as allocated until the next request or reset, and then given back.
#include "tcamv6_leftovers.h"

#include "incr_fixture.h"
#include "tcamv6_incr_add.h"
#include "tcamv6_state_internal.h"

namespace {

class tcamv6_leftovers_test : public incr_test {
 protected:
  // A table, and what is added to it in each of the cases that make elements.
  struct added_case {
    const char *name;
    const char *table;
    const char *addition;
  };

  static constexpr added_case cases[] = {
      {"below a leaf", "2001:db8::/32 2001:db9::/32", "+2001:db8:1::/48"},
      {"beside others", "2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48", "+2001:db8:3::/48"},
      {"above others", "2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36", "+2001:db8:1::/48"},
      {"a host route", "2001:db8::/32", "+2001:db8::1/128"},
  };

  static uint32_t refused() {
    uint32_t sum = 0;
    for (const tm_chunk_info &type : gbl_state->chunk_info) {
      sum += type.failed;
    }
    return sum;
  }

  // The instance's bytes without the counts that a failed addition moves in compatible mode.
  std::vector<uint8_t> image_with(uint32_t n_prefs, uint32_t tags) {
    const uint32_t kept[] = {state->n_prefs, tags_so_far};
    state->n_prefs = n_prefs;
    tags_so_far = tags;
    std::vector<uint8_t> image = image_of(state);
    state->n_prefs = kept[0];
    tags_so_far = kept[1];
    return image;
  }

  size_t nodes_of(const tm_util_trie_node *node) const {
    return node == nullptr ? 0 : 1 + nodes_of(tm_trie_child(node, 0)) + nodes_of(tm_trie_child(node, 1));
  }
};

}  // namespace

TEST_F(tcamv6_leftovers_test, failed_addition_gives_all_back_at_the_next_request_whichever_element_was_refused) {
  for (const added_case &c : cases) {
    size_t refusals = 0;
    for (uint64_t k = 1;; ++k) {
      compress(c.table);
      const uint32_t n_prefs = state->n_prefs;
      const uint32_t tags = tags_so_far;
      const uint32_t had = allocated();
      const std::vector<uint8_t> before = image_of(state);
      const uint32_t refused_before = refused();
      test_host::fail_pool_element(k);
      const batch_answer answer = run(c.addition);
      test_host::fail_pool_element(0);
      if (refused() == refused_before) {
        ASSERT_EQ(answer.result, 0);
        break;
      }
      ++refusals;
      if (answer.result == 0) {
        continue;  // the path found another place
      }
      EXPECT_GE(allocated(), had) << c.name << ' ' << k;
      tcamv6_reclaim_leftovers();  // as the next request does
      EXPECT_EQ(allocated(), had) << c.name << ' ' << k;
      EXPECT_TRUE(image_with(n_prefs, tags) == before) << c.name << ' ' << k;
    }
    EXPECT_GT(refusals, 15u) << c.name;
  }
}

TEST_F(tcamv6_leftovers_test, failed_addition_leaves_no_chain_in_the_trie_of_uncompressed_prefixes) {
  for (uint64_t k = 1; k <= 16; ++k) {
    compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48");
    const size_t nodes = nodes_of(tm_trie_node(state->orig_root));
    tcamv6_prefix record = record_of("+2001:db8:8000::/48");
    tcamv6_cmpr_pref slot = {};
    int32_t changed = 0;
    // The path of the compressed trie comes first, then those of the uncompressed one.
    test_host::fail_pool_element(4 + k, "TM_V6_TRIE_NODE");
    const tcamv6_update_rules compatible = {};
    tcamv6_incr_add_prefix(state, &compatible, &record, &slot, &changed);
    test_host::fail_pool_element(0);
    if (stored("2001:db8:8000::/48") == nullptr) {
      EXPECT_EQ(nodes_of(tm_trie_node(state->orig_root)), nodes) << k;
    }
    // Had a chain stayed, the undo would take the enclosing prefix for one with longer prefixes.
    EXPECT_EQ(run("-2001:db8:1::/48 -2001:db8:2::/48 -2001:db8::/32").result, 0);
  }
}

TEST_F(tcamv6_leftovers_test, statistics_show_leftovers_as_allocated_until_the_next_request) {
  ASSERT_EQ(request("+2001:db8::/32 +2001:db8:1::/48"), 0u);
  const uint32_t had = allocated();
  const uint32_t n_prefs = state->n_prefs;
  test_host::fail_pool_element(1, "TM_V6_ORIG_DATA");
  ASSERT_EQ(request("+2001:db8:2::/48"), 14u);
  EXPECT_EQ(allocated(), had + 2) << "a node and its data";
  EXPECT_EQ(gbl_state->chunk_info[TM_V6_ANC_DATA].mallocs,
            gbl_state->chunk_info[TM_V6_ANC_DATA].frees + gbl_state->chunk_info[TM_V6_ANC_DATA].allocated);
  // A request that is not accepted gives nothing back.
  v6comp_pref_info refused_request = {9, 9, 0};
  EXPECT_EQ(zel_v6comp_prefix_compress(&refused_request), 22u);
  EXPECT_EQ(allocated(), had + 2);
  state->n_prefs = n_prefs;
  ASSERT_EQ(request(""), 0u);
  EXPECT_EQ(allocated(), had);
}

TEST_F(tcamv6_leftovers_test, request_of_any_instance_and_a_reset_give_leftovers_back) {
  for (const bool by_reset : {true, false}) {
    zel_v6comp_reset_instance(0, 0);
    ASSERT_EQ(request("+2001:db8::/32 +2001:db8:1::/48"), 0u);
    const uint32_t had = allocated();
    test_host::fail_pool_element(1, "TM_V6_ORIG_DATA");
    ASSERT_EQ(request("+2001:db8:2::/48"), 14u);
    ASSERT_GT(allocated(), had);
    if (by_reset) {
      ASSERT_EQ(zel_v6comp_reset_instance(3, 1), 0u);
      EXPECT_EQ(allocated(), had);
    } else {
      v6comp_pref_info other = {2, 1, 0};
      ASSERT_EQ(zel_v6comp_prefix_compress(&other), 0u);
      tcamv6_state *state_of_other = zel_v6comp_instance(2, 1);
      ASSERT_EQ(tcamv6_reset(&state_of_other, 0), 0);
      EXPECT_EQ(allocated(), had);
    }
  }
}

TEST_F(tcamv6_leftovers_test, left_path_that_became_part_of_another_key_stays) {
  // A partial path is left below ::/0; then a prefix takes the place and goes on below it.
  compress("");
  test_host::fail_pool_element(20, "TM_V6_TRIE_NODE");
  ASSERT_EQ(run("+2001:db8::/32").result, -28) << "the dummy's path was not made whole";
  ASSERT_NE(cmpr_at("0000"), nullptr);
  tm_util_trie_node *left = cmpr_at("0000");
  left->owners = 1;
  tcamv6_reclaim_leftovers();
  EXPECT_EQ(cmpr_at("0000"), left);
  EXPECT_EQ(cmpr_at("00000"), nullptr) << "from the deepest up, to the first that is owned";
  left->owners = 0;
}

TEST_F(tcamv6_leftovers_test, reclaiming_twice_gives_back_once) {
  compress("2001:db8::/32 2001:db8:1::/48");
  test_host::fail_pool_element(1, "TM_V6_ORIG_DATA");
  run("+2001:db8:2::/48");
  tcamv6_reclaim_leftovers();
  const uint32_t after = allocated();
  tcamv6_reclaim_leftovers();
  EXPECT_EQ(allocated(), after);
}

TEST_F(tcamv6_leftovers_test, pools_that_are_empty_again_and_again_lose_nothing) {
  // Batches on exhausted pools fail over and over; whatever they leave is there again for the next.
  std::mt19937_64 random(3);
  for (int round = 0; round < 300; ++round) {
    zel_v6comp_reset_instance(0, 0);
    ASSERT_EQ(request("+2001:db8::/32 +2001:db8:1::/48 +2001:db8:8000::/33"), 0u);
    for (int turn = 0; turn < 5; ++turn) {
      std::string batch;
      for (int i = 0; i < 4; ++i) {
        batch += (random() % 3 != 0 ? " +2001:db8:" : " -2001:db8:") + std::to_string(random() % 6) + "000::/" +
                 std::to_string(34 + random() % 20);
      }
      test_host::fail_pool_element(1 + random() % 60);
      request(batch);
      test_host::fail_pool_element(0);
    }
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    ASSERT_EQ(test_host::pool_used(), 0u) << round;
  }
}
