// SPDX-License-Identifier: Apache-2.0
#include "explain_batch.h"

#include <gtest/gtest.h>

#include "prefix_text.h"

namespace {

using namespace v6tool;

zel_v6comp_table_row row(const char *text, uint64_t code, uint8_t bits) {
  ip_prefix prefix;
  EXPECT_EQ(parse_prefix(text, prefix), "");
  zel_v6comp_table_row out = {};
  key_to_bytes(prefix.key, out.address);
  out.length = prefix.length;
  out.code = code << (64 - bits);
  out.code_length = bits;
  return out;
}

std::string reason_of_only(const table_rows &before, const table_rows &after) {
  const std::vector<batch_move> moves = moves_between(before, after);
  return moves.size() == 1 ? moves.front().reason : std::to_string(moves.size()) + " moves";
}

TEST(ExplainBatch, NamesWhatTookTheOldCode) {
  const table_rows before = {row("2001:db8::/32", 0b00, 2), row("2001:db9::/32", 0b01, 2)};
  EXPECT_TRUE(moves_between(before, before).empty());
  EXPECT_EQ(reason_of_only(
                before, {row("2001:db8::/32", 0b00, 2), row("2001:db9::/32", 0b10, 2), row("2001:dba::/32", 0b010, 3)}),
            "makes way for 2001:dba::/32, which is new");
  EXPECT_EQ(reason_of_only(before, {row("2001:db8::/32", 0b00, 2), row("2001:db9::/32", 0b10, 2)}),
            "a place nearer by was needed for what is stored around it");
}

TEST(ExplainBatch, SaysWhatMovesWithWhat) {
  const table_rows before = {row("2001:db8::/32", 0b00, 2), row("2001:db8:1::/48", 0b000, 3)};
  const std::vector<batch_move> moves = moves_between(
      before, {row("2001:db8::/32", 0b11, 2), row("2001:db8:1::/48", 0b110, 3), row("2001:dba::/32", 0b0, 1)});
  ASSERT_EQ(moves.size(), 2U);
  EXPECT_EQ(moves[0].reason, "makes way for 2001:dba::/32, which is new");
  EXPECT_EQ(moves[0].from.length, 2);
  EXPECT_EQ(moves[1].reason, "makes way for 2001:dba::/32, which is new");
  EXPECT_EQ(reason_of_only({row("2001:db8:1::/48", 0b000, 3)},
                           {row("2001:db8::/32", 0b1, 1), row("2001:db8:1::/48", 0b100, 3)}),
            "now lies inside 2001:db8::/32, which is new");
  EXPECT_EQ(
      reason_of_only({row("2001:db8::/32", 0b00, 2)}, {row("2001:db8::/32", 0b1, 1), row("2001:db8:1::/48", 0b100, 3)}),
      "needs room inside for 2001:db8:1::/48, which is new");
}

TEST(ExplainBatch, NamesWhatMovedIntoTheOldCode) {
  const std::vector<batch_move> moves = moves_between({row("2001:db8::/32", 0b00, 2), row("2001:db9::/32", 0b01, 2)},
                                                      {row("2001:db8::/32", 0b01, 2), row("2001:db9::/32", 0b00, 2)});
  ASSERT_EQ(moves.size(), 2U);
  EXPECT_EQ(moves[0].reason, "makes way for 2001:db9::/32, which moves too");
  EXPECT_EQ(moves[1].reason, "makes way for 2001:db8::/32, which moves too");
}

}  // namespace
