// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_place.h"

#include "arranged_fixture.h"

namespace {

const std::string zeros(64, '0');

std::string zero_bits(size_t n) { return zeros.substr(0, n); }

constexpr tcamv6_place_wish anywhere = {tcamv6_any_depth, nullptr};

class tcamv6_place_test : public arranged_test {
 protected:
  // Two neighbours that differ in their last bit, at the end of a long way; the parent's address at its beginning.
  //    parent 00, its address 001..., the neighbours 000000000 and 000000001; sides of depths 3 to 7 are free
  void arrange_neighbours() {
    arrange({{"2001:db8::/32", {"00", "001"}},
             {"2001:db8:f000::/48", {"000000000", ""}},
             {"2001:db8:f001::/48", {"000000001", ""}}});
  }

  std::string place(const std::string &parent, const std::string &prefix, const tcamv6_place_wish &wish = anywhere) {
    const tcamv6_prefix record = record_of(prefix);
    const tcamv6_spot at = spot(parent, record);
    tcamv6_code found;
    return tcamv6_place_leaf(&at, &wish, &found) ? ::text_of(found) : "none";
  }

  std::string place_level(const std::string &parent, const std::string &prefix,
                          const std::vector<std::string> &adopted) {
    const tcamv6_prefix record = record_of(prefix);
    const tcamv6_spot at = spot(parent, record);
    std::vector<tm_n_ary_node *> nodes;
    for (const std::string &name : adopted) {
      nodes.push_back(anc_node(name));
    }
    const tm_util_trie_node *path =
        tm_util_trie_lookup(tm_trie_node(state->orig_root), record.address, record.length, 0);
    tcamv6_code found;
    return tcamv6_place_level(&at, path, nodes.data(), nodes.size(), &found) ? ::text_of(found) : "none";
  }
};

TEST_F(tcamv6_place_test, departure_tells_the_last_two_branches_on_the_way) {
  arrange(
      {{"2001:db8::/32", {"00", "001"}}, {"2001:db8:8000::/48", {"0000", ""}}, {"2001:db8:c000::/48", {"0001", ""}}});
  const tcamv6_prefix late = record_of("2001:db8:e000::/48");
  const tcamv6_departure from = spot("2001:db8::/32", late).from;
  EXPECT_EQ(from.at, 34) << "e000 leaves c000 at its third bit";
  EXPECT_EQ(from.above, 33) << "8000 leaves both at their second";
  ASSERT_NE(from.group, nullptr);
  EXPECT_EQ(from.group->len, 35);
  const tcamv6_prefix early = record_of("2001:db8:0::/48");
  EXPECT_EQ(spot("2001:db8::/32", early).from.at, 32);
  EXPECT_EQ(spot("2001:db8::/32", early).from.above, 32);
}

TEST_F(tcamv6_place_test, departure_of_the_only_prefix_has_no_group) {
  arrange({{"2001:db8::/32", {"00", ""}}});
  const tcamv6_prefix only = record_of("2001:db8:1::/48");
  const tcamv6_departure from = spot("2001:db8::/32", only).from;
  EXPECT_EQ(from.group, nullptr);
  EXPECT_EQ(from.at, 32);
}

TEST_F(tcamv6_place_test, one_that_leaves_late_goes_near_its_neighbours_one_that_leaves_early_far_from_them) {
  arrange_neighbours();
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48").substr(0, 8), "00000001");
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:7000::/48").substr(0, 4), "0001");
  const std::string between = place("2001:db8::/32", "2001:db8:f700::/48");
  const size_t depth = between.find('1');
  EXPECT_GT(depth, 3u);
  EXPECT_LT(depth, 7u);
}

TEST_F(tcamv6_place_test, place_takes_a_quarter_of_a_side_or_less_and_leaves_bits_below_itself) {
  arrange_neighbours();
  const std::string late = place("2001:db8::/32", "2001:db8:f002::/48");
  EXPECT_GE(late.size(), 8u + 2u);
  EXPECT_LE(place("2001:db8::/32", "2001:db8:f002::ffff:0/127").size(), 62u);
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::1/128").size(), 64u);
  EXPECT_EQ(late.substr(8), std::string(late.size() - 8, '0'));
}

TEST_F(tcamv6_place_test, wish_for_a_depth_and_for_another_half) {
  arrange_neighbours();
  const tcamv6_place_wish shallow = {5, nullptr};
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48", shallow), "00001");
  const tcamv6_place_wish as_deep_as_the_first_side = {4, nullptr};
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48", as_deep_as_the_first_side), "0001");
  const tcamv6_place_wish too_shallow = {2, nullptr};
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48", too_shallow), "none");
  const tcamv6_code half = code_from("0000");
  const tcamv6_place_wish outside = {tcamv6_any_depth, &half};
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48", outside).substr(0, 4), "0001");
  const tcamv6_code all = code_from("00");
  const tcamv6_place_wish nowhere = {tcamv6_any_depth, &all};
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48", nowhere), "none");
}

// A taken side ends the run: it belongs to a wider group.
TEST_F(tcamv6_place_test, run_ends_at_what_others_have) {
  arrange({{"2001:db8::/32", {"00", "001"}},
           {"2001:db8:3000::/48", {"00001", ""}},
           {"2001:db8:f000::/48", {"000000000", ""}},
           {"2001:db8:f001::/48", {"000000001", ""}}});
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:8000::/48").substr(0, 6), "000001");
}

TEST_F(tcamv6_place_test, without_a_run_the_nearest_free_code_is_taken) {
  arrange({{"2001:db8::/32", {"00", "001"}}, {"2001:db8:f000::/48", {"000", ""}}});
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f001::/48").substr(0, 4), "0011");
}

TEST_F(tcamv6_place_test, last_free_code_is_found_and_then_none) {
  const std::string parent = zero_bits(62);
  arrange({{"2001:db8::/32", {parent, parent + "11"}},
           {"2001:db8:1::/48", {parent + "00", ""}},
           {"2001:db8:2::/48", {parent + "01", ""}}});
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:3::/48"), parent + "10");
  EXPECT_EQ(place("2001:db8:1::/48", "2001:db8:1:1::/64"), "none") << "its code has all bits";
}

TEST_F(tcamv6_place_test, full_parent_has_no_place) {
  const std::string parent = zero_bits(63);
  arrange({{"2001:db8::/32", {parent, parent + "1"}}, {"2001:db8:1::/48", {parent + "0", ""}}});
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:3::/48"), "none");
}

TEST_F(tcamv6_place_test, code_of_64_bits_has_nothing_below_it) {
  arrange({{"2001:db8::/32", {zeros, ""}}});
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:3::/48"), "none");
}

// While a level is made, children of it can have their codes still elsewhere: they draw nobody out of the parent.
TEST_F(tcamv6_place_test, neighbours_outside_the_parents_code_do_not_count) {
  arrange(
      {{"2001:db8::/32", {"00", "000"}}, {"2001:db8:f000::/48", {"1100", ""}}, {"2001:db8:f001::/48", {"1101", ""}}});
  EXPECT_EQ(place("2001:db8::/32", "2001:db8:f002::/48").substr(0, 2), "00");
}

TEST_F(tcamv6_place_test, level_holds_what_it_adopts_and_nothing_else) {
  arrange_neighbours();
  const std::vector<std::string> both = {"2001:db8:f000::/48", "2001:db8:f001::/48"};
  EXPECT_EQ(place_level("2001:db8::/32", "2001:db8:f000::/47", both), "0000000") << "just above what it adopts";
  const std::string high = place_level("2001:db8::/32", "2001:db8:8000::/33", both);
  EXPECT_GE(high.size(), 3u);
  EXPECT_LE(high.size(), 4u) << high << ": just below what it leaves";
}

TEST_F(tcamv6_place_test, level_has_no_place_among_strays) {
  arrange({{"2001:db8::/32", {"00", "001"}},
           {"2001:db8:3000::/48", {"000000011", ""}},
           {"2001:db8:f000::/48", {"00000000", ""}},
           {"2001:db8:f001::/48", {"000000010", ""}}});
  EXPECT_EQ(place_level("2001:db8::/32", "2001:db8:f000::/47", {"2001:db8:f000::/48", "2001:db8:f001::/48"}), "none");
}

TEST_F(tcamv6_place_test, level_has_no_place_where_only_the_parents_code_holds_all) {
  arrange(
      {{"2001:db8::/32", {"00", "0011"}}, {"2001:db8:f000::/48", {"0000", ""}}, {"2001:db8:f001::/48", {"0010", ""}}});
  EXPECT_EQ(place_level("2001:db8::/32", "2001:db8:f000::/47", {"2001:db8:f000::/48", "2001:db8:f001::/48"}), "none");
}

TEST_F(tcamv6_place_test, free_code_nearest_to_the_top) {
  arrange_neighbours();
  tcamv6_code found;
  const tm_util_trie_node *top = cmpr_at("00");
  ASSERT_TRUE(tcamv6_free_below(top, 64, nullptr, &found));
  EXPECT_EQ(found.len, 4);
  const tcamv6_code left = code_from("000");
  ASSERT_TRUE(tcamv6_free_below(top, 64, &left, &found));
  EXPECT_EQ(::text_of(found), "0011");
  const tcamv6_code beside_the_address = code_from("0011");
  ASSERT_TRUE(tcamv6_free_below(top, 64, &beside_the_address, &found));
  EXPECT_EQ(::text_of(found), "0001");
  EXPECT_FALSE(tcamv6_free_below(top, 3, nullptr, &found)) << "none of 3 bits";
  EXPECT_TRUE(tcamv6_free_below(cmpr_at("0000000"), 8, nullptr, &found));
  EXPECT_FALSE(tcamv6_free_below(cmpr_at("0000000"), 7, nullptr, &found));
  EXPECT_FALSE(tcamv6_free_below(cmpr_at("00000000"), 64, nullptr, &found)) << "both sides are prefixes";
}

TEST_F(tcamv6_place_test, address_is_the_code_and_zeros_or_the_nearest_free_one) {
  arrange({{"2001:db8::/32", {"00", "001"}}, {"2001:db8:f000::/48", {"000", ""}}});
  const tm_util_trie_node *root = tm_trie_node(state->cmpr_root);
  tcamv6_code found;
  ASSERT_TRUE(tcamv6_free_address(root, code_from("0111"), 64, &found)) << "a code that nobody has";
  EXPECT_EQ(::text_of(found), "0111" + zero_bits(60));
  ASSERT_TRUE(tcamv6_free_address(root, code_from("00"), 64, &found)) << "zeros lead to the child";
  EXPECT_EQ(::text_of(found), "0011" + zero_bits(60));
  ASSERT_TRUE(tcamv6_free_address(root, code_from("000"), 64, &found)) << "nothing is below the child";
  EXPECT_EQ(::text_of(found), zeros);
  ASSERT_TRUE(tcamv6_free_address(cmpr_at("00"), code_from("00"), 64, &found)) << "from the code's own node";
  EXPECT_EQ(::text_of(found), "0011" + zero_bits(60));
  ASSERT_TRUE(tcamv6_free_address(cmpr_at("00"), code_from("0011"), 64, &found)) << "from a node above";
  EXPECT_EQ(::text_of(found), "0011" + zero_bits(60));
}

TEST_F(tcamv6_place_test, address_of_a_full_block_is_not_found) {
  const std::string parent = zero_bits(63);
  arrange({{"2001:db8::/32", {parent, parent + "1"}}, {"2001:db8:1::/48", {parent + "0", ""}}});
  tcamv6_code found;
  EXPECT_FALSE(tcamv6_free_address(tm_trie_node(state->cmpr_root), code_from(parent), 64, &found));
}

}  // namespace
