// SPDX-License-Identifier: Apache-2.0
#include "fit_growth.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace v6tool;

TEST(FitGrowth, IsThatOfALineThroughThePoints) {
  EXPECT_DOUBLE_EQ(*growth_per_change(std::vector<growth_point>{{0, 5}, {10, 25}}), 2);
  EXPECT_DOUBLE_EQ(*growth_per_change(std::vector<growth_point>{{0, 1}, {1, 2}, {2, 3}, {3, 4}}), 1);
  EXPECT_DOUBLE_EQ(*growth_per_change(std::vector<growth_point>{{0, 7}, {5, 7}, {9, 7}}), 0);
  EXPECT_LT(*growth_per_change(std::vector<growth_point>{{0, 7}, {5, 6}, {9, 6}}), 0);
  // Least squares by hand: means 1 and 2, products 0 + 0 + 2, squares 1 + 0 + 1.
  EXPECT_DOUBLE_EQ(*growth_per_change(std::vector<growth_point>{{0, 2}, {1, 0}, {2, 4}}), 1);
}

TEST(FitGrowth, NeedsTwoPlaces) {
  EXPECT_FALSE(growth_per_change({}));
  EXPECT_FALSE(growth_per_change(std::vector<growth_point>{{3, 5}}));
  EXPECT_FALSE(growth_per_change(std::vector<growth_point>{{3, 5}, {3, 6}}));
}

TEST(FitGrowth, ReachesALimitOrNever) {
  EXPECT_EQ(changes_until(10, 64, 0.5), 108U);
  EXPECT_EQ(changes_until(10, 64, 50), 1U);
  EXPECT_EQ(changes_until(64, 64, 0), 0U);
  EXPECT_EQ(changes_until(65, 64, -1), 0U);
  EXPECT_EQ(changes_until(10, 64, 0), std::nullopt);
  EXPECT_EQ(changes_until(10, 64, -0.1), std::nullopt);
  EXPECT_EQ(changes_until(10, 64, 1e-12), std::nullopt);
}

}  // namespace
