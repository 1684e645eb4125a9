// SPDX-License-Identifier: Apache-2.0
#include "model_tcam.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace v6tool {
namespace {

constexpr ip_key address = {0x20010DB800010000, 5};

TEST(model_tcam, the_first_matching_slot_wins_even_over_a_longer_mask) {
  model_tcam tcam(4);
  tcam.write(1, {{0x2001000000000000, 0}, leading_ones(16), 7});
  tcam.write(2, {{0x20010DB800000000, 0}, leading_ones(32), 8});
  EXPECT_EQ(tcam.first_match(address), 1u);
  EXPECT_EQ(tcam.first_match(address, 2), 2u);
  tcam.invalidate(1);
  EXPECT_EQ(tcam.first_match(address), 2u);
  EXPECT_EQ(tcam.at(2)->result, 8u);
}

TEST(model_tcam, an_empty_mask_matches_everything_and_an_empty_slot_nothing) {
  model_tcam tcam(2);
  EXPECT_EQ(tcam.first_match(address), model_tcam::none);
  tcam.write(1, {});
  EXPECT_EQ(tcam.first_match(address), 1u);
}

TEST(model_tcam, bits_outside_the_mask_do_not_count_wherever_they_are) {
  model_tcam tcam(1);
  tcam.write(0, {{0, 5}, {0, 0xF}, 1});
  EXPECT_EQ(tcam.first_match(address), 0u);
  EXPECT_EQ(tcam.first_match({0, 6}), model_tcam::none);
}

TEST(model_tcam, a_slot_beyond_the_last_is_an_error) {
  model_tcam tcam(2);
  EXPECT_THROW(tcam.write(2, {}), std::out_of_range);
}

}  // namespace
}  // namespace v6tool
