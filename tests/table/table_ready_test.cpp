// SPDX-License-Identifier: Apache-2.0
// Answers with a read index are those of the tries, whatever the shape and the size of the table.
#include <cstring>
#include <random>

#include "table_record.h"
#include "table_twin.h"
#include "tcamv6_handle.h"
#include "tcamv6_lookup.h"
#include "test_host.h"
#include "zel_v6comp.h"

namespace {

using table_test::parse;
using table_test::prefix;
using table_test::table_twin;
using table_test::wish;

struct answers {
  std::vector<int32_t> found;
  std::vector<zel_v6comp_table_row> rows;
  std::vector<uint64_t> keys;
  std::vector<uint8_t> covered;
};

// Inside, at the edges and just outside of every prefix.
std::vector<uint8_t> probes_of(const std::vector<wish> &wishes, std::mt19937_64 &random) {
  std::vector<uint8_t> bytes;
  for (const wish &w : wishes) {
    const tm_key_number end = w.p.address | ~tm_key_number_leading(static_cast<int32_t>(w.p.length));
    const tm_key_number any = tm_key_number{random()} << 64 | random();
    const tm_key_number inside = w.p.address | (any & ~tm_key_number_leading(static_cast<int32_t>(w.p.length)));
    for (const tm_key_number address : {w.p.address, end, w.p.address - 1, end + 1, inside, any}) {
      bytes.resize(bytes.size() + 16);
      tm_key_store(&bytes[bytes.size() - 16], address);
    }
  }
  return bytes;
}

answers ask(const table_twin &twin, const std::vector<uint8_t> &probes) {
  answers a;
  const size_t n = probes.size() / 16;
  a.rows.resize(n);
  a.keys.resize(n);
  a.covered.resize(n);
  for (size_t i = 0; i < n; ++i) {
    a.found.push_back(zel_v6comp_table_lookup(twin.table, &probes[16 * i], &a.rows[i]));
  }
  EXPECT_EQ(zel_v6comp_table_translate(twin.table, probes.data(), n, a.keys.data(), a.covered.data()), 0);
  return a;
}

void expect_same(const answers &a, const answers &b) {
  EXPECT_EQ(a.found, b.found);
  EXPECT_EQ(std::memcmp(a.rows.data(), b.rows.data(), a.rows.size() * sizeof a.rows[0]), 0);
  EXPECT_EQ(a.keys, b.keys);
  EXPECT_EQ(a.covered, b.covered);
}

struct shape {
  const char *name;
  size_t n;
  unsigned first_bits;   // that all prefixes share
  unsigned least, most;  // lengths
};

class IndexShapes : public testing::TestWithParam<shape> {};

TEST_P(IndexShapes, AnswerAsTheTries) {
  const shape &s = GetParam();
  std::mt19937_64 random(s.n + s.most);
  std::vector<wish> wishes;
  const tm_key_number shared = tm_key_number{0x20010db8c0de55aa} << 64;
  for (size_t i = 0; i < s.n; ++i) {
    const tm_key_number any = tm_key_number{random()} << 64 | random();
    const tm_key_number mask = tm_key_number_leading(static_cast<int32_t>(s.first_bits));
    const auto length = s.least + static_cast<unsigned>(random() % (s.most - s.least + 1));
    wishes.push_back({prefix{(shared & mask) | (any & ~mask), 128}.cut(length), true, static_cast<uint32_t>(i)});
  }
  table_twin twin(8192);
  ASSERT_EQ(twin.load(wishes), ZEL_V6COMP_TABLE_OK);
  const std::vector<uint8_t> probes = probes_of(wishes, random);
  const answers by_tries = ask(twin, probes);
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.figures().indexed, 1u);
  expect_same(by_tries, ask(twin, probes));
}

INSTANTIATE_TEST_SUITE_P(Tables, IndexShapes,
                         testing::Values(shape{"few", 20, 0, 0, 128}, shape{"short", 600, 0, 1, 20},
                                         shape{"bushy", 5000, 4, 10, 24}, shape{"one_start", 5000, 12, 20, 48},
                                         shape{"one_byte", 3000, 8, 9, 40}, shape{"far_down", 4000, 60, 60, 128},
                                         shape{"at_two_bytes", 3000, 16, 16, 40}, shape{"site", 700, 48, 48, 64},
                                         shape{"hosts", 800, 32, 128, 128}, shape{"one_node", 511, 120, 121, 128},
                                         shape{"subscribers", 1500, 3, 64, 64},
                                         shape{"at_an_end", 1500, 112, 113, 128}),
                         [](const auto &one) { return one.param.name; });

