// SPDX-License-Identifier: Apache-2.0
// Room mode as a host sees it, one repair at a time.
#include "tcamv6_room.h"

#include <cstring>

#include "arranged_fixture.h"
#include "tcamv6_rules.h"

namespace {

class tcamv6_room_test : public arranged_test {
 protected:
  void room(const std::string &first) {
    ASSERT_EQ(request(first), 0u);
    zel_v6comp_set_room(1);
  }

  static std::vector<zel_v6comp_move> moves() {
    const zel_v6comp_move *list = nullptr;
    uint32_t n = 77;
    EXPECT_EQ(zel_v6comp_moves(0, 0, &list, &n), 0u);
    EXPECT_EQ(list == nullptr, n == 0);
    return {list, list + n};
  }

  static std::vector<std::string> moved() {
    std::vector<std::string> names;
    for (const zel_v6comp_move &move : moves()) {
      names.push_back(text_of(move.address, move.length));
    }
    return names;
  }
};

TEST(tcamv6_code_test, codes_of_0_and_64_bits) {
  const tcamv6_code root = {0, 0};
  const tcamv6_code ones = {~uint64_t{0}, 64};
  EXPECT_EQ(tcamv6_code_mask(0), 0u);
  EXPECT_EQ(tcamv6_code_mask(64), ~uint64_t{0});
  EXPECT_TRUE(tcamv6_code_covers(root, ones));
  EXPECT_FALSE(tcamv6_code_covers(ones, root));
  EXPECT_TRUE(tcamv6_code_covers(ones, ones));
  EXPECT_EQ(tcamv6_code_child(root, 1).bits, uint64_t{1} << 63);
  EXPECT_EQ(tcamv6_code_child({~uint64_t{1}, 63}, 1).bits, ones.bits);
  EXPECT_EQ(tcamv6_code_common(ones, {~uint64_t{1}, 64}).len, 63);
  EXPECT_EQ(tcamv6_code_common(ones, ones).len, 64);
  EXPECT_EQ(tcamv6_code_common(ones, root).len, 0);
  EXPECT_EQ(tcamv6_code_cut(ones, 3).bits, uint64_t{7} << 61);
  EXPECT_EQ(tcamv6_code_bit(ones, 63), 1u);
}

TEST_F(tcamv6_room_test, switches_answer_0_or_1_and_room_implies_safe_updates) {
  EXPECT_EQ(zel_v6comp_room(), 0u);
  zel_v6comp_set_room(9);
  EXPECT_EQ(zel_v6comp_room(), 1u);
  EXPECT_EQ(zel_v6comp_safe_updates(), 1u);
  zel_v6comp_set_safe_updates(0);
  EXPECT_EQ(zel_v6comp_safe_updates(), 1u) << "room mode needs them";
  zel_v6comp_set_room(0);
  EXPECT_EQ(zel_v6comp_safe_updates(), 0u);
}

TEST_F(tcamv6_room_test, moves_refuse_what_is_no_instance) {
  const zel_v6comp_move *list = nullptr;
  uint32_t n = 77;
  EXPECT_EQ(zel_v6comp_moves(4, 0, &list, &n), 22u);
  EXPECT_EQ(zel_v6comp_moves(0, 2, &list, &n), 22u);
  EXPECT_EQ(zel_v6comp_moves(0, 0, nullptr, &n), 22u);
  EXPECT_EQ(zel_v6comp_moves(0, 0, &list, nullptr), 22u);
  EXPECT_EQ(zel_v6comp_moves(0, 0, &list, &n), 0u);
  EXPECT_EQ(n, 0u);
  EXPECT_EQ(list, nullptr);
}

TEST_F(tcamv6_room_test, results_that_nobody_reads_hold_no_keys_and_change_nothing_else) {
  const std::string batch = "-2001:db9::/32 +2001:db8:1::/48 +2001:db8::/32 +2001:db8:1:2::/64";
  std::vector<table_row_text> tables[2];
  batch_answer answers[2];
  std::vector<std::string> logs[2];
  for (const bool reads_keys : {false, true}) {
    compress("2001:db8::/32 2001:db9::/32");
    zel_v6comp_set_room(1);
    tcamv6_update_rules rules = tcamv6_rules_now();
    rules.reads_keys = reads_keys;
    tcamv6_lend_rules(&rules);
    answers[reads_keys] = run(batch);
    tables[reads_keys] = table_of(state);
    only({&tcamv6_debug_flags_t::result});
    lines();
    run("+2001:db8:3::/48");
    logs[reads_keys] = lines();
    only({});
    tcamv6_lend_rules(nullptr);
    zel_v6comp_set_room(0);
  }
  EXPECT_EQ(tables[0], tables[1]);
  EXPECT_EQ(logs[0], logs[1]) << "whoever reads the log gets the keys";
  EXPECT_GE(logs[0].size(), 3u);
  ASSERT_EQ(answers[0].result, 0);
  ASSERT_EQ(answers[0].prefs.size(), 4u);
  const std::vector<tcamv6_prefix> records = records_of(batch);
  for (size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(answers[0].prefs[i].own_node, answers[1].prefs[i].own_node) << i;
    EXPECT_EQ(memcmp(answers[0].prefs[i].key, records[i].address, 16), 0) << "the record's echo, " << i;
    EXPECT_NE(memcmp(answers[1].prefs[i].key, records[i].address, 16), 0) << i;
    EXPECT_EQ(answers[0].changed, answers[1].changed);
  }
}

TEST_F(tcamv6_room_test, leaf_that_gets_its_first_child_keeps_code_and_address) {
  room("+2001:db8::/32 +2001:db9::/32");
  const std::vector<table_row_text> before = table_of(state);
  ASSERT_EQ(request("+2001:db8:1::/48"), 0u);
  const std::vector<table_row_text> after = table_of(state);
  for (const table_row_text &row : before) {
    EXPECT_THAT(after, ::testing::Contains(::testing::AllOf(::testing::Field(&table_row_text::prefix, row.prefix),
                                                            ::testing::Field(&table_row_text::code, row.code),
                                                            ::testing::Field(&table_row_text::address, row.address))));
  }
  EXPECT_TRUE(moves().empty());
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_room_test, prefix_below_a_full_length_code_makes_its_parent_slide_up) {
  room("+2001:db8::/126 +2001:db9::/32");
  // The leaf of 126 bits has a code of nearly all bits; longer ones below it need some.
  ASSERT_EQ(request("+2001:db8::/127 +2001:db8::/128 +2001:db8::1/128"), 0u);
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_room_test, chain_to_the_last_bit_and_one_beyond) {
  room("+8000::/1");
  std::string chain;
  for (int length = 2; length <= 64; ++length) {
    ASSERT_EQ(request("+8000::/" + std::to_string(length)), 0u) << length;
  }
  expect_nested_as_prefixes();
  const std::vector<uint8_t> before = image_of(state);
  const std::vector<std::string> moved_before = moved();
  EXPECT_EQ(request("+8000::/65"), 75u);
  EXPECT_EQ(image_of(state), before);
  EXPECT_EQ(moved(), moved_before) << "those of the last accepted request stay";
  ASSERT_EQ(request("-8000::/1"), 0u);
  EXPECT_TRUE(moves().empty());
  EXPECT_EQ(request("+8000::/65"), 0u);
  EXPECT_FALSE(moves().empty());
  EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  EXPECT_TRUE(moves().empty());
}

TEST_F(tcamv6_room_test, moves_carry_the_handle_and_both_forms) {
  room("+8000::/1");
  for (int length = 2; length <= 63; ++length) {
    ASSERT_EQ(request("+8000::/" + std::to_string(length)), 0u);
  }
  const tcamv6_prefix last = record_of("8000::/63");
  ASSERT_EQ(tcamv6_prefix_handle_attach(state, &last, 4711), 0);
  const std::vector<table_row_text> before = table_of(state);
  ASSERT_EQ(request("+c000::/2 -8000::/2"), 0u);
  ASSERT_EQ(request("+8000::/64"), 0u);
  const std::vector<table_row_text> after = table_of(state);
  for (const zel_v6comp_move &move : moves()) {
    const std::string prefix = text_of(move.address, move.length);
    EXPECT_EQ(move.reference, prefix == "8000::/63" ? 4711u : 0u);
    EXPECT_THAT(after, ::testing::Contains(::testing::Field(&table_row_text::prefix, prefix)));
    EXPECT_NE(prefix, "8000::/64") << "the request's own addition";
  }
}

TEST_F(tcamv6_room_test, limit_of_moves_refuses_with_28_and_leaves_everything) {
  room("+8000::/1");
  int length = 2;
  do {
    ASSERT_EQ(request("+8000::/" + std::to_string(length++)), 0u);
  } while (moves().empty() && length < 64);
  ASSERT_FALSE(moves().empty());
  uint32_t status = 0;
  zel_v6comp_set_move_limit(0);
  std::vector<uint8_t> before;
  while (status == 0 && length < 65) {
    before = image_of(state);
    status = request("+8000::/" + std::to_string(length++));
  }
  EXPECT_EQ(status, 28u);
  EXPECT_EQ(image_of(state), before);
  zel_v6comp_set_move_limit(UINT32_MAX);
  EXPECT_EQ(request("+8000::/" + std::to_string(length - 1)), 0u);
}

TEST_F(tcamv6_room_test, results_stay_at_their_records_and_tell_the_final_codes) {
  compress("2001:db8::/32 2001:db8:1::/48 2001:db8:2::/48");
  zel_v6comp_set_room(1);
  const batch_answer answer = run("+2001:db8:3:1::/64 +2001:db8:3::/48 +2001::/16 -2001:db8:1::/48");
  ASSERT_EQ(answer.result, 0);
  EXPECT_EQ(bits_of_key(answer.prefs[0].key, answer.prefs[0].length), code("2001:db8:3:1::/64"));
  EXPECT_EQ(bits_of_key(answer.prefs[1].key, answer.prefs[1].length), code("2001:db8:3::/48"));
  EXPECT_EQ(bits_of_key(answer.prefs[2].key, answer.prefs[2].length), code("2001::/16"));
  EXPECT_EQ(stored("2001:db8:1::/48"), nullptr);
  expect_nested_as_prefixes();
}

TEST_F(tcamv6_room_test, table_with_loose_levels_is_not_repaired) {
  compress("8000::/1");
  state->marks |= TCAMV6_MARK_LOOSE_LEVELS;
  zel_v6comp_set_room(1);
  uint32_t status = 0;
  for (int length = 2; status == 0 && length <= 64; ++length) {
    status = request("+8000::/" + std::to_string(length));
  }
  EXPECT_EQ(status, 2u);
}

// In compatible mode the /36 is given the /44's node, and has an address below it. The /44 needs that one, too, when it
// gets its first longer prefix.
TEST_F(tcamv6_room_test, node_that_two_prefixes_share_refuses_with_2_until_the_table_is_compressed_anew) {
  ASSERT_EQ(request("+2001:db8::/32"), 0u);
  ASSERT_EQ(request("+2001:db8:8800::/44"), 0u);
  ASSERT_EQ(request("+2001:db8:8000::/36"), 0u);
  zel_v6comp_set_room(1);
  const std::vector<uint8_t> before = image_of(state);
  EXPECT_EQ(request("+2001:db8:8800::/48"), 2u);
  EXPECT_EQ(image_of(state), before);
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  EXPECT_EQ(request("+2001:db8:8800::/48"), 0u);
  expect_nested_as_prefixes();
}

}  // namespace
