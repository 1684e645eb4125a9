// SPDX-License-Identifier: Apache-2.0
// Compressing anew, in place, what an instance holds: the codes of a full compression, everything else as it was.
#include <algorithm>
#include <map>

#include "tcamv6_handle.h"
#include "zel_v6comp_fixture.h"

namespace {

struct code {
  std::string key;
  std::string address;
  bool operator==(const code &) const = default;
};

using table_codes = std::map<std::string, code>;

class zel_v6comp_recompress_test : public zel_v6comp_test {
 protected:
  void start() override {
    zel_v6comp_test::start();
    tcamv6_debug_flags = {};
    zel_v6comp_set_room(1);
  }
  void TearDown() override {
    zel_v6comp_set_room(0);
    zel_v6comp_test::TearDown();
  }

  static tcamv6_state *instance() { return zel_v6comp_instance(0, 0); }

  static table_codes dump() {
    uint32_t n = 0;
    EXPECT_EQ(tcamv6_dump_n_prefixes(instance(), &n), 0);
    std::vector<tcamv6_prefix> prefixes(n + 1);
    std::vector<tcamv6_cmpr_pref> prefs(n + 1);
    std::vector<tcamv6_cmpr_addr> addrs(n + 1);
    uint32_t rows = 0;
    EXPECT_EQ(
        tcamv6_dump_cmpr_tbl(instance(), static_cast<int32_t>(n), prefixes.data(), prefs.data(), addrs.data(), &rows),
        0);
    table_codes codes;
    for (uint32_t i = 0; i < rows; ++i) {
      codes[masked_text(prefixes[i].address, prefixes[i].length)] = {key_bits(prefs[i].key, prefs[i].length),
                                                                     key_bits(addrs[i].bytes, 64)};
    }
    return codes;
  }

  // What the list of moves tells, and that it tells it of existing prefixes once each.
  static void expect_moves(const table_codes &before, const table_codes &after) {
    const zel_v6comp_move *moves = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(zel_v6comp_moves(0, 0, &moves, &n), 0u);
    table_codes patched = before;
    for (uint32_t i = 0; i < n; ++i) {
      const std::string text = masked_text(moves[i].address, moves[i].length);
      ASSERT_EQ(patched.count(text), 1u) << text;
      const code from = {key_bits(moves[i].old_key, moves[i].old_length), key_bits(moves[i].old_address, 64)};
      const code to = {key_bits(moves[i].new_key, moves[i].new_length), key_bits(moves[i].new_address, 64)};
      EXPECT_EQ(patched[text], from) << text;
      EXPECT_FALSE(from == to) << text;
      patched[text] = to;
    }
    EXPECT_EQ(patched, after);
  }

  static std::vector<tcamv6_prefix> as_deletes(std::vector<tcamv6_prefix> records) {
    for (tcamv6_prefix &record : records) {
      record.flags_tag &= ~static_cast<uint32_t>(TM_PREFIX_FLAG_ADD);
    }
    return records;
  }
};

}  // namespace

TEST_F(zel_v6comp_recompress_test, gives_the_codes_of_a_full_compression_of_what_is_stored) {
  const std::vector<tcamv6_prefix> all = sibling_records(200, 48);
  const std::vector<tcamv6_prefix> nested = records_of({"2001:db8:7::/50", "2001:db8:7:1::/64", "2001:db8:7:2::1/128"});
  ASSERT_EQ(ask(all).status, 0u);
  ASSERT_EQ(ask(as_deletes(sibling_records(150, 48))).status, 0u);
  ASSERT_EQ(ask(nested).status, 0u);
  const table_codes before = dump();
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  const table_codes after = dump();
  EXPECT_FALSE(before == after);
  expect_moves(before, after);

  std::vector<tcamv6_prefix> rest(all.begin() + 150, all.end());
  rest.insert(rest.end(), nested.begin(), nested.end());
  zel_v6comp_reset_instance(0, 0);
  ASSERT_EQ(ask(rest).status, 0u);
  EXPECT_EQ(dump(), after);
}

TEST_F(zel_v6comp_recompress_test, handles_counters_and_the_number_of_elements_stay) {
  ASSERT_EQ(ask(records_of({"2001:db8::/32", "2001:db8::/32", "2001:db8:1:2::/64", "2400::/12"})).status, 0u);
  ASSERT_EQ(ask(records_of({"2001:db8:9::/48", "2401::/16"})).status, 0u);
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  ASSERT_EQ(tcamv6_prefix_handle_attach(instance(), &prefix, 4711), 0);
  const uint32_t n_prefs = instance()->n_prefs;
  const uint32_t n_rows = instance()->n_rows;
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  uint32_t handle = 0;
  EXPECT_EQ(tcamv6_prefix_handle_query(instance(), &prefix, &handle), 0);
  EXPECT_EQ(handle, 4711u);
  EXPECT_EQ(instance()->n_prefs, n_prefs);
  EXPECT_EQ(instance()->n_rows, n_rows);
  const std::vector<uint32_t> held = allocated();
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  EXPECT_EQ(allocated(), held);
  // The two that were given of the /32 can be taken one by one, and no third.
  EXPECT_EQ(ask(as_deletes(records_of({"2001:db8::/32"}))).status, 0u);
  EXPECT_EQ(ask(as_deletes(records_of({"2001:db8::/32"}))).status, 0u);
}

