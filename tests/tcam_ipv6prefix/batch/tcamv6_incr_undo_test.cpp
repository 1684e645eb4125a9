// SPDX-License-Identifier: Apache-2.0
// What the undo of a refused batch restores in compatible mode, and what it does not: each case is one that a host can
// meet.
#include "incr_fixture.h"

using ::testing::ElementsAre;

namespace {

class tcamv6_incr_undo_test : public incr_test {
 protected:
  // The batch, refused at its end.
  int32_t refuse(const std::string &batch) { return run(batch + " -::/0*60000").result; }
};

}  // namespace

TEST_F(tcamv6_incr_undo_test, additions_refused_at_every_index_leave_keys_addresses_and_sums_as_they_were) {
  const std::vector<tcamv6_prefix> batch = records_of(
      "+2001:db8:4::/48 +2001:db8::/32*3 +2001:db8:1:1::/64 +2001:db8:8000::/33 +2001:dbb::/40 +2001:dbb::/41 "
      "+2001:db8:1::/40 +2001:dbb::/40*2");
  const tcamv6_prefix too_much = record_of("-::/0*60000");
  for (size_t k = 0; k <= batch.size(); ++k) {
    compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48 2001:db9::/32");
    const std::vector<table_row_text> before = table_of(state);
    const uint32_t n_prefs = state->n_prefs;
    std::vector<tcamv6_prefix> part(batch.begin(), batch.begin() + static_cast<long>(k));
    part.push_back(too_much);
    part.insert(part.end(), batch.begin() + static_cast<long>(k), batch.end());
    EXPECT_NE(run(part).result, 0);
    EXPECT_EQ(table_of(state), before) << "refused at " << k;
    EXPECT_EQ(state->n_prefs, n_prefs);
  }
}

TEST_F(tcamv6_incr_undo_test, references_taken_and_given_are_restored_exactly) {
  compress("2001:db8::/32*5@2 2001:db9::/32*3 2001:dba::/32");
  const std::vector<table_row_text> before = table_of(state);
  EXPECT_EQ(refuse("-2001:db8::/32*2@1 +2001:db9::/32*4@4 -2001:db9::/32 +2001:dba::/32*9"), -22);
  EXPECT_EQ(table_of(state), before);
}

TEST_F(tcamv6_incr_undo_test, deleted_prefix_comes_back_with_its_sums_but_a_key_of_its_own_and_no_handle) {
  compress("2001:db8::/32 2001:db8:1::/48*4 2001:db8:2::/48");
  const tcamv6_prefix record = record_of("2001:db8:1::/48");
  ASSERT_EQ(tcamv6_prefix_handle_attach(state, &record, 4711), 0);
  const std::string had = code("2001:db8:1::/48");
  EXPECT_EQ(refuse("-2001:db8:1::/48*4"), -22);
  ASSERT_NE(stored("2001:db8:1::/48"), nullptr);
  EXPECT_EQ(stored("2001:db8:1::/48")->aux1, 4);
  EXPECT_NE(code("2001:db8:1::/48"), had);
  uint32_t handle = 99;
  ASSERT_EQ(tcamv6_prefix_handle_query(state, &record, &handle), 0);
  EXPECT_EQ(handle, 0u);
}

TEST_F(tcamv6_incr_undo_test, delete_of_an_absent_prefix_is_undone_as_an_addition) {
  compress("2001:db8::/32");
  EXPECT_EQ(refuse("-2001:dba::/32*7"), -22);
  ASSERT_NE(stored("2001:dba::/32"), nullptr) << "nobody ever added it";
  EXPECT_EQ(stored("2001:dba::/32")->aux1, 7);
  EXPECT_EQ(state->n_prefs, 3u);
}

TEST_F(tcamv6_incr_undo_test, undone_delete_that_finds_no_room_loses_the_prefix) {
  compress("2001:db8::/32 2001:db8:8000::/36 2001:db8:9000::/36");
  ASSERT_NE(stored("2001:db8:9000::/36"), nullptr);
  state->max_cmpr_len = cmpr_node("2001:db8::/32")->len;
  only({&tcamv6_debug_flags_t::error});
  EXPECT_EQ(refuse("-2001:db8:9000::/36"), -22);
  const std::vector<std::string> printed = lines();
  EXPECT_EQ(stored("2001:db8:9000::/36"), nullptr);
  EXPECT_EQ(state->n_prefs, 3u);
  EXPECT_THAT(printed, ::testing::IsSupersetOf({"tcamv6_incr_compress_fail_cleanup ends -28 total 3 prefixes",
                                                "tcamv6_incr_compress: tcamv6_incr_compress_fail_cleanup failed"}));
}

