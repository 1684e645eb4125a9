// SPDX-License-Identifier: Apache-2.0
// Opening, closing, and every kind of bad use: a status and a line, never a crash, and nothing changed.
#include <cstring>

#include "table_twin.h"
#include "zel_v6comp.h"

namespace {

using table_test::parse;
using table_test::table_twin;
using table_test::wish;

struct log_lines {
  std::vector<std::string> lines;
  std::vector<int32_t> levels;
  static void take(void *user, int32_t level, const char *line) {
    auto *self = static_cast<log_lines *>(user);
    self->lines.emplace_back(line);
    self->levels.push_back(level);
  }
};

zel_v6comp_table *open_table(int32_t processor, int32_t instance, log_lines *log = nullptr, int32_t level = 0) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.expected_prefixes = 20000;
  options.log = log != nullptr ? log_lines::take : nullptr;
  options.log_user = log;
  options.log_level = level;
  zel_v6comp_table *table = nullptr;
  EXPECT_EQ(zel_v6comp_table_open(processor, instance, &options, &table), ZEL_V6COMP_TABLE_OK);
  return table;
}

zel_v6comp_table_prefix prefix_record(const char *text, uint32_t word = 0) {
  zel_v6comp_table_prefix record = {};
  const table_test::prefix p = parse(text);
  tm_key_store(record.address, p.address);
  record.length = static_cast<uint8_t>(p.length);
  record.word = word;
  return record;
}

zel_v6comp_table_change change_record(const char *text, uint8_t operation = ZEL_V6COMP_TABLE_ADD) {
  const zel_v6comp_table_prefix prefix = prefix_record(text);
  zel_v6comp_table_change record = {};
  std::memcpy(&record, &prefix, sizeof record);
  record.operation = operation;
  return record;
}

