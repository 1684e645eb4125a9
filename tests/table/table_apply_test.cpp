// SPDX-License-Identifier: Apache-2.0
// Loads, changes and their outcomes, one at a time.
#include <cstring>

#include "table_twin.h"

namespace {

using table_test::parse;
using table_test::table_twin;
using table_test::text_of;
using table_test::wish;

wish add(const char *text, uint32_t word = 0) { return {parse(text), true, word}; }
wish drop(const char *text) { return {parse(text), false, 0}; }

zel_v6comp_table_row row_of(const table_twin &twin, const char *text) {
  const table_test::prefix p = parse(text);
  uint8_t address[16];
  tm_key_store(address, p.address);
  zel_v6comp_table_row row = {};
  EXPECT_EQ(zel_v6comp_table_find(twin.table, address, p.length, &row), 1) << text;
  return row;
}

TEST(TableApply, AnEmptyTableAnswersNothing) {
  table_twin twin;
  EXPECT_TRUE(twin.rows().empty());
  twin.check_rows();
  twin.check_lookups();
  const uint8_t address[16] = {};
  zel_v6comp_table_row row = {};
  uint64_t key = 1;
  uint8_t covered = 1;
  EXPECT_EQ(zel_v6comp_table_lookup(twin.table, address, &row), 0);
  EXPECT_EQ(zel_v6comp_table_translate(twin.table, address, 1, &key, &covered), 0);
  EXPECT_EQ(covered, 0);
  EXPECT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.compact(), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.n_writes, 0u);
  EXPECT_EQ(twin.figures().prefixes, 0u);
  EXPECT_EQ(twin.figures().anchors, 0u);
}

TEST(TableApply, TheFirstRowsComeByApplyAsWell) {
  table_twin twin;
  ASSERT_EQ(twin.apply({add("2001:db8::/32", 5), drop("2001:db8::/48")}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.added, 1u);
  EXPECT_EQ(twin.last.absent, 1u);
  EXPECT_EQ(twin.last.n_writes, 2u);
  twin.check_rows();
  twin.check_lookups();
}

// A change does not look at the rows around what comes: they must be as they were.
TEST(TableApply, TheFirstPrefixInsideARowLeavesTheRowAsItIs) {
  for (const char *inside : {"2001:db8::/33", "2001:db8:8000::/33", "2001:db8::/128", "2001:db8:ffff::/48"}) {
    table_twin twin;
    ASSERT_EQ(twin.load({add("2001:db8::/32"), add("fe80::/10")}), ZEL_V6COMP_TABLE_OK);
    const zel_v6comp_table_row before = row_of(twin, "2001:db8::/32");
    ASSERT_EQ(twin.apply({add(inside)}), ZEL_V6COMP_TABLE_OK);
    EXPECT_EQ(twin.last.n_writes, 2u) << inside;
    const zel_v6comp_table_row after = row_of(twin, "2001:db8::/32");
    EXPECT_EQ(memcmp(&before, &after, sizeof before), 0) << inside;
    ASSERT_EQ(twin.apply({drop(inside)}), ZEL_V6COMP_TABLE_OK);
    const zel_v6comp_table_row last = row_of(twin, "2001:db8::/32");
    EXPECT_EQ(memcmp(&before, &last, sizeof before), 0) << inside;
  }
}

TEST(TableApply, CodesBeginTheKeysOfWhatTheirPrefixesContain) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("2001:db8::/32"), add("2001:db8:1::/48"), add("2001:db8:2::/48"), add("fe80::/10")}),
            ZEL_V6COMP_TABLE_OK);
  for (const auto &q : twin.rows()) {
    for (const auto &p : twin.rows()) {
      const uint64_t mask = q.code_length == 0 ? 0 : ~uint64_t{0} << (64 - q.code_length);
      EXPECT_EQ(((q.code ^ p.key) & mask) == 0, table_test::prefix_of(q).contains(table_test::prefix_of(p)));
    }
  }
}

TEST(TableApply, OfSeveralChangesForOnePrefixTheLastDecides) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("2001:db8::/32", 1), add("2001:db8::/32", 2)}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.added, 1u);
  EXPECT_EQ(row_of(twin, "2001:db8::/32").word, 2u);
  ASSERT_EQ(twin.apply({add("2001:db8:1::/48"), drop("2001:db8:1::/48"), drop("2001:db8::/32"), add("2001:db8::/32", 9),
                        drop("2001:db8:2::/48"), add("2001:db8:2::/48", 4), add("2001:db8:2::/48", 5)}),
            ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.added, 1u);
  EXPECT_EQ(twin.last.removed, 0u);
  EXPECT_EQ(twin.last.absent, 1u);
  EXPECT_EQ(twin.last.present, 1u);
  twin.check_rows();
}

