// SPDX-License-Identifier: Apache-2.0
// Requests that no careful host would make.
#include "hostile_fixture.h"

namespace {

using namespace instance_model;

// Head and records of a request; the count may lie.
std::vector<uint8_t> bytes_of(int32_t processor, int32_t instance, uint32_t n,
                              const std::vector<tcamv6_prefix> &records) {
  std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {processor, instance, n};
  std::memcpy(bytes.data(), &head, sizeof head);
  if (!records.empty()) {
    std::memcpy(bytes.data() + sizeof head, records.data(), records.size() * sizeof(tcamv6_prefix));
  }
  return bytes;
}

// The status; the outputs must be null unless the request was run.
uint32_t ask(const std::vector<uint8_t> &bytes) {
  auto *prefs = reinterpret_cast<tcamv6_cmpr_pref *>(uintptr_t{8});
  auto *addrs = reinterpret_cast<tcamv6_cmpr_addr *>(uintptr_t{8});
  uint32_t changed = 0;
  const auto *req = reinterpret_cast<const v6comp_pref_info *>(bytes.data());
  const uint32_t status = zel_v6comp_prefix_compress_prefixes(req, &prefs, &addrs, &changed);
  if (status == 22) {
    EXPECT_EQ(prefs, nullptr);
    EXPECT_EQ(addrs, nullptr);
  }
  zel_v6comp_free_compr_result(prefs, addrs);
  return status;
}

TEST_F(hostile_test, a_null_request_is_12_and_clears_the_outputs) {
  auto *prefs = reinterpret_cast<tcamv6_cmpr_pref *>(uintptr_t{8});
  auto *addrs = reinterpret_cast<tcamv6_cmpr_addr *>(uintptr_t{8});
  uint32_t changed = 77;
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(nullptr, &prefs, &addrs, &changed), 12u);
  EXPECT_EQ(prefs, nullptr);
  EXPECT_EQ(addrs, nullptr);
  EXPECT_EQ(changed, 77u);
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(nullptr, nullptr, nullptr, nullptr), 12u);
  EXPECT_EQ(zel_v6comp_prefix_compress(nullptr), 12u);
  zel_v6comp_free_compr_result(nullptr, nullptr);
}

TEST_F(hostile_test, a_null_output_of_a_request_is_22) {
  const std::vector<uint8_t> bytes = bytes_of(0, 0, 0, {});
  const auto *req = reinterpret_cast<const v6comp_pref_info *>(bytes.data());
  auto *prefs = reinterpret_cast<tcamv6_cmpr_pref *>(uintptr_t{8});
  auto *addrs = reinterpret_cast<tcamv6_cmpr_addr *>(uintptr_t{8});
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(req, nullptr, &addrs, nullptr), 22u);
  EXPECT_EQ(addrs, nullptr);
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(req, &prefs, nullptr, nullptr), 22u);
  EXPECT_EQ(prefs, nullptr);
}

TEST_F(hostile_test, two_outputs_in_one_place_are_22) {
  const std::vector<uint8_t> bytes = bytes_of(0, 0, 0, {});
  const auto *req = reinterpret_cast<const v6comp_pref_info *>(bytes.data());
  uint64_t place[3] = {8, 8, 8};
  const auto prefs_at = [&](size_t byte) {
    return reinterpret_cast<tcamv6_cmpr_pref **>(reinterpret_cast<uint8_t *>(place) + byte);
  };
  const auto addrs_at = [&](size_t byte) { return reinterpret_cast<tcamv6_cmpr_addr **>(prefs_at(byte)); };
  const auto changed_at = [&](size_t byte) { return reinterpret_cast<uint32_t *>(prefs_at(byte)); };
  tcamv6_debug_flags.error = 1;
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(req, prefs_at(0), addrs_at(0), nullptr), 22u);
  EXPECT_TRUE(was_logged("TM_PROCESSING zel_v6comp_prefix_compress_prefixes: Bad arguments"));
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(req, prefs_at(0), addrs_at(8), changed_at(0)), 22u);
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(req, prefs_at(0), addrs_at(8), changed_at(4)), 22u);
  EXPECT_EQ(zel_v6comp_prefix_compress_prefixes(req, prefs_at(0), addrs_at(8), changed_at(12)), 22u);
  EXPECT_EQ(place[0], 0u);
  EXPECT_EQ(place[1], 0u);
}

