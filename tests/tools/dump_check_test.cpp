// SPDX-License-Identifier: Apache-2.0
#include "dump_check.h"

#include <gtest/gtest.h>

#include "prefix_text.h"

namespace {

using namespace v6tool;

std::vector<ip_prefix> prefixes(const std::vector<std::string> &texts) {
  std::vector<ip_prefix> out(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(parse_prefix(texts[i], out[i]), "");
  }
  return out;
}

// Of a table that has the anchor 2001:db8::/32 and ::/0 beside its own prefixes.
std::string fault_of(const std::vector<std::string> &dumped) {
  prefix_table table;
  for (const ip_prefix &prefix : prefixes({"2001:db8:1::/48", "2001:db8:2::/48"})) {
    table.rows.push_back({prefix, 1, 0});
  }
  return dump_counterexample(prefixes(dumped), find_stored_prefixes(table));
}

TEST(DumpCheck, TheTableAndTheDefaultInAnyOrderAreRight) {
  EXPECT_EQ(fault_of({"2001:db8:2::/48", "2001:db8:1::/48", "::/0"}), "");
  EXPECT_EQ(fault_of({"::/0", "2001:db8:1::/48", "2001:db8:2::/48"}), "");
}

TEST(DumpCheck, MissingPrefixesAreNamed) {
  EXPECT_EQ(fault_of({"2001:db8:2::/48", "::/0"}), "2001:db8:1::/48 is missing from the rows for the hardware");
  EXPECT_EQ(fault_of({"2001:db8:1::/48", "::/0"}), "2001:db8:2::/48 is missing from the rows for the hardware");
  EXPECT_EQ(fault_of({"2001:db8:1::/48", "2001:db8:2::/48"}), "::/0 is missing from the rows for the hardware");
  EXPECT_EQ(fault_of({}), "::/0 is missing from the rows for the hardware");
}

TEST(DumpCheck, PrefixesTooManyAreNamed) {
  EXPECT_EQ(fault_of({"::/0", "2001:db8:1::/48", "2001:db8:2::/48", "2001:db8:1::/48"}),
            "2001:db8:1::/48 comes twice in the rows for the hardware");
  for (const char *stranger : {"::/1", "2001:db8::/32", "2001:db8:1::/49", "2001:db8:1:8000::/49", "ffff::/16"}) {
    EXPECT_EQ(fault_of({"::/0", "2001:db8:1::/48", "2001:db8:2::/48", stranger}),
              std::string(stranger) + " is among the rows for the hardware, but not in the table");
  }
}

}  // namespace
