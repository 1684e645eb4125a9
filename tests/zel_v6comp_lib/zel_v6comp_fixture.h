// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_fixture.h - the whole library, initialised anew for each test, and requests as a host makes them.
#ifndef ZEL_V6COMP_FIXTURE_H
#define ZEL_V6COMP_FIXTURE_H

#include "tcamv6_leftovers.h"
#include "tcamv6_state_internal.h"
#include "test_records.h"
#include "zel_v6comp.h"

// A request: three words, and the records directly behind them.
class request_bytes {
 public:
  request_bytes(int32_t processor, int32_t instance, const std::vector<tcamv6_prefix> &records)
      : bytes_(sizeof(v6comp_pref_info) + records.size() * sizeof(tcamv6_prefix)) {
    const auto n = static_cast<uint32_t>(records.size());
    std::memcpy(bytes_.data(), &processor, 4);
    std::memcpy(bytes_.data() + 4, &instance, 4);
    set_count(n);
    if (n != 0) {
      std::memcpy(bytes_.data() + sizeof(v6comp_pref_info), records.data(), n * sizeof(tcamv6_prefix));
    }
  }

  void set_count(uint32_t n) { std::memcpy(bytes_.data() + 8, &n, 4); }

  const v6comp_pref_info *get() const {
    return static_cast<const v6comp_pref_info *>(static_cast<const void *>(bytes_.data()));
  }

 private:
  std::vector<unsigned char> bytes_;
};

// What one request gave; the arrays are released.
struct answer {
  uint32_t status = 0;
  uint32_t changed = 77;
  bool has_prefs = false;
  bool has_addrs = false;
  std::vector<tcamv6_cmpr_pref> prefs;  // of a request that succeeded
  std::vector<tcamv6_cmpr_addr> addrs;
};

inline bool same_results(const answer &a, const answer &b) {
  return a.status == b.status && a.prefs.size() == b.prefs.size() && a.addrs.size() == b.addrs.size() &&
         (a.prefs.empty() || std::memcmp(a.prefs.data(), b.prefs.data(), a.prefs.size() * sizeof a.prefs[0]) == 0) &&
         (a.addrs.empty() || std::memcmp(a.addrs.data(), b.addrs.data(), a.addrs.size() * sizeof a.addrs[0]) == 0);
}

// At the end of a test all instances are reset; then not one element and no block but the global one may be out.
class zel_v6comp_test : public ::testing::Test {
 protected:
  void SetUp() override {
    test_host::reset();
    gbl_state = nullptr;
    start();
  }

  void TearDown() override {
    test_host::fail_heap_allocation(0);
    test_host::fail_pool_element(0);
    test_host::fail_pool_creation(0);
    tcamv6_debug_flags = {};
    reset_all();
    EXPECT_EQ(test_host::pool_used(), 0u);
    EXPECT_EQ(test_host::pool_damage(), "");
    EXPECT_EQ(test_host::heap().blocks, gbl_state != nullptr ? 1u : 0u);
    if (gbl_state != nullptr) {
      zel_free_named(gbl_state);
      gbl_state = nullptr;
    }
    tcamv6_forget_leftovers();
    test_host::reset();
  }

  virtual void start() { ASSERT_EQ(zel_v6comp_init_global_state(2, 4), 0u); }

  static void reset_all() {
    for (int32_t processor = 0; processor < 4; ++processor) {
      for (int32_t instance = 0; instance < 2; ++instance) {
        zel_v6comp_reset_instance(processor, instance);
      }
    }
  }

  static void set_words(uint32_t trace, uint32_t info, uint32_t error) {
    tcamv6_debug_flags = {trace, info, error, 0, 0, 0};
  }

  // Entries of the working list that a request is given.
  static uint32_t list_length(const std::vector<tcamv6_prefix> &records, bool full) {
    uint32_t n = full ? 1 : 0;
    for (const tcamv6_prefix &record : records) {
      n += 1u + (record.length > 32) + (record.length > 48) + (record.length > 64) + (record.length > 96);
    }
    return n;
  }

  static answer ask(const std::vector<tcamv6_prefix> &records, int32_t processor = 0, int32_t instance = 0) {
    const tcamv6_state *state = zel_v6comp_instance(processor, instance);
    const bool full = state == nullptr || state->opt_done != 1;
    const request_bytes request(processor, instance, records);
    tcamv6_cmpr_pref *prefs = nullptr;
    tcamv6_cmpr_addr *addrs = nullptr;
    answer a;
    a.status = zel_v6comp_prefix_compress_prefixes(request.get(), &prefs, &addrs, &a.changed);
    a.has_prefs = prefs != nullptr;
    a.has_addrs = addrs != nullptr;
    if (a.status == 0) {
      const uint32_t n = list_length(records, full);
      a.prefs.assign(prefs, prefs + n);
      a.addrs.assign(addrs, addrs + n);
    }
    zel_v6comp_free_compr_result(prefs, addrs);
    return a;
  }

  static std::vector<uint32_t> allocated() {
    std::vector<uint32_t> counts;
    for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
      counts.push_back(gbl_chunk_info[type].allocated);
    }
    return counts;
  }
};

#endif
