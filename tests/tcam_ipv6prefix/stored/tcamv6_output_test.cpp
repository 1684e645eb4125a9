// SPDX-License-Identifier: Apache-2.0
// From trie nodes to result records.
#include "tcamv6_output.h"

#include "tcamv6_fixture.h"

namespace {

class tcamv6_output_test : public tcamv6_test {
 protected:
  static tm_util_trie_node node_of(const std::string &text) {
    const tcamv6_prefix record = record_of(text);
    tm_util_trie_node node = {};
    node.len = record.length;
    std::memcpy(node.key, record.address, sizeof node.key);
    return node;
  }
};

}  // namespace

TEST_F(tcamv6_output_test, pref_takes_the_key_unmasked_the_length_and_both_counters) {
  tm_util_trie_node node = node_of("2001:db8::ffff/12");
  node.aux1 = 0xFFFF;
  node.aux2 = 7;
  tcamv6_prefix record;
  std::memset(&record, 0x33, sizeof record);
  tcamv6_prefix expected = record;
  tcamv6_gen_trie_pref(&node, &record);
  std::memcpy(expected.address, node.key, 16);
  expected.length = 12;
  expected.weight = 0xFFFF;
  expected.anchor_ref = 7;
  EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
  tcamv6_cmpr_pref pref = {};
  tcamv6_gen_trie_pref(&node, &pref);
  EXPECT_EQ(pref.own_node, 0xFFFFu);
  EXPECT_EQ(pref.node_aux, 7u);
  EXPECT_EQ(prefix_text(pref.key, pref.length), "2001:db8::ffff/12");
}

TEST_F(tcamv6_output_test, address_of_length_12_keeps_the_top_4_bits_of_its_second_byte) {
  const tm_util_trie_node node = node_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/12");
  tcamv6_cmpr_addr address;
  std::memset(&address, 0x33, sizeof address);
  tcamv6_gen_trie_addr(&node, &address);
  EXPECT_EQ(address_text(address.bytes), "fff0::");
}

TEST_F(tcamv6_output_test, address_of_every_length_has_its_bits_and_zeros) {
  for (uint32_t length = 0; length <= 128; ++length) {
    const tm_util_trie_node node = node_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/" + std::to_string(length));
    tcamv6_cmpr_addr address;
    std::memset(&address, 0x33, sizeof address);
    tcamv6_gen_trie_addr(&node, &address);
    ASSERT_EQ(key_bits(address.bytes, 128), std::string(length, '1') + std::string(128 - length, '0'));
  }
}

TEST_F(tcamv6_output_test, null_and_too_long_nodes_are_fatal) {
  tm_util_trie_node node = node_of("::/8");
  tcamv6_prefix record = {};
  tcamv6_cmpr_addr address = {};
  EXPECT_FATAL(tcamv6_gen_trie_pref(nullptr, &record), "\ntcamv6_gen_trie_pref: node is NULL");
  EXPECT_FATAL(tcamv6_gen_trie_pref(&node, static_cast<tcamv6_prefix *>(nullptr)),
               "\ntcamv6_gen_trie_pref: v6pref is NULL");
  EXPECT_FATAL(tcamv6_gen_trie_addr(nullptr, &address), "\ntcamv6_gen_trie_addr: node is NULL");
  EXPECT_FATAL(tcamv6_gen_trie_addr(&node, nullptr), "\ntcamv6_gen_trie_addr: v6addr is NULL");
  node.len = 129;
  EXPECT_FATAL(tcamv6_gen_trie_pref(&node, &record), "\ntcamv6_gen_trie_pref:  node->length is too big");
  EXPECT_FATAL(tcamv6_gen_trie_addr(&node, &address), "\ntcamv6_gen_trie_addr:  node->length is too big");
}

TEST_F(tcamv6_output_test, nodes_of_the_tree_are_collected_by_tag) {
  tm_util_trie_node own = {};
  tm_util_trie_node own_dummy = {};
  tm_util_trie_node leaf = {};
  tm_n_ary_node *root = new_anc(2);
  tm_n_ary_node *child = new_anc(1);
  tm_n_ary_node *dummy = new_anc(2, true);
  adopt(root, {child, dummy});
  data_of(root)->cmpr_node = tm_idx(&own);
  data_of(child)->cmpr_node = tm_idx(&leaf);
  data_of(dummy)->cmpr_node = tm_idx(&own_dummy);
  tm_util_trie_node *cmpr[3] = {};
  tm_util_trie_node *replace[3] = {};
  ASSERT_EQ(tcamv6_gen_trie_ptrs(root, 3, cmpr, replace), TM_OK);
  EXPECT_EQ(cmpr[0], &leaf);
  EXPECT_EQ(cmpr[1], &own);
  EXPECT_EQ(cmpr[2], nullptr);
  EXPECT_EQ(replace[0], &leaf) << "a leaf is its own address";
  EXPECT_EQ(replace[1], &own_dummy);
}