// Any number of addresses, the odd ones after the last sixteen too.
TEST(TableIndex, TranslatesAnyNumber) {
  table_twin twin;
  std::vector<wish> wishes;
  for (uint32_t i = 0; i < 40; ++i) {
    wishes.push_back(
        {prefix{tm_key_number{0x20010db8} << 96 | tm_key_number{i} << 80, 40 + i % 24}.cut(40 + i % 24), true, i});
  }
  ASSERT_EQ(twin.load(wishes), ZEL_V6COMP_TABLE_OK);
  std::mt19937_64 random(11);
  const std::vector<uint8_t> probes = probes_of(wishes, random);
  const answers by_tries = ask(twin, probes);
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  for (size_t n = 0; n <= 67; ++n) {
    std::vector<uint64_t> keys(n + 1, 99);
    std::vector<uint8_t> covered(n + 1, 99);
    ASSERT_EQ(
        zel_v6comp_table_translate(twin.table, probes.data(), n, keys.data(), n % 2 == 0 ? covered.data() : nullptr),
        ZEL_V6COMP_TABLE_OK);
    for (size_t i = 0; i < n; ++i) {
      ASSERT_EQ(keys[i], by_tries.keys[i]) << i << " of " << n;
      ASSERT_EQ(covered[i], n % 2 == 0 ? by_tries.covered[i] : 99) << i << " of " << n;
    }
    ASSERT_EQ(keys[n], 99u) << "nothing is written behind the last";
    ASSERT_EQ(covered[n], 99u);
  }
}

// Paths of their own for every row, with anchors of the library on each: as many nodes as there may be.
TEST(TableIndex, IsThereForSparseTablesToo) {
  table_twin twin(40000);
  std::vector<wish> wishes;
  std::mt19937_64 random(17);
  for (uint32_t i = 0; i < 600; ++i) {
    const tm_key_number any = tm_key_number{random()} << 64 | random();
    for (const uint32_t length : {56u, 64u, 72u, 128u}) {
      wishes.push_back({prefix{any, 128}.cut(length), true, i});
    }
  }
  ASSERT_EQ(twin.load(wishes), ZEL_V6COMP_TABLE_OK);
  const std::vector<uint8_t> probes = probes_of(wishes, random);
  const answers by_tries = ask(twin, probes);
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  expect_same(by_tries, ask(twin, probes));
}

// Lookups of the engine's interface find anchors, too: not by an index of rows. Either index replaces the other.
TEST(TableIndex, IsNoneForTheEnginesLookups) {
  table_twin twin;
  ASSERT_EQ(twin.load({{parse("2001:db8::/64"), true, 1}}), ZEL_V6COMP_TABLE_OK);
  const auto match = [&](const char *address) {
    uint8_t bytes[16];
    tm_key_store(bytes, parse(address).address);
    tcamv6_prefix found = {};
    tcamv6_cmpr_pref code = {};
    tcamv6_cmpr_addr key = {};
    EXPECT_EQ(tcamv6_lookup_address(twin.table->state, bytes, &found, &code, &key), TM_OK);
    return uint32_t{found.length};
  };
  const uint32_t anchor = match("2001:db8:0:1::/128");
  ASSERT_GT(anchor, 0u) << "the library has made one";
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(match("2001:db8:0:1::/128"), anchor);
  ASSERT_EQ(zel_v6comp_build_index(twin.table->processor, twin.table->instance), 0u);
  EXPECT_EQ(twin.figures().indexed, 0u);
  EXPECT_EQ(match("2001:db8:0:1::/128"), anchor);
  zel_v6comp_table_row row = {};
  uint8_t address[16];
  tm_key_store(address, parse("2001:db8:0:1::/128").address);
  EXPECT_EQ(zel_v6comp_table_lookup(twin.table, address, &row), 0) << "an anchor is no row";
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  EXPECT_EQ(twin.figures().indexed, 1u);
  EXPECT_EQ(zel_v6comp_table_lookup(twin.table, address, &row), 0);
}

