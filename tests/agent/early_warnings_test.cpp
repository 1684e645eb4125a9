// SPDX-License-Identifier: Apache-2.0
#include "early_warnings.h"

#include "agent_fixture.h"

namespace v6agent {
namespace {

using testing::HasSubstr;
using testing::Key;
using testing::UnorderedElementsAre;

room_figures roomy() {
  room_figures figures{ZEL_V6COMP_TABLE_STATS_INIT, ZEL_V6COMP_TABLE_STATS_INIT, 800, 1000};
  figures.source.bits_needed = figures.destination.bits_needed = 56;
  for (int i = 0; i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    figures.source.pools[i] = figures.destination.pools[i] = {100, 80};
  }
  return figures;
}

TEST(EarlyWarnings, say_nothing_up_to_the_thresholds) { EXPECT_TRUE(nearly_full(roomy()).empty()); }

TEST(EarlyWarnings, name_each_thing_that_is_nearly_full) {
  room_figures figures = roomy();
  figures.source.bits_needed = 57;
  figures.destination.bits_needed = 70;
  figures.source.pools[1].in_use = 81;
  figures.source.pools[4].in_use = 100;
  figures.routes = 801;
  const auto lines = nearly_full(figures);
  EXPECT_THAT(lines, UnorderedElementsAre(Key("source"), Key("destination"), Key(pool_names[1]), Key(pool_names[4]),
                                          Key("routes")));
  EXPECT_THAT(lines.at("source"), HasSubstr("57 of 64 bits"));
  EXPECT_THAT(lines.at(pool_names[1]), HasSubstr("tree_data is nearly full, 81 of 100"));
  EXPECT_EQ(lines.at("routes"), "801 routes of at most 1000");
}

TEST(EarlyWarnings, none_keeps_another_from_being_said) {
  set_log(log_level::warning, false);
  early_warnings warnings;
  room_figures figures = roomy();
  figures.routes = 900;
  testing::internal::CaptureStderr();
  warnings.look(figures);
  figures.source.bits_needed = 60;
  warnings.look(figures);
  warnings.look(figures);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "v6compd: 900 routes of at most 1000\nv6compd: the source prefixes nest deeply: 60 of 64 bits are needed\n");
}

}  // namespace
}  // namespace v6agent
