// SPDX-License-Identifier: Apache-2.0
// Every allocation refused once: the call says so, the table is as it was, and the next one works.
#include <functional>

#include "table_twin.h"
#include "test_host.h"
#include "tm_chunk.h"

namespace {

using table_test::parse;
using table_test::table_twin;
using table_test::wish;

const std::vector<wish> rows = {{parse("2001:db8::/32"), true, 1},
                                {parse("2001:db8:1::/48"), true, 2},
                                {parse("2001:db8:1:2::/64"), true, 3},
                                {parse("2400::/12"), true, 4}};
const std::vector<wish> changes = {{parse("2001:db8:2::/48"), true, 5},
                                   {parse("2001:db8::/36"), true, 6},
                                   {parse("2400:1::/32"), true, 7},
                                   {parse("2001:db8:1::/48"), false}};

using change = std::function<int32_t(table_twin &)>;

uint64_t refused_elements() {
  uint64_t refused = 0;
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    refused += gbl_chunk_info[type].failed;
  }
  return refused;
}

// Refuse the k-th allocation of the call, for every k until none is refused any more.
void sweep(const std::vector<wish> &start, const change &call, bool pools) {
  table_twin twin;
  uint64_t refused = 0;
  for (uint64_t k = 1; k < 5000; ++k) {
    SCOPED_TRACE(k);
    ASSERT_EQ(twin.load(start), ZEL_V6COMP_TABLE_OK);
    const test_host::heap_counts before = test_host::heap();
    const size_t elements = test_host::pool_used();
    const std::map<table_test::prefix, uint32_t> wanted = twin.wanted;
    const uint64_t refused_before = pools ? refused_elements() : test_host::heap().refused;
    if (pools) {
      test_host::fail_pool_element(k);
    } else {
      test_host::fail_heap_allocation(k);
    }
    const int32_t status = call(twin);
    const bool met = (pools ? refused_elements() : test_host::heap().refused) != refused_before;
    test_host::fail_pool_element(0);
    test_host::fail_heap_allocation(0);
    if (status == ZEL_V6COMP_TABLE_OK) {
      twin.check_rows();
    } else {
      ++refused;
      EXPECT_EQ(status, pools ? ZEL_V6COMP_TABLE_E_POOLS : ZEL_V6COMP_TABLE_E_MEMORY) << twin.last.reason;
      EXPECT_EQ(twin.wanted, wanted);
      twin.check_rows();
      EXPECT_EQ(twin.hardware.difference(twin.rows()), "");
      EXPECT_EQ(test_host::pool_used(), elements);
      EXPECT_EQ(test_host::heap().blocks, before.blocks);
    }
    if (!met || testing::Test::HasFailure()) {
      break;
    }
  }
  EXPECT_GT(refused, 3u);
}

class TableFaults : public testing::TestWithParam<bool> {};

TEST_P(TableFaults, OfAnApply) {
  sweep(
      rows, [](table_twin &twin) { return twin.apply(changes); }, GetParam());
}

TEST_P(TableFaults, OfALoadThatReplacesRows) {
  sweep(
      rows, [](table_twin &twin) { return twin.load(changes); }, GetParam());
}

TEST_P(TableFaults, OfAFirstLoad) {
  sweep(
      {}, [](table_twin &twin) { return twin.load(rows); }, GetParam());
}

TEST_P(TableFaults, OfCompacting) {
  sweep(
      rows, [](table_twin &twin) { return twin.compact(); }, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Kinds, TableFaults, testing::Bool(),
                         [](const auto &kind) { return kind.param ? "pools" : "heap"; });

TEST(TableFaultsAlone, OfAnIndexLeaveLookupsToTheTries) {
  table_twin twin;
  ASSERT_EQ(twin.load(rows), ZEL_V6COMP_TABLE_OK);
  uint64_t refused = 0;
  for (uint64_t k = 1; k < 20; ++k) {
    test_host::fail_heap_allocation(k);
    const int32_t status = zel_v6comp_table_index(twin.table);
    test_host::fail_heap_allocation(0);
    twin.check_lookups();
    if (status == ZEL_V6COMP_TABLE_OK) {
      break;
    }
    EXPECT_EQ(status, ZEL_V6COMP_TABLE_E_MEMORY);
    ++refused;
  }
  EXPECT_EQ(refused, 5u);
}

}  // namespace
