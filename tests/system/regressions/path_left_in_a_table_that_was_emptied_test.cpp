// SPDX-License-Identifier: Apache-2.0
// A batch that a full pool stops can leave a path in the compressed trie, remembered to be given back later. A full
// compression of the engine's own on the same instance releases the trie first: the path must go before it.
#include <gtest/gtest.h>

#include "instance_image.h"
#include "tcamv6_optimized.h"
#include "tcamv6_prefix_list.h"
#include "test_host.h"

namespace {

using namespace instance_model;

void compress_directly() {
  const tcamv6_prefix none = {};
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(tcamv6_build_prefix_list(&none, &list, 0, &count, 1), 0);
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  uint32_t n_distinct = 0;
  test_host::fail_heap_allocation(1);  // no new table takes the place of the old one's elements
  EXPECT_EQ(tcamv6_optimized_compress(state_of(), count, list, &pref, &addr, &n_distinct), -12);
  zel_free_named(list);
}

TEST(path_left, goes_before_the_table_that_it_hangs_in) {
  bool refused = true;
  for (uint64_t k = 1; refused; ++k) {
    ASSERT_EQ(start(), 0u);
    ASSERT_EQ(request(read_changes({"+2000::/16"})).status, 0u);
    test_host::fail_pool_element(k);
    refused = request(read_changes({"+2000:100::/24"})).status != 0;
    test_host::fail_pool_element(0);
    compress_directly();
    EXPECT_EQ(request(read_changes({"+2400::/12"})).status, 0u) << k;
    EXPECT_EQ(test_host::pool_damage(), "") << k;
    EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
    EXPECT_EQ(allocated(), 0u) << k;
  }
}

}  // namespace
