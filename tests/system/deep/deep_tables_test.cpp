// SPDX-License-Identifier: Apache-2.0
// The deepest and the widest tables: one path of every length, all full-length, as many siblings as a request holds.
#include "instance_host.h"
#include "instance_image.h"
#include "test_records.h"

namespace {

using namespace instance_model;

constexpr uint64_t many_elements = 1u << 20;

v6tool::ip_prefix prefix_of(const tcamv6_prefix &record) {
  return {v6tool::key_from_bytes(record.address), record.length};
}

std::vector<change> changes_of(const std::vector<tcamv6_prefix> &records) {
  std::vector<change> changes;
  for (const tcamv6_prefix &record : records) {
    changes.push_back({true, prefix_of(record), record.weight});
  }
  return changes;
}

class deep_tables_test : public ::testing::Test {
 protected:
  void begin(uint64_t elements) {
    ASSERT_EQ(start(elements), 0u);
    tcamv6_debug_flags = {};
  }

  void TearDown() override {
    for (const place &at : all_places) {
      EXPECT_EQ(zel_v6comp_reset_instance(at.processor, at.instance), 0u);
    }
    EXPECT_EQ(allocated(), 0u);
    EXPECT_EQ(lost_memory(), "");
    EXPECT_EQ(test_host::pool_damage(), "");
    restore_pool_sizes();
  }

  // Bits of the longest compressed prefix.
  static uint32_t longest_code(const answer &a) {
    uint32_t longest = 0;
    for (const tcamv6_cmpr_pref &pref : a.prefs) {
      longest = std::max<uint32_t>(longest, pref.length);
    }
    return longest;
  }
};

TEST_F(deep_tables_test, a_chain_of_129_nested_prefixes_needs_more_than_64_bits) {
  begin(32768);
  EXPECT_EQ(request(changes_of(nested_records(128))).status, 75u);  // and ::/0, which the library adds
  EXPECT_EQ(request(read_changes({"+2001:db8::/32"})).status, 0u);
}

TEST_F(deep_tables_test, sixty_four_bits_fit_and_65_do_not) {
  begin(32768);
  const answer fits = request(changes_of(nested_records(64)));
  EXPECT_EQ(fits.status, 0u);
  EXPECT_EQ(longest_code(fits), 64u);
  EXPECT_EQ(safe_fault(), "");
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(request(changes_of(nested_records(65))).status, 75u);
}

TEST_F(deep_tables_test, a_full_chain_of_64_refuses_what_would_lie_deeper) {
  begin(32768);
  set_safe_updates(true);
  ASSERT_EQ(request(changes_of(nested_records(64))).status, 0u);
  const std::string before = image({}, detail::elements);
  const uint32_t status = request(read_changes({"+::/65"})).status;
  EXPECT_TRUE(status == 2 || status == 28 || status == 14) << status;
  EXPECT_EQ(image({}, detail::elements), before);
  EXPECT_EQ(safe_fault(), "");
}

TEST_F(deep_tables_test, a_path_that_branches_at_all_128_depths_fails_on_a_depth_limit_and_leaves_the_instance_usable) {
  begin(32768);
  // A branch at every depth of one path: 128 edges, but each prefix stands alone at its side of it.
  std::vector<change> changes;
  for (uint8_t length = 1; length <= 128; ++length) {
    tcamv6_prefix record = record_of("::/" + std::to_string(length));
    record.address[(length - 1) / 8] = static_cast<uint8_t>(0x80u >> (length - 1) % 8);
    changes.push_back({true, prefix_of(record), 1});
  }
  const answer branched = request(changes);
  EXPECT_EQ(branched.status, 1u);  // the engine's -1: no depth is left for a node of the code tree
  EXPECT_EQ(request(read_changes({"+2001:db8::/32"})).status, 0u);
  EXPECT_EQ(safe_fault(), "");
  ASSERT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_EQ(request(changes_of(nested_records(100))).status, 75u);
}

TEST_F(deep_tables_test, the_deepest_chain_is_accepted_in_a_batch_or_refused_whole) {
  begin(32768);
  set_safe_updates(true);
  ASSERT_EQ(request({}).status, 0u);
  const std::string before = image({}, detail::elements);
  const answer a = request(changes_of(nested_records(128)));
  EXPECT_TRUE(a.status == 2 || a.status == 28 || a.status == 14) << a.status;
  EXPECT_EQ(image({}, detail::elements), before);
  for (const tcamv6_prefix &record : nested_records(128)) {  // one at a time: as far as there is room
    request({{true, prefix_of(record), 1}});
    ASSERT_EQ(first_fault(), "");
  }
  EXPECT_EQ(safe_fault(), "");
  EXPECT_GE(stored().size(), 2u);
}

TEST_F(deep_tables_test, all_siblings_of_a_request_are_told_apart) {
  begin(many_elements);
  const std::vector<tcamv6_prefix> records = sibling_records(65534, 32);
  const answer a = request(changes_of(records));
  ASSERT_EQ(a.status, 0u);
  EXPECT_EQ(a.prefs.size(), 65535u);
  EXPECT_EQ(stored().size(), 65535u);
  EXPECT_EQ(first_fault(), "");
  EXPECT_EQ(containment_fault(), "");
  EXPECT_LE(longest_code(a), 64u);
}

TEST_F(deep_tables_test, full_length_prefixes_only) {
  begin(many_elements);
  const answer a = request(changes_of(sibling_records(5000, 128)));
  ASSERT_EQ(a.status, 0u);
  EXPECT_EQ(stored().size(), 5005u);  // anchors of /32, /48, /64 and /96, and ::/0
  EXPECT_EQ(safe_fault(), "");
}

TEST_F(deep_tables_test, a_wide_table_is_emptied_by_one_batch) {
  begin(many_elements);
  set_safe_updates(true);
  std::vector<change> changes = changes_of(sibling_records(3000, 32));
  ASSERT_EQ(request(changes).status, 0u);
  for (change &c : changes) {
    c.add = false;
  }
  ASSERT_EQ(request(changes).status, 0u);
  EXPECT_EQ(stored().size(), 1u);
  EXPECT_EQ(safe_fault(), "");
}

}  // namespace