TEST_F(tcamv6_output_test, tags_0_and_beyond_the_arrays_write_nothing) {
  tm_util_trie_node own = {};
  tm_util_trie_node *cmpr[2] = {};
  tm_util_trie_node *replace[2] = {};
  for (const uint32_t tag : {0u, 2u, 0xFFFFFu}) {
    tm_n_ary_node *node = new_anc(tag);
    data_of(node)->cmpr_node = tm_idx(&own);
    EXPECT_EQ(tcamv6_gen_trie_ptrs(node, 1, cmpr, replace), TM_OK);
  }
  EXPECT_EQ(cmpr[0], nullptr);
  EXPECT_EQ(cmpr[1], nullptr);
}

TEST_F(tcamv6_output_test, null_tree_is_0_and_a_node_without_data_minus_22) {
  tm_util_trie_node *cmpr[1] = {};
  tm_util_trie_node *replace[1] = {};
  EXPECT_EQ(tcamv6_gen_trie_ptrs(nullptr, 1, cmpr, replace), TM_OK);
  tm_n_ary_node bare = {};
  EXPECT_EQ(tcamv6_gen_trie_ptrs(&bare, 1, cmpr, replace), TM_EINVAL);
  tm_n_ary_node *root = new_anc(0);
  root->child = tm_idx(&bare);
  EXPECT_EQ(tcamv6_gen_trie_ptrs(root, 1, cmpr, replace), TM_EINVAL);
  EXPECT_TRUE(test_host::log_calls().empty());
}

namespace {

// A trie of two stored prefixes, the first with a dummy.
class tcamv6_output_ptrs_test : public tcamv6_output_test {
 protected:
  void SetUp() override {
    tcamv6_output_test::SetUp();
    list = records_of({"2001:db8::/48", "2001:db8::/32", "2001:db8::/48"});
    trie = new_trie({"2001:db8::/32", "2001:db8::/48"});
    upper = new_anc(1);
    lower = new_anc(2);
    dummy = new_anc(1, true);
    adopt(upper, {lower, dummy});
    give(upper, "2001:db8::/32", &cmpr[0]);
    give(lower, "2001:db8::/48", &cmpr[1]);
    data_of(dummy)->cmpr_node = tm_idx(&cmpr[2]);
    for (size_t i = 0; i < list.size(); ++i) {
      nodes[i] = find(trie, text_of(list[i]));
    }
    state->orig_root = tm_idx(trie);
    state->anc_root = tm_idx(upper);
  }

  // The compressed nodes are the test's own.
  void TearDown() override {
    for (tm_n_ary_node *node : {upper, lower, dummy}) {
      data_of(node)->cmpr_node = TM_CHUNK_IDX_NULL;
    }
    tcamv6_output_test::TearDown();
  }

  void give(tm_n_ary_node *node, const std::string &text, tm_util_trie_node *cmpr_node) {
    auto *orig = static_cast<tcamv6_orig_data *>(tm_chunk_malloc(TM_V6_ORIG_DATA));
    orig->anc_node_idx = tm_idx(node);
    find(trie, text)->data = tm_idx(orig);
    data_of(node)->cmpr_node = tm_idx(cmpr_node);
  }

  // Collect them all, none being there yet.
  int32_t collect() {
    std::memset(out, 0, sizeof out);
    std::memset(replace, 0, sizeof replace);
    return tcamv6_gen_output_trie_ptrs(nodes, list.data(), 3, out, replace);
  }

  std::vector<tcamv6_prefix> list;
  tm_util_trie_node *trie = nullptr;
  tm_n_ary_node *upper = nullptr;
  tm_n_ary_node *lower = nullptr;
  tm_n_ary_node *dummy = nullptr;
  tm_util_trie_node cmpr[3] = {};
  tm_util_trie_node *nodes[3] = {};
  tm_util_trie_node *out[3] = {};
  tm_util_trie_node *replace[3] = {};
};

const std::string output = "tcamv6_gen_output_trie_ptrs: ";

}  // namespace

