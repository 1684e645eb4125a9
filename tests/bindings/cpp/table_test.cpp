// SPDX-License-Identifier: Apache-2.0
// Tables of the C++ interface: what it adds to the C one.
#include <gtest/gtest.h>
#include <zel_v6comp/zel_v6comp.hpp>

#include <algorithm>
#include <map>
#include <random>
#include <ranges>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using v6comp::add;
using v6comp::address;
using v6comp::entry_of;
using v6comp::outcome;
using v6comp::prefix;
using v6comp::status;
using v6comp::table;
using v6comp::write_kind;

static_assert(!std::is_copy_constructible_v<table> && !std::is_copy_assignable_v<table>);
static_assert(std::is_nothrow_move_constructible_v<table> && std::is_nothrow_move_assignable_v<table>);
static_assert(std::ranges::random_access_range<v6comp::write_list> && std::ranges::sized_range<v6comp::write_list>);
static_assert(std::ranges::input_range<v6comp::row_walk>);

prefix p(const char *text) {
  const v6comp::result<prefix> parsed = prefix::parse(text);
  EXPECT_TRUE(parsed) << text;
  return *parsed;
}

address a(const char *text) {
  const v6comp::result<address> parsed = address::parse(text);
  EXPECT_TRUE(parsed) << text;
  return *parsed;
}

// One more level than 64 bits of code can hold.
std::vector<v6comp::entry> too_deep() {
  std::vector<v6comp::entry> entries;
  prefix inner{};
  for (unsigned bit = 0; bit < 128; ++bit) {
    inner.address.bytes[bit / 8] = static_cast<std::uint8_t>(inner.address.bytes[bit / 8] | 0x80 >> bit % 8);
    inner.length = static_cast<std::uint8_t>(bit + 1);
    entries.push_back(entry_of(inner));
  }
  return entries;
}

class CxxTable : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(table_.is_open()); }
  table table_ = *table::open();
};

TEST_F(CxxTable, LoadsChangesAndAnswers) {
  const outcome loaded = table_.load(std::array{entry_of(p("2001:db8::/32"), 10), entry_of(p("2001:db8:1::/48"), 20)});
  ASSERT_TRUE(loaded) << loaded.reason();
  EXPECT_FALSE(loaded.error());
  EXPECT_EQ(loaded->added, 2U);
  EXPECT_EQ(loaded.writes().size(), 4U);

  const outcome changed = table_.apply(std::array{add(p("2001:db8:2::/48"), 30), v6comp::remove(p("2001:db8:1::/48"))});
  ASSERT_TRUE(changed) << changed.reason();
  EXPECT_EQ(changed->added, 1U);
  EXPECT_EQ(changed->removed, 1U);

  const v6comp::result<v6comp::row> row = table_.lookup(a("2001:db8:2::77"));
  ASSERT_TRUE(row);
  EXPECT_EQ(row->prefix, p("2001:db8:2::/48"));
  EXPECT_EQ(row->word, 30U);
  EXPECT_EQ(*row, *table_.find(p("2001:db8:2::/48")));
  EXPECT_TRUE(table_.find(p("2001:db8::/32"))->code.covers(row->key));

  const v6comp::result<v6comp::row> none = table_.find(p("2001:db8:1::/48"));
  EXPECT_FALSE(none);
  EXPECT_FALSE(none.error());
  EXPECT_FALSE(table_.lookup(a("::1")));
}

TEST_F(CxxTable, ShowsWritesAsARange) {
  const outcome loaded = table_.load(std::array{entry_of(p("2001:db8::/32"), 10)});
  const v6comp::write_list writes = loaded.writes();
  ASSERT_EQ(writes.size(), 2U);
  const v6comp::row row = *table_.find(p("2001:db8::/32"));
  const v6comp::write first = writes[0];
  EXPECT_EQ(first.kind, write_kind::add_code);
  EXPECT_EQ(first.stage(), 2);
  EXPECT_EQ(first.code, row.code);
  EXPECT_EQ(first.prefix, row.prefix);
  EXPECT_EQ(first.word, 10U);
  const v6comp::write second = writes.begin()[1];
  EXPECT_EQ(second.kind, write_kind::add_key);
  EXPECT_EQ(second.stage(), 1);
  EXPECT_EQ(second.key, row.key);
  EXPECT_EQ(std::ranges::count_if(writes, [](const v6comp::write &w) { return w.stage() == 1; }), 1);
  EXPECT_EQ(writes.end() - writes.begin(), 2);
  EXPECT_EQ(*(writes.end() - 1), second);
  EXPECT_EQ(*std::ranges::prev(writes.end()), second);
  EXPECT_EQ(writes.records().data()[1].key, row.key);
  EXPECT_TRUE(
      std::is_sorted(writes.begin(), writes.end(), [](const auto &x, const auto &y) { return x.kind < y.kind; }));
}

