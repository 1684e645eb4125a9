// SPDX-License-Identifier: Apache-2.0
// fault_sweep.h - one run for every allocation that can be refused.
//
//   for k = 1, 2, ...   prepare, refuse the k-th allocation of the kind, run, check; until nothing was refused
#ifndef FAULT_SWEEP_H
#define FAULT_SWEEP_H

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "counter_model.h"
#include "instance_host.h"
#include "instance_image.h"
#include "test_host.h"

namespace fault_sweep {

// What is refused.
struct fault_kind {
  std::string name;  // of the pool; "heap"; "any pool"

  void arm(uint64_t k) const {
    if (name == "heap") {
      test_host::fail_heap_allocation(k);
    } else {
      test_host::fail_pool_element(k, name == "any pool" ? "" : name);
    }
  }

  static void disarm() {
    test_host::fail_heap_allocation(0);
    test_host::fail_pool_element(0);
  }
};

inline std::vector<fault_kind> pool_kinds() {
  return {{"TM_V6_ANC_TREE"}, {"TM_V6_ANC_DATA"}, {"TM_V6_ORIG_DATA"}, {"TM_V6_PCMPR_DATA"}, {"TM_V6_TRIE_NODE"}};
}

inline std::vector<fault_kind> all_kinds() {
  std::vector<fault_kind> kinds = pool_kinds();
  kinds.push_back({"heap"});
  kinds.push_back({"any pool"});
  return kinds;
}

inline void PrintTo(const fault_kind &kind, std::ostream *out) { *out << kind.name; }

inline std::string as_name(std::string text) {
  std::replace(text.begin(), text.end(), ' ', '_');
  return text;
}

inline std::string kind_name(const testing::TestParamInfo<fault_kind> &info) { return as_name(info.param.name); }

// Refusals seen so far, of any kind.
inline uint64_t refused() {
  uint64_t sum = test_host::heap().refused;
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    sum += gbl_chunk_info[type].failed;
  }
  return sum;
}

struct sweep {
  std::function<void()> prepare;
  std::function<void()> run;
  std::function<void(bool was_refused)> check;
};

// Returns how many allocations were refused, one in each run.
inline uint64_t sweep_all(const fault_kind &kind, const sweep &s) {
  for (uint64_t k = 1;; ++k) {
    SCOPED_TRACE(kind.name + " allocation " + std::to_string(k));
    s.prepare();
    const uint64_t before = refused();
    kind.arm(k);
    s.run();
    fault_kind::disarm();
    const bool was_refused = refused() != before;
    s.check(was_refused);
    if (!was_refused || ::testing::Test::HasFailure()) {
      return k - 1;
    }
  }
}

// All pools and blocks as before the first request once every instance is reset.
inline void expect_nothing_lost_after_reset() {
  for (const instance_model::place &at : instance_model::all_places) {
    ASSERT_EQ(zel_v6comp_reset_instance(at.processor, at.instance), 0u);
  }
  EXPECT_EQ(instance_model::allocated(), 0u);
  EXPECT_EQ(instance_model::lost_memory(), "");
  EXPECT_EQ(test_host::pool_damage(), "");
}

}  // namespace fault_sweep

#endif