TEST_F(tcamv6_incr_undo_test, undo_that_is_refused_is_undone_in_its_turn_and_leaves_its_first_part_out) {
  compress("2001:db8::/32 2001:db8:8000::/36 2001:db9::/32 2001:dba::/32*2");
  state->max_cmpr_len = cmpr_node("2001:db8::/32")->len;
  only({&tcamv6_debug_flags_t::error});
  // Undone: the reference to dba, then the /36, which finds no room; then the reference is taken again.
  EXPECT_EQ(refuse("-2001:dba::/32 -2001:db8:8000::/36"), -22);
  EXPECT_EQ(stored("2001:db8:8000::/36"), nullptr);
  EXPECT_EQ(stored("2001:dba::/32")->aux1, 1);
  size_t starts = 0;
  for (const std::string &line : lines()) {
    starts += line.find("fail_cleanup starts") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(starts, 2u);
}

TEST_F(tcamv6_incr_undo_test, undone_addition_leaves_its_parents_dummy_and_a_new_order_of_children) {
  compress("2001:db8::/32");
  EXPECT_EQ(refuse("+2001:db8:1::/48"), -22);
  EXPECT_THAT(children("2001:db8::/32"), ElementsAre("dummy"));
  compress("2001:db8::/32 2001:db8:1:1::/64 2001:db8:8000::/36");
  const std::vector<std::string> before = children("2001:db8::/32");
  EXPECT_EQ(refuse("+2001:db8:1::/48"), -22);
  EXPECT_NE(children("2001:db8::/32"), before);
  EXPECT_THAT(children("2001:db8::/32"), ::testing::UnorderedElementsAreArray(before));
}

TEST_F(tcamv6_incr_undo_test, undone_level_on_a_shared_node_takes_the_other_owners_tag) {
  compress("2001:db8::/32");
  ASSERT_EQ(run("+2001:db8:8800::/44").result, 0);
  ASSERT_EQ(cmpr_node("2001:db8:8800::/44")->tag, 1u);
  EXPECT_EQ(refuse("+2001:db8:8000::/36"), -22);
  EXPECT_EQ(cmpr_node("2001:db8:8800::/44")->tag, 0u) << "its node is open to other paths from now on";
  EXPECT_EQ(cmpr_node("2001:db8:8800::/44")->owners, 1u);
}

TEST_F(tcamv6_incr_undo_test, delete_of_an_absent_prefix_takes_its_anchors_and_undo_gives_them_back) {
  ASSERT_EQ(request("+2001:db8::/32 +2001:db9::/32"), 0u);
  const std::vector<table_row_text> before = table_of(state);
  EXPECT_EQ(request("-2001:db8:1::/48 -::/0*60000"), 22u);
  EXPECT_NE(stored("2001:db8::/32"), nullptr);
  EXPECT_NE(stored("2001:db8:1::/48"), nullptr) << "but the absent prefix is stored now";
  EXPECT_NE(table_of(state), before);
}

TEST_F(tcamv6_incr_undo_test, addition_that_fails_for_want_of_elements_is_counted_all_the_same) {
  // Its paths are taken back, which counts as success; only the search for it afterwards tells.
  compress("2001:db8::/32");
  const std::vector<table_row_text> before = table_of(state);
  test_host::fail_pool_element(1, "TM_V6_ORIG_DATA");
  only({&tcamv6_debug_flags_t::error});
  EXPECT_EQ(run("+2001:db8:1::/48").result, -14);
  EXPECT_THAT(lines(), ElementsAre("tcamv6_incr_compress: Error - inserted prefix not found in original trie len 48, "
                                   "node PTR"));
  EXPECT_EQ(table_of(state), before);
  EXPECT_EQ(state->n_prefs, 3u) << "one more than there are, until the next full compression";
  EXPECT_EQ(run("").walk_result, 2u);
}