TEST_F(CxxTable, RefusesWithReasonAndRecordAndChangesNothing) {
  ASSERT_TRUE(table_.load(std::array{entry_of(p("2001:db8::/32"))}));
  v6comp::change wrong = add(p("2001:db8:1::/48"));
  wrong.address[15] = 1;
  const outcome refused = table_.apply(std::array{add(p("2001:db9::/32")), wrong});
  EXPECT_FALSE(refused);
  EXPECT_EQ(refused.error(), status::host_bits);
  EXPECT_EQ(refused.record(), 1U);
  EXPECT_STRNE(refused.reason(), "");
  EXPECT_TRUE(refused.writes().empty());
  EXPECT_EQ(table_.stats()->prefixes, 1U);

  const outcome deep = table_.load(too_deep());
  EXPECT_FALSE(deep);
  EXPECT_TRUE(deep.error() == status::bits || deep.error() == status::room) << deep.reason();
  EXPECT_EQ(table_.stats()->prefixes, 1U);
}

TEST_F(CxxTable, TakesNothingForAnAnswer) {
  EXPECT_TRUE(table_.load({}));
  EXPECT_TRUE(table_.apply({}));
  EXPECT_TRUE(table_.compact());
  EXPECT_FALSE(table_.translate({}, {}));
  v6comp::row_walk rows = table_.rows();
  EXPECT_TRUE(rows.begin() == rows.end());
  EXPECT_FALSE(rows.error());
}

TEST_F(CxxTable, TranslatesWithOrWithoutTheIndex) {
  ASSERT_TRUE(table_.load(std::array{entry_of(p("2001:db8::/32")), entry_of(p("2001:db8:1::/48"))}));
  const std::array addresses{a("2001:db8::1"), a("2001:db9::"), a("2001:db8:1::1")};
  for (int turn = 0; turn < 2; ++turn) {
    std::array<std::uint64_t, 3> keys{};
    std::array<std::uint8_t, 3> covered{};
    ASSERT_FALSE(table_.translate(addresses, keys, covered));
    EXPECT_EQ(covered, (std::array<std::uint8_t, 3>{1, 0, 1}));
    EXPECT_EQ(keys[0], table_.find(p("2001:db8::/32"))->key);
    EXPECT_EQ(keys[2], table_.find(p("2001:db8:1::/48"))->key);
    std::array<std::uint64_t, 3> alone{};
    ASSERT_FALSE(table_.translate(addresses, alone));
    EXPECT_EQ(alone, keys);
    EXPECT_EQ(table_.stats()->indexed, turn == 0 ? 0U : 1U);
    ASSERT_FALSE(table_.index());
  }
  std::array<std::uint64_t, 2> few{};
  std::array<std::uint8_t, 2> few_covered{};
  std::array<std::uint64_t, 3> keys{};
  EXPECT_EQ(table_.translate(addresses, few), status::count);
  EXPECT_EQ(table_.translate(addresses, keys, few_covered), status::count);
}

TEST_F(CxxTable, WalksAllRowsInOrder) {
  std::vector<v6comp::entry> entries;
  for (unsigned i = 0; i < 200; ++i) {
    prefix branch = p("2001:db8::/48");
    branch.address.bytes[5] = static_cast<std::uint8_t>(i);
    entries.push_back(entry_of(branch, i));
  }
  ASSERT_TRUE(table_.load(entries));
  std::uint32_t expected = 0;
  v6comp::row_walk rows = table_.rows();
  for (const v6comp::row &row : rows) {
    EXPECT_EQ(row.word, expected++);
  }
  EXPECT_EQ(expected, 200U);
  EXPECT_FALSE(rows.error());
}

