// SPDX-License-Identifier: Apache-2.0
// A dump, a plan and many lookups, each of their allocations refused once. Handles and a few lookups take no memory.
#include <cstring>
#include <memory>

#include "fault_sweep.h"
#include "slow_plan.h"

namespace {

using namespace instance_model;
using fault_sweep::fault_kind;

tcamv6_prefix read_record(const std::string &text) {
  const change c = read_change('+' + text);
  tcamv6_prefix record = {};
  record.length = c.prefix.length;
  v6tool::key_to_bytes(c.prefix.key, record.address);
  return record;
}

class QueryFaults : public testing::TestWithParam<fault_kind> {
 protected:
  void SetUp() override {
    ASSERT_EQ(start(), 0u);
    tcamv6_debug_flags = {};
    compress();
  }
  void TearDown() override { fault_sweep::expect_nothing_lost_after_reset(); }

  static void compress() {
    ASSERT_EQ(request(read_changes({"+2001::/16", "+2001:db8::/32", "+2001:db8:1::/48", "+2400::/12"})).status, 0u);
  }
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

TEST_P(QueryFaults, ManyLookupsFindTheSameWithoutMemoryForAnIndex) {
  const tcamv6_prefix stored = read_record("2001:db8:1::/48");
  const tcamv6_prefix not_stored = read_record("2001:db8:2::/48");
  tcamv6_cmpr_pref right_pref = {};
  tcamv6_cmpr_addr right_addr = {};
  ASSERT_EQ(tcamv6_lookup_prefix(state_of(), &stored, &right_pref, &right_addr), 0);
  uint32_t wrong = 0;
  const uint64_t refused = fault_sweep::sweep_all(
      GetParam(), {[] {
                     ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
                     compress();
                   },
                   [&] {
                     zel_v6comp_build_index(0, 0);
                     for (uint32_t left = 3; left != 0; --left) {
                       tcamv6_cmpr_pref pref = {};
                       tcamv6_cmpr_addr addr = {};
                       wrong += tcamv6_lookup_prefix(state_of(), &not_stored, &pref, &addr) != -22;
                       wrong += tcamv6_lookup_prefix(state_of(), &stored, &pref, &addr) != 0;
                       wrong += std::memcmp(&addr, &right_addr, sizeof addr) != 0 || pref.length != right_pref.length;
                     }
                   },
                   [&](bool) {
                     ASSERT_EQ(wrong, 0u);
                     ASSERT_EQ(lost_memory(), "");
                   }});
  EXPECT_EQ(refused != 0, GetParam().name == "heap");
}

TEST_P(QueryFaults, HandlesAndAFewLookupsAskForNoMemory) {
  const uint64_t heap = test_host::heap().allocations;
  const uint64_t elements = test_host::pool_elements_granted();
  const tcamv6_prefix record = read_record("2001::/16");
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
