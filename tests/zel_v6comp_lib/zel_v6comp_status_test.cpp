// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_status_test.cpp - statuses in words, and the version in numbers.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "zel_v6comp.h"

namespace {

TEST(StatusText, EveryStatusHasItsOwnLine) {
  const uint32_t statuses[] = {ZEL_V6COMP_OK,          ZEL_V6COMP_E_TOO_DEEP,     ZEL_V6COMP_E_NO_LEVEL,
                               ZEL_V6COMP_E_NO_MEMORY, ZEL_V6COMP_E_LIMITS,       ZEL_V6COMP_E_ARGUMENT,
                               ZEL_V6COMP_E_NO_ROOM,   ZEL_V6COMP_E_TOO_MANY_BITS};
  std::set<std::string> texts;
  for (const uint32_t status : statuses) {
    const std::string text = zel_v6comp_status_text(status);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_NE(text, "unknown status") << status;
    texts.insert(text);
  }
  EXPECT_EQ(texts.size(), std::size(statuses));
}

TEST(StatusText, OtherNumbersAreUnknown) {
  for (const uint32_t status : {3U, 17U, 74U, 76U, 0xFFFFFFF4U, 0xFFFFFFFFU}) {
    EXPECT_STREQ(zel_v6comp_status_text(status), "unknown status") << status;
  }
}

TEST(StatusText, NamesAreTheNegatedResultsOfTheEngine) {
  EXPECT_EQ(-TM_ENOENT, ZEL_V6COMP_E_NO_LEVEL);
  EXPECT_EQ(-TM_ENOMEM, ZEL_V6COMP_E_NO_MEMORY);
  EXPECT_EQ(-TM_EFAULT, ZEL_V6COMP_E_LIMITS);
  EXPECT_EQ(-TM_EINVAL, ZEL_V6COMP_E_ARGUMENT);
  EXPECT_EQ(-TM_ENOSPC, ZEL_V6COMP_E_NO_ROOM);
  EXPECT_EQ(-TM_EOVERFLOW, ZEL_V6COMP_E_TOO_MANY_BITS);
}

TEST(Version, TextAndNumberSayTheSame) {
  const std::string text = std::to_string(ZEL_V6COMP_VERSION_MAJOR) + "." + std::to_string(ZEL_V6COMP_VERSION_MINOR) +
                           "." + std::to_string(ZEL_V6COMP_VERSION_PATCH);
  EXPECT_EQ(text, ZEL_V6COMP_VERSION_STRING);
  EXPECT_EQ(text, zel_v6comp_version());
  EXPECT_EQ(ZEL_V6COMP_VERSION_NUMBER,
            ZEL_V6COMP_VERSION_MAJOR * 10000 + ZEL_V6COMP_VERSION_MINOR * 100 + ZEL_V6COMP_VERSION_PATCH);
}

}  // namespace
