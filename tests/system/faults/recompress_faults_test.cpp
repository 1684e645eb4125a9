// SPDX-License-Identifier: Apache-2.0
// A full compression that needs Fit, and compressing anew in place, each of their allocations refused once.
#include "room_mode_faults.h"
#include "tcamv6_handle.h"

namespace {

using namespace instance_model;
using fault_sweep::fault_kind;

// The fewest prefixes that cover 2001:db8:1234:5678::/64 but for one host: the documented limits refuse them.
std::vector<change> all_but_one_host() {
  const v6tool::ip_key host = {0x20010db8'12345678, 0x9abcdef0'12345678};
  std::vector<change> changes;
  for (unsigned length = 65; length <= 128; ++length) {
    v6tool::ip_key key = host;
    (length <= 64 ? key.hi : key.lo) ^= uint64_t{1} << (63 - (length - 1) % 64);
    changes.push_back({true, {v6tool::masked(key, length), static_cast<uint8_t>(length)}, 1});
  }
  return changes;
}

// Changes after which a full compression of the table gives other codes.
const std::vector<std::string> table = {"+2001::/16", "+2001:db8::/32", "+2001:db8::/48", "+2400::/12", "+::/0 3"};
const std::vector<std::string> first_batch = {"+2001:db9::/32", "+2001:dba::/32", "+2400:1::/40"};
const std::vector<std::string> second_batch = {"-2001:db8::/48", "+2a00:1080::/32"};

class RecompressFaults : public room_mode_faults {
 protected:
  static void attach(const std::string &text, uint32_t handle) {
    const change c = read_change(text);
    tcamv6_prefix prefix = {};
    prefix.length = c.prefix.length;
    v6tool::key_to_bytes(c.prefix.key, prefix.address);
    ASSERT_EQ(tcamv6_prefix_handle_attach(state_of(), &prefix, handle), 0);
  }

  static void prepare_table() {
    zel_v6comp_reset_instance(0, 0);
    tags_so_far = 0;
    ASSERT_EQ(request(read_changes(table)).status, 0u);
    attach("+2001:db8::/32", 4711);
    ASSERT_EQ(request(read_changes(first_batch)).status, 0u);
    ASSERT_EQ(request(read_changes(second_batch)).status, 0u);
    ASSERT_EQ(safe_fault(), "");
  }
};

}  // namespace

TEST_P(RecompressFaults, ARefusedFitAnswers12AndTheNextRequestSucceeds) {
  const std::vector<change> hole = all_but_one_host();
  answer got;
  const uint64_t n =
      fault_sweep::sweep_all(GetParam(), {[] { zel_v6comp_reset_instance(0, 0); }, [&] { got = request(hole); },
                                          [&](bool was_refused) {
                                            if (was_refused && got.status != 0) {
                                              ASSERT_EQ(got.status, 12u);
                                              ASSERT_EQ(request(hole).status, 0u);
                                            }
                                            ASSERT_EQ(safe_fault(), "");
                                          }});
  EXPECT_GT(n, GetParam().name == "heap" ? 8u : 60u);
}

TEST_P(RecompressFaults, ARefusedRecompressionLeavesEveryElementAndTheMovesAsTheyWere) {
  std::string before;
  std::string before_table;
  uint64_t held = 0;
  uint32_t status = 0;
  bool succeeded = false;
  const uint64_t n = fault_sweep::sweep_all(GetParam(), {[&] {
                                                           prepare_table();
                                                           before = image(place{}, detail::elements);
                                                           before_table = text_of(stored());
                                                           held = allocated();
                                                         },
                                                         [&] { status = zel_v6comp_recompress(0, 0); },
                                                         [&](bool was_refused) {
                                                           ASSERT_EQ(text_of(stored()), before_table);
                                                           ASSERT_EQ(first_fault(), "");
                                                           ASSERT_EQ(containment_fault(), "");
                                                           if (status != 0) {
                                                             ASSERT_TRUE(was_refused);
                                                             ASSERT_EQ(status, 12u);
                                                             ASSERT_EQ(image(place{}, detail::elements), before);
                                                             ASSERT_EQ(allocated(), held);
                                                             return;
                                                           }
                                                           succeeded = true;
                                                           ASSERT_NE(image(place{}, detail::elements), before);
                                                         }});
  EXPECT_TRUE(succeeded);
  EXPECT_GT(n, GetParam().name == "heap" ? 4u : 7u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RecompressFaults, testing::ValuesIn(fault_sweep::all_kinds()), fault_sweep::kind_name);