TEST_F(CxxTable, MovesAndCloses) {
  ASSERT_TRUE(table_.load(std::array{entry_of(p("2001:db8::/32"))}));
  table second = std::move(table_);
  EXPECT_FALSE(table_.is_open());
  EXPECT_TRUE(second.is_open());
  EXPECT_EQ(table_.lookup(a("::")).error(), status::null);
  EXPECT_EQ(table_.load({}).error(), status::null);
  EXPECT_EQ(table_.stats().error(), status::null);
  EXPECT_EQ(table_.index(), status::null);
  EXPECT_FALSE(table_.close());
  v6comp::row_walk rows = table_.rows();
  EXPECT_TRUE(rows.begin() == rows.end());
  EXPECT_EQ(rows.error(), status::null);

  v6comp::result<table> third = table::open();
  ASSERT_TRUE(third);
  *third = std::move(second);
  EXPECT_TRUE(third->find(p("2001:db8::/32")));
  table &same = *third;
  *third = std::move(same);
  EXPECT_TRUE(third->is_open());
  EXPECT_FALSE(third->close());
  EXPECT_FALSE(third->is_open());
}

TEST(CxxTables, FindTheFreePlaceAndGiveItBack) {
  for (int round = 0; round < 2; ++round) {
    std::vector<table> tables;
    for (int i = 0; i < 8; ++i) {
      v6comp::result<table> opened = table::open();
      ASSERT_TRUE(opened) << i;
      tables.push_back(*std::move(opened));
    }
    EXPECT_EQ(table::open().error(), status::taken);
    EXPECT_EQ(table::open({.place = v6comp::grid_place{2, 1}}).error(), status::taken);
  }
  EXPECT_EQ(table::open({.place = v6comp::grid_place{4, 0}}).error(), status::grid);
  EXPECT_TRUE(table::open({.place = v6comp::grid_place{3, 1}}));
}

void take_line(void *user, std::int32_t level, const char *line) {
  static_cast<std::vector<std::string> *>(user)->push_back(std::to_string(level) + ' ' + line);
}

TEST(CxxTables, SayWhatIsRefusedAndNothingOfTakenPlaces) {
  const v6comp::result<table> first = table::open();
  std::vector<std::string> lines;
  v6comp::result<table> second = table::open({.log = take_line, .log_user = &lines});
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(second->load({}));
  EXPECT_TRUE(lines.empty());
  EXPECT_FALSE(second->load(too_deep()));
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].substr(0, 2), "1 ");
}

TEST(CxxTables, KeepTheMoveLimit) {
  v6comp::result<table> opened = table::open({.move_limit = 7, .log_level = v6comp::log_level::info});
  ASSERT_TRUE(opened && opened->load(std::array{entry_of(p("2001:db8::/32"))}));
  EXPECT_EQ(opened->stats()->changes, 1U);
}

// Random changes beside a map: rows, answers, and hardware that follows the writes.
TEST_F(CxxTable, AgreesWithAPlainMap) {
  std::mt19937 random(7);
  std::map<prefix, std::uint32_t> twin;
  std::map<prefix, std::uint64_t> keys;
  for (int step = 0; step < 200; ++step) {
    std::vector<v6comp::change> changes;
    std::map<prefix, std::uint32_t> next = twin;
    for (unsigned i = 0; i < 1 + random() % 4; ++i) {
      prefix some = p("2001:db8::/32");
      some.length = static_cast<std::uint8_t>(32 + random() % 5 * 4);
      some.address.bytes[4] =
          static_cast<std::uint8_t>(random() & (0xff00u >> (some.length < 40 ? some.length - 32 : 8)));
      some.address.bytes[5] = static_cast<std::uint8_t>(some.length < 48 ? 0 : random() & 0xff);
      if (random() % 3 != 0) {
        changes.push_back(add(some, random() & 0xff));
        next[some] = changes.back().word;
      } else {
        changes.push_back(v6comp::remove(some));
        next.erase(some);
      }
    }
    const outcome changed = table_.apply(changes);
    if (!changed) {
      EXPECT_TRUE(changed.error() == status::room || changed.error() == status::bits) << changed.reason();
      continue;
    }
    twin = next;
    for (const v6comp::write &write : changed.writes()) {
      if (write.kind == write_kind::remove_key) {
        EXPECT_EQ(keys.erase(write.prefix), 1U);
      } else if (write.stage() == 1) {
        keys[write.prefix] = write.key;
      }
    }
    auto expected = twin.begin();
    std::map<prefix, std::uint64_t> wanted;
    for (const v6comp::row &row : table_.rows()) {
      ASSERT_NE(expected, twin.end());
      EXPECT_EQ(row.prefix, expected->first);
      EXPECT_EQ(row.word, expected->second);
      wanted[row.prefix] = row.key;
      ++expected;
    }
    EXPECT_EQ(expected, twin.end());
    EXPECT_EQ(keys, wanted);
  }
}

}  // namespace
