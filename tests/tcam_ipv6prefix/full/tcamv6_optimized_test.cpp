// SPDX-License-Identifier: Apache-2.0
// The full compression of one table: its phases, what each failure says, and what it leaves.
#include <random>

#include "tcamv6_fixture.h"
#include "tm_key.h"

namespace {

const std::string pipeline = "tcamv6_optimized_compress: ";

using key_and_length = std::pair<std::string, int>;

void append_keys(const tm_util_trie_node *node, std::vector<key_and_length> *keys) {
  if (node != nullptr) {
    keys->emplace_back(key_bits(node->key, TM_KEY_BITS), node->len);
    append_keys(tm_trie_child(node, 0), keys);
    append_keys(tm_trie_child(node, 1), keys);
  }
}

std::vector<key_and_length> keys_of(const tm_util_trie_node *root) {
  std::vector<key_and_length> keys;
  append_keys(root, &keys);
  return keys;
}

// Prefixes of all lengths, nested and side by side, in a space narrow enough that many share nodes.
std::vector<tcamv6_prefix> crowded_records(std::mt19937 *random, size_t n) {
  std::vector<tcamv6_prefix> records;
  for (size_t i = 0; i < n; ++i) {
    tcamv6_prefix record = record_of("2001:db8::/32");
    for (uint8_t &byte : record.address) {
      const uint32_t kind = (*random)() % 4;
      byte = static_cast<uint8_t>(kind == 0 ? (*random)() : kind == 1 ? 0xFF : kind == 2 ? 0x80 : 0);
    }
    record.length = static_cast<uint8_t>((*random)() % 129);
    records.push_back(record);
  }
  return records;
}

class tcamv6_optimized_test : public tcamv6_test {
 protected:
  const tm_util_trie_node *stored(const std::string &text) const { return find(tm_trie_node(state->orig_root), text); }

  uint64_t refusals_so_far() const {
    uint64_t refused = test_host::heap().refused;
    for (const tm_chunk_info &row : info) {
      refused += row.failed;
    }
    return refused;
  }
};

}  // namespace

TEST_F(tcamv6_optimized_test, default_alone_becomes_the_empty_code) {
  const full_result r = compress(std::vector<tcamv6_prefix>{});
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(r.n_distinct, 1u);
  EXPECT_EQ(state->n_prefs, 1u);
  EXPECT_EQ(state->opt_done, 1);
  EXPECT_EQ(r.prefs[0].length, 0);
  EXPECT_EQ(r.prefs[0].own_node, 1u);
  EXPECT_EQ(r.address("::/0"), std::string(64, '0'));
}

TEST_F(tcamv6_optimized_test, code_of_a_prefix_covers_the_codes_and_addresses_below_it_and_no_others) {
  const std::vector<std::string> texts = {"2001:db8::/32", "2001:db8:1::/48", "2001:db8:1:8::/61", "2001:db9::/32",
                                          "fe80::1/128"};
  const full_result r = compress(texts);
  ASSERT_EQ(r.result, TM_OK);
  const auto covers = [&r](const std::string &outer, const std::string &inner) {
    return r.address(inner).compare(0, r.code(outer).size(), r.code(outer)) == 0;
  };
  EXPECT_TRUE(covers("2001:db8::/32", "2001:db8:1::/48"));
  EXPECT_TRUE(covers("2001:db8:1::/48", "2001:db8:1:8::/61"));
  EXPECT_TRUE(covers("2001:db8:1:8::/61", "2001:db8:1:8::/61"));
  EXPECT_FALSE(covers("2001:db8:1::/48", "2001:db8::/32")) << "the /32's own address lies outside its /48";
  EXPECT_FALSE(covers("2001:db9::/32", "2001:db8::/32"));
  EXPECT_FALSE(covers("2001:db8::/32", "fe80::1/128"));
  for (const std::string &text : texts) {
    EXPECT_TRUE(covers("::/0", text));
    EXPECT_LE(r.code(text).size(), 64u);
  }
}

