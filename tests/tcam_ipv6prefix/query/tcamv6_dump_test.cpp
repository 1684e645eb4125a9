// SPDX-License-Identifier: Apache-2.0
// The whole table, row by row.
#include "tcamv6_dump_internal.h"

#include "tcamv6_fixture.h"
#include "tcamv6_lookup.h"

namespace {

const std::string walk = "tcamv6_dump_tree_int: ";

struct table_dump {
  int32_t result = 0;
  uint32_t count = 99;
  std::vector<tcamv6_prefix> orig;
  std::vector<tcamv6_cmpr_pref> cmpr;
  std::vector<tcamv6_cmpr_addr> addrs;

  std::vector<std::string> texts() const {
    std::vector<std::string> result_texts;
    for (uint32_t i = 0; i < count; ++i) {
      result_texts.push_back(text_of(orig[i]));
    }
    return result_texts;
  }
};

class tcamv6_dump_test : public tcamv6_test {
 protected:
  table_dump dump(uint32_t n) {
    table_dump d;
    d.orig.resize(n + 1);
    d.cmpr.resize(n + 1);
    d.addrs.resize(n + 1);
    d.result =
        tcamv6_dump_cmpr_tbl(state, static_cast<int32_t>(n), d.orig.data(), d.cmpr.data(), d.addrs.data(), &d.count);
    return d;
  }
  table_dump dump() { return dump(state->n_prefs); }

  // A node of a tree built by hand, for a prefix of weight 1 that is its own compressed prefix.
  tm_n_ary_node *row_node(const std::string &text) {
    const tcamv6_prefix record = record_of(text);
    tm_util_trie_node *orig = tm_util_trie_insert(trie(), record.address, record.length);
    orig->aux1 = 1;
    tm_n_ary_node *node = new_anc(1);
    data_of(node)->orig = tm_idx(orig);
    data_of(node)->cmpr_node = tm_idx(orig);
    return node;
  }

  tm_util_trie_node *trie() {
    if (state->orig_root == TM_CHUNK_IDX_NULL) {
      state->orig_root = tm_idx(new_trie_node());
    }
    return tm_trie_node(state->orig_root);
  }
};

}  // namespace

TEST_F(tcamv6_dump_test, rows_come_more_specific_first_and_anchors_only_nodes_give_none) {
  ASSERT_EQ(compress({"2001:db8:1::/48", "2001:db8:1:2::/64", "fe80::/10"}).result, TM_OK);
  EXPECT_EQ(state->n_prefs, 5u) << "with the /32 and the default";
  const table_dump d = dump();
  ASSERT_EQ(d.result, TM_OK);
  std::vector<std::string> texts = d.texts();
  EXPECT_EQ(texts.size(), 4u);
  const auto place = [&texts](const std::string &text) {
    const auto at = std::find(texts.begin(), texts.end(), text);
    EXPECT_NE(at, texts.end()) << text;
    return at - texts.begin();
  };
  EXPECT_LT(place("2001:db8:1:2::/64"), place("2001:db8:1::/48"));
  EXPECT_EQ(place("::/0"), 3);
  place("fe80::/10");
}

TEST_F(tcamv6_dump_test, rows_agree_with_lookups) {
  ASSERT_EQ(compress(sibling_records(100, 56)).result, TM_OK);
  const table_dump d = dump();
  ASSERT_EQ(d.result, TM_OK);
  ASSERT_EQ(d.count, 101u);
  for (uint32_t i = 0; i < d.count; ++i) {
    tcamv6_cmpr_pref pref = {};
    tcamv6_cmpr_addr addr = {};
    ASSERT_EQ(tcamv6_lookup_prefix(state, &d.orig[i], &pref, &addr), TM_OK);
    EXPECT_EQ(std::memcmp(&pref, &d.cmpr[i], sizeof pref), 0);
    EXPECT_EQ(std::memcmp(&addr, &d.addrs[i], sizeof addr), 0);
  }
}

TEST_F(tcamv6_dump_test, row_holds_the_two_counters) {
  ASSERT_EQ(compress({record_of("2001:db8:1::/48", 5), record_of("2001:db8::/32", 7)}).result, TM_OK);
  const table_dump d = dump();
  ASSERT_EQ(d.count, 3u);
  ASSERT_EQ(text_of(d.orig[1]), "2001:db8::/32");
  EXPECT_EQ(d.orig[1].weight, 12u);
  EXPECT_EQ(d.orig[1].anchor_ref, 5u);
}

TEST_F(tcamv6_dump_test, owner_of_more_specifics_reports_its_dummys_address) {
  const full_result r = compress({"2001:db8::/32", "2001:db8:1::/48"});
  only_trace();
  const table_dump d = dump();
  ASSERT_EQ(text_of(d.orig[1]), "2001:db8::/32");
  EXPECT_EQ(key_bits(d.addrs[1].bytes, 64), r.address("2001:db8::/32"));
  EXPECT_NE(key_bits(d.addrs[1].bytes, d.cmpr[0].length), key_bits(d.cmpr[0].key, d.cmpr[0].length));
  EXPECT_TRUE(was_logged(walk + "Following prefix uses dummy node ..."));
}

