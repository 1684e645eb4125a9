// SPDX-License-Identifier: Apache-2.0
// What a stored prefix or an address became.
#include "tcamv6_lookup.h"

#include "tcamv6_fixture.h"

namespace {

class tcamv6_lookup_test : public tcamv6_test {
 protected:
  int32_t look_up(const std::string &text) {
    const tcamv6_prefix prefix = record_of(text);
    return tcamv6_lookup_prefix(state, &prefix, &pref, &addr);
  }
  int32_t look_up_address(const std::string &text) {
    return tcamv6_lookup_address(state, record_of(text + "/128").address, &found, &pref, &addr);
  }

  tcamv6_prefix found = {};
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
};

}  // namespace

TEST_F(tcamv6_lookup_test, prefix_between_a_stored_longer_and_a_stored_shorter_one_does_not_exist) {
  ASSERT_EQ(compress({"2001:db8::/40", "2001::/16"}).result, TM_OK);
  only_info();
  EXPECT_EQ(look_up("2001:db8::/36"), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>{"tcamv6_lookup_prefix: Prefix does not exist"});
  EXPECT_EQ(look_up("2001::/16"), TM_OK);
}

TEST_F(tcamv6_lookup_test, anchor_of_a_stored_prefix_exists_too) {
  ASSERT_EQ(compress({"2001:db8::/48", "2001::/16"}).result, TM_OK);
  EXPECT_EQ(look_up("2001:db8::/32"), TM_OK);
}

TEST_F(tcamv6_lookup_test, longer_prefix_on_the_path_without_the_length_asked_for_does_not_exist) {
  // Without anchors, as a trie built by the engine's caller may be.
  full_result r;
  r.list = {record_of("2001:db8::/48"), record_of("2001::/16"), record_of("::/0")};
  compress_list_on(state, &r);
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(look_up("2001:db8::/32"), TM_EINVAL);
  EXPECT_EQ(look_up("2001:db8::/48"), TM_OK);
}

TEST_F(tcamv6_lookup_test, bits_beyond_the_length_asked_for_do_not_matter) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  ASSERT_EQ(look_up("2001:db8::/32"), TM_OK);
  const tcamv6_cmpr_pref expected = pref;
  EXPECT_EQ(look_up("2001:db8:ffff::1/32"), TM_OK);
  EXPECT_EQ(std::memcmp(&pref, &expected, sizeof pref), 0);
}

TEST_F(tcamv6_lookup_test, address_covered_by_the_default_only_finds_it) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  ASSERT_EQ(look_up_address("fe80::1"), TM_OK);
  EXPECT_EQ(text_of(found), "::/0");
  EXPECT_EQ(found.weight, 1u);
  EXPECT_EQ(found.anchor_ref, 0u);
}

TEST_F(tcamv6_lookup_test, made_up_root_is_never_returned) {
  full_result r;
  r.list = {record_of("2001:db8::/32")};
  compress_list_on(state, &r);
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(look_up_address("fe80::1"), TM_EINVAL);
  EXPECT_EQ(look_up("::/0"), TM_EINVAL);
  EXPECT_EQ(look_up_address("2001:db8::1"), TM_OK);
}

TEST_F(tcamv6_lookup_test, address_finds_its_longest_match_anchors_included) {
  ASSERT_EQ(compress({record_of("2001:db8:1::/48", 9), record_of("2001:db8:1:2::/64", 4)}).result, TM_OK);
  const struct {
    const char *address, *expected;
    uint32_t weight, anchor_ref;
  } cases[] = {
      {"2001:db8:1:2::5", "2001:db8:1:2::/64", 4, 0},
      {"2001:db8:1:3::5", "2001:db8:1::/48", 13, 4},
      {"2001:db8:2::", "2001:db8::/32", 13, 13},
      {"2001:db9::", "::/0", 1, 0},
  };
  for (const auto &one : cases) {
    std::memset(&found, 0x44, sizeof found);
    ASSERT_EQ(look_up_address(one.address), TM_OK);
    EXPECT_EQ(found.length, std::stoi(std::strchr(one.expected, '/') + 1)) << one.address;
    EXPECT_EQ(found.weight, one.weight) << one.address;
    EXPECT_EQ(found.anchor_ref, one.anchor_ref) << one.address;
    EXPECT_EQ(found.flags_tag, 0x44444444u) << "left as it was";
    EXPECT_EQ(found.reference, 0x44444444u);
    const tcamv6_cmpr_pref by_address = pref;
    const tcamv6_cmpr_addr address = addr;
    ASSERT_EQ(look_up(one.expected), TM_OK);
    EXPECT_EQ(std::memcmp(&by_address, &pref, sizeof pref), 0);
    EXPECT_EQ(std::memcmp(&address, &addr, sizeof addr), 0);
  }
}