TEST(TableApply, AWordAloneChangesNoHardware) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("2001:db8::/32", 1)}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(twin.apply({add("2001:db8::/32", 77)}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.n_writes, 0u);
  EXPECT_EQ(twin.last.present, 1u);
  EXPECT_EQ(row_of(twin, "2001:db8::/32").word, 77u);
}

TEST(TableApply, WordsStayWithTheirPrefixes) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("::/0", 1), add("2001:db8::/32", UINT32_MAX), add("2001:db8:1::/48", 3)}),
            ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(twin.apply({add("2001:db8:1:1::/64", 4), add("2001:db8::/36", 5)}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(twin.compact(), ZEL_V6COMP_TABLE_OK);
  twin.check_rows();
  ASSERT_EQ(twin.apply({drop("2001:db8::/32")}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(twin.apply({add("2001:db8::/32")}), ZEL_V6COMP_TABLE_OK);
  twin.check_rows();
}

// The library keeps it as an anchor, or as ::/0, all the time.
TEST(TableApply, APrefixThatIsStoredAnywayComesAndGoes) {
  for (const char *text : {"::/0", "2001:db8::/32", "2001:db8:1::/48", "2001:db8:1:2::/64"}) {
    table_twin twin;
    ASSERT_EQ(twin.load({add("2001:db8:1:2:3::/80", 1)}), ZEL_V6COMP_TABLE_OK);
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(twin.apply({add(text, 8)}), ZEL_V6COMP_TABLE_OK);
      EXPECT_EQ(twin.last.added, 1u);
      twin.check_rows();
      twin.check_lookups();
      ASSERT_EQ(twin.apply({drop(text), drop(text)}), ZEL_V6COMP_TABLE_OK);
      EXPECT_EQ(twin.last.removed, 1u);
      EXPECT_EQ(twin.last.absent, 1u);
      twin.check_rows();
      twin.check_lookups();
    }
  }
}

TEST(TableApply, LoadingAgainChangesOnlyWhatDiffers) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("2001:db8::/32"), add("2001:db8:1::/48"), add("2400::/12", 3)}), ZEL_V6COMP_TABLE_OK);
  const zel_v6comp_table_row before = row_of(twin, "2001:db8:1::/48");
  ASSERT_EQ(twin.load({add("2001:db8:1::/48"), add("2400::/12", 4), add("2001:db8:2::/48")}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.added, 1u);
  EXPECT_EQ(twin.last.removed, 1u);
  EXPECT_EQ(twin.last.present, 2u);
  EXPECT_EQ(row_of(twin, "2001:db8:1::/48").key, before.key);
  twin.check_rows();
  ASSERT_EQ(twin.load({}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.last.removed, 3u);
  EXPECT_TRUE(twin.rows().empty());
  ASSERT_EQ(twin.load({add("2001:db8::/32")}), ZEL_V6COMP_TABLE_OK);
  twin.check_rows();
}

TEST(TableApply, ARefusedLoadOfTooDeepATableLeavesTheOldOne) {
  table_twin twin;
  std::vector<wish> deep;
  for (unsigned length = 1; length <= 128; ++length) {
    deep.push_back({{tm_key_number{1} << 127, length}});
    if (length < 128) {
      deep.push_back({{(tm_key_number{1} << 127) | (tm_key_number{1} << (127 - length)), length + 1}});
    }
  }
  EXPECT_LT(twin.load(deep), 0);
  EXPECT_TRUE(twin.last.status == ZEL_V6COMP_TABLE_E_BITS || twin.last.status == ZEL_V6COMP_TABLE_E_ROOM);
  EXPECT_STRNE(twin.last.reason, "");
  EXPECT_TRUE(twin.rows().empty());
  ASSERT_EQ(twin.load({add("2001:db8::/32")}), ZEL_V6COMP_TABLE_OK);
  EXPECT_LT(twin.load(deep), 0);
  twin.check_rows();
  EXPECT_EQ(twin.hardware.difference(twin.rows()), "");
}

TEST(TableApply, ARefusalNamesItsRecord) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("8000::/1")}), ZEL_V6COMP_TABLE_OK);
  std::vector<wish> deep;
  for (unsigned length = 2; length <= 128; ++length) {
    deep.push_back({{tm_key_number{1} << 127, length}, true, length});
    deep.push_back({{(tm_key_number{1} << 127) | (tm_key_number{1} << (128 - length)), length}, true, length});
  }
  ASSERT_LT(twin.apply(deep), 0);
  ASSERT_LT(twin.last.record, deep.size());
  EXPECT_EQ(std::string(twin.last.reason).find(text_of(deep[twin.last.record].p)), 0u) << twin.last.reason;
  twin.check_rows();
}

