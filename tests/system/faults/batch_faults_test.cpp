// SPDX-License-Identifier: Apache-2.0
// Batches of every case, compatible and safe, each of their allocations refused once; then their undo and rollback.
#include "fault_sweep.h"

namespace {

using namespace instance_model;
using fault_sweep::fault_kind;

// No prefix here has anchors, so that each batch holds just the case that it is named after.
const std::vector<std::string> base_table = {"+2001::/16",        "+2001:db8::/32", "+2001:db9::/32", "+2001:e00::/24",
                                             "+2001:e01::/32",    "+2400::/12",     "+2600::/16",     "+2a00::/12",
                                             "+2a00:1000::/20 7", "+2a00:1080::/28"};

struct batch_case {
  std::string name;
  std::vector<std::string> records;
  uint32_t status;  // with memory enough
};

void PrintTo(const batch_case &c, std::ostream *out) { *out << c.name; }

const batch_case all_cases[] = {
    {"stored_already", {"+2001:db8::/32 3"}, 0},
    {"below_a_leaf", {"+2600:1::/32"}, 0},
    {"leaf_beside_others", {"+2001:f000::/20"}, 0},
    {"new_level", {"+2001:d00::/24"}, 0},
    {"delete_a_leaf", {"-2001:db9::/32"}, 0},
    {"delete_an_inner_prefix", {"-2001:e00::/24"}, 0},
    {"delete_what_is_absent", {"-2001:1234::/32"}, 0},
    {"with_anchors", {"+2600:1:2:3:4::/96"}, 0},
    {"everything_at_once",
     {"+2600:1::/32", "+2001:f000::/20", "+2001:d00::/24", "-2001:db9::/32", "-2001:e00::/24", "+2400::/12 9"},
     0},
    {"nothing", {}, 0},
    // Longer prefixes are applied first: the last record refuses the batch when the others stand already.
    {"undone_additions", {"+2600:1::/32", "+2001:f000::/20", "+2001:d00::/24", "-2400::/12 100"}, 22},
    {"undone_deletions", {"-2001:db9::/32", "-2001:e01::/32", "-2001:e00::/24", "-2a00::/12 100"}, 22},
    {"undone_mixture",
     {"+2600:1::/32", "-2001:db9::/32", "-2001:e00::/24", "+2001:d00::/24", "+2001:db8::/32 2", "-2a00::/12 100"},
     22},
};

using parameters = std::tuple<batch_case, fault_kind>;

class BatchFaults : public testing::TestWithParam<parameters> {
 protected:
  void SetUp() override {
    ASSERT_EQ(start(), 0u);
    tcamv6_debug_flags = {};
  }
  void TearDown() override { fault_sweep::expect_nothing_lost_after_reset(); }

  void prepare() {
    zel_v6comp_reset_instance(0, 0);
    tags_so_far = 0;
    ASSERT_EQ(request(read_changes(base_table)).status, 0u);
    ASSERT_EQ(first_fault(), "");
  }

  const batch_case &what() const { return std::get<0>(GetParam()); }
  const fault_kind &kind() const { return std::get<1>(GetParam()); }

  const std::vector<change> batch = read_changes(what().records);
};

const std::set<uint32_t> documented = {2, 12, 14, 22, 28};

// Not every refusal fails a batch: sorting does without its scratch memory, and the search for a free place in the
// compressed trie goes on on the other side when a node is refused on the first one. The keys then differ from those
// of a run with memory enough, and what they promise does not.

TEST_P(BatchFaults, SafeARefusedBatchLeavesTheInstanceExactlyAsItWas) {
  set_safe_updates(true);
  prepare();
  const answer right = request(batch);
  ASSERT_EQ(right.status, what().status);
  const std::string right_image = image();
  const std::string right_set = text_of(stored());
  std::string before;
  uint64_t held = 0;
  answer got;
  const uint64_t n = fault_sweep::sweep_all(kind(), {[&] {
                                                       prepare();
                                                       before = image({}, detail::elements);
                                                       held = allocated();
                                                     },
                                                     [&] { got = request(batch); },
                                                     [&](bool was_refused) {
                                                       if (was_refused && got.status == 0) {
                                                         ASSERT_EQ(text_of(stored()), right_set);
                                                         ASSERT_EQ(safe_fault(), "");
                                                         return;
                                                       }
                                                       if (was_refused) {
                                                         ASSERT_EQ(documented.count(got.status), 1u) << got.status;
                                                         ASSERT_EQ(image({}, detail::elements), before);
                                                         ASSERT_EQ(allocated(), held);
                                                         ASSERT_EQ(lost_memory(), "");
                                                         got = request(batch);
                                                       }
                                                       ASSERT_TRUE(same_bytes(got, right)) << got.status;
                                                       ASSERT_EQ(image(), right_image);
                                                       ASSERT_EQ(safe_fault(), "");
                                                     }});
  EXPECT_TRUE(n > 0 || kind().name != "heap");
}

TEST_P(BatchFaults, AsWrittenTheInstanceStaysSoundAndTheNextRequestSucceeds) {
  prepare();
  const answer right = request(batch);
  ASSERT_EQ(right.status, what().status);
  const stored_set right_set = stored();
  stored_set before;
  answer got;
  const uint64_t n = fault_sweep::sweep_all(kind(), {[&] {
                                                       prepare();
                                                       before = stored();
                                                     },
                                                     [&] { got = request(batch); },
                                                     [&](bool was_refused) {
                                                       ASSERT_TRUE(was_refused || got.status == what().status);
                                                       if (!was_refused || got.status == 0) {
                                                         ASSERT_EQ(text_of(stored()), text_of(right_set));
                                                         ASSERT_EQ(first_fault({}, false), "");
                                                         return;
                                                       }
                                                       ASSERT_EQ(documented.count(got.status), 1u) << got.status;
                                                       ASSERT_EQ(first_fault({}, false), "");
                                                       // An undo that was refused in its turn may leave less than there
                                                       // was.
                                                       if (what().status == 0) {
                                                         ASSERT_EQ(text_of(stored()), text_of(before));
                                                         ASSERT_EQ(request(batch).status, 0u);
                                                         ASSERT_EQ(text_of(stored()), text_of(right_set));
                                                       } else {
                                                         ASSERT_EQ(request({}).status, 0u);
                                                       }
                                                       ASSERT_EQ(first_fault({}, false), "");
                                                       ASSERT_EQ(lost_memory(), "");
                                                     }});
  EXPECT_TRUE(n > 0 || kind().name != "heap");
}

std::string name_of(const testing::TestParamInfo<parameters> &info) {
  return std::get<0>(info.param).name + "_" + fault_sweep::as_name(std::get<1>(info.param).name);
}

INSTANTIATE_TEST_SUITE_P(Cases, BatchFaults,
                         testing::Combine(testing::ValuesIn(all_cases), testing::ValuesIn(fault_sweep::all_kinds())),
                         name_of);

}  // namespace