TEST_F(tcamv6_optimized_test, leaf_is_its_own_address_and_an_owner_has_another) {
  const full_result r = compress({"2001:db8::/32", "2001:db8:1::/48"});
  ASSERT_EQ(r.result, TM_OK);
  const std::string leaf = r.code("2001:db8:1::/48");
  EXPECT_EQ(r.address("2001:db8:1::/48"), leaf + std::string(64 - leaf.size(), '0'));
  const std::string owner = r.code("2001:db8::/32");
  EXPECT_EQ(r.address("2001:db8::/32").compare(0, owner.size(), owner), 0);
  EXPECT_NE(r.address("2001:db8::/32").compare(0, leaf.size(), leaf), 0);
}

TEST_F(tcamv6_optimized_test, table_of_exactly_64_bits_succeeds_and_65_fail_with_minus_75) {
  full_result r = compress(nested_records(64));
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(r.code("::/64").size(), 64u);
  EXPECT_EQ(state->opt_done, 1);
  ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
  state = new_state();
  only_info();
  r = compress(nested_records(65));
  EXPECT_EQ(r.result, TM_EOVERFLOW);
  EXPECT_EQ(r.n_distinct, 0u);
  EXPECT_EQ(state->opt_done, 0);
  EXPECT_EQ(plain_log_lines().back(), pipeline + "Compression overflowed to 65 bits, maximum allowed 64 bit length");
}

TEST_F(tcamv6_optimized_test, limit_is_the_instances_own) {
  state->max_cmpr_len = 10;
  EXPECT_EQ(compress(nested_records(10)).result, TM_OK);
  ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
  state = new_state();
  state->max_cmpr_len = 10;
  only_info();
  EXPECT_EQ(compress(nested_records(11)).result, TM_EOVERFLOW);
  EXPECT_EQ(plain_log_lines().back(), pipeline + "Compression overflowed to 11 bits, maximum allowed 10 bit length");
}

TEST_F(tcamv6_optimized_test, keys_of_the_compressed_trie_are_those_that_make_printable_writes) {
  std::mt19937 random(20);
  size_t compressed = 0;
  for (size_t n = 0; n < 120; ++n) {
    if (compress(crowded_records(&random, n)).result == TM_OK) {
      ++compressed;
      tm_util_trie_node *root = tm_trie_node(state->cmpr_root);
      const std::vector<key_and_length> keys = keys_of(root);
      uint8_t path[TM_KEY_BYTES] = {};
      ASSERT_EQ(tm_util_trie_make_printable(root, path, 0, 0), TM_OK);
      EXPECT_EQ(keys, keys_of(root)) << n << " prefixes";
    }
    ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
    state = new_state();
  }
  EXPECT_GT(compressed, 100u);
}

TEST_F(tcamv6_optimized_test, record_whose_tag_a_made_up_root_took_keeps_its_own_code) {
  tags_so_far = 0;  // the root of a table without /0 gets the tag of the first record
  const full_result r = compress_on(state, records_of({"2001:db8::/32", "fe80::/10"}), false);
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_GT(r.prefs[0].length, 0);
  EXPECT_GT(r.prefs[1].length, 0);
  EXPECT_NE(key_bits(r.addrs[0].bytes, 64), key_bits(r.addrs[1].bytes, 64));
}

TEST_F(tcamv6_optimized_test, duplicates_land_on_one_node_that_sums_their_weights) {
  const full_result r = compress({record_of("2001:db8::/32", 5), record_of("2001:db8::/32", 7)});
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(state->n_prefs, 2u) << "the /32 and the default";
  EXPECT_EQ(r.n_distinct, 2u);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 12);
  EXPECT_EQ(stored("2001:db8::/32")->aux2, 0);
  EXPECT_EQ(stored("2001:db8::/32")->tag, 1u) << "list index + 1 of the first";
  EXPECT_EQ(r.prefs[0].own_node, 1u);
  EXPECT_EQ(r.prefs[1].own_node, 0u);
  EXPECT_EQ(key_bits(r.prefs[0].key, 64), key_bits(r.prefs[1].key, 64));
  EXPECT_EQ(r.prefs[0].length, r.prefs[1].length);
}