TEST(TableApply, TheWritesOfTheLastChangeStayWhenTheNextOneIsRefused) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("2001:db8::/32")}), ZEL_V6COMP_TABLE_OK);
  const zel_v6comp_table_write *writes = twin.last.writes;
  ASSERT_EQ(twin.last.n_writes, 2u);
  zel_v6comp_table_change bad = {};
  bad.length = 200;
  EXPECT_EQ(zel_v6comp_table_apply(twin.table, &bad, 1, nullptr), ZEL_V6COMP_TABLE_E_LENGTH);
  EXPECT_EQ(writes[0].kind, ZEL_V6COMP_TABLE_ADD_CODE);
  EXPECT_EQ(writes[1].kind, ZEL_V6COMP_TABLE_ADD_KEY);
}

// A longer leaf below /32s that all share one anchor: counts beyond 16 bits.
// A list's memory is used again, by short changes after long ones and the other way round.
TEST(TableApply, WritesOfShortAndLongChangesFollowEachOther) {
  std::vector<wish> many;
  for (uint32_t i = 0; i < 5000; ++i) {
    many.push_back({{tm_key_number{0x20010db800000000 + (uint64_t{i} << 16)} << 64, 48}, true, i});
  }
  const std::vector<wish> few(many.begin(), many.begin() + 2);
  table_twin twin;
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(twin.load(many), ZEL_V6COMP_TABLE_OK);
    EXPECT_GE(twin.last.n_writes, 9990u);
    ASSERT_EQ(twin.apply({drop("2001:db8:7::/48")}), ZEL_V6COMP_TABLE_OK);
    ASSERT_EQ(twin.last.n_writes, 2u);
    EXPECT_EQ(twin.last.writes[0].kind, ZEL_V6COMP_TABLE_REMOVE_KEY);
    ASSERT_EQ(twin.apply({add("2001:db8:7::/48", 3)}), ZEL_V6COMP_TABLE_OK);
    ASSERT_EQ(twin.last.n_writes, 2u);
    EXPECT_EQ(twin.last.writes[0].kind, ZEL_V6COMP_TABLE_ADD_CODE);
    ASSERT_EQ(twin.load(few), ZEL_V6COMP_TABLE_OK);
    EXPECT_EQ(twin.last.removed, 4998u);
    ASSERT_EQ(twin.apply({add("2001:db8::/48", 9)}), ZEL_V6COMP_TABLE_OK);
    EXPECT_EQ(twin.last.n_writes, 0u);
    EXPECT_EQ(twin.last.writes, nullptr);
    twin.check_rows();
  }
}

TEST(TableApply, MorePrefixesUnderOneAnchorThanACounterHolds) {
  table_twin twin(70000);
  std::vector<wish> all;
  const tm_key_number base = parse("2001:db8::/32").address;
  for (uint32_t i = 0; i < 65600; ++i) {
    all.push_back({{base | tm_key_number{i} << 72, 56}, true, i});
  }
  ASSERT_EQ(twin.load(all), ZEL_V6COMP_TABLE_OK);
  std::vector<wish> gone;
  for (uint32_t i = 0; i < 65600; i += 2) {
    gone.push_back({all[i].p, false});
  }
  ASSERT_EQ(twin.apply(gone), ZEL_V6COMP_TABLE_OK) << twin.last.reason;
  EXPECT_EQ(twin.rows().size(), 32800u);
  ASSERT_EQ(twin.load({}), ZEL_V6COMP_TABLE_OK) << twin.last.reason;
}

TEST(TableStats, CountWhatIsThere) {
  table_twin twin;
  ASSERT_EQ(twin.load({add("2001:db8:1::/48"), add("2001:db8:2::/48"), add("2001:db8:3::/48")}), ZEL_V6COMP_TABLE_OK);
  const zel_v6comp_table_stats_record figures = twin.figures();
  EXPECT_EQ(figures.prefixes, 3u);
  EXPECT_EQ(figures.anchors, 2u);      // the /32, and ::/0
  EXPECT_EQ(figures.bits_needed, 3u);  // three leaves and a rest, in one that has a rest
  EXPECT_EQ(figures.changes, 1u);
  EXPECT_EQ(figures.indexed, 0u);
  EXPECT_GE(figures.deepest_code, 2u);
  for (const zel_v6comp_table_pool &pool : figures.pools) {
    EXPECT_GT(pool.size, pool.in_use);
  }
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.figures().indexed, 1u);
  twin.check_rows();
  twin.check_lookups();
  ASSERT_EQ(twin.apply({add("2001:db8:4::/48")}), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.figures().indexed, 0u);
}

}  // namespace
