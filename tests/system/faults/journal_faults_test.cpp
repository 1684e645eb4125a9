// SPDX-License-Identifier: Apache-2.0
// Safe batches whose notes outgrow what a record is allotted: each reserve refused, wherever it is made, and all of
// them reached.
#include "fault_sweep.h"

namespace {

using namespace instance_model;

class JournalFaults : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(start(1u << 17), 0u);
    restore_pool_sizes();
    set_safe_updates(true);
    tcamv6_debug_flags = {};
  }
  void TearDown() override {
    tcamv6_debug_flags = {};
    fault_sweep::expect_nothing_lost_after_reset();
  }

  // n prefixes of one length below 2001:db8::/32, numbered behind their first `at` bits.
  static std::vector<change> numbered(uint32_t n, uint32_t at, uint8_t length, bool add = true) {
    std::vector<change> list;
    for (uint32_t i = 0; i < n; ++i) {
      const uint64_t high = 0x20010db800000000 | static_cast<uint64_t>(i) << (64 - at);
      list.push_back({add, {{high, 0}, length}, 1});
    }
    return list;
  }

  static std::vector<change> joined(std::vector<change> a, const std::vector<change> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  }

  // Who was refused memory for the journal, as the log names them; then the log is cleared.
  static std::set<std::string> refused_reserves() {
    std::set<std::string> names;
    for (const std::string &line : test_host::log_lines()) {
      if (line.find("failed for the journal") != std::string::npos) {
        names.insert(line.substr(0, line.find(':')));
      }
    }
    test_host::clear_log();
    return names;
  }

  // Refuse each heap allocation of a batch once. Returns who was refused.
  std::set<std::string> sweep(const std::vector<change> &table, const std::vector<change> &batch) {
    std::set<std::string> reached;
    std::string before;
    uint64_t held = 0;
    answer got;
    fault_sweep::sweep_all({"heap"}, {[&] {
                                        zel_v6comp_reset_instance(0, 0);
                                        tags_so_far = 0;
                                        ASSERT_EQ(request(table).status, 0u);
                                        before = fingerprint({});
                                        held = allocated();
                                        test_host::clear_log();
                                        tcamv6_debug_flags.info = 1;
                                      },
                                      [&] { got = request(batch); },
                                      [&](bool was_refused) {
                                        tcamv6_debug_flags.info = 0;
                                        const std::set<std::string> names = refused_reserves();
                                        reached.insert(names.begin(), names.end());
                                        ASSERT_TRUE(was_refused || got.status == 0) << got.status;
                                        if (got.status != 0) {
                                          ASSERT_EQ(got.status, 12u);
                                          ASSERT_TRUE(fingerprint({}) == before);
                                          ASSERT_EQ(allocated(), held);
                                        }
                                        ASSERT_EQ(safe_fault(), "");
                                      }});
    return reached;
  }

  const std::vector<change> outer = read_changes({"+2001:db8::/32"});
};

TEST_F(JournalFaults, ManyRecordsGrowTheLogsBetweenRecords) {
  const std::set<std::string> reached = sweep(joined(numbered(1, 48, 48), outer), numbered(60, 48, 48));
  EXPECT_EQ(reached.count("tcamv6_incr_compress"), 1u);
}

TEST_F(JournalFaults, NewLevelReservesTheLinksOfAllThatItAdopts) {
  const std::set<std::string> reached = sweep(joined(numbered(200, 48, 48), outer), read_changes({"+2001:db8::/36"}));
  EXPECT_EQ(reached.count("tcav6_incr_add_pref_newlvl"), 1u);
}

TEST_F(JournalFaults, InnerDeleteReservesTheNumbersOfAllThatItHandsOn) {
  std::vector<change> table = joined(numbered(600, 48, 48), outer);
  table = joined(table, read_changes({"+2001:db8::/36", "+2001:db8:f000::/48"}));
  const std::set<std::string> reached = sweep(table, read_changes({"-2001:db8::/36"}));
  EXPECT_EQ(reached.count("tcamv6_reserve_moving"), 1u);
}

}  // namespace
