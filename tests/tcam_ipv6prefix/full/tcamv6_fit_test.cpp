// SPDX-License-Identifier: Apache-2.0
// Tables that the documented limits refuse: which prefixes are treated, how, and that nothing else changes.
#include "tcamv6_fit.h"

#include "tcamv6_fit_local.h"
#include "tcamv6_fixture.h"
#include "tcamv6_phases.h"
#include "tm_key.h"

namespace {

using texts = std::vector<std::string>;

// The fewest prefixes that cover a block but for one host in it.
texts all_but(const std::string &host, int length) {
  texts prefixes;
  for (int l = length + 1; l <= 128; ++l) {
    tcamv6_prefix record = record_of(host + "/" + std::to_string(l));
    record.address[(l - 1) / 8] ^= static_cast<uint8_t>(0x80 >> (l - 1) % 8);
    prefixes.push_back(masked_text(record.address, static_cast<uint32_t>(l)));
  }
  return prefixes;
}

texts networks(int n) {
  texts prefixes;
  for (int i = 0; i < n; ++i) {
    prefixes.push_back("2001:" + std::to_string(i) + "::/32");
  }
  return prefixes;
}

texts joined(texts a, const texts &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

class tcamv6_fit_test : public tcamv6_test {
 protected:
  struct code {
    std::string text;
    std::string bits;
    std::string address;
    bool operator==(const code &) const = default;
  };

  int32_t lay_out(const texts &table, bool fits) {
    insert(table);
    return lay_out(fits);
  }

  void insert(const texts &table) {
    prefixes = joined({"::/0"}, table);
    tm_util_trie_node *root = new_trie(prefixes);
    uint8_t key[TM_KEY_BYTES] = {};
    EXPECT_EQ(tm_util_trie_make_printable(root, key, 0, TM_KEY_BITS), TM_OK);
    state->orig_root = tm_idx(root);
  }

  int32_t lay_out(bool fits) {
    tm_util_trie_node *root = tm_trie_node(state->orig_root);
    tcamv6_phases layout = {state, root, nullptr, nullptr, fits};
    const int32_t result = tcamv6_run_phases(&layout);
    tm_util_trie_free(tm_trie_node(state->pcmpr_root), 1, TM_V6_PCMPR_DATA);
    state->pcmpr_root = TM_CHUNK_IDX_NULL;
    if (result == TM_OK) {
      state->cmpr_root = tm_idx(layout.cmpr_root);
    } else {
      tcamv6_abandon_anc_tree(tcamv6_anc_node(state->anc_root));
      state->anc_root = TM_CHUNK_IDX_NULL;
      tm_chunk_release_abandoned();
    }
    return result;
  }

  // For another table.
  void start_again() {
    ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
    EXPECT_EQ(allocated(), std::vector<uint32_t>(TM_CHUNK_TYPES, 0));
    state = new_state();
    test_host::clear_log();
  }

  tcamv6_anc_data *anc_data(const std::string &text) const {
    const auto *orig = tm_ptr<tcamv6_orig_data>(find(tm_trie_node(state->orig_root), text)->data);
    return data_of(tcamv6_anc_node(orig->anc_node_idx));
  }

  code code_of(const std::string &text) const {
    tcamv6_anc_data *data = anc_data(text);
    const tm_util_trie_node *node = tcamv6_cmpr_node(data);
    const tm_util_trie_node *end = tcamv6_cmpr_node(tcamv6_address_data(data, "test"));
    std::string address = key_bits(end->key, end->len);
    address.resize(64, '0');
    return {text, key_bits(node->key, node->len), address};
  }

  std::vector<code> codes() const {
    std::vector<code> all;
    for (const std::string &text : prefixes) {
      all.push_back(code_of(text));
    }
    return all;
  }

  static bool contains(const std::string &outer, const std::string &inner) {
    const tcamv6_prefix a = record_of(outer);
    const tcamv6_prefix b = record_of(inner);
    return a.length <= b.length && tm_key_equal_bits(a.address, b.address, a.length);
  }

  // The definition, for all pairs.
  void expect_containment() const {
    const std::vector<code> all = codes();
    for (const code &p : all) {
      ASSERT_LE(p.bits.size(), 64u);
      for (const code &q : all) {
        ASSERT_EQ(p.address.compare(0, q.bits.size(), q.bits) == 0, contains(q.text, p.text))
            << q.text << " " << q.bits << ", " << p.text << " at " << p.address;
      }
    }
  }

  void expect_marks_gone(const tm_n_ary_node *node) const {
    const tm_n_ary_node *before = nullptr;
    for (const tm_n_ary_node *child : children_of(node)) {
      EXPECT_EQ(data_of(child)->bits & TCAMV6_FIT_MARKS, 0);
      EXPECT_EQ(data_of(child)->handle, 0u);
      EXPECT_TRUE(before == nullptr || data_of(before)->sibling_order < data_of(child)->sibling_order);
      before = child;
      expect_marks_gone(child);
    }
  }

  static bool log_has(const std::string &part) { return test_host::log_text().find(part) != std::string::npos; }

  texts prefixes;
};

}  // namespace

TEST_F(tcamv6_fit_test, table_that_the_documented_limits_accept_gets_the_same_codes) {
  const texts table = joined(networks(20), {"2001:3:8000::/33", "2001:3:8000:1::/64", "2001:3:8000:1::1/128"});
  ASSERT_EQ(lay_out(table, false), TM_OK);
  const std::vector<code> expected = codes();
  start_again();
  only_trace();
  ASSERT_EQ(lay_out(table, true), TM_OK);
  EXPECT_EQ(codes(), expected);
  EXPECT_FALSE(log_has("tcamv6_fit: ")) << "it is not asked";
}

TEST_F(tcamv6_fit_test, one_host_left_out_of_a_block_is_accepted) {
  for (const int length : {8, 16, 32, 48, 64, 80, 100}) {
    SCOPED_TRACE(length);
    const texts table = all_but("2001:db8:1234:5678:9abc:def0:1234:5678", length);
    EXPECT_EQ(lay_out(table, false) < 0, length < 64) << "from 64 on, a bit for each sibling is there";
    start_again();
    ASSERT_EQ(lay_out(table, true), TM_OK);
    expect_containment();
    expect_marks_gone(tcamv6_anc_node(state->anc_root));
    start_again();
  }
}

TEST_F(tcamv6_fit_test, siblings_of_a_treated_prefix_keep_their_codes) {
  // What lies inside the /32 is far from /0; it is one of 41 children, so /0 is relaxed.
  const texts outside = joined(networks(40), {"fd00::/32"});
  ASSERT_EQ(lay_out(outside, false), TM_OK);
  std::vector<code> expected = codes();
  start_again();
  only_info();
  ASSERT_EQ(lay_out(joined(outside, all_but("fd00::1", 32)), true), TM_OK);
  EXPECT_TRUE(log_has("relaxed 1, raised 0, laid out in blocks 1"));
  silence();
  for (const code &before : expected) {
    EXPECT_EQ(code_of(before.text).bits == before.bits, before.text != "fd00::/32") << before.text;
  }
  expect_containment();
}

TEST_F(tcamv6_fit_test, far_child_keeps_spare_bits_for_later_batches) {
  const texts table = joined({"2001:db8::/32"}, all_but("2001:db8::1", 32));
  ASSERT_EQ(lay_out(table, true), TM_OK);
  const tcamv6_anc_data *data = anc_data("2001:db8::/32");
  EXPECT_GE(tcamv6_anc_lim(data), data->cost + 20) << "the documented rule would have cut it to its cost";
  for (const std::string &text : all_but("2001:db8::1", 32)) {
    if (text.find("/128") == std::string::npos) {
      EXPECT_GE(tcamv6_anc_lim(anc_data(text)), 2) << text;
    }
  }
}

TEST_F(tcamv6_fit_test, all_three_treatments_in_one_table) {
  const texts table = {
      "::/2",
      "6000::/3",
      "2800::/5",
      "27e0::/11",
      "2800::/7",
      "2be0::/11",
      "2800::/9",
      "28d8::/13",
      "2840::/10",
      "2808::/14",
      "2830::/12",
      "2840::/13",
      "284f:8000::/17",
      "2841::/16",
      "2840::/16",
      "2841:2000::/19",
      "2841:e00::/24",
      "2841:2000::/22",
      "2841:2600::/23",
      "2841:2000::/24",
      "2841:2100::/28",
      "2841:2000::/29",
      "2841:2060::/27",
      "2841:2040::/27",
      "2841:2070::/28",
      "2841:2064:c000::/34",
      "2841:206c::/30",
      "2841:2074::/30",
      "2841:2072::/31",
      "2841:2074::/31",
      "2841:2076:5000::/36",
      "2841:2077:8000::/36",
      "2841:2074:9000::/36",
      "2841:2074:8000::/36",
      "2841:2074:9000::/38",
      "2841:2074:94a0::/43",
      "2841:2074:9000::/40",
      "2841:2074:9100::/40",
      "2841:2074:9080::/42",
      "2841:2074:9088::/45",
      "2841:2074:9083:c000::/50",
      "2841:2074:908c::/46",
      "2841:2074:9088::/46",
      "2841:2074:908c::/47",
      "2841:2074:908e::/47",
      "2841:2074:908c:2000::/51",
      "2841:2074:908c:6000::/51",
      "2841:2074:908c:4900::/57",
      "2841:2074:908c:6800::/53",
      "2841:2074:908c:6300::/58",
      "2841:2074:908c:6a00::/55",
      "2841:2074:908c:6880::/59",
      "2841:2074:908c:6a00::/57",
      "2841:2074:908c:6aa0::/59",
      "2841:2074:908c:6a00::/59",
      "2841:2074:908c:6a35::/65",
      "2841:2074:908c:6a04::/62",
      "2841:2074:908c:6a00:4000::/66",
      "2841:2074:908c:6a04::/65",
      "2841:2074:908c:6a04:4000::/66",
      "2841:2074:908c:6a04:3000::/69",
      "2841:2074:908c:6a04:3000::/70",
      "2841::/32",
      "2841:2074:908c::/48",
      "2841:2074:908c:6a04::/64",
      "2841:2064::/32",
      "2841:2076::/32",
      "2841:2077::/32",
      "2841:2074::/32",
      "2841:2074:9083::/48",
      "2841:2074:908c:6a35::/64",
      "2841:2074:908c:6a00::/64",
  };
  only_info();
  ASSERT_EQ(lay_out(table, true), TM_OK);
  for (const char *how : {") relaxed", ") raised", ") laid out in blocks"}) {
    EXPECT_TRUE(log_has(how)) << how;
  }
  silence();
  expect_containment();
  expect_marks_gone(tcamv6_anc_node(state->anc_root));
}

TEST_F(tcamv6_fit_test, table_that_needs_more_bits_is_refused_as_before) {
  texts table;
  for (int length = 1; length <= 65; ++length) {
    table.push_back("::/" + std::to_string(length));
  }
  only_trace();
  EXPECT_EQ(lay_out(table, true), TM_EOVERFLOW);
  EXPECT_FALSE(log_has("tcamv6_fit: "));
}

TEST_F(tcamv6_fit_test, deep_chain_over_a_hole_uses_all_64_bits) {
  texts table;
  int32_t result = TM_OK;
  int length = 1;
  for (; result == TM_OK && length <= 64; ++length) {
    table.push_back("::/" + std::to_string(length));
    result = lay_out(joined(table, all_but("::1", 64)), true);
    if (result == TM_OK) {
      expect_containment();
    }
    start_again();
  }
  EXPECT_EQ(result, TM_EOVERFLOW);
  EXPECT_GT(length, 50);
}

TEST_F(tcamv6_fit_test, every_refused_allocation_ends_the_run_and_nothing_is_lost) {
  const texts table = joined(networks(3), all_but("2001:1::1", 100));
  for (const bool from_pools : {true, false}) {
    uint64_t k = 0;
    int32_t result = TM_ENOMEM;
    while (result != TM_OK) {
      insert(table);
      ++k;
      from_pools ? test_host::fail_pool_element(k) : test_host::fail_heap_allocation(k);
      result = lay_out(true);
      test_host::fail_pool_element(0);
      test_host::fail_heap_allocation(0);
      ASSERT_TRUE(result == TM_OK || result == TM_ENOMEM) << result << " at allocation " << k;
      ASSERT_EQ(test_host::pool_damage(), "");
      start_again();
    }
    EXPECT_GT(k, from_pools ? 300u : 4u);
  }
}
