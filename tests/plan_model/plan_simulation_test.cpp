// SPDX-License-Identifier: Apache-2.0
// Plans driven through the model: nothing gets a third answer where slots allow it, and the model would notice.
#include "plan_fixture.h"

namespace v6tool {
namespace {

simulation_result simulate(const rows &from, const rows &to, uint32_t slots, const hardware_plan &plan,
                           probing how = probing::affected) {
  return simulate_plan(from, longest_first_layout(from), to, slots, plan, how);
}

hardware_plan plan_for(const rows &from, const rows &to, uint32_t slots) {
  return make_plan(from, longest_first_layout(from), to, slots);
}

void expect_same(const simulation_result &a, const simulation_result &b) {
  EXPECT_EQ(a.third_answers, b.third_answers);
  EXPECT_EQ(a.arrived, b.arrived);
  EXPECT_EQ(a.first_fault, b.first_fault);
}

const rows hidden = {row("2001:db8::/32", 0xA), row("2001:db8::/44", 0xB)};
const rows shown = {row("2001:db8::/32", 0xC), row("2001:db8:5::/48", 0xD)};

TEST(plan_simulation, a_good_plan_arrives_without_a_third_answer) {
  const hardware_plan plan = plan_for(hidden, shown, 3);
  for (const probing how : {probing::affected, probing::all}) {
    const simulation_result result = simulate(hidden, shown, 3, plan, how);
    EXPECT_EQ(result.third_answers, 0u) << result.first_fault;
    EXPECT_EQ(result.first_fault, "");
    EXPECT_TRUE(result.arrived);
    EXPECT_EQ(result.steps, plan.writes());
    EXPECT_EQ(result.probes, 10u);
  }
}

TEST(plan_simulation, old_detail_that_goes_before_new_detail_comes_is_noticed) {
  hardware_plan plan;
  plan.steps = {{step_kind::update, 1, 0, shown[0], false},
                {step_kind::remove, 0, 0, hidden[1], false},
                {step_kind::insert, 0, 0, shown[1], false}};
  plan.layout = {1, 0};
  const simulation_result result = simulate(hidden, shown, 2, plan);
  EXPECT_EQ(result.third_answers, 2u) << "the edges of the /48 belong to the /32 for one step";
  EXPECT_TRUE(result.arrived);
}

TEST(plan_simulation, old_detail_that_goes_before_its_parent_is_up_to_date_is_noticed) {
  hardware_plan plan;
  plan.steps = {{step_kind::move, 2, 1, hidden[0], false},
                {step_kind::move, 1, 0, hidden[1], false},
                {step_kind::insert, 0, 0, shown[1], false},
                {step_kind::remove, 1, 0, hidden[1], false},
                {step_kind::update, 2, 0, shown[0], false}};
  plan.layout = {2, 0};
  const simulation_result result = simulate(hidden, shown, 3, plan);
  EXPECT_EQ(result.third_answers, 4u) << "the edges of the /44 and the neighbours of the /48 fall back on the old /32";
  EXPECT_TRUE(result.arrived);
}

TEST(plan_simulation, a_remove_before_its_time_is_noticed) {
  const rows from = {row("2001:db8::/32", 1)};
  const rows to = {row("2001:db8::/33", 2), row("2001:db8:8000::/33", 3)};
  const hardware_plan plan = plan_for(from, to, 2);
  ASSERT_EQ(plan.early_removes, 1u);
  for (const probing how : {probing::affected, probing::all}) {
    const simulation_result result = simulate(from, to, 2, plan, how);
    EXPECT_EQ(result.third_answers, 2u) << "the first and the last address of the second /33, for one step";
    EXPECT_EQ(result.first_fault,
              "step 3 (remove 2001:db8::/32): 2001:db8:8000:: gets no match, old 0x0000000000000001, new "
              "0x0000000000000003");
    EXPECT_TRUE(result.arrived);
  }
}

TEST(plan_simulation, a_plan_that_stops_short_does_not_arrive) {
  hardware_plan plan = plan_for(hidden, shown, 3);
  plan.steps.pop_back();
  EXPECT_FALSE(simulate(hidden, shown, 3, plan).arrived);
}

TEST(plan_simulation, a_wrong_result_is_noticed) {
  hardware_plan plan = plan_for(hidden, shown, 3);
  plan.steps.back().kind = step_kind::insert;
  plan.steps.back().row.result = 0xEE;
  const simulation_result result = simulate(hidden, shown, 3, plan);
  EXPECT_GT(result.third_answers, 0u);
  EXPECT_FALSE(result.arrived);
}

TEST(plan_simulation, an_entry_behind_its_ancestor_is_noticed) {
  const rows to = {row("2001:db8::/32", 1), row("2001:db8:1::/48", 2)};
  hardware_plan plan;
  plan.steps = {{step_kind::insert, 0, 0, to[0], false}, {step_kind::insert, 1, 0, to[1], false}};
  plan.layout = {0, 1};
  const simulation_result result = simulate({}, to, 2, plan);
  EXPECT_EQ(result.third_answers, 4u) << "both edges of the /48, after both steps";
  EXPECT_FALSE(result.arrived);
}

TEST(plan_simulation, random_tables_are_changed_without_a_third_answer) {
  std::mt19937 random(11);
  for (int round = 0; round < 1500; ++round) {
    const unsigned bits = 3 + static_cast<unsigned>(random() % 6);
    const rows from = random_table(random, 24, bits);
    const rows to = round % 2 == 0 ? changed(random, from, bits) : random_table(random, 24, bits);
    const auto slots = static_cast<uint32_t>(from.size() + to.size());
    const hardware_plan plan = plan_for(from, to, slots);
    EXPECT_EQ(plan.early_removes, 0u);
    const simulation_result result = simulate(from, to, slots, plan, probing::all);
    ASSERT_EQ(result.third_answers, 0u) << "round " << round << ": " << result.first_fault;
    ASSERT_TRUE(result.arrived) << "round " << round;
    expect_same(simulate(from, to, slots, plan), result);
    EXPECT_EQ(plan.inserts + plan.unchanged + plan.updates, to.size());
    EXPECT_EQ(plan.removes + plan.unchanged + plan.updates, from.size());
    EXPECT_EQ(plan.writes(), plan.inserts + plan.removes + plan.updates + plan.moves);
  }
}

TEST(plan_simulation, the_peak_that_a_plan_reports_is_enough_for_it) {
  std::mt19937 random(12);
  for (int round = 0; round < 500; ++round) {
    const rows from = random_table(random, 20, 6);
    const rows to = changed(random, from, 6);
    const uint32_t slots = plan_for(from, to, 100).peak_slots;
    const hardware_plan plan = plan_for(from, to, slots);
    ASSERT_EQ(plan.early_removes, 0u);
    const simulation_result result = simulate(from, to, slots, plan, probing::all);
    ASSERT_EQ(result.third_answers, 0u) << result.first_fault;
    ASSERT_TRUE(result.arrived);
  }
}

TEST(plan_simulation, tables_that_just_fit_arrive_and_only_early_removes_cause_third_answers) {
  std::mt19937 random(13);
  uint32_t with_early = 0;
  for (int round = 0; round < 1000; ++round) {
    const rows from = random_table(random, 20, 5);
    const rows to = random_table(random, 20, 5);
    const auto slots = static_cast<uint32_t>(std::max(from.size(), to.size()));
    const hardware_plan plan = plan_for(from, to, slots);
    const simulation_result result = simulate(from, to, slots, plan, probing::all);
    ASSERT_TRUE(result.arrived) << "round " << round;
    expect_same(simulate(from, to, slots, plan), result);
    with_early += plan.early_removes != 0 ? 1 : 0;
    if (plan.early_removes == 0) {
      ASSERT_EQ(result.third_answers, 0u) << result.first_fault;
    }
  }
  EXPECT_GT(with_early, 50u);
}

TEST(plan_simulation, a_plan_follows_on_from_the_layout_that_the_last_one_left) {
  std::mt19937 random(14);
  rows from = random_table(random, 40, 8);
  std::vector<uint32_t> layout = longest_first_layout(from);
  for (int round = 0; round < 300; ++round) {
    const rows to = changed(random, from, 8);
    const hardware_plan plan = make_plan(from, layout, to, 160);
    const simulation_result result = simulate_plan(from, layout, to, 160, plan);
    ASSERT_EQ(result.third_answers, 0u) << result.first_fault;
    ASSERT_TRUE(result.arrived);
    from = to;
    layout = plan.layout;
  }
}

TEST(plan_simulation, thousands_of_rows_and_hundreds_of_steps_are_probed_in_moments) {
  std::mt19937 random(15);
  std::map<ip_prefix, uint64_t> table = {{ip_prefix{}, 99}};
  while (table.size() < 4000) {
    const auto length = static_cast<uint8_t>(random() % 4 == 0 ? 32 + random() % 17 : 48);
    table[{masked({0x2001000000000000 + (uint64_t{random() % 6000} << 16), 0}, length), length}] = random();
  }
  rows from;
  rows to;
  for (const auto &[prefix, result] : table) {
    const uint32_t fate = static_cast<uint32_t>(random() % 20);
    if (fate != 0) {
      from.push_back({prefix, result});
    }
    if (fate != 1) {
      to.push_back({prefix, fate == 2 ? result + 1 : result});
    }
  }
  const hardware_plan plan = plan_for(from, to, 5000);
  EXPECT_GT(plan.writes(), 300u);
  const simulation_result result = simulate(from, to, 5000, plan);
  EXPECT_EQ(result.third_answers, 0u) << result.first_fault;
  EXPECT_TRUE(result.arrived);
  EXPECT_LT(result.looked_up, uint64_t{result.probes} * 40) << "not every probe after every step";
}

}  // namespace
}  // namespace v6tool