TEST_F(tcamv6_lookup_test, address_finds_a_full_length_prefix_by_its_last_bit) {
  ASSERT_EQ(compress({"2001:db8::4/128", "2001:db8::/127"}).result, TM_OK);
  ASSERT_EQ(look_up_address("2001:db8::4"), TM_OK);
  EXPECT_EQ(text_of(found), "2001:db8::4/128");
  ASSERT_EQ(look_up_address("2001:db8::5"), TM_OK);
  EXPECT_EQ(found.length, 96) << "the anchor that both share";
  ASSERT_EQ(look_up_address("2001:db8::1"), TM_OK);
  EXPECT_EQ(found.length, 127);
}

TEST_F(tcamv6_lookup_test, owner_of_more_specifics_has_its_own_key_and_its_dummys_address) {
  const full_result r = compress({"2001:db8::/32", "2001:db8:1::/48"});
  ASSERT_EQ(look_up("2001:db8::/32"), TM_OK);
  const auto *orig = tm_ptr<tcamv6_orig_data>(find(tm_trie_node(state->orig_root), "2001:db8::/32")->data);
  const tcamv6_anc_data *owner = data_of(tcamv6_anc_node(orig->anc_node_idx));
  const tcamv6_anc_data *dummy = data_of(tcamv6_anc_node(owner->dummy));
  const tm_util_trie_node *own_node = tcamv6_cmpr_node(owner);
  const tm_util_trie_node *dummy_node = tcamv6_cmpr_node(dummy);
  EXPECT_EQ(pref.length, own_node->len);
  EXPECT_EQ(key_bits(pref.key, 128), key_bits(own_node->key, 128));
  EXPECT_EQ(key_bits(addr.bytes, 128),
            key_bits(dummy_node->key, dummy_node->len) + std::string(128u - dummy_node->len, '0'));
  EXPECT_EQ(dummy_node->len, 64);
  EXPECT_EQ(r.address("2001:db8::/32"), key_bits(addr.bytes, 64));
}

TEST_F(tcamv6_lookup_test, lookups_agree_with_the_results_of_the_compression) {
  const std::vector<tcamv6_prefix> records = sibling_records(200, 56);
  const full_result r = compress(records);
  ASSERT_EQ(r.result, TM_OK);
  for (size_t i = 0; i < r.list.size(); ++i) {
    ASSERT_EQ(tcamv6_lookup_prefix(state, &r.list[i], &pref, &addr), TM_OK);
    EXPECT_EQ(pref.length, r.prefs[i].length);
    EXPECT_EQ(std::memcmp(pref.key, r.prefs[i].key, 16), 0);
    EXPECT_EQ(std::memcmp(&addr, &r.addrs[i], 16), 0);
  }
}

TEST_F(tcamv6_lookup_test, own_node_and_node_aux_are_the_counters_of_the_compressed_node) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  const auto *orig = tm_ptr<tcamv6_orig_data>(find(tm_trie_node(state->orig_root), "2001:db8::/32")->data);
  tm_util_trie_node *node = tcamv6_cmpr_node(data_of(tcamv6_anc_node(orig->anc_node_idx)));
  node->aux1 = 0xFFFE;
  node->aux2 = 0xFFFD;
  ASSERT_EQ(look_up("2001:db8::/32"), TM_OK);
  EXPECT_EQ(pref.own_node, 0xFFFEu);
  EXPECT_EQ(pref.node_aux, 0xFFFDu);
}