TEST_F(tcamv6_optimized_test, anchors_are_summed_in_both_counters) {
  const full_result r =
      compress({record_of("2001:db8:1::/48", 5), record_of("2001:db8:2::/48", 7), record_of("2001:db8::/32", 100)});
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 112);
  EXPECT_EQ(stored("2001:db8::/32")->aux2, 12);
  EXPECT_EQ(state->n_prefs, 4u);
}

TEST_F(tcamv6_optimized_test, counters_are_kept_modulo_65536) {
  const full_result r = compress(
      {record_of("2001:db8::/32", 0xFFFF), record_of("2001:db8::/32", 3), record_of("2001:db9::/33", 0x12345678)});
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(stored("2001:db8::/32")->aux1, 2);
  EXPECT_EQ(stored("2001:db9::/33")->aux1, 0x5678);
  EXPECT_EQ(stored("2001:db9::/32")->aux1, 0x5678);
  EXPECT_EQ(stored("2001:db9::/32")->aux2, 0x5678);
}

TEST_F(tcamv6_optimized_test, n_prefs_counts_anchors_and_distinct_does_not) {
  const full_result r = compress({"2001:db8::1/128", "2001:db8::2/128"});
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(state->n_prefs, 7u) << "two, four shared anchors, the default";
  EXPECT_EQ(r.n_distinct, 3u);
}

TEST_F(tcamv6_optimized_test, result_record_holds_the_tag_and_no_flags) {
  const full_result r = compress({record_of("2001:db8::/32", 1, 0xFFF)});
  for (size_t i = 0; i < r.list.size(); ++i) {
    EXPECT_EQ(r.prefs[i].flags_tag, r.list[i].flags_tag & ~uint32_t{TM_PREFIX_FLAGS_MASK});
    EXPECT_EQ(r.prefs[i].reference, 0u);
    EXPECT_EQ(r.prefs[i].operation, 0u);
  }
}

TEST_F(tcamv6_optimized_test, bit_0_of_the_flags_is_ignored) {
  const full_result r = compress({record_of("2001:db8::/32", 1, 0)});
  ASSERT_EQ(r.result, TM_OK);
  EXPECT_EQ(state->n_prefs, 2u);
}

TEST_F(tcamv6_optimized_test, path_compressed_trie_and_working_arrays_are_gone_when_it_returns) {
  for (const uint32_t nested : {10u, 65u}) {
    const test_host::heap_counts before = test_host::heap();
    compress(nested_records(nested));
    EXPECT_EQ(allocated(TM_V6_PCMPR_DATA), 0u);
    EXPECT_EQ(state->pcmpr_root, TM_CHUNK_IDX_NULL);
    EXPECT_EQ(test_host::heap().blocks, before.blocks);
    ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
    state = new_state();
  }
}

TEST_F(tcamv6_optimized_test, failed_run_leaves_its_elements_counted_and_the_instance_empty) {
  ASSERT_EQ(compress(nested_records(65)).result, TM_EOVERFLOW);
  EXPECT_EQ(allocated(TM_V6_ANC_TREE), 66u + 65u) << "66 prefixes, all but the last with a dummy";
  EXPECT_EQ(state->orig_root | state->cmpr_root | state->anc_root, 0u);
  EXPECT_EQ(state->trees_built, 0);
  tcamv6_reclaim_leftovers();
  EXPECT_EQ(allocated(), std::vector<uint32_t>(TM_CHUNK_TYPES, 0));
  EXPECT_EQ(test_host::pool_used(), 0u);
}