// The instance's host may set a handle behind the table's back: the answers that are ready are no longer used.
TEST(TableIndex, AHandleSetBehindTheTableIsSeen) {
  table_twin twin;
  ASSERT_EQ(twin.load({{parse("2001:db8::/32"), true, 1}}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  tcamv6_prefix record = {};
  record.length = 32;
  tm_key_store(record.address, parse("2001:db8::/32").address);
  ASSERT_EQ(tcamv6_prefix_handle_attach(twin.table->state, &record, 9), TM_OK);
  zel_v6comp_table_row row = {};
  ASSERT_EQ(zel_v6comp_table_lookup(twin.table, record.address, &row), 1);
  EXPECT_EQ(row.word, 9u);
  ASSERT_EQ(zel_v6comp_table_find(twin.table, record.address, 32, &row), 1);
  EXPECT_EQ(row.word, 9u);
}

// An anchor has no place in an index of rows: its handle is kept without one.
TEST(TableIndex, AHandleOfAnAnchorLeavesTheIndex) {
  table_twin twin;
  ASSERT_EQ(twin.load({{parse("2001:db8::/64"), true, 1}}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  tcamv6_prefix anchor = {};
  anchor.length = 48;
  tm_key_store(anchor.address, parse("2001:db8::/48").address);
  ASSERT_EQ(tcamv6_prefix_handle_attach(twin.table->state, &anchor, 9), TM_OK);
  uint32_t handle = 0;
  ASSERT_EQ(tcamv6_prefix_handle_query(twin.table->state, &anchor, &handle), TM_OK);
  EXPECT_EQ(handle, 9u);
  const tcamv6_read_index *index = twin.table->ready.index;
  EXPECT_EQ(twin.figures().indexed, 1u);
  EXPECT_EQ(tcamv6_read_index_exact(index, anchor.address, 48), 0u);
  EXPECT_EQ(index->answers[0].handle, 0u);
  twin.check_rows();
}

TEST(TableIndex, AChangeOfAWordIsSeen) {
  table_twin twin;
  ASSERT_EQ(twin.load({{parse("2001:db8::/32"), true, 1}}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(twin.apply({{parse("2001:db8::/32"), true, 7}}), ZEL_V6COMP_TABLE_OK);
  twin.check_rows();
  zel_v6comp_table_row row = {};
  uint8_t address[16];
  tm_key_store(address, parse("2001:db8::1/128").address);
  ASSERT_EQ(zel_v6comp_table_lookup(twin.table, address, &row), 1);
  EXPECT_EQ(row.word, 7u);
  EXPECT_EQ(twin.figures().indexed, 1u) << "words are changed in place";
  ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(zel_v6comp_table_lookup(twin.table, address, &row), 1);
  EXPECT_EQ(row.word, 7u);
}

TEST(TableIndex, SaysWhenMemoryIsRefusedAndTheTriesGoOn) {
  table_twin twin;
  std::vector<wish> wishes;
  for (uint32_t i = 0; i < 3000; ++i) {
    wishes.push_back({prefix{tm_key_number{i * 2654435761u} << 96, 32}, true, i});
  }
  ASSERT_EQ(twin.load(wishes), ZEL_V6COMP_TABLE_OK);
  std::mt19937_64 random(3);
  const std::vector<uint8_t> probes = probes_of({wishes.begin(), wishes.begin() + 50}, random);
  const answers by_tries = ask(twin, probes);
  uint64_t refused = 0;
  for (uint64_t k = 1; k < 50; ++k) {
    SCOPED_TRACE(k);
    test_host::fail_heap_allocation(k);
    const int32_t status = zel_v6comp_table_index(twin.table);
    test_host::fail_heap_allocation(0);
    expect_same(by_tries, ask(twin, probes));
    if (status == ZEL_V6COMP_TABLE_OK) {
      break;
    }
    EXPECT_EQ(status, ZEL_V6COMP_TABLE_E_MEMORY);
    ++refused;
    ASSERT_EQ(twin.apply({{parse("2001:db8::/32"), k % 2 == 0, 7}}), ZEL_V6COMP_TABLE_OK);  // the index goes
    ASSERT_EQ(twin.apply({{parse("2001:db8::/32"), false, 7}}), ZEL_V6COMP_TABLE_OK);
  }
  EXPECT_GE(refused, 3u);
}

}  // namespace
