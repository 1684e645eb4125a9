// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_recode.h"

#include "arranged_fixture.h"

namespace {

const std::string zeros(64, '0');

class tcamv6_recode_test : public arranged_test {
 protected:
  static std::vector<std::string> moved() {
    std::vector<std::string> names;
    const tcamv6_move_list *list = tcamv6_moves_collected();
    for (uint32_t i = 0; i < list->count; ++i) {
      const zel_v6comp_move &move = list->moves[i];
      names.push_back(::text_of(move.address, move.length) + ' ' + bits_of_key(move.old_key, move.old_length) + "->" +
                      bits_of_key(move.new_key, move.new_length));
    }
    return names;
  }

  void lift_and_put(tcamv6_recoding *recoding) {
    ASSERT_EQ(tcamv6_recoding_lift(recoding), 0);
    ASSERT_EQ(tcamv6_recoding_put(recoding), 0);
  }
};

TEST_F(tcamv6_recode_test, subtree_is_listed_outside_in_with_what_it_has) {
  arrange({{"2001::/16", {"0", "01"}},
           {"2001:db8::/32", {"00", "001"}},
           {"2001:db8:1::/48", {"0000", ""}},
           {"2001:db9::/32", {"011", ""}}});
  tcamv6_recoding recoding = subtree_of("2001::/16");
  ASSERT_EQ(recoding.count, 4u);
  EXPECT_EQ(name_of(recoding.list[0].node), "2001::/16");
  EXPECT_EQ(recoding.list[0].subtree, 4u);
  for (uint32_t i = 0; i < recoding.count; ++i) {
    const tcamv6_recoded &r = recoding.list[i];
    const std::string name = name_of(r.node);
    EXPECT_EQ(::text_of(r.old_code), code(name));
    EXPECT_TRUE(r.had_code);
    EXPECT_EQ(r.new_code.bits, r.old_code.bits);
    EXPECT_EQ(r.new_address.bits, r.old_address.bits);
    EXPECT_EQ(r.subtree, name == "2001::/16" ? 4u : name == "2001:db8::/32" ? 2u : 1u);
  }
  lift_and_put(&recoding);
  EXPECT_TRUE(moved().empty()) << "all is where it was";
  tcamv6_recoding_free(&recoding);
  EXPECT_EQ(recoding.list, nullptr);
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_recode_test, shift_keeps_all_places_in_the_block) {
  arrange({{"2001::/16", {"00", "0011"}}, {"2001:db8::/32", {"0000", "00001"}}, {"2001:db8:1::/48", {"000000", ""}}});
  tcamv6_recoding recoding = subtree_of("2001::/16");
  tcamv6_recoding_shift(&recoding, code_from("101"));
  lift_and_put(&recoding);
  tcamv6_recoding_free(&recoding);
  EXPECT_EQ(code("2001::/16"), "101");
  EXPECT_EQ(dummy_code("2001::/16").substr(0, 5), "10111");
  EXPECT_EQ(code("2001:db8::/32"), "10100");
  EXPECT_EQ(code("2001:db8:1::/48"), "1010000");
  EXPECT_THAT(moved(), ::testing::ElementsAre("2001::/16 00->101", "2001:db8::/32 0000->10100",
                                              "2001:db8:1::/48 000000->1010000"));
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_recode_test, shift_to_a_larger_block_and_of_one_without_bits) {
  arrange({{"2001:db8::/32", {zeros, ""}}, {"2001:db9::/32", {"11", ""}}});
  tcamv6_recoding full = subtree_of("2001:db8::/32");
  tcamv6_recoding_shift(&full, code_from("01"));
  EXPECT_EQ(::text_of(full.list[0].new_code), "01");
  EXPECT_EQ(::text_of(full.list[0].new_address), "01" + zeros.substr(2));
  tcamv6_recoding_shift(&full, code_from(std::string(64, '1')));
  EXPECT_EQ(::text_of(full.list[0].new_code), std::string(64, '1'));
  EXPECT_EQ(full.list[0].new_code.len, 64);
  tcamv6_recoding_free(&full);
}

TEST_F(tcamv6_recode_test, two_can_change_places) {
  arrange({{"2001:db8::/32", {"00", ""}}, {"2001:db9::/32", {"01", ""}}});
  tcamv6_recoding recoding = whole_table();
  for (uint32_t i = 1; i < recoding.count; ++i) {
    tcamv6_recoded *r = &recoding.list[i];
    r->new_code = code_from(::text_of(r->old_code) == "00" ? "01" : "00");
    r->new_address = tcamv6_code_cut(r->new_code, 64);
  }
  lift_and_put(&recoding);
  tcamv6_recoding_free(&recoding);
  EXPECT_EQ(code("2001:db8::/32"), "01");
  EXPECT_EQ(code("2001:db9::/32"), "00");
  EXPECT_EQ(moved().size(), 2u);
}

TEST_F(tcamv6_recode_test, places_are_free_while_their_owners_are_lifted) {
  arrange({{"2001::/16", {"00", "0011"}}, {"2001:db8::/32", {"0000", ""}}, {"3001::/16", {"1", ""}}});
  tcamv6_recoding recoding = subtree_of("2001::/16");
  ASSERT_EQ(tcamv6_recoding_lift(&recoding), 0);
  EXPECT_EQ(cmpr_at("00"), nullptr);
  EXPECT_NE(cmpr_at("1"), nullptr);
  EXPECT_EQ(tcamv6_cmpr_node(data("2001:db8::/32")), nullptr);
  tcamv6_code found;
  ASSERT_TRUE(tcamv6_free_below(tm_trie_node(state->cmpr_root), 2, nullptr, &found));
  ASSERT_EQ(tcamv6_recoding_put(&recoding), 0);
  tcamv6_recoding_free(&recoding);
  EXPECT_EQ(code("2001::/16"), "00");
}

TEST_F(tcamv6_recode_test, move_of_an_address_alone_is_told) {
  arrange({{"2001::/16", {"00", "0011"}}, {"2001:db8::/32", {"0000", ""}}});
  tcamv6_recoding recoding = tcamv6_recoding_of(state);
  ASSERT_EQ(tcamv6_recoding_add(&recoding, anc_node("2001::/16")), 0);
  recoding.list[0].new_address = tcamv6_code_cut(code_from("0010"), 64);
  lift_and_put(&recoding);
  tcamv6_recoding_free(&recoding);
  EXPECT_EQ(dummy_code("2001::/16").substr(0, 4), "0010");
  EXPECT_THAT(moved(), ::testing::ElementsAre("2001::/16 00->00"));
}

TEST_F(tcamv6_recode_test, one_that_had_no_code_is_put_and_not_told) {
  arrange({{"2001:db8::/32", {"00", ""}}, {"2001:db9::/32", {"01", ""}}});
  tcamv6_recoding lifted = subtree_of("2001:db8::/32");
  ASSERT_EQ(tcamv6_recoding_lift(&lifted), 0);
  tcamv6_recoding_free(&lifted);
  tcamv6_recoding again = subtree_of("2001:db8::/32");
  EXPECT_FALSE(again.list[0].had_code);
  again.list[0].new_code = code_from("111");
  again.list[0].new_address = tcamv6_code_cut(code_from("111"), 64);
  lift_and_put(&again);
  tcamv6_recoding_free(&again);
  EXPECT_EQ(code("2001:db8::/32"), "111");
  EXPECT_TRUE(moved().empty());
}

TEST_F(tcamv6_recode_test, place_that_another_has_is_refused) {
  arrange({{"2001:db8::/32", {"00", ""}}, {"2001:db9::/32", {"01", ""}}});
  tcamv6_recoding lifted = subtree_of("2001:db8::/32");
  ASSERT_EQ(tcamv6_recoding_lift(&lifted), 0);
  tm_util_trie_node *root = tm_trie_node(state->cmpr_root);
  EXPECT_EQ(tcamv6_put_code(anc_node("2001:db8::/32"), code_from("01"), root), -2);
  EXPECT_EQ(tcamv6_put_code(anc_node("2001:db8::/32"), code_from("00"), root), 0);
  tcamv6_recoding_free(&lifted);
}

TEST_F(tcamv6_recode_test, entries_are_counted_without_anchors) {
  ASSERT_EQ(request("+2001:db8:1:2::/64 +2001:db8:1:3::/64 +2001::/16"), 0u);
  EXPECT_EQ(tcamv6_entries_at(anc_node("2001::/16")), 3u);
  EXPECT_EQ(tcamv6_entries_at(anc_node("2001:db8:1::/48")), 2u) << "an anchor";
  EXPECT_EQ(tcamv6_entries_at(anc_node("2001:db8:1:2::/64")), 1u);
}

}  // namespace