TEST_F(tcamv6_output_ptrs_test, leaf_is_its_own_address_an_owner_takes_its_dummys_and_equals_share) {
  ASSERT_EQ(collect(), TM_OK);
  EXPECT_EQ(out[0], &cmpr[1]);
  EXPECT_EQ(replace[0], &cmpr[1]);
  EXPECT_EQ(out[1], &cmpr[0]);
  EXPECT_EQ(replace[1], &cmpr[2]);
  EXPECT_EQ(out[2], out[0]);
  EXPECT_EQ(replace[2], replace[0]);
}

TEST_F(tcamv6_output_ptrs_test, record_that_has_its_nodes_keeps_them) {
  tm_util_trie_node own = {};
  out[0] = &own;
  nodes[0] = nullptr;
  ASSERT_EQ(tcamv6_gen_output_trie_ptrs(nodes, list.data(), 3, out, replace), TM_OK);
  EXPECT_EQ(out[0], &own);
  EXPECT_EQ(replace[0], nullptr);
  EXPECT_EQ(out[1], &cmpr[0]);
  EXPECT_EQ(out[2], &cmpr[1]);
}

TEST_F(tcamv6_output_ptrs_test, count_0_succeeds_at_once_and_null_arrays_are_refused_otherwise) {
  EXPECT_EQ(tcamv6_gen_output_trie_ptrs(nullptr, nullptr, 0, nullptr, nullptr), TM_OK);
  only_info();
  EXPECT_EQ(tcamv6_gen_output_trie_ptrs(nullptr, list.data(), 3, out, replace), TM_EINVAL);
  EXPECT_EQ(tcamv6_gen_output_trie_ptrs(nodes, nullptr, 3, out, replace), TM_EINVAL);
  EXPECT_EQ(tcamv6_gen_output_trie_ptrs(nodes, list.data(), 3, nullptr, replace), TM_EINVAL);
  EXPECT_EQ(tcamv6_gen_output_trie_ptrs(nodes, list.data(), 3, out, nullptr), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(4, output + "Bad arguments"));
}

TEST_F(tcamv6_output_ptrs_test, record_that_is_not_stored_is_minus_14_and_earlier_ones_stay_written) {
  only_info();
  find(trie, "2001:db8::/32")->tag = 0;
  EXPECT_EQ(collect(), TM_EFAULT);
  EXPECT_EQ(out[0], &cmpr[1]);
  EXPECT_EQ(out[1], nullptr);
  nodes[0] = nullptr;
  EXPECT_EQ(collect(), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   output + "Error - inserted prefix not found in original trie len 32, node <ptr>",
                                   output + "Error - inserted prefix not found in original trie len 48, node <ptr>"}));
}

TEST_F(tcamv6_output_ptrs_test, ancestor_node_without_data_is_minus_14) {
  only_info();
  const tm_chunk_idx data = lower->data;
  lower->data = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(collect(), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{output + "Error - Original prefix points to NULL anc_data"});
  lower->data = data;
}

TEST_F(tcamv6_output_ptrs_test, broken_links_are_fatal) {
  const tm_chunk_idx dummy_data = dummy->data;
  dummy->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(collect(), "\n" + output + "anc_node_data is NULL");
  dummy->data = dummy_data;
  auto *orig = tm_ptr<tcamv6_orig_data>(nodes[0]->data);
  const tm_chunk_idx anc = orig->anc_node_idx;
  orig->anc_node_idx = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(collect(), "\n" + output + "trie_data->anc_node_idx is TM_CHUNK_IDX_NULL");
  orig->anc_node_idx = anc;
  const tm_chunk_idx data = nodes[0]->data;
  nodes[0]->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(collect(), "\n" + output + "trie_data is NULL");
  nodes[0]->data = data;
}

TEST_F(tcamv6_output_ptrs_test, start_and_result_are_traced) {
  only_trace();
  collect();
  nodes[0] = nullptr;
  collect();
  EXPECT_EQ(plain_log_lines()[0],
            output + "Starting inp_trie <ptr>, inp_pref <ptr>, n_prefs 3, out_pref <ptr>, dummy <ptr>");
  EXPECT_EQ(plain_log_lines()[1], output + "Complete 0");
  EXPECT_EQ(plain_log_lines()[3], output + "Complete -14");
}
