// SPDX-License-Identifier: Apache-2.0
// Plans: order of the steps, slots, moves, counts.
#include "plan_fixture.h"

namespace v6tool {
namespace {

using texts = std::vector<std::string>;

hardware_plan plan_for(const rows &from, const rows &to, uint32_t slots) {
  EXPECT_EQ(plan_problem(from, to, slots), "");
  return make_plan(from, longest_first_layout(from), to, slots);
}

TEST(plan, equal_tables_need_no_write) {
  const rows table = {row("2001:db8::/32", 1), row("::/0", 2)};
  const hardware_plan plan = plan_for(table, table, 2);
  EXPECT_TRUE(plan.steps.empty());
  EXPECT_EQ(plan.unchanged, 2u);
  EXPECT_EQ(plan.layout, (std::vector<uint32_t>{0, 1}));
}

TEST(plan, an_empty_table_is_filled_from_the_longest_prefix_of_a_chain_up) {
  const hardware_plan plan = plan_for({}, {row("::/0", 1), row("2001::/16", 2), row("2001:db8::/32", 3)}, 8);
  EXPECT_EQ(texts_of(plan), (texts{"insert 2001:db8::/32 at 0", "insert 2001::/16 at 1", "insert ::/0 at 2"}));
  EXPECT_EQ(plan.inserts, 3u);
  EXPECT_EQ(plan.peak_slots, 3u);
}

TEST(plan, a_table_is_emptied_from_the_shortest_prefix_of_a_chain_down) {
  const hardware_plan plan = plan_for({row("::/0", 1), row("2001::/16", 2), row("2001:db8::/32", 3)}, {}, 8);
  EXPECT_EQ(texts_of(plan), (texts{"remove ::/0 at 2", "remove 2001::/16 at 1", "remove 2001:db8::/32 at 0"}));
  EXPECT_EQ(plan.removes, 3u);
}

TEST(plan, a_changed_result_is_one_update_in_place) {
  const hardware_plan plan = plan_for({row("2001:db8::/32", 1)}, {row("2001:db8::/32", 7)}, 1);
  EXPECT_EQ(texts_of(plan), (texts{"update 2001:db8::/32 at 0"}));
  EXPECT_EQ(plan.steps[0].row.result, 7u);
  EXPECT_EQ(plan.updates, 1u);
}

TEST(plan, new_detail_comes_first_and_old_detail_goes_last) {
  const rows from = {row("2001:db8::/32", 0xA), row("2001:db8::/44", 0xB)};
  const rows to = {row("2001:db8::/32", 0xC), row("2001:db8:5::/48", 0xD)};
  const hardware_plan plan = plan_for(from, to, 3);
  EXPECT_EQ(texts_of(plan),
            (texts{"update 2001:db8::/32 at 1", "move 2001:db8::/32 from 1 to 2", "move 2001:db8::/44 from 0 to 1",
                   "insert 2001:db8:5::/48 at 0", "remove 2001:db8::/44 at 1"}));
  EXPECT_EQ(plan.moves, 2u);
  EXPECT_EQ(plan.early_removes, 0u);
}

TEST(plan, an_entry_is_moved_with_the_result_that_it_has_by_then) {
  const rows from = {row("2001:db8::/32", 1), row("::/0", 2)};
  const rows to = {row("2001:db8::/32", 5), row("::/0", 2), row("2001:db8:1::/48", 3), row("2001:db8:2::/48", 4)};
  const hardware_plan plan = plan_for(from, to, 4);
  for (const plan_step &step : plan.steps) {
    if (step.kind == step_kind::move && step.row.prefix.length == 32) {
      EXPECT_EQ(step.row.result, 1u) << "both inserts come before the update";
    }
  }
  EXPECT_TRUE(simulate_plan(from, longest_first_layout(from), to, 4, plan).arrived);
}

TEST(plan, an_entry_without_overlap_needs_no_move) {
  const rows from = {row("2001:db8::/32", 1), row("2001::/16", 2), row("3000::/4", 3)};
  rows to = from;
  to.push_back(row("2002::/48", 9));
  const hardware_plan plan = plan_for(from, to, 4);
  EXPECT_EQ(texts_of(plan), (texts{"insert 2002::/48 at 3"}));
}

TEST(plan, an_entry_under_a_long_chain_moves_one_ancestor_per_link_at_most) {
  const rows from = {row("::/0", 0), row("2001::/16", 1), row("2001:db8::/32", 2), row("2001:db8:1::/48", 3)};
  rows to = from;
  to.push_back(row("2001:db8:1:1::/64", 4));
  const hardware_plan plan = plan_for(from, to, 5);
  EXPECT_EQ(plan.moves, 4u);
  EXPECT_EQ(texts_of(plan).back(), "insert 2001:db8:1:1::/64 at 0");
}

TEST(plan, the_default_entry_is_moved_once_for_any_number_of_inserts) {
  const rows from = {row("2001:db8::/32", 1), row("::/0", 2)};
  rows to = from;
  for (const char *text : {"2002::/32", "2003::/32", "2004::/32", "2005::/32"}) {
    to.push_back(row(text, 3));
  }
  const hardware_plan plan = plan_for(from, to, 9);
  EXPECT_EQ(texts_of(plan)[0], "move ::/0 from 1 to 8");
  EXPECT_EQ(plan.moves, 1u);
}

TEST(plan, an_entry_that_makes_room_ahead_goes_as_far_as_its_descendants_let_it) {
  const rows from = {row("2001::/16", 1), row("2001:db8::/32", 2), row("2001:db8:1::/48", 3)};
  const std::vector<uint32_t> layout = {5, 4, 1};
  rows to = from;
  to.push_back(row("2001:d00::/24", 4));
  const hardware_plan plan = make_plan(from, layout, to, 6);
  EXPECT_EQ(texts_of(plan), (texts{"move 2001:db8::/32 from 4 to 2", "insert 2001:d00::/24 at 4"}));
}

TEST(plan, the_shorter_chain_is_moved) {
  // free slots at both ends; behind the new /48 stand three ancestors, ahead of it one descendant
  const rows from = {row("::/0", 0), row("2001::/16", 1), row("2001:db8::/32", 2), row("2001:db8:1:1::/64", 3)};
  const std::vector<uint32_t> layout = {4, 3, 2, 1};
  rows to = from;
  to.push_back(row("2001:db8:1::/48", 4));
  const hardware_plan plan = make_plan(from, layout, to, 6);
  EXPECT_EQ(texts_of(plan), (texts{"move 2001:db8:1:1::/64 from 1 to 0", "insert 2001:db8:1::/48 at 1"}));
}

TEST(plan, removes_that_free_slots_go_before_the_inserts_of_other_places) {
  const rows from = {row("2001:db8::/32", 1), row("2001:db9::/32", 2)};
  const rows to = {row("3001:db8::/32", 3), row("3001:db9::/32", 4)};
  const hardware_plan plan = plan_for(from, to, 2);
  EXPECT_EQ(plan.early_removes, 0u);
  EXPECT_EQ(plan.peak_slots, 2u);
  EXPECT_EQ(plan.writes(), 4u);
}

TEST(plan, without_a_free_slot_a_remove_comes_early_and_is_marked) {
  const rows from = {row("2001:db8::/32", 1)};
  const rows to = {row("2001:db8::/33", 2), row("2001:db8:8000::/33", 3)};
  const hardware_plan tight = plan_for(from, to, 2);
  EXPECT_EQ(texts_of(tight), (texts{"move 2001:db8::/32 from 0 to 1", "insert 2001:db8::/33 at 0",
                                    "remove 2001:db8::/32 at 1 early", "insert 2001:db8:8000::/33 at 1"}));
  EXPECT_EQ(tight.early_removes, 1u);
  const hardware_plan roomy = plan_for(from, to, 3);
  EXPECT_EQ(roomy.early_removes, 0u);
  EXPECT_EQ(roomy.peak_slots, 3u);
}

TEST(plan, a_layout_is_longest_first_then_by_address) {
  const rows table = {row("::/0", 0), row("2001:db9::/32", 0), row("2001:db8::/32", 0), row("2001:db8::/48", 0)};
  EXPECT_EQ(longest_first_layout(table), (std::vector<uint32_t>{3, 2, 1, 0}));
}

TEST(plan, tables_that_cannot_be_planned_are_named) {
  const rows one = {row("2001:db8::/32", 1)};
  const rows two = {row("2001:db8::/32", 1), row("2001:db8::/48", 1)};
  const rows twice = {row("2001:db8::/32", 1), row("2001:db8::/32", 2)};
  EXPECT_EQ(plan_problem(one, two, 2), "");
  EXPECT_EQ(plan_problem(one, two, 1), "the new table has 2 rows for 1 slots");
  EXPECT_EQ(plan_problem(two, one, 1), "the old table has 2 rows for 1 slots");
  EXPECT_EQ(plan_problem(one, twice, 9), "a prefix stands twice in the new table");
  EXPECT_EQ(plan_problem(twice, one, 9), "a prefix stands twice in the old table");
}

}  // namespace
}  // namespace v6tool
