// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "progress_note.h"

namespace {

using namespace v6tool;

std::string line_of(const progress_state &state) {
  char out[progress_line_bytes];
  return {out, progress_line(state, out)};
}

TEST(ProgressLine, WithoutStepsItCountsSeconds) {
  EXPECT_EQ(line_of({"reading", 0, 0, 999, 80}), "v6comp: reading    0 s");
  EXPECT_EQ(line_of({"reading", 0, 0, 12345678, 80}), "v6comp: reading 12345 s");
}

TEST(ProgressLine, WithStepsItShowsRateAndRest) {
  EXPECT_EQ(line_of({"updating", 1000, 250, 2000, 80}),
            "v6comp: updating [=====>              ]  25%,  250 of 1000, 125/s, 0:06 left");
  EXPECT_EQ(line_of({"updating", 10, 10, 1000, 80}),
            "v6comp: updating [====================] 100%, 10 of 10, 10/s, 0:00 left");
  EXPECT_EQ(line_of({"updating", 10, 0, 1000, 80}), "v6comp: updating [>                   ]   0%,  0 of 10, 0/s");
  EXPECT_EQ(line_of({"updating", 10, 1, 60000, 80}),
            "v6comp: updating [==>                 ]  10%,  1 of 10, 0/s, 9:00 left");
}

TEST(ProgressLine, NarrowTerminalsGetNoBarAndNoSecondLine) {
  EXPECT_EQ(line_of({"updating", 1000, 250, 2000, 71}), "v6comp: updating  25%,  250 of 1000, 125/s, 0:06 left");
  EXPECT_EQ(line_of({"updating", 1000, 250, 2000, 20}), "v6comp: updating  2");
  EXPECT_EQ(line_of({"updating", 1000, 250, 2000, 0}).size(), 1U);
  EXPECT_LE(line_of({std::string(500, 'x').c_str(), 1000, 250, 2000, 4000}).size(), progress_line_bytes);
}

TEST(ProgressLine, MoreThanAllIsAll) {
  EXPECT_EQ(line_of({"updating", 10, 11, 1000, 60}), "v6comp: updating 100%, 10 of 10, 10/s, 0:00 left");
}

}  // namespace
