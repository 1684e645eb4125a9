// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_layout.h"

#include "arranged_fixture.h"

namespace {

class tcamv6_layout_test : public arranged_test {
 protected:
  int32_t cost_of(const std::string &prefix) {
    tcamv6_recoding recoding = subtree_of(prefix);
    const int32_t cost = tcamv6_layout_cost(&recoding);
    tcamv6_recoding_free(&recoding);
    return cost;
  }

  // Lay a prefix out below a code, and put it there.
  void lay_out(const std::string &prefix, const std::string &top) {
    tcamv6_recoding recoding = subtree_of(prefix);
    ASSERT_LE(tcamv6_layout_cost(&recoding), static_cast<int32_t>(64 - top.size()));
    ASSERT_EQ(tcamv6_layout(&recoding, code_from(top)), 0);
    ASSERT_EQ(tcamv6_recoding_lift(&recoding), 0);
    ASSERT_EQ(tcamv6_recoding_put(&recoding), 0);
    tcamv6_recoding_free(&recoding);
  }

  static std::string chain(int from, int to) {
    std::string text;
    for (int length = from; length <= to; ++length) {
      text += "8000::/" + std::to_string(length) + ' ';
    }
    return text;
  }
};

// Children that cost 2, 1 and 0.
constexpr auto three_children =
    "2001:db8::/32 "
    "2001:db8:1::/48 2001:db8:1:1::/64 2001:db8:1:2::/64 2001:db8:1:3::/64 "
    "2001:db8:2::/48 2001:db8:2:1::/64 "
    "2001:db8:3::/48";

TEST_F(tcamv6_layout_test, cost_is_the_least_that_holds_the_address_and_all_blocks) {
  compress(three_children);
  EXPECT_EQ(cost_of("2001:db8:3::/48"), 0);
  EXPECT_EQ(cost_of("2001:db8:2::/48"), 1);
  EXPECT_EQ(cost_of("2001:db8:1::/48"), 2);
  EXPECT_EQ(cost_of("2001:db8::/32"), 3) << "4 + 2 + 1 + 1 fill 8";
  EXPECT_EQ(cost_of("::/0"), 4);
}

TEST_F(tcamv6_layout_test, cost_of_chains_up_to_64_bits_and_beyond) {
  compress(chain(1, 60));
  EXPECT_EQ(cost_of("8000::/1"), 59);
  EXPECT_EQ(cost_of("::/0"), 60);
  tcamv6_recoding recoding = whole_table();
  recoding.list[recoding.count - 1].cost = 0;
  EXPECT_EQ(tcamv6_layout_cost(&recoding), 60) << "costs are computed anew";
  tcamv6_recoding_free(&recoding);
}

TEST_F(tcamv6_layout_test, cost_that_no_code_can_have) {
  compress(chain(1, 60));
  zel_v6comp_set_room(1);
  ASSERT_EQ(request("+8000::/61 +8000::/62 +8000::/63 +8000::/64"), 0u);
  EXPECT_EQ(cost_of("::/0"), 64);
  // The table refuses more, so one of its prefixes is listed twice.
  tcamv6_recoding recoding = tcamv6_recoding_of(state);
  ASSERT_EQ(tcamv6_recoding_add_subtree(&recoding, anc_node("::/0")), 0);
  for (int extra = 0; extra < 2; ++extra) {
    ASSERT_EQ(tcamv6_recoding_add(&recoding, anc_node("8000::/64")), 0);
    for (uint32_t i = 0; i + 1 < recoding.count; ++i) {
      ++recoding.list[i].subtree;
    }
    EXPECT_EQ(tcamv6_layout_cost(&recoding), TCAMV6_COST_TOO_HIGH);
  }
  tcamv6_recoding_free(&recoding);
}

TEST_F(tcamv6_layout_test, block_without_a_spare_bit_is_filled_largest_first_the_address_last) {
  compress(three_children);
  const std::string top = "01" + std::string(59, '1');
  lay_out("2001:db8::/32", top);
  EXPECT_EQ(code("2001:db8::/32"), top);
  EXPECT_EQ(code("2001:db8:1::/48"), top + "0");
  EXPECT_EQ(code("2001:db8:1:1::/64"), top + "000");
  EXPECT_EQ(code("2001:db8:1:2::/64"), top + "001");
  EXPECT_EQ(code("2001:db8:1:3::/64"), top + "010");
  EXPECT_EQ(dummy_code("2001:db8:1::/48"), top + "011");
  EXPECT_EQ(code("2001:db8:2::/48"), top + "10");
  EXPECT_EQ(code("2001:db8:2:1::/64"), top + "100");
  EXPECT_EQ(code("2001:db8:3::/48"), top + "110");
  EXPECT_EQ(dummy_code("2001:db8::/32"), top + "111");
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_layout_test, spare_bits_go_to_all_blocks_and_room_is_left_below_codes) {
  compress(three_children);
  lay_out("2001:db8::/32", "01");
  expect_nested_as_prefixes();
  for (const table_row_text &row : table_of(state)) {
    EXPECT_LE(row.code.size(), 62u) << row.prefix;
  }
  const size_t inner = code("2001:db8:1::/48").size();
  EXPECT_GT(inner, 3u) << "it goes some of its spare bits down";
  EXPECT_LT(inner, 3u + 58u) << "and not all";
}

TEST_F(tcamv6_layout_test, whole_word_of_64_bits) {
  compress(chain(1, 60));
  lay_out("::/0", "");
  expect_nested_as_prefixes();
  EXPECT_EQ(code("::/0"), "");
}

// A leaf keeps the dummy that it once needed as long as there is a bit for it.
TEST_F(tcamv6_layout_test, leaf_drops_its_dummy_only_when_its_code_has_all_bits) {
  compress(three_children);
  zel_v6comp_set_room(1);
  ASSERT_EQ(run("-2001:db8:2:1::/64").result, 0);
  ASSERT_NE(dummy_code("2001:db8:2::/48"), "none");
  lay_out("2001:db8::/32", "01");
  EXPECT_NE(dummy_code("2001:db8:2::/48"), "none");
  EXPECT_EQ(cost_of("2001:db8::/32"), 3);
  lay_out("2001:db8::/32", "01" + std::string(59, '1'));
  EXPECT_EQ(dummy_code("2001:db8:2::/48"), "none");
  EXPECT_EQ(code("2001:db8:2::/48").size(), 64u);
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_layout_test, refused_memory_answers_12) {
  compress(three_children);
  tcamv6_recoding recoding = subtree_of("::/0");
  tcamv6_layout_cost(&recoding);
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(tcamv6_layout(&recoding, code_from("")), -12);
  test_host::fail_heap_allocation(0);
  tcamv6_recoding_free(&recoding);
}

}  // namespace