// A host that writes to its request while the library allocates.
TEST_F(hostile_test, a_request_that_changes_while_it_is_read_is_22_or_what_it_was) {
  for (const bool safe : {false, true}) {
    zel_v6comp_set_safe_updates(safe);
    for (const uint32_t n : {1u, 300u}) {
      for (const uint8_t length : std::vector<uint8_t>{31, 33, 65, 96, 127, 128, 129, 255}) {
        for (uint64_t k = 1; k <= 4; ++k) {
          std::vector<tcamv6_prefix> records(n, record_of("3fff:7:7:7::/64", 1, 0));
          std::vector<uint8_t> bytes = bytes_of(0, 0, n, records);
          for (tcamv6_prefix &record : records) {
            record.length = length;
          }
          test_host::call_before_heap_allocation(k, [&] {
            const uint32_t most = 0xFFFFFFFF;
            std::memcpy(bytes.data() + offsetof(v6comp_pref_info, n_prefixes), &most, sizeof most);
            std::memcpy(bytes.data() + sizeof(v6comp_pref_info), records.data(), n * sizeof(tcamv6_prefix));
          });
          // What is deleted here is not stored. Unread records are as good as any.
          const uint32_t status = ask(bytes);
          EXPECT_TRUE(status == 22 || status == 0) << n << ' ' << int{length} << ' ' << k << ": " << status;
          const uint64_t list = safe ? (n == 1 ? 3 : 4) : 1;  // the allocation between counting and copying
          const bool other_anchors = !safe && (length > 64 || length < 49);  // a safe delete of nothing has none
          if (k == list && (length > 128 || other_anchors)) {
            EXPECT_EQ(status, 22u) << n << ' ' << int{length};
          }
          test_host::call_before_heap_allocation(0, nullptr);
        }
      }
    }
  }
  zel_v6comp_set_safe_updates(0);
  EXPECT_EQ(test_host::pool_damage(), "");
}

TEST_F(hostile_test, counts_above_65534_are_22_without_a_look_at_the_records) {
  for (const uint32_t n : {65535u, 65536u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(ask(bytes_of(0, 0, n, {})), 22u);
    EXPECT_EQ(ask(bytes_of(9, 9, n, {})), 22u);
    const std::vector<uint8_t> bytes = bytes_of(0, 0, n, {});
    EXPECT_EQ(zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data())), 22u);
  }
}

TEST_F(hostile_test, places_off_the_grid_are_22_for_every_call_that_takes_one) {
  const int32_t lowest = INT32_MIN;
  for (const auto &[processor, instance] : std::vector<std::pair<int32_t, int32_t>>{
           {-1, 0}, {4, 0}, {0, -1}, {0, 2}, {INT32_MAX, 0}, {0, INT32_MAX}, {lowest, 0}, {0, lowest}, {4, 2}}) {
    SCOPED_TRACE(std::to_string(processor) + ' ' + std::to_string(instance));
    EXPECT_EQ(ask(bytes_of(processor, instance, 0, {})), 22u);
    EXPECT_EQ(zel_v6comp_instance(processor, instance), nullptr);
    EXPECT_EQ(zel_v6comp_reset_instance(processor, instance), 22u);
    uint32_t count = 77;
    tm_incr_update_entry *list = nullptr;
    EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(processor, instance, &count, &list), 22u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(list, nullptr);
  }
}

TEST_F(hostile_test, lengths_above_128_are_22_wherever_the_record_stands) {
  for (const uint8_t length : {uint8_t{129}, uint8_t{255}}) {
    for (size_t at = 0; at < 3; ++at) {
      std::vector<tcamv6_prefix> records = records_of({"3000::/8", "3100::/8", "3200::/8"});
      records[at].length = length;
      EXPECT_EQ(ask(bytes_of(0, 0, 3, records)), 22u) << int{length} << " at " << at;
    }
  }
}

TEST(hostile_lengths, length_0_and_128_are_stored_in_full_and_in_a_batch) {
  ASSERT_EQ(start(), 0u);
  tcamv6_debug_flags = {};
  ASSERT_EQ(request(read_changes({"+::/0", "+2001:db8::1/128"})).status, 0u);
  ASSERT_EQ(request(read_changes({"+::/0", "+2001:db8::2/128"})).status, 0u);
  EXPECT_EQ(first_fault(), "");
  const stored_set set = stored();
  EXPECT_EQ(set.count(read_change("+::/0").prefix), 1u);
  EXPECT_EQ(set.count(read_change("+2001:db8::1/128").prefix), 1u);
  EXPECT_EQ(set.count(read_change("+2001:db8::2/128").prefix), 1u);
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(lost_memory(), "");
}