TEST_F(tcamv6_optimized_test, run_after_a_failed_one_gives_what_a_fresh_instance_gives) {
  const std::vector<tcamv6_prefix> good = records_of({"2001:db8::/32", "2001:db8:1::/48", "fe80::/10"});
  ASSERT_EQ(compress(nested_records(65)).result, TM_EOVERFLOW);
  tcamv6_reclaim_leftovers();
  const full_result after = compress(good);
  tcamv6_state *fresh = new_state();
  const full_result expected = compress_on(fresh, good);
  ASSERT_EQ(after.result, TM_OK);
  EXPECT_EQ(std::memcmp(after.prefs.data(), expected.prefs.data(), after.prefs.size() * sizeof after.prefs[0]), 0);
  EXPECT_EQ(std::memcmp(after.addrs.data(), expected.addrs.data(), after.addrs.size() * sizeof after.addrs[0]), 0);
  EXPECT_EQ(tcamv6_reset(&fresh, 0), TM_OK);
}

TEST_F(tcamv6_optimized_test, direct_run_on_a_compressed_instance_first_releases_what_it_holds) {
  ASSERT_EQ(compress({"2001:db8::/32", "2001:db8:1::/48"}).result, TM_OK);
  const std::vector<uint32_t> once = allocated();
  ASSERT_EQ(compress({"2001:db8::/32", "2001:db8:1::/48"}).result, TM_OK);
  EXPECT_EQ(allocated(), once);
  EXPECT_EQ(state->n_prefs, 3u);
}

TEST_F(tcamv6_optimized_test, failure_of_any_allocation_is_minus_12_and_loses_nothing) {
  full_result r = compress({"2001:db8::/32", "2001:db8:1::/48", "2001:db8:2::/48", "fe80::1/128"});
  for (const bool pool : {false, true}) {
    uint64_t refusals = 0;
    uint64_t seen = 1;
    for (uint64_t k = 1; seen != 0; ++k) {
      ASSERT_EQ(tcamv6_reset(&state, 0), TM_OK);
      state = new_state();
      const uint64_t before = refusals_so_far();
      pool ? test_host::fail_pool_element(k) : test_host::fail_heap_allocation(k);
      compress_list_on(state, &r);
      test_host::fail_pool_element(0);
      test_host::fail_heap_allocation(0);
      seen = refusals_so_far() - before;
      refusals += seen;
      if (r.result != TM_OK) {
        ASSERT_EQ(r.result, TM_ENOMEM) << k;
        ASSERT_EQ(r.n_distinct, 0u);
        ASSERT_EQ(state->opt_done, 0);
        tcamv6_reclaim_leftovers();
        ASSERT_EQ(test_host::pool_used(), 0u) << (pool ? "element " : "block ") << k;
      }
      ASSERT_EQ(test_host::heap().blocks, 1u);
    }
    EXPECT_EQ(r.result, TM_OK) << "nothing was refused";
    EXPECT_GT(refusals, pool ? 200u : 5u);
  }
}

TEST_F(tcamv6_optimized_test, refused_arrays_and_elements_are_reported_by_phase_under_the_info_word) {
  const struct {
    uint64_t block, element;
    const char *pool;
    const char *last_line;
  } cases[] = {
      {2, 0, "", "malloc(16 bytes) failed"},  // the working list comes first
      {3, 0, "", "malloc(16 bytes) failed"},
      {4, 0, "", "malloc(16 bytes) failed"},
      {5, 0, "", "compress_prefix_tree() failed -12"},  // its list of nodes
      {0, 1, "TM_V6_TRIE_NODE", "malloc(56 bytes) failed"},
      {0, 2, "TM_V6_TRIE_NODE", "failed to insert prefix 0 in orig trie"},
      {0, 1, "TM_V6_ANC_TREE", "compress_prefix_tree() failed -12"},
      {0, 1, "TM_V6_PCMPR_DATA", "compress_prefix_tree() failed -12"},
  };
  for (const auto &one : cases) {
    for (const bool gate : {true, false}) {
      test_host::clear_log();
      gate ? only_info() : silence();
      if (one.block != 0) {
        test_host::fail_heap_allocation(one.block);
      } else {
        test_host::fail_pool_element(one.element, one.pool);
      }
      ASSERT_EQ(compress({"2001:db8::/32"}).result, TM_ENOMEM) << one.last_line;
      if (gate) {
        EXPECT_EQ(plain_log_lines().back(), pipeline + one.last_line);
      } else {
        EXPECT_TRUE(test_host::log_calls().empty());
      }
    }
  }
}