TEST_F(tcamv6_dump_test, prefix_whose_counters_are_equal_by_wrapping_gives_no_row) {
  ASSERT_EQ(compress({record_of("2001:db8::/32", 0x10000), record_of("fe80::/10", 1)}).result, TM_OK);
  EXPECT_EQ(dump().texts(), (std::vector<std::string>{"fe80::/10", "::/0"}));
}

TEST_F(tcamv6_dump_test, n_must_equal_the_number_of_prefixes_stored) {
  ASSERT_EQ(compress({"2001:db8:1::/48"}).result, TM_OK);
  only_info();
  for (const uint32_t n : {0u, 2u, 4u}) {
    test_host::clear_log();
    EXPECT_EQ(dump(n).result, TM_EINVAL);
    EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_dump_cmpr_tbl: n_prefixes " + std::to_string(n) +
                                                          " != state->n_prefs 3"});
  }
}

TEST_F(tcamv6_dump_test, empty_instance_is_minus_22) {
  only_info();
  const table_dump d = dump(0);
  EXPECT_EQ(d.result, TM_EINVAL);
  EXPECT_EQ(d.count, 99u);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{walk + "Bad arguments", "tcamv6_dump_cmpr_tbl: internal table dump failed -22"}));
}

TEST_F(tcamv6_dump_test, instance_whose_last_compression_failed_is_minus_22) {
  ASSERT_EQ(compress(nested_records(65)).result, TM_EOVERFLOW);
  only_info();
  EXPECT_EQ(dump().result, TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_dump_cmpr_tbl: Bad arguments"});
}

TEST_F(tcamv6_dump_test, null_pointers_are_refused) {
  tcamv6_prefix orig = {};
  tcamv6_cmpr_pref cmpr = {};
  tcamv6_cmpr_addr addr = {};
  uint32_t n = 7;
  only_info();
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(nullptr, 1, &orig, &cmpr, &addr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, 1, nullptr, &cmpr, &addr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, 1, &orig, nullptr, &addr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, 1, &orig, &cmpr, nullptr, &n), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(4, "tcamv6_dump_cmpr_tbl: Bad arguments"));
  test_host::clear_log();
  EXPECT_EQ(tcamv6_dump_n_prefixes(nullptr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_n_prefixes(state, nullptr), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(2, "tcamv6_dump_n_prefixes: Bad arguments"));
  EXPECT_EQ(n, 7u);
}

TEST_F(tcamv6_dump_test, n_prefixes_counts_anchors_and_the_default) {
  uint32_t n = 7;
  ASSERT_EQ(tcamv6_dump_n_prefixes(state, &n), TM_OK);
  EXPECT_EQ(n, 0u);
  ASSERT_EQ(compress({"2001:db8:1::/48"}).result, TM_OK);
  ASSERT_EQ(tcamv6_dump_n_prefixes(state, &n), TM_OK);
  EXPECT_EQ(n, 3u);
}

TEST_F(tcamv6_dump_test, totals_are_counted_without_tables) {
  ASSERT_EQ(compress({"2001:db8:1::/48", "2001:db8:1:2::/64", "fe80::/10"}).result, TM_OK);
  const tm_n_ary_node *root = tcamv6_anc_node(state->anc_root);
  EXPECT_EQ(tcamv6_dump_tree_int(5, root, nullptr, nullptr, nullptr, 1), 4);
}

TEST_F(tcamv6_dump_test, walk_without_room_or_node_is_minus_22) {
  ASSERT_EQ(compress(std::vector<tcamv6_prefix>{}).result, TM_OK);
  only_info();
  EXPECT_EQ(tcamv6_dump_tree_int(0, tcamv6_anc_node(state->anc_root), nullptr, nullptr, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_tree_int(3, nullptr, nullptr, nullptr, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(2, walk + "Bad arguments"));
}

TEST_F(tcamv6_dump_test, child_after_the_last_row_is_minus_22) {
  tm_n_ary_node *root = row_node("::/0");
  adopt(root, {row_node("2001:db8::/32"), row_node("fe80::/10")});
  EXPECT_EQ(tcamv6_dump_tree_int(1, root, nullptr, nullptr, nullptr, 1), TM_EINVAL);
  EXPECT_EQ(tcamv6_dump_tree_int(2, root, nullptr, nullptr, nullptr, 1), 3) << "the top call's own row is not checked";
}

TEST_F(tcamv6_dump_test, subtree_with_more_rows_than_are_left_is_minus_14) {
  tm_n_ary_node *root = row_node("::/0");
  tm_n_ary_node *middle = row_node("2001:db8::/32");
  adopt(root, {middle});
  adopt(middle, {row_node("2001:db8::/48")});
  only_info();
  EXPECT_EQ(tcamv6_dump_tree_int(1, root, nullptr, nullptr, nullptr, 1), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{walk + "ERROR tree contains extra prefix"});
  state->anc_root = tm_idx(root);
  state->n_prefs = 1;
  test_host::clear_log();
  std::vector<tcamv6_prefix> orig(3);
  std::vector<tcamv6_cmpr_pref> cmpr(3);
  std::vector<tcamv6_cmpr_addr> addrs(3);
  uint32_t count = 9;
  EXPECT_EQ(tcamv6_dump_cmpr_tbl(state, 1, orig.data(), cmpr.data(), addrs.data(), &count), TM_EFAULT);
  EXPECT_EQ(count, 9u);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{walk + "ERROR tree contains extra prefix",
                                                         "tcamv6_dump_cmpr_tbl: internal table dump failed -14"}));
  EXPECT_EQ(orig[2].length, 0) << "the third row was not written";
}

TEST_F(tcamv6_dump_test, tables_are_never_written_beyond_their_end) {
  tm_n_ary_node *root = row_node("::/0");
  tm_n_ary_node *middle = row_node("2001:db8::/32");
  adopt(middle, {row_node("2001:db8::/48")});
  state->anc_root = tm_idx(root);
  only_info();
  for (const bool nested : {true, false}) {
    adopt(root, {nested ? middle : row_node("fe80::/10")});
    for (uint32_t n = 1; n < (nested ? 3u : 2u); ++n) {
      state->n_prefs = n;
      table_dump d = dump(n);  // with one row to spare
      EXPECT_EQ(d.result, TM_EFAULT) << n;
      EXPECT_TRUE(was_logged(walk + "ERROR tree contains extra prefix"));
      EXPECT_EQ(d.orig[n].weight | d.cmpr[n].own_node | d.cmpr[n].length | d.addrs[n].bytes[0], 0u) << n;
    }
  }
}

TEST_F(tcamv6_dump_test, made_up_root_takes_no_row_of_a_full_table) {
  full_result r;
  r.list = {record_of("2001:db8::/32")};
  compress_list_on(state, &r);
  ASSERT_EQ(r.result, TM_OK);
  table_dump d = dump();
  std::memset(static_cast<void *>(&d.orig[1]), 0x11, sizeof d.orig[1]);
  d.result = tcamv6_dump_cmpr_tbl(state, 1, d.orig.data(), d.cmpr.data(), d.addrs.data(), &d.count);
  EXPECT_EQ(d.result, TM_OK);
  EXPECT_EQ(d.count, 1u);
  EXPECT_EQ(d.orig[1].length, 0x11) << "the row behind the table is not touched";
}

TEST_F(tcamv6_dump_test, dummies_and_nodes_that_were_not_created_give_no_row) {
  tm_n_ary_node *root = row_node("::/0");
  tm_n_ary_node *gone = row_node("2001:db8::/32");
  data_of(gone)->bits = 0;
  adopt(root, {gone, new_anc(1, true)});
  EXPECT_EQ(tcamv6_dump_tree_int(3, root, nullptr, nullptr, nullptr, 1), 1);
}

TEST_F(tcamv6_dump_test, missing_data_and_links_are_fatal) {
  tm_n_ary_node bare = {};
  EXPECT_FATAL(tcamv6_dump_tree_int(1, &bare, nullptr, nullptr, nullptr, 1), "\n" + walk + "node_data is NULL");
  tm_n_ary_node *node = row_node("::/0");
  tcamv6_prefix orig = {};
  tcamv6_cmpr_pref cmpr = {};
  tcamv6_cmpr_addr addr = {};
  EXPECT_FATAL(tcamv6_dump_tree_int(1, node, nullptr, &cmpr, &addr, 0), "\ntcamv6_gen_trie_pref: v6pref is NULL");
  data_of(node)->orig = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(tcamv6_dump_tree_int(1, node, &orig, &cmpr, &addr, 0), "\ntcamv6_gen_trie_pref: node is NULL");
}

TEST_F(tcamv6_dump_test, result_word_prints_three_lines_per_row) {
  ASSERT_EQ(compress(std::vector<tcamv6_prefix>{}).result, TM_OK);
  tcamv6_debug_flags = {0, 0, 0, 0, 1, 0};
  ASSERT_EQ(dump().result, TM_OK);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   "original prefix: 0000:0000:0000:0000:0000:0000:0000:0000 / 0 ",
                                   "compressed prefix: 0000:0000:0000:0000:0000:0000:0000:0000 / 0",
                                   "compressed address: 0000:0000:0000:0000:0000:0000:0000:0000",
                               }));
}

TEST_F(tcamv6_dump_test, trace_of_a_walk) {
  ASSERT_EQ(compress(std::vector<tcamv6_prefix>{}).result, TM_OK);
  only_trace();
  ASSERT_EQ(dump().result, TM_OK);
  EXPECT_EQ(
      plain_log_lines(),
      (std::vector<std::string>{
          "tcamv6_dump_cmpr_tbl: Starting handle <ptr>, n_prefs 1, orig_prefs <ptr>, cmpr_prefs <ptr>, cmpr_addrs "
          "<ptr>, ",
          walk + "Starting max_prefs 1, node <ptr>, orig_pref <ptr>, cmpr_pref <ptr>, cmpr_addr <ptr> "
                 "total_no_of_prefixes_only FALSE",
          walk + "Complete 1",
          "tcamv6_dump_cmpr_tbl: Complete 0",
      }));
}