TEST(hostile_counts, tables_of_0_1_32000_and_32001_are_answered_and_what_does_not_fit_is_12) {
  for (const uint32_t n : {0u, 1u, 32000u, 32001u, 65534u}) {
    SCOPED_TRACE(n);
    ASSERT_EQ(start(), 0u);
    tcamv6_debug_flags = {};
    const uint32_t status = ask(bytes_of(0, 0, n, sibling_records(n, 32)));
    EXPECT_EQ(status, n > 1 ? 12u : 0u);  // one node each, and the paths: more than 32,768 nodes
    EXPECT_EQ(ask(bytes_of(0, 0, 1, records_of({"2001:db8::/32"}))), 0u) << "the pools are poisoned";
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    EXPECT_EQ(allocated(), 0u);
    EXPECT_EQ(test_host::pool_damage(), "");
  }
}

TEST(hostile_counts, dump_takes_32000_rows_and_refuses_32001) {
  for (const uint32_t n : {31999u, 32000u, 32001u}) {
    SCOPED_TRACE(n);
    ASSERT_EQ(start(1u << 20), 0u);
    tcamv6_debug_flags = {};
    ASSERT_EQ(ask(bytes_of(0, 0, n, sibling_records(n, 32))), 0u);
    state_of()->entries[0].state = 0xABCD;
    uint32_t count = 0;
    tm_incr_update_entry *list = nullptr;
    const uint32_t rows = n + 1;  // and the default
    EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), rows <= 32000 ? 0u : 12u);
    EXPECT_EQ(count, rows);
    EXPECT_EQ(list, rows <= 32000 ? state_of()->entries : nullptr);
    EXPECT_EQ(state_of()->entries[0].state, rows <= 32000 ? 3u : 0xABCDu);
    EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  }
  restore_pool_sizes();
}

class before_start_test : public ::testing::Test {
 protected:
  void SetUp() override {
    forget_the_start();
    tcamv6_debug_flags = {};
  }
  void TearDown() override { EXPECT_EQ(test_host::heap().blocks, 0u); }
};

TEST_F(before_start_test, every_call_is_answered) {
  EXPECT_EQ(ask(bytes_of(0, 0, 1, records_of({"2001:db8::/32"}))), 22u);
  EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr);
  EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 22u);
  uint32_t count = 77;
  tm_incr_update_entry *list = nullptr;
  EXPECT_EQ(zel_v6comp_sort_and_dump_prefix(0, 0, &count, &list), 22u);
  EXPECT_EQ(count, 0u);
  zel_v6comp_set_safe_updates(7);
  EXPECT_EQ(zel_v6comp_safe_updates(), 1u);
  zel_v6comp_set_safe_updates(0);
  EXPECT_STREQ(zel_v6comp_version(), "1.0.0");
  EXPECT_EQ(tcamv6_init_opt_done(nullptr), -22);
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    EXPECT_EQ(tm_chunk_malloc(type), nullptr);
    tm_chunk_free(type, nullptr);
  }
}

TEST_F(before_start_test, an_engine_call_on_a_state_of_the_hosts_own_finds_no_pool) {
  const auto own = std::make_unique<tcamv6_state>();
  const tcamv6_conf conf = {128, 64, own.get()};
  int32_t was_reset = 0;
  ASSERT_EQ(tcamv6_init(own.get(), &conf, &was_reset), 0);
  const std::vector<tcamv6_prefix> list = records_of({"2001:db8::/32", "::/0"});
  std::vector<tcamv6_cmpr_pref> prefs(2);
  std::vector<tcamv6_cmpr_addr> addrs(2);
  uint32_t distinct = 7;
  EXPECT_EQ(tcamv6_optimized_compress(own.get(), 2, list.data(), prefs.data(), addrs.data(), &distinct), -12);
  EXPECT_EQ(distinct, 0u);
}

TEST(hostile_start, a_second_start_forgets_everything_and_works) {
  ASSERT_EQ(start(), 0u);
  tcamv6_debug_flags = {};
  ASSERT_EQ(request(read_changes({"+2001:db8::/32"})).status, 0u);
  gbl_state_block *first = gbl_state;
  ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u);
  EXPECT_NE(gbl_state, first);
  EXPECT_EQ(tcamv6_init_opt_done(state_of()), -2);
  EXPECT_EQ(allocated(), 0u);
  EXPECT_EQ(request(read_changes({"+2400::/12"})).status, 0u);
  EXPECT_EQ(stored().size(), 2u);
  zel_free_named(first);
  EXPECT_EQ(test_host::pool_damage(), "");
  // The old pools stay as they were; the new ones are whole once the instance is reset.
  const std::vector<test_host::pool_view> pools = test_host::pools();
  ASSERT_EQ(pools.size(), 10u);
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(allocated(), 0u);
  size_t old_elements = 0;
  for (size_t i = 0; i < 5; ++i) {
    old_elements += pools[i].used;
  }
  EXPECT_GT(old_elements, 0u);
  EXPECT_EQ(test_host::pool_used(), old_elements);
}