TEST_F(tcamv6_optimized_test, final_pass_that_fails_is_reported_as_final) {
  only_info();
  for (uint64_t k = 1;; ++k) {
    test_host::clear_log();
    test_host::fail_pool_element(k, "TM_V6_TRIE_NODE");
    if (compress({"2001:db8::/32"}).result == TM_OK) {
      ADD_FAILURE() << "no refusal came in the final pass";
      break;
    }
    if (plain_log_lines().back() == pipeline + "compress_prefix_tree(final) failed -12") {
      break;
    }
  }
}

TEST_F(tcamv6_optimized_test, table_that_fits_but_leaves_no_room_for_its_limits_is_minus_14) {
  state->max_cmpr_len = 2;
  only_error();
  const full_result r = compress({"::/1", "b000::/5", "b000::/7"});
  EXPECT_EQ(r.result, TM_EFAULT);
  const std::vector<std::string> lines = plain_log_lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2].rfind("tcamv6_extend_subtrie_paths: ERROR: compressed trie limits are ", 0), 0u);
  EXPECT_EQ(lines[lines.size() - 1], pipeline + "Failed to make compressed trie sparse -14");
  tcamv6_reclaim_leftovers();
  state->max_cmpr_len = 3;
  EXPECT_EQ(compress({"::/1", "b000::/5", "b000::/7"}).result, TM_OK);
}

TEST_F(tcamv6_optimized_test, sparsing_that_fails_is_reported_under_the_error_word) {
  silence();
  for (uint64_t k = 1;; ++k) {
    test_host::clear_log();
    only_error();
    test_host::fail_pool_element(k, "TM_V6_ORIG_DATA");
    const full_result r = compress({"2001:db8::/32"});
    ASSERT_NE(r.result, TM_OK) << "no refusal came while limits were set";
    const std::vector<std::string> lines = plain_log_lines();
    if (!lines.empty()) {
      EXPECT_EQ(lines, (std::vector<std::string>{
                           "tcamv6_set_cmpr_trie_prefix_node_limits: malloc(8 bytes) failed",
                           pipeline + "Failed to make compressed trie sparse -12",
                       }));
      break;
    }
  }
}

TEST_F(tcamv6_optimized_test, three_arrays_of_one_pointer_for_each_record_are_allocated_first) {
  only_info();
  full_result r;
  const std::vector<tcamv6_prefix> records = records_of({"2001:db8::/32", "2001:db8:1::/48"});
  tcamv6_prefix *list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(tcamv6_build_prefix_list(records.data(), &list, 2, &count, 1), 0);
  r.list.assign(list, list + count);
  zel_free_named(list);
  for (uint64_t k = 1; k <= 3; ++k) {
    test_host::clear_log();
    test_host::fail_heap_allocation(k);
    compress_list_on(state, &r);
    EXPECT_EQ(r.result, TM_ENOMEM) << k;
    EXPECT_EQ(plain_log_lines(), std::vector<std::string>{pipeline + "malloc(32 bytes) failed"}) << k;
  }
  tcamv6_reclaim_leftovers();
  compress_list_on(state, &r);
  EXPECT_EQ(r.result, 0);
}