TEST_F(zel_v6comp_recompress_test, a_second_time_changes_nothing) {
  ASSERT_EQ(ask(sibling_records(100, 48)).status, 0u);
  ASSERT_EQ(ask(records_of({"2001:db8:1:8000::/49", "2400::/12"})).status, 0u);
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  const table_codes once = dump();
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  EXPECT_EQ(dump(), once);
  expect_moves(once, once);
}

TEST_F(zel_v6comp_recompress_test, batches_go_on_afterwards) {
  ASSERT_EQ(ask(sibling_records(100, 48)).status, 0u);
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  const size_t before = dump().size();
  ASSERT_EQ(ask(records_of({"2600::/12", "2001:db8:5:1::/64"})).status, 0u);
  EXPECT_EQ(dump().size(), before + 2);
  ASSERT_EQ(ask(as_deletes(records_of({"2600::/12", "2001:db8:5:1::/64"}))).status, 0u);
  EXPECT_EQ(dump().size(), before);
}

TEST_F(zel_v6comp_recompress_test, a_table_of_loose_levels_is_sound_afterwards) {
  zel_v6comp_set_room(0);
  ASSERT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u);
  ASSERT_EQ(ask(records_of({"2001:db8:8800::/44"})).status, 0u);
  ASSERT_EQ(ask(records_of({"2001:db8:8000::/36"})).status, 0u);
  ASSERT_NE(instance()->marks & TCAMV6_MARK_LOOSE_LEVELS, 0u);
  ASSERT_EQ(dump()["2001:db8:8800::/44"].key, dump()["2001:db8:8000::/36"].key) << "both have one code";
  zel_v6comp_set_room(1);
  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u);
  EXPECT_EQ(instance()->marks & TCAMV6_MARK_LOOSE_LEVELS, 0u);
  EXPECT_NE(dump()["2001:db8:8800::/44"].key, dump()["2001:db8:8000::/36"].key);
}

TEST_F(zel_v6comp_recompress_test, a_table_without_default_or_without_any_prefix_is_coded) {
  zel_v6comp_set_room(0);
  ASSERT_EQ(ask(records_of({"2001:db8::/32"})).status, 0u);
  ASSERT_EQ(ask(as_deletes(records_of({"2001:db8::/32"}))).status, 0u);
  EXPECT_EQ(zel_v6comp_recompress(0, 0), 0u);
  EXPECT_EQ(dump().size(), 1u) << "/0";
}

TEST_F(zel_v6comp_recompress_test, what_holds_no_table_is_refused) {
  EXPECT_EQ(zel_v6comp_recompress(0, 0), 22u) << "nothing compressed yet";
  EXPECT_EQ(zel_v6comp_recompress(4, 0), 22u);
  EXPECT_EQ(zel_v6comp_recompress(0, -1), 22u);
  ASSERT_EQ(ask(nested_records(65)).status, 75u);
  EXPECT_EQ(zel_v6comp_recompress(0, 0), 22u) << "its full compression failed";
  ASSERT_EQ(ask(records_of({"2001:db8::/32"}), 1, 0).status, 0u);
  tcamv6_state *kept = zel_v6comp_instance(1, 0);
  ASSERT_EQ(tcamv6_reset(&kept, 1), 0);
  EXPECT_EQ(zel_v6comp_recompress(1, 0), 22u);
}

TEST_F(zel_v6comp_recompress_test, without_room_mode_the_documented_limits_hold) {
  std::vector<tcamv6_prefix> hole;
  for (uint32_t length = 33; length <= 128; ++length) {
    tcamv6_prefix record = record_of("2001:db8::/" + std::to_string(length));
    record.address[(length - 1) / 8] |= static_cast<uint8_t>(0x80 >> (length - 1) % 8);
    hole.push_back(record);
  }
  ASSERT_EQ(ask(hole).status, 0u);
  const table_codes before = dump();
  zel_v6comp_set_room(0);
  EXPECT_EQ(zel_v6comp_recompress(0, 0), 14u);
  EXPECT_EQ(dump(), before);
  zel_v6comp_set_room(1);
  EXPECT_EQ(zel_v6comp_recompress(0, 0), 0u);
  EXPECT_EQ(dump(), before);
}