TEST_F(tcamv6_lookup_test, instance_that_was_never_compressed_knows_no_prefix) {
  EXPECT_EQ(look_up("::/0"), TM_EINVAL);
  EXPECT_EQ(look_up_address("::"), TM_EINVAL);
}

TEST_F(tcamv6_lookup_test, null_pointers_are_refused_under_the_info_word_and_nothing_is_written) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  const tcamv6_prefix prefix = record_of("2001:db8::/32");
  const uint8_t *address = prefix.address;
  only_info();
  EXPECT_EQ(tcamv6_lookup_prefix(nullptr, &prefix, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_prefix(state, nullptr, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, nullptr, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_prefix(state, &prefix, &pref, nullptr), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(4, "tcamv6_lookup_prefix: Bad arguments"));
  test_host::clear_log();
  EXPECT_EQ(tcamv6_lookup_address(nullptr, address, &found, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_address(state, nullptr, &found, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_address(state, address, nullptr, &pref, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_address(state, address, &found, nullptr, &addr), TM_EINVAL);
  EXPECT_EQ(tcamv6_lookup_address(state, address, &found, &pref, nullptr), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(5, "tcamv6_lookup_address: Bad arguments"));
  EXPECT_EQ(pref.length | addr.bytes[0] | found.length, 0);
}

TEST_F(tcamv6_lookup_test, start_and_result_are_traced_on_every_path) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  only_trace();
  look_up("2001:db8::/32");
  look_up("2001:db8::/33");
  const std::string start =
      "tcamv6_lookup_prefix: Starting state_hndl <ptr>, prefix <ptr>, cmpr_pref_p <ptr> "
      "cmpr_addr_p <ptr>";
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{start, "tcamv6_lookup_prefix: Complete 0", start,
                                                         "tcamv6_lookup_prefix: Complete -22"}));
  test_host::clear_log();
  tcamv6_lookup_address(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(plain_log_lines(), (std::vector<std::string>{
                                   "tcamv6_lookup_address: Starting state_hndl <ptr>, lkup_addr <ptr>, prefix <ptr>, "
                                   "cmpr_pref_p <ptr> cmpr_addr_p <ptr>",
                                   "tcamv6_lookup_address: Complete -22"}));
}

TEST_F(tcamv6_lookup_test, broken_links_are_minus_14_or_fatal_and_nothing_is_written) {
  ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_OK);
  tm_util_trie_node *node = find(tm_trie_node(state->orig_root), "2001:db8::/32");
  auto *orig = tm_ptr<tcamv6_orig_data>(node->data);
  tm_n_ary_node *anc = tcamv6_anc_node(orig->anc_node_idx);
  const tm_chunk_idx data = anc->data;
  anc->data = TM_CHUNK_IDX_NULL;
  only_info();
  EXPECT_EQ(look_up("2001:db8::/32"), TM_EFAULT);
  EXPECT_EQ(look_up_address("2001:db8::1"), TM_EFAULT);
  EXPECT_EQ(plain_log_lines(),
            (std::vector<std::string>{"tcamv6_lookup_prefix: Error - Original prefix points to NULL anc_data",
                                      "tcamv6_lookup_address: Error - Original prefix points to NULL anc_data"}));
  EXPECT_EQ(pref.length | addr.bytes[0] | found.length, 0);
  anc->data = data;
  const tm_chunk_idx cmpr_node = data_of(anc)->cmpr_node;
  data_of(anc)->cmpr_node = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(look_up("2001:db8::/32"), "\ntcamv6_gen_trie_pref: node is NULL");
  data_of(anc)->cmpr_node = cmpr_node;
  orig->anc_node_idx = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(look_up("2001:db8::/32"), "\ntcamv6_lookup_prefix: trie_data->anc_node_idx is TM_CHUNK_IDX_NULL");
  orig->anc_node_idx = tm_idx(anc);
  const tm_chunk_idx orig_data = node->data;
  node->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(look_up_address("2001:db8::1"), "\ntcamv6_lookup_address: trie_data is NULL");
  node->data = orig_data;
}