TEST_F(tcamv6_optimized_test, records_that_are_none_are_refused_and_change_nothing) {
  compress({"2001:db8::/32"});
  const std::vector<uint32_t> before = allocated();
  only_info();
  full_result r;
  for (const uint8_t length : std::vector<uint8_t>{129, 136, 255}) {
    r.list = records_of({"2001:db8:1::/48", "::/0"});
    r.list[0].length = length;
    test_host::clear_log();
    compress_list_on(state, &r);
    EXPECT_EQ(r.result, TM_EINVAL);
    EXPECT_EQ(plain_log_lines(), std::vector<std::string>{pipeline + "Bad arguments"});
  }
  uint32_t n_distinct = 99;
  for (const uint32_t count : {0u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(tcamv6_optimized_compress(state, count, r.list.data(), r.prefs.data(), r.addrs.data(), &n_distinct),
              TM_EINVAL);
  }
  EXPECT_EQ(n_distinct, 99u);
  EXPECT_EQ(allocated(), before);
  EXPECT_EQ(state->opt_done, 1);
}

TEST_F(tcamv6_optimized_test, null_pointers_are_refused_and_change_nothing) {
  tcamv6_prefix record = record_of("::/0");
  tcamv6_cmpr_pref pref = {};
  tcamv6_cmpr_addr addr = {};
  uint32_t n = 42;
  only_info();
  EXPECT_EQ(tcamv6_optimized_compress(nullptr, 1, &record, &pref, &addr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, nullptr, &pref, &addr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &record, nullptr, &addr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &record, &pref, nullptr, &n), TM_EINVAL);
  EXPECT_EQ(tcamv6_optimized_compress(state, 1, &record, &pref, &addr, nullptr), TM_EINVAL);
  EXPECT_EQ(plain_log_lines(), std::vector<std::string>(5, pipeline + "Bad arguments"));
  EXPECT_EQ(n, 42u);
  EXPECT_EQ(test_host::pool_used(), 0u);
}

TEST_F(tcamv6_optimized_test, trace_opens_with_the_arguments_and_closes_with_the_result) {
  only_trace();
  compress(nested_records(65));
  EXPECT_EQ(plain_log_lines().front(),
            pipeline + "Starting handle <ptr>, n_prefs 117, inp_prefs <ptr>, cmpr_prefs <ptr>, cmpr_addr <ptr>");
  EXPECT_EQ(plain_log_lines().back(), pipeline + "Complete -75");
}

TEST_F(tcamv6_optimized_test, statistics_frame_the_run) {
  tcamv6_debug_flags = {0, 0, 0, 1, 0, 0};
  compress({"2001:db8::/32"});
  const std::vector<std::string> lines = plain_log_lines();
  ASSERT_EQ(lines.size(), 18u);
  EXPECT_EQ(lines[0], "Starting point chunk information --");
  EXPECT_EQ(lines[2], "Chunk type 1: mallocs 0, frees 0, failed 0, allocated 0, size 32768");
  EXPECT_EQ(lines[9], "End point chunk information --");
  EXPECT_EQ(lines[11], "Chunk type 1: mallocs 3, frees 0, failed 0, allocated 3, size 32768");
}

TEST_F(tcamv6_optimized_test, result_word_prints_the_list_and_then_each_record_that_is_no_anchor) {
  tcamv6_debug_flags = {0, 0, 0, 0, 1, 0};
  const full_result r = compress({"2001:db8:1::/48"});
  ASSERT_EQ(r.result, TM_OK);
  const std::string code = address_text(r.prefs[0].key);
  const std::vector<std::string> lines = plain_log_lines();
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[0], "tcamv6_optimized_compress 2001:0db8:0001:0000:0000:0000:0000:0000 / 48 ");
  EXPECT_EQ(lines[1], "tcamv6_optimized_compress 2001:0db8:0001:0000:0000:0000:0000:0000 / 32 Anchor Prefix");
  EXPECT_EQ(lines[2], "tcamv6_optimized_compress 0000:0000:0000:0000:0000:0000:0000:0000 / 0 ");
  EXPECT_EQ(lines[3], " Index 0 Tag 1 <ptr>");
  EXPECT_EQ(lines[4], " Original 2001:0db8:0001:0000:0000:0000:0000:0000 / 48 ");
  EXPECT_EQ(lines[5].rfind(" Compressed ", 0), 0u);
  EXPECT_EQ(lines[5].substr(lines[5].find(" / ")), " / " + std::to_string(r.prefs[0].length));
  EXPECT_EQ(lines[6], " Index 2 Tag 3 <ptr>");
  EXPECT_EQ(lines[7], " Original 0000:0000:0000:0000:0000:0000:0000:0000 / 0 ");
  EXPECT_EQ(lines[8], " Compressed 0000:0000:0000:0000:0000:0000:0000:0000 / 0");
}