TEST(hostile_start, counts_beyond_the_grid_are_22_and_none_or_less_make_no_instance) {
  forget_the_start();
  for (const auto &[instances, processors] : std::vector<std::pair<int32_t, int32_t>>{
           {3, 4}, {2, 5}, {32000, 4}, {2, 32001}, {65534, 65535}, {INT32_MAX, 4}, {2, INT32_MAX}}) {
    EXPECT_EQ(zel_v6comp_init_global_state(instances, processors), 22u);
    EXPECT_EQ(gbl_state, nullptr);
  }
  for (const auto &[instances, processors] :
       std::vector<std::pair<int32_t, int32_t>>{{0, 0}, {-1, 4}, {2, -1}, {INT32_MIN, INT32_MIN}}) {
    EXPECT_EQ(zel_v6comp_init_global_state(instances, processors), 0u);
    EXPECT_EQ(zel_v6comp_instance(0, 0), nullptr);
    EXPECT_EQ(ask(bytes_of(0, 0, 0, {})), 22u);
    zel_free_named(gbl_state);
    gbl_state = nullptr;
  }
}

TEST(hostile_weights, sums_wrap_at_two_to_the_16) {
  ASSERT_EQ(start(), 0u);
  tcamv6_debug_flags = {};
  ASSERT_EQ(request(read_changes({"+2001:db8::/32 65535", "+2001:db8::/32 2"})).status, 0u);
  const v6tool::ip_prefix prefix = read_change("+2001:db8::/32").prefix;
  EXPECT_EQ(stored()[prefix].weight, 1u);
  ASSERT_EQ(request(read_changes({"+2001:db8::/32 65534"})).status, 0u);
  EXPECT_EQ(stored()[prefix].weight, 65535u);
  ASSERT_EQ(request(read_changes({"+2001:db8::/32 1"})).status, 0u);
  EXPECT_EQ(stored()[prefix].weight, 0u);
  EXPECT_EQ(first_fault(), "");
  EXPECT_EQ(request(read_changes({"+2400::/12 4294967295", "+2400::/12 65536"})).status, 0u);
  EXPECT_EQ(stored()[read_change("+2400::/12").prefix].weight, 65535u);
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(allocated(), 0u);
  EXPECT_EQ(lost_memory(), "");
}

TEST(hostile_tags, the_tag_counter_wraps_at_20_bits_and_tables_stay_right) {
  ASSERT_EQ(start(), 0u);
  tcamv6_debug_flags = {};
  set_safe_updates(true);
  for (uint32_t tags = 0xFFFFA; tags != 0x100004; ++tags) {
    SCOPED_TRACE(tags);
    tags_so_far = tags;
    ASSERT_EQ(request(read_changes({"+2001:db8::/32", "+2001:db8:8::/48"})).status, 0u);
    ASSERT_EQ(request(read_changes({"+2400::/12", "+2001:db8:9::/48", "-2001:db8:8::/48"})).status, 0u);
    EXPECT_EQ(safe_fault(), "");
    ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    EXPECT_EQ(allocated(), 0u);
  }
  tags_so_far = 0xFFFFFFFF;
  ASSERT_EQ(request(read_changes({"+2001:db8::/32"})).status, 0u);
  ASSERT_EQ(request(read_changes({"+2400::/12"})).status, 0u);
  EXPECT_EQ(safe_fault(), "");
  set_safe_updates(false);
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
}

TEST(hostile_tags, a_list_of_more_than_two_to_the_20_records_starts_again_at_tag_0) {
  ASSERT_EQ(start(), 0u);
  const uint32_t n = (1u << 20) + 3;
  const std::vector<tcamv6_prefix> records(n, record_of("2000::/8"));
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &list, n, &count, 0), 0);
  ASSERT_EQ(count, n);
  EXPECT_EQ(list[0].flags_tag >> 12, 1u);
  EXPECT_EQ(list[(1u << 20) - 2].flags_tag >> 12, 0xFFFFFu);
  EXPECT_EQ(list[(1u << 20) - 1].flags_tag >> 12, 0u);
  EXPECT_EQ(list[n - 1].flags_tag >> 12, 3u);
  zel_free_named(list);
}

}  // namespace