TEST(TableOpen, EveryPlaceOfTheGridHoldsATableOfItsOwn) {
  std::vector<zel_v6comp_table *> tables;
  for (int32_t processor = 0; processor < 4; ++processor) {
    for (int32_t instance = 0; instance < 2; ++instance) {
      tables.push_back(open_table(processor, instance));
      const zel_v6comp_table_prefix one = prefix_record("2001:db8::/32", static_cast<uint32_t>(tables.size()));
      ASSERT_EQ(zel_v6comp_table_load(tables.back(), &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
    }
  }
  for (size_t i = 0; i < tables.size(); ++i) {
    zel_v6comp_table_row row = {};
    ASSERT_EQ(zel_v6comp_table_find(tables[i], prefix_record("2001:db8::/32").address, 32, &row), 1);
    EXPECT_EQ(row.word, i + 1);
  }
  for (zel_v6comp_table *table : tables) {
    EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK);
  }
}

TEST(TableOpen, RefusesWhatIsNotThere) {
  zel_v6comp_table *table = nullptr;
  log_lines log;
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.log = log_lines::take;
  options.log_user = &log;
  EXPECT_EQ(zel_v6comp_table_open(4, 0, &options, &table), ZEL_V6COMP_TABLE_E_GRID);
  EXPECT_EQ(zel_v6comp_table_open(-1, 0, &options, &table), ZEL_V6COMP_TABLE_E_GRID);
  EXPECT_EQ(zel_v6comp_table_open(0, 2, &options, &table), ZEL_V6COMP_TABLE_E_GRID);
  EXPECT_EQ(log.lines.size(), 3u);
  EXPECT_EQ(table, nullptr);
  EXPECT_EQ(zel_v6comp_table_open(0, 0, &options, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  options.struct_size = 3;
  EXPECT_EQ(zel_v6comp_table_open(0, 0, &options, &table), ZEL_V6COMP_TABLE_E_SIZE);
}

TEST(TableOpen, OneTableAPlace) {
  zel_v6comp_table *first = open_table(1, 1);
  zel_v6comp_table *second = nullptr;
  EXPECT_EQ(zel_v6comp_table_open(1, 1, nullptr, &second), ZEL_V6COMP_TABLE_E_TAKEN);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(zel_v6comp_table_close(first), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_open(1, 1, nullptr, &second), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_close(second), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_close(nullptr), ZEL_V6COMP_TABLE_OK);
}

TEST(TableOpen, AnInstanceThatAHostUsesIsTaken) {
  EXPECT_EQ(zel_v6comp_table_close(open_table(0, 0)), ZEL_V6COMP_TABLE_OK);  // the library is started
  const v6comp_pref_info empty = {2, 1, 0};
  ASSERT_EQ(zel_v6comp_prefix_compress(&empty), 0u);
  zel_v6comp_table *table = nullptr;
  EXPECT_EQ(zel_v6comp_table_open(2, 1, nullptr, &table), ZEL_V6COMP_TABLE_E_TAKEN);
  ASSERT_EQ(zel_v6comp_reset_instance(2, 1), 0u);
  EXPECT_EQ(zel_v6comp_table_open(2, 1, nullptr, &table), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK);
}

TEST(TableOpen, ChangesBehindTheTablesBackAreNoticed) {
  zel_v6comp_table *table = open_table(2, 0);
  const zel_v6comp_table_prefix one = prefix_record("2001:db8::/32");
  ASSERT_EQ(zel_v6comp_table_load(table, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_reset_instance(2, 0), 0u);
  zel_v6comp_table_row row = {};
  EXPECT_EQ(zel_v6comp_table_lookup(table, one.address, &row), ZEL_V6COMP_TABLE_E_FOREIGN);
  EXPECT_EQ(zel_v6comp_table_load(table, &one, 1, nullptr), ZEL_V6COMP_TABLE_E_FOREIGN);
  EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK);
  zel_v6comp_table *again = open_table(2, 0);
  EXPECT_EQ(zel_v6comp_table_load(again, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_close(again), ZEL_V6COMP_TABLE_OK);
}

TEST(TableOpen, ALibraryThatIsStartedAnewTakesItsTablesAlong) {
  zel_v6comp_table *table = open_table(3, 0);
  const zel_v6comp_table_prefix one = prefix_record("2001:db8::/32");
  ASSERT_EQ(zel_v6comp_table_load(table, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  zel_v6comp_dbg_error_set(0);
  zel_v6comp_table_row row = {};
  EXPECT_EQ(zel_v6comp_table_lookup(table, one.address, &row), ZEL_V6COMP_TABLE_E_FOREIGN);
  zel_v6comp_table *again = open_table(3, 0);
  EXPECT_EQ(zel_v6comp_table_load(again, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_close(again), ZEL_V6COMP_TABLE_OK);
}

TEST(TableOpen, LeavesTheHostsSwitchesAlone) {
  table_twin twin(0, 1, 0);
  for (const uint32_t on : {0u, 1u}) {
    zel_v6comp_set_room(on);
    zel_v6comp_set_safe_updates(on);
    ASSERT_EQ(twin.load({{parse("2001:db8::/32")}}), ZEL_V6COMP_TABLE_OK);
    ASSERT_EQ(twin.apply({{parse("2001:db8:1::/48")}, {parse("2001:db8::/32"), false}}), ZEL_V6COMP_TABLE_OK);
    EXPECT_EQ(zel_v6comp_room(), on);
    EXPECT_EQ(zel_v6comp_safe_updates(), on);
  }
  zel_v6comp_set_room(0);
  zel_v6comp_set_safe_updates(0);
}

class BadUse : public testing::Test {
 protected:
  void SetUp() override {
    table_ = open_table(0, 1, &log_);
    const zel_v6comp_table_prefix one = prefix_record("2001:db8::/32", 7);
    ASSERT_EQ(zel_v6comp_table_load(table_, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
    ASSERT_TRUE(log_.lines.empty());
  }
  void TearDown() override {
    zel_v6comp_table_row row = {};
    EXPECT_EQ(zel_v6comp_table_find(table_, address_, 32, &row), 1);
    EXPECT_EQ(row.word, 7u);
    EXPECT_EQ(zel_v6comp_table_close(table_), ZEL_V6COMP_TABLE_OK);
  }

  // Refused with this status, which a line says, and which names this record.
  void expect_refused(const zel_v6comp_table_change &change, int32_t status, bool loads_too = true) {
    const zel_v6comp_table_change changes[2] = {change_record("2001:db8:1::/48"), change};
    zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
    const size_t lines = log_.lines.size();
    EXPECT_EQ(zel_v6comp_table_apply(table_, changes, 2, &outcome), status);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.record, 1u);
    EXPECT_EQ(outcome.n_writes, 0u);
    EXPECT_NE(std::strstr(outcome.reason, zel_v6comp_table_text(status)), nullptr) << outcome.reason;
    EXPECT_EQ(log_.lines.size(), lines + 1);
    if (loads_too) {
      zel_v6comp_table_prefix prefix = {};
      std::memcpy(&prefix, &change, sizeof prefix);
      EXPECT_EQ(zel_v6comp_table_load(table_, &prefix, 1, &outcome), status);
      EXPECT_EQ(outcome.record, 0u);
    }
  }

  log_lines log_;
  zel_v6comp_table *table_ = nullptr;
  const uint8_t address_[16] = {0x20, 0x01, 0x0d, 0xb8};
};

TEST_F(BadUse, OfRecords) {
  zel_v6comp_table_change bad = change_record("2001:db8::/48");
  bad.length = 129;
  expect_refused(bad, ZEL_V6COMP_TABLE_E_LENGTH);
  bad.length = 255;
  expect_refused(bad, ZEL_V6COMP_TABLE_E_LENGTH);
  bad = change_record("2001:db8::1/127");
  expect_refused(bad, ZEL_V6COMP_TABLE_E_HOST_BITS);
  bad = change_record("8000::/0");
  expect_refused(bad, ZEL_V6COMP_TABLE_E_HOST_BITS);
  bad = change_record("2001:db8::/48", 2);
  expect_refused(bad, ZEL_V6COMP_TABLE_E_OPERATION, false);
}

TEST_F(BadUse, OfCounts) {
  const zel_v6comp_table_change one = change_record("2001:db8::/48");
  zel_v6comp_table_prefix prefix = prefix_record("2001:db8::/48");
  EXPECT_EQ(zel_v6comp_table_apply(table_, &one, 1000000000, nullptr), ZEL_V6COMP_TABLE_E_COUNT);
  EXPECT_EQ(zel_v6comp_table_load(table_, &prefix, 1000000000, nullptr), ZEL_V6COMP_TABLE_E_COUNT);
  EXPECT_EQ(zel_v6comp_table_apply(table_, &one, SIZE_MAX, nullptr), ZEL_V6COMP_TABLE_E_COUNT);
  EXPECT_EQ(zel_v6comp_table_apply(table_, nullptr, 1, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_load(table_, nullptr, 1, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
  EXPECT_EQ(zel_v6comp_table_apply(table_, nullptr, 0, &outcome), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(outcome.n_writes, 0u);
  outcome.struct_size = 5;
  EXPECT_EQ(zel_v6comp_table_apply(table_, nullptr, 0, &outcome), ZEL_V6COMP_TABLE_E_SIZE);
  EXPECT_EQ(outcome.struct_size, 5u);
}

TEST_F(BadUse, OfQuestions) {
  zel_v6comp_table_row row = {};
  zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  uint64_t key = 0;
  EXPECT_EQ(zel_v6comp_table_find(table_, nullptr, 32, &row), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_find(table_, address_, 32, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_find(table_, address_, 129, &row), ZEL_V6COMP_TABLE_E_LENGTH);
  EXPECT_EQ(zel_v6comp_table_find(table_, address_, 16, &row), ZEL_V6COMP_TABLE_E_HOST_BITS);
  EXPECT_EQ(zel_v6comp_table_find(table_, address_, 48, &row), 0);
  EXPECT_EQ(zel_v6comp_table_lookup(table_, nullptr, &row), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_lookup(table_, address_, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_rows(table_, nullptr, &row, 1), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_rows(table_, &place, nullptr, 1), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_rows(table_, &place, &row, 0), ZEL_V6COMP_TABLE_E_COUNT);
  EXPECT_EQ(zel_v6comp_table_rows(table_, &place, &row, UINT32_MAX), ZEL_V6COMP_TABLE_E_COUNT);
  place.begun = 1;
  place.length = 200;
  EXPECT_EQ(zel_v6comp_table_rows(table_, &place, &row, 1), ZEL_V6COMP_TABLE_E_LENGTH);
  EXPECT_EQ(zel_v6comp_table_translate(table_, nullptr, 1, &key, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_translate(table_, address_, 1, nullptr, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_translate(table_, nullptr, 0, nullptr, nullptr), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_stats(table_, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  figures.struct_size = 1;
  EXPECT_EQ(zel_v6comp_table_stats(table_, &figures), ZEL_V6COMP_TABLE_E_SIZE);
  EXPECT_EQ(log_.lines.size(), 15u);
}

TEST_F(BadUse, OfHandles) {
  zel_v6comp_table *closed = open_table(1, 1);
  ASSERT_EQ(zel_v6comp_table_close(closed), ZEL_V6COMP_TABLE_OK);
  auto *wild = reinterpret_cast<zel_v6comp_table *>(uintptr_t{0x1234567});
  zel_v6comp_table *inside = reinterpret_cast<zel_v6comp_table *>(reinterpret_cast<uintptr_t>(table_) + 8);
  for (zel_v6comp_table *bad : {closed, wild, inside}) {
    zel_v6comp_table_row row = {};
    zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
    zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
    zel_v6comp_table_outcome outcome = ZEL_V6COMP_TABLE_OUTCOME_INIT;
    uint64_t key = 0;
    constexpr int32_t no = ZEL_V6COMP_TABLE_E_NO_TABLE;
    EXPECT_EQ(zel_v6comp_table_close(bad), no);
    EXPECT_EQ(zel_v6comp_table_load(bad, nullptr, 0, &outcome), no);
    EXPECT_EQ(outcome.status, no);
    EXPECT_EQ(zel_v6comp_table_apply(bad, nullptr, 0, nullptr), no);
    EXPECT_EQ(zel_v6comp_table_compact(bad, nullptr), no);
    EXPECT_EQ(zel_v6comp_table_find(bad, address_, 32, &row), no);
    EXPECT_EQ(zel_v6comp_table_lookup(bad, address_, &row), no);
    EXPECT_EQ(zel_v6comp_table_rows(bad, &place, &row, 1), no);
    EXPECT_EQ(zel_v6comp_table_translate(bad, address_, 1, &key, nullptr), no);
    EXPECT_EQ(zel_v6comp_table_stats(bad, &figures), no);
    EXPECT_EQ(zel_v6comp_table_index(bad), no);
  }
  EXPECT_EQ(zel_v6comp_table_apply(nullptr, nullptr, 0, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_lookup(nullptr, address_, nullptr), ZEL_V6COMP_TABLE_E_NULL);
  EXPECT_EQ(zel_v6comp_table_index(nullptr), ZEL_V6COMP_TABLE_E_NULL);
}

struct caller_back {
  zel_v6comp_table *table = nullptr;
  std::vector<int32_t> statuses;
  static void take(void *user, int32_t, const char *) {
    auto *self = static_cast<caller_back *>(user);
    const uint8_t address[16] = {};
    zel_v6comp_table_row row = {};
    zel_v6comp_table *other = nullptr;
    self->statuses.push_back(zel_v6comp_table_lookup(self->table, address, &row));
    self->statuses.push_back(zel_v6comp_table_apply(self->table, nullptr, 0, nullptr));
    self->statuses.push_back(zel_v6comp_table_open(3, 1, nullptr, &other));
    self->statuses.push_back(zel_v6comp_table_close(self->table));
  }
};

TEST(TableLog, CallsFromItAreRefused) {
  caller_back back;
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.log = caller_back::take;
  options.log_user = &back;
  options.log_level = ZEL_V6COMP_TABLE_LOG_INFO;
  ASSERT_EQ(zel_v6comp_table_open(0, 0, &options, &back.table), ZEL_V6COMP_TABLE_OK);
  back.statuses.clear();
  const zel_v6comp_table_prefix one = prefix_record("2001:db8::/32");
  zel_v6comp_table_row row = {};
  ASSERT_EQ(zel_v6comp_table_load(back.table, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(zel_v6comp_table_find(back.table, one.address, 200, &row), ZEL_V6COMP_TABLE_E_LENGTH);
  EXPECT_EQ(back.statuses, std::vector<int32_t>(8, ZEL_V6COMP_TABLE_E_BUSY));
  EXPECT_EQ(zel_v6comp_table_close(back.table), ZEL_V6COMP_TABLE_OK);
}

TEST(TableLog, SaysWhatIsWished) {
  log_lines log;
  zel_v6comp_table *table = open_table(0, 0, &log, ZEL_V6COMP_TABLE_LOG_INFO);
  log = {};
  const zel_v6comp_table_prefix one = prefix_record("2001:db8::/32");
  ASSERT_EQ(zel_v6comp_table_load(table, &one, 1, nullptr), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(log.lines, std::vector<std::string>{"zel_v6comp_table_load: 1 added, 0 removed, 0 moved, 2 writes"});
  EXPECT_EQ(log.levels, std::vector<int32_t>{ZEL_V6COMP_TABLE_LOG_INFO});
  EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK);
}

TEST(TableText, EveryStatusHasItsOwn) {
  std::set<std::string> texts;
  const int32_t all[] = {0, -10, -11, -12, -13, -14, -15, -20, -21, -22, -23, -24, -30, -31, -32, -33, -40, -50};
  for (const int32_t status : all) {
    texts.insert(zel_v6comp_table_text(status));
  }
  EXPECT_EQ(texts.size(), std::size(all));
  EXPECT_STREQ(zel_v6comp_table_text(1), "unknown status");
  EXPECT_STREQ(zel_v6comp_table_text(-999), "unknown status");
}

}  // namespace
