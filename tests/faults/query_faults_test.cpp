// A dump and a plan, each of their allocations refused once. Lookups and handles take no memory.
#include <cstring>
#include <memory>

#include "fault_sweep.h"
#include "slow_plan.h"

namespace {

using namespace instance_model;
using fault_sweep::fault_kind;

class QueryFaults : public testing::TestWithParam<fault_kind> {
 protected:
  void SetUp() override {
    ASSERT_EQ(start(), 0u);
    tcamv6_debug_flags = {};
    ASSERT_EQ(request(read_changes({"+2001::/16", "+2001:db8::/32", "+2001:db8:1::/48", "+2400::/12"})).status, 0u);
  }
  void TearDown() override { fault_sweep::expect_nothing_lost_after_reset(); }
};

TEST_P(QueryFaults, ARefusedDumpAnswers12OrTheWholeTable) {
  uint32_t count = 0;
  tm_incr_update_entry *list = nullptr;
  ASSERT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), 0u);
  ASSERT_EQ(count, 5u);
  const std::vector<tm_incr_update_entry> right(list, list + count);
  const std::string before = image({}, detail::elements);
  uint32_t status = 0;
  fault_sweep::sweep_all(GetParam(), {[] { std::memset(state_of()->entries, 0, sizeof state_of()->entries); },
                                      [&] { status = zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list); },
                                      [&](bool was_refused) {
                                        ASSERT_TRUE(status == 0 || (was_refused && status == 12)) << status;
                                        if (status == 12) {
                                          ASSERT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), 0u);
                                        }
                                        ASSERT_EQ(count, right.size());
                                        ASSERT_EQ(std::memcmp(list, right.data(), count * sizeof *list), 0);
                                        ASSERT_EQ(image({}, detail::elements), before);
                                        ASSERT_EQ(lost_memory(), "");
                                      }});
}

TEST_P(QueryFaults, APlanIsTheSameWithoutMemory) {
  constexpr uint32_t n = 300;
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  for (uint32_t i = 0; i < n; ++i) {
    prefixes[i] = {};
    prefixes[i].length = static_cast<uint8_t>(i * 7 % 129);
    prefixes[i].address[i % 16] = static_cast<uint8_t>(i * 31);
    addresses[i] = {};
    addresses[i].bytes[0] = static_cast<uint8_t>(i);
  }
  const auto expected = std::make_unique<tm_incr_update_list>();
  uint32_t corrupted = 0;
  slow_plan::build(*expected, prefixes, addresses, 0, corrupted, false);
  const auto list = std::make_unique<tm_incr_update_list>();
  fault_sweep::sweep_all(GetParam(), {[&] { std::memset(list.get(), 0, sizeof *list); },
                                      [&] {
                                        uint32_t flag = 0;
                                        tm_build_incremental_update_prefixes_list(list.get(), prefixes.data(), nullptr,
                                                                                  addresses.data(), n, 0, &flag, 0);
                                      },
                                      [&](bool) {
                                        ASSERT_EQ(std::memcmp(list->entries, expected->entries, sizeof list->entries),
                                                  0);
                                        ASSERT_EQ(list->n_insert, expected->n_insert);
                                        ASSERT_EQ(lost_memory(), "");
                                      }});
}

TEST_P(QueryFaults, LookupsAndHandlesAskForNoMemory) {
  const uint64_t heap = test_host::heap().allocations;
  const uint64_t elements = test_host::pool_elements_granted();
  tcamv6_prefix record = {};
  record.length = 16;
  record.address[0] = 0x20;
  record.address[1] = 0x01;
  tcamv6_cmpr_pref pref;
  tcamv6_cmpr_addr addr;
  tcamv6_prefix match = {};
  uint32_t handle = 0;
  EXPECT_EQ(tcamv6_lookup_prefix(state_of(), &record, &pref, &addr), 0);
  EXPECT_EQ(tcamv6_lookup_address(state_of(), record.address, &match, &pref, &addr), 0);
  EXPECT_EQ(tcamv6_prefix_handle_attach(state_of(), &record, 7), 0);
  EXPECT_EQ(tcamv6_prefix_handle_query(state_of(), &record, &handle), 0);
  EXPECT_EQ(handle, 7u);
  EXPECT_EQ(test_host::heap().allocations, heap);
  EXPECT_EQ(test_host::pool_elements_granted(), elements);
}

INSTANTIATE_TEST_SUITE_P(Kinds, QueryFaults, testing::Values(fault_kind{"heap"}, fault_kind{"any pool"}),
                         fault_sweep::kind_name);

}  // namespace
