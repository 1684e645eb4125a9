#include "tm_pcmpr_trie.h"

#include "pcmpr_twin.h"
#include "trie_twin.h"

namespace {

// A path-compressed trie of prefixes given as bit strings; tags are their places in the list, from 1.
class tm_pcmpr_trie_test : public utils_test {
 protected:
  void SetUp() override {
    utils_test::SetUp();
    trie = new_trie_root();
  }

  void store(const std::vector<std::string> &paths) {
    for (const std::string &path : paths) {
      tm_util_trie_node *node =
          tm_util_trie_insert(trie, key_from_bits(path).data(), static_cast<int32_t>(path.size()));
      node->tag = ++last_tag;
      prefixes.push_back(path);
    }
  }

  void fold() { ASSERT_EQ(tm_util_trie_pcmpr_gen(trie, &root), 0); }

  void drop() {
    tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
    root = nullptr;
    tm_util_trie_free(trie, 0, 0);
    trie = new_trie_root();
    prefixes.clear();
    last_tag = 0;
  }

  static tm_util_trie_node *look_up(tm_util_trie_node *from, const std::string &key, int32_t start, int32_t record,
                                    uint8_t *bits, int32_t *count) {
    const guarded_key bytes(key_from_bits(key));
    return tm_util_trie_pcmpr_lookup_internal(from, bytes.bytes(), static_cast<int32_t>(key.size()), start, record,
                                              bits, count);
  }

  int32_t edges(const std::string &a, const std::string &b, int8_t *longest = nullptr) const {
    const guarded_key ka(key_from_bits(a));
    const guarded_key kb(key_from_bits(b));
    return tm_util_trie_pcmpr_len(root, ka.bytes(), static_cast<int32_t>(a.size()), kb.bytes(),
                                  static_cast<int32_t>(b.size()), longest);
  }

  // The directions between two prefixes as text, or "error".
  std::string way(const std::string &a, const std::string &b) const {
    const guarded_key ka(key_from_bits(a));
    const guarded_key kb(key_from_bits(b));
    guarded_key bits(test_key{});
    int32_t count = -1;
    const int32_t result = tm_util_trie_pcmpr_getpath(root, ka.bytes(), static_cast<int32_t>(a.size()), kb.bytes(),
                                                      static_cast<int32_t>(b.size()), bits.bytes(), &count);
    if (result != 0) {
      EXPECT_EQ(result, TM_EINVAL);
      return "error";
    }
    return bits_of(bits.bytes(), count);
  }

  void store_random(dice &random, uint32_t n, uint32_t longest) {
    std::vector<std::string> paths;
    for (uint32_t i = 0; i < n; ++i) {
      std::string path = random_path(random, longest);
      if (random.chance(2) && !prefixes.empty()) {
        path = prefixes[random.below(static_cast<uint32_t>(prefixes.size()))] + path;
        path.resize(std::min<size_t>(path.size(), longest));
      }
      store({path});
    }
  }

  size_t nodes_out() const { return test_host::pool_used("TM_V6_TRIE_NODE"); }
  size_t data_out() const { return test_host::pool_used("TM_V6_PCMPR_DATA"); }

  tm_util_trie_node *trie = nullptr;
  tm_util_trie_node *root = nullptr;
  std::vector<std::string> prefixes;
  uint32_t last_tag = 0;
};

}  // namespace

// -- nodes

TEST_F(tm_pcmpr_trie_test, new_node_has_its_data_and_nothing_else) {
  tm_util_trie_node *node = nullptr;
  ASSERT_EQ(tm_util_trie_pcmpr_node_new(&node), 0);
  EXPECT_EQ(node->left | node->right | node->tag | node->len, 0u);
  EXPECT_EQ(bits_of(node->key, 128), std::string(128, '0'));
  const tcamv6_pcmpr_data *data = pcmpr_data_of(node);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->len0 | data->len1 | data->longest, 0);
  EXPECT_EQ(data->extension, 0u);
}

TEST_F(tm_pcmpr_trie_test, new_node_needs_an_output_and_keeps_nothing_when_refused) {
  EXPECT_EQ(tm_util_trie_pcmpr_node_new(nullptr), TM_EINVAL);
  const size_t before = nodes_out();
  for (uint64_t k = 1; k <= 2; ++k) {
    tm_util_trie_node *node = nullptr;
    test_host::fail_pool_element(k);
    EXPECT_EQ(tm_util_trie_pcmpr_node_new(&node), TM_ENOMEM);
    EXPECT_EQ(nodes_out(), before);
    EXPECT_EQ(data_out(), 0u);
  }
}

TEST_F(tm_pcmpr_trie_test, branch_is_a_tagged_node_or_one_with_both_children) {
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(nullptr));
  tm_util_trie_node node{};
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(&node));
  node.left = 8;
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(&node));
  node.right = 8;
  EXPECT_TRUE(tm_util_trie_pcmpr_is_branch(&node));
  node.left = 0;
  EXPECT_FALSE(tm_util_trie_pcmpr_is_branch(&node));
  node.tag = 1;
  EXPECT_TRUE(tm_util_trie_pcmpr_is_branch(&node));
}

TEST_F(tm_pcmpr_trie_test, longest_path_is_counted_on_8_bits) {
  tm_util_trie_node *node = nullptr;
  tm_util_trie_node *left = nullptr;
  tm_util_trie_node *right = nullptr;
  for (tm_util_trie_node **made : {&node, &left, &right}) {
    ASSERT_EQ(tm_util_trie_pcmpr_node_new(made), 0);
  }
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 0);
  node->left = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, left);
  auto *left_data = const_cast<tcamv6_pcmpr_data *>(pcmpr_data_of(left));
  auto *right_data = const_cast<tcamv6_pcmpr_data *>(pcmpr_data_of(right));
  left_data->longest = 200;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 201);
  node->right = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, right);
  right_data->longest = 254;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 255);
  right_data->longest = 255;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 201) << "255 + 1 is 0 on 8 bits";
  left->data = TM_CHUNK_IDX_NULL;
  right_data->longest = 7;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 8) << "a child without data does not count";
  right->data = TM_CHUNK_IDX_NULL;
  EXPECT_EQ(tm_util_calculate_longest_pathlen(node), 0);
  EXPECT_FATAL(tm_util_calculate_longest_pathlen(nullptr), "\ntm_util_calculate_longest_pathlen: root is NULL");
}

// -- generation

TEST_F(tm_pcmpr_trie_test, gen_needs_an_output_and_a_null_trie_gives_a_null_output) {
  EXPECT_EQ(tm_util_trie_pcmpr_gen(trie, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_gen(nullptr, nullptr), TM_EINVAL);
  root = trie;
  EXPECT_EQ(tm_util_trie_pcmpr_gen(nullptr, &root), 0);
  EXPECT_EQ(root, nullptr);
  EXPECT_EQ(data_out(), 0u);
}

TEST_F(tm_pcmpr_trie_test, gen_of_the_default_alone_is_one_node) {
  store({""});
  fold();
  EXPECT_EQ(root->tag, 1u);
  EXPECT_TRUE(tm_trie_is_leaf(root));
  EXPECT_EQ(pcmpr_data_of(root)->longest, 0);
}

TEST_F(tm_pcmpr_trie_test, gen_of_the_default_and_8000_slash_1_has_a_plain_leaf_on_path_1) {
  store({"", "1"});
  fold();
  const tcamv6_pcmpr_data *data = pcmpr_data_of(root);
  EXPECT_EQ(root->tag, 1u);
  EXPECT_EQ(left_of(root), nullptr);
  ASSERT_NE(right_of(root), nullptr);
  EXPECT_EQ(data->len1, 1);
  EXPECT_EQ(data->path1[0] & 0x80, 0x80);
  EXPECT_EQ(data->longest, 1);
  EXPECT_EQ(right_of(root)->tag, 2u);
  EXPECT_TRUE(tm_trie_is_leaf(right_of(root)));
  EXPECT_EQ(pcmpr_data_of(right_of(root))->extension, 0u);
}

TEST_F(tm_pcmpr_trie_test, gen_extends_the_right_side_of_the_default_when_both_children_branch) {
  store({"", "0", "1"});
  fold();
  EXPECT_EQ(pcmpr_data_of(left_of(root))->extension, 0u);
  EXPECT_EQ(left_of(root)->tag, 2u);
  const tm_util_trie_node *extended = right_of(root);
  EXPECT_NE(pcmpr_data_of(extended)->extension, 0u);
  EXPECT_EQ(pcmpr_data_of(extended)->longest, 1);
  EXPECT_EQ(pcmpr_data_of(extended)->len0, 1);
  EXPECT_EQ(extended->tag, 0u) << "the tag goes to the node below";
  EXPECT_EQ(left_of(extended)->tag, 3u);
  EXPECT_EQ(pcmpr_data_of(root)->longest, 2);
}

TEST_F(tm_pcmpr_trie_test, gen_chooses_the_side_by_the_parity_of_the_length_below_the_root) {
  // An odd length extends the right side of two branching children, an even one the left side.
  for (const std::string top : {"101", "1010"}) {
    drop();
    store({top, top + "0", top + "1"});
    fold();
    const tm_util_trie_node *node = right_of(root);
    ASSERT_EQ(node->tag, 1u);
    const bool odd = top.size() % 2 == 1;
    EXPECT_EQ(pcmpr_data_of(right_of(node))->extension != 0, odd) << top;
    EXPECT_EQ(pcmpr_data_of(left_of(node))->extension != 0, !odd) << top;
  }
}

TEST_F(tm_pcmpr_trie_test, gen_folds_a_chain_into_one_edge_of_127_bits_and_one_of_128) {
  store({std::string(128, '1')});
  fold();
  EXPECT_EQ(pcmpr_data_of(root)->len1, 128);
  EXPECT_EQ(bits_of(pcmpr_data_of(root)->path1, 128), std::string(128, '1'));
  EXPECT_EQ(pcmpr_data_of(root)->longest, 1);
  drop();
  store({"", std::string(128, '1')});
  fold();
  EXPECT_EQ(pcmpr_data_of(root)->len1, 127) << "the extended side ends one bit above the stop node";
  EXPECT_EQ(pcmpr_data_of(root)->longest, 2);
  const tm_util_trie_node *above = right_of(root);
  EXPECT_EQ(above->tag, 0u);
  EXPECT_EQ(pcmpr_data_of(above)->len1, 1);
  EXPECT_EQ(right_of(above)->tag, 2u);
}

TEST_F(tm_pcmpr_trie_test, gen_agrees_with_the_twin) {
  dice random(91);
  for (int round = 0; round < 250; ++round) {
    drop();
    if (random.chance(2)) {
      store({""});
    }
    const uint32_t longest[] = {4, 8, 20, 128};
    store_random(random, 1 + random.below(40), longest[random.below(4)]);
    fold();
    expect_same(root, *pcmpr_twin::of(trie), "root");
    ASSERT_FALSE(HasFatalFailure()) << "round " << round;
  }
}

TEST_F(tm_pcmpr_trie_test, gen_agrees_with_the_twin_on_every_set_of_short_prefixes) {
  // All subsets of the 15 prefixes of at most 3 bits.
  std::vector<std::string> all;
  for (uint32_t len = 0; len <= 3; ++len) {
    for (uint32_t value = 0; value < (1u << len); ++value) {
      std::string path;
      for (uint32_t i = len; i-- > 0;) {
        path += static_cast<char>('0' + ((value >> i) & 1));
      }
      all.push_back(path);
    }
  }
  for (uint32_t subset = 1; subset < (1u << all.size()); ++subset) {
    drop();
    for (size_t i = 0; i < all.size(); ++i) {
      if (((subset >> i) & 1) != 0) {
        store({all[i]});
      }
    }
    fold();
    expect_same(root, *pcmpr_twin::of(trie), "root");
    ASSERT_FALSE(HasFatalFailure()) << "subset " << subset;
  }
}

TEST_F(tm_pcmpr_trie_test, gen_leaves_the_source_trie_alone_and_is_freed_whole) {
  dice random(92);
  store_random(random, 60, 128);
  const std::map<std::string, uint32_t> before = nodes_of(trie);
  const size_t nodes = nodes_out();
  fold();
  EXPECT_EQ(nodes_of(trie), before);
  EXPECT_EQ(nodes_out() - nodes, data_out());
  tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
  root = nullptr;
  EXPECT_EQ(nodes_out(), nodes);
  EXPECT_EQ(data_out(), 0u);
}

TEST_F(tm_pcmpr_trie_test, gen_refused_at_any_element_returns_the_error_and_what_was_built_can_be_freed) {
  dice random(93);
  store({""});
  store_random(random, 12, 40);
  const size_t nodes = nodes_out();
  uint64_t k = 1;
  for (;; ++k) {
    root = nullptr;
    test_host::fail_pool_element(k);
    const int32_t result = tm_util_trie_pcmpr_gen(trie, &root);
    test_host::fail_pool_element(0);
    tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
    root = nullptr;
    ASSERT_EQ(nodes_out(), nodes) << "element " << k;
    ASSERT_EQ(data_out(), 0u) << "element " << k;
    if (result == 0) {
      break;
    }
    ASSERT_EQ(result, TM_ENOMEM);
  }
  EXPECT_GT(k, 20u);
}

TEST_F(tm_pcmpr_trie_test, gen_internal_needs_its_new_node_edge_and_length) {
  tm_util_trie_node *node = nullptr;
  ASSERT_EQ(tm_util_trie_pcmpr_node_new(&node), 0);
  test_key edge{};
  uint8_t len = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(trie, nullptr, edge.data(), &len, 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(trie, node, nullptr, &len, 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_gen_internal(trie, node, edge.data(), nullptr, 0), TM_EINVAL);
}

TEST_F(tm_pcmpr_trie_test, gen_internal_without_data_is_fatal) {
  store({"0", "1"});
  tm_util_trie_node bare{};
  test_key edge{};
  uint8_t len = 0;
  EXPECT_FATAL(tm_util_trie_pcmpr_gen_internal(trie, &bare, edge.data(), &len, 0),
               "\ntm_util_trie_pcmpr_gen_internal: cmpr_path is NULL");
}

// -- lookup

TEST_F(tm_pcmpr_trie_test, lookup_of_a_key_that_ends_inside_an_edge_finds_the_node_above_it) {
  store({"0010", "0011000"});
  fold();
  int32_t count = -1;
  EXPECT_EQ(look_up(root, "00", 0, 0, nullptr, &count), root);
  EXPECT_EQ(count, 0);
  const tm_util_trie_node *branch = look_up(root, "001", 0, 0, nullptr, &count);
  EXPECT_EQ(branch, left_of(root));
  EXPECT_EQ(count, 1);
  EXPECT_EQ(look_up(root, "00110", 0, 0, nullptr, &count), branch);
  EXPECT_EQ(count, 1);
}

TEST_F(tm_pcmpr_trie_test, lookup_that_leaves_the_trie_finds_nothing) {
  store({"0010", "0011000"});
  fold();
  int32_t count = -1;
  for (const char *key : {"1", "01", "0000", "00101", "0011001", "00110000"}) {
    EXPECT_EQ(look_up(root, key, 0, 0, nullptr, &count), nullptr) << key;
  }
}

TEST_F(tm_pcmpr_trie_test, lookup_along_a_side_without_a_child_finds_nothing) {
  // The bits of an absent edge are never set; whatever they hold must not matter.
  store({"", "0"});
  for (const int fill : {0x00, 0xFF}) {
    fold();
    std::memset(const_cast<uint8_t *>(pcmpr_data_of(root)->path1), fill, 16);
    int32_t count = -1;
    for (const size_t n : {1u, 2u, 20u, 128u}) {
      EXPECT_EQ(look_up(root, std::string(n, '1'), 0, 0, nullptr, &count), nullptr) << n;
    }
    tm_util_trie_free(root, 1, TM_V6_PCMPR_DATA);
  }
  root = nullptr;
}

TEST_F(tm_pcmpr_trie_test, lookup_from_the_keys_end_is_the_node_itself_and_beyond_it_nothing) {
  store({"0010", "0011000"});
  fold();
  int32_t count = 99;
  EXPECT_EQ(look_up(root, "001", 3, 0, nullptr, &count), root);
  EXPECT_EQ(count, 0);
  count = 99;
  EXPECT_EQ(look_up(root, "001", 4, 0, nullptr, &count), nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(look_up(nullptr, "001", 0, 0, nullptr, &count), nullptr);
  EXPECT_EQ(look_up(nullptr, "001", 3, 0, nullptr, &count), nullptr);
}

TEST_F(tm_pcmpr_trie_test, lookup_needs_key_count_and_a_buffer_to_record_in) {
  store({"", "0010"});
  fold();
  const test_key key = key_from_bits("0010");
  test_key bits{};
  int32_t count = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(root, nullptr, 4, 0, 0, nullptr, &count), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(root, key.data(), 4, 0, 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(tm_util_trie_pcmpr_lookup_internal(root, key.data(), 4, 0, 1, nullptr, &count), nullptr);
  const tm_util_trie_node *node = tm_util_trie_pcmpr_lookup_internal(root, key.data(), 4, 0, 1, bits.data(), &count);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->tag, 2u);
}

TEST_F(tm_pcmpr_trie_test, lookup_counts_an_extension_as_an_edge_that_consumes_no_key_bit) {
  store({"", "0", "1"});
  fold();
  int32_t count = 0;
  test_key bits = key_of("ffff::");
  const tm_util_trie_node *node = look_up(root, "1", 0, 1, bits.data(), &count);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->tag, 3u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(bits_of(bits.data(), 2), "10");
}

TEST_F(tm_pcmpr_trie_test, lookup_at_a_node_without_data_is_fatal) {
  store({"0", "1"});
  fold();
  int32_t count = 0;
  root->data = TM_CHUNK_IDX_NULL;
  EXPECT_FATAL(look_up(root, "0", 0, 0, nullptr, &count), "\ntm_util_trie_pcmpr_lookup_internal: node_data is NULL");
}

TEST_F(tm_pcmpr_trie_test, lookup_agrees_with_the_twin_for_stored_and_foreign_keys) {
  dice random(94);
  for (int round = 0; round < 60; ++round) {
    drop();
    store({""});
    store_random(random, 1 + random.below(40), round % 2 == 0 ? 12 : 128);
    fold();
    const auto twin = pcmpr_twin::of(trie);
    for (int i = 0; i < 400; ++i) {
      std::string key = prefixes[random.below(static_cast<uint32_t>(prefixes.size()))];
      if (random.chance(2)) {
        key += random_path(random, static_cast<uint32_t>(128 - key.size()));
      }
      if (random.chance(2)) {
        key.resize(random.below(static_cast<uint32_t>(key.size()) + 1));
      }
      const auto start = random.chance(3) ? random.below(static_cast<uint32_t>(key.size()) + 2) : 0;
      const pcmpr_twin::walk expected = twin->follow(key, start);
      guarded_key bits(test_key{});
      int32_t count = -1;
      const tm_util_trie_node *node =
          look_up(root, key, static_cast<int32_t>(start), random.chance(2) ? 1 : 0, bits.bytes(), &count);
      ASSERT_EQ(node != nullptr, expected.node != nullptr) << key << " from " << start;
      if (node != nullptr) {
        ASSERT_EQ(node->tag, expected.node->tag);
        ASSERT_EQ(pcmpr_data_of(node)->longest, expected.node->longest);
        ASSERT_EQ(count, expected.directions.size()) << key << " from " << start;
      }
    }
  }
}

TEST_F(tm_pcmpr_trie_test, lookup_of_128_levels_fills_the_bits_and_writes_none_beyond) {
  std::vector<std::string> nested;
  for (size_t n = 1; n <= 128; ++n) {
    nested.push_back(std::string(n, '1'));
  }
  store(nested);
  fold();
  guarded_key bits(test_key{});
  int32_t count = 0;
  const tm_util_trie_node *node = look_up(root, nested.back(), 0, 1, bits.bytes(), &count);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->tag, 128u);
  EXPECT_EQ(count, pcmpr_twin::of(trie)->follow(nested.back(), 0).directions.size());
}

// -- length and path between two prefixes

TEST_F(tm_pcmpr_trie_test, len_from_a_prefix_to_itself_is_zero_edges) {
  dice random(95);
  store({""});
  store_random(random, 30, 128);
  fold();
  for (const std::string &prefix : prefixes) {
    EXPECT_EQ(edges(prefix, prefix), 0) << prefix;
    EXPECT_EQ(way(prefix, prefix), "") << prefix;
  }
}

TEST_F(tm_pcmpr_trie_test, len_with_the_first_key_not_a_prefix_of_the_second_is_refused) {
  store({"", "0010", "00101", "0011", "11111111", "111111110"});
  fold();
  EXPECT_EQ(edges("0010", "0011"), TM_EINVAL);
  EXPECT_EQ(edges("00101", "0010"), TM_EINVAL) << "the longer one first";
  EXPECT_EQ(edges("11111110", "111111110"), TM_EINVAL) << "a whole byte differs";
  EXPECT_EQ(edges("0010", "0110"), TM_EINVAL);
  EXPECT_EQ(way("0010", "0011"), "error");
  EXPECT_EQ(way("00101", "0010"), "error");
  EXPECT_GT(edges("0010", "00101"), 0);
}

TEST_F(tm_pcmpr_trie_test, len_and_path_need_their_pointers) {
  store({"", "1"});
  fold();
  const test_key a{};
  const test_key b = key_from_bits("1");
  test_key bits{};
  int32_t count = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_len(nullptr, a.data(), 0, b.data(), 1, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_len(root, nullptr, 0, b.data(), 1, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_len(root, a.data(), 0, nullptr, 1, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_len(root, a.data(), 0, b.data(), 1, nullptr), 1);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(nullptr, a.data(), 0, b.data(), 1, bits.data(), &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, nullptr, 0, b.data(), 1, bits.data(), &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, nullptr, 1, bits.data(), &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, b.data(), 1, nullptr, &count), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, b.data(), 1, bits.data(), nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, a.data(), 0, b.data(), 1, bits.data(), &count), 0);
  EXPECT_EQ(count, 1);
}

TEST_F(tm_pcmpr_trie_test, len_to_a_key_outside_the_trie_is_refused_and_the_longest_left_alone) {
  store({"", "0010"});
  fold();
  int8_t longest = 77;
  EXPECT_EQ(edges("", "01", &longest), TM_EINVAL);
  EXPECT_EQ(edges("01", "011", &longest), TM_EINVAL);
  EXPECT_EQ(longest, 77);
  EXPECT_EQ(way("", "01"), "error");
  EXPECT_EQ(way("01", "011"), "error");
}

TEST_F(tm_pcmpr_trie_test, len_path_and_longest_agree_with_the_twin_between_stored_prefixes) {
  dice random(96);
  for (int round = 0; round < 40; ++round) {
    drop();
    store({""});
    store_random(random, 1 + random.below(40), round % 2 == 0 ? 12 : 128);
    fold();
    const auto twin = pcmpr_twin::of(trie);
    for (const std::string &a : prefixes) {
      const pcmpr_twin *above = twin->follow(a, 0).node;
      ASSERT_NE(above, nullptr) << a;
      for (const std::string &b : prefixes) {
        if (b.compare(0, a.size(), a) != 0) {
          continue;
        }
        const pcmpr_twin::walk expected = above->follow(b, a.size());
        ASSERT_NE(expected.node, nullptr) << a << " to " << b;
        int8_t longest = 77;
        ASSERT_EQ(edges(a, b, &longest), expected.directions.size()) << a << " to " << b;
        ASSERT_EQ(longest, static_cast<int8_t>(expected.node->longest));
        if (expected.directions.size() <= 128) {
          ASSERT_EQ(way(a, b), expected.directions) << a << " to " << b;
        }
        ASSERT_EQ(edges(a, b), expected.directions.size());
      }
    }
  }
}

TEST_F(tm_pcmpr_trie_test, longest_above_127_is_handed_out_as_a_negative_signed_byte) {
  std::vector<std::string> nested{""};
  for (size_t n = 1; n <= 128; ++n) {
    nested.push_back(std::string(n, '1'));
    if (n < 128) {
      nested.push_back(std::string(n, '1') + '0');
    }
  }
  store(nested);
  fold();
  const auto twin = pcmpr_twin::of(trie);
  ASSERT_GT(twin->longest, 127);
  int8_t longest = 0;
  EXPECT_EQ(edges("", "", &longest), 0);
  EXPECT_LT(longest, 0);
  EXPECT_EQ(static_cast<uint8_t>(longest), twin->longest);
}

TEST_F(tm_pcmpr_trie_test, way_of_more_than_128_edges_writes_no_bit_outside_the_buffer) {
  // Every second level has an extension above it.
  std::vector<std::string> zigzag{""};
  std::string stem;
  for (size_t n = 1; n <= 128; ++n) {
    for (const char bit : {'0', '1'}) {
      zigzag.push_back(stem + bit);
    }
    stem += '1';
  }
  store(zigzag);
  fold();
  const pcmpr_twin::walk expected = pcmpr_twin::of(trie)->follow(stem, 0);
  ASSERT_GT(expected.directions.size(), 128u);
  const guarded_key key(key_from_bits(stem));
  guarded_key bits(test_key{});
  int32_t count = 0;
  EXPECT_EQ(tm_util_trie_pcmpr_getpath(root, key.bytes(), 0, key.bytes(), 128, bits.bytes(), &count), 0);
  EXPECT_EQ(count, expected.directions.size());
  EXPECT_EQ(bits_of(bits.bytes(), 128), expected.directions.substr(0, 128));
}

// -- addpath

TEST_F(tm_pcmpr_trie_test, addpath_with_one_bit_hangs_the_node_directly_below) {
  for (const uint32_t bit : {0u, 1u}) {
    tm_util_trie_node *end = new_trie_root();
    const test_key bits = key_from_bits(bit != 0 ? "1" : "0");
    const size_t before = nodes_out();
    EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, bits.data(), 1), 0);
    EXPECT_EQ(child_of(trie, bit), end);
    EXPECT_EQ(nodes_out(), before);
  }
}

TEST_F(tm_pcmpr_trie_test, addpath_makes_the_nodes_between_without_data_and_uses_those_that_exist) {
  tm_util_trie_node *end = new_trie_root();
  tm_util_trie_node *there = new_trie_root();
  there->tag = 9;
  trie->right = tm_chunk_ptr2idx(TM_V6_TRIE_NODE, there);
  const size_t before = nodes_out();
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, key_from_bits("1011").data(), 4), 0);
  EXPECT_EQ(nodes_out(), before + 2);
  EXPECT_EQ(data_out(), 0u);
  EXPECT_EQ(right_of(trie), there);
  EXPECT_EQ(there->tag, 9u);
  const tm_util_trie_node *second = left_of(there);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(bits_of(second->key, 128), std::string(128, '0')) << "a zeroed node";
  EXPECT_EQ(second->left | second->tag | second->len | second->data | second->aux1 | second->aux2, 0u);
  EXPECT_EQ(right_of(right_of(second)), end);
  EXPECT_EQ(left_of(trie), nullptr);
}

TEST_F(tm_pcmpr_trie_test, addpath_replaces_what_hung_at_the_last_bit) {
  tm_util_trie_node *old = new_trie_root();
  tm_util_trie_node *end = new_trie_root();
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, old, key_from_bits("01").data(), 2), 0);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, key_from_bits("01").data(), 2), 0);
  EXPECT_EQ(right_of(left_of(trie)), end);
  EXPECT_EQ(nodes_out(), 4u) << "the old node is not released";
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, nullptr, key_from_bits("01").data(), 2), 0);
  EXPECT_EQ(right_of(left_of(trie)), nullptr);
}

TEST_F(tm_pcmpr_trie_test, addpath_of_no_bits_does_nothing_and_null_is_refused) {
  tm_util_trie_node *end = new_trie_root();
  const test_key bits = key_from_bits("11");
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, bits.data(), 0), 0);
  EXPECT_TRUE(tm_trie_is_leaf(trie));
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(nullptr, end, bits.data(), 2), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, nullptr, 2), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(nullptr, end, bits.data(), 0), TM_EINVAL);
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, nullptr, 0), TM_EINVAL);
  EXPECT_TRUE(tm_trie_is_leaf(trie));
}

TEST_F(tm_pcmpr_trie_test, addpath_of_128_bits_reads_no_seventeenth_byte) {
  tm_util_trie_node *end = new_trie_root();
  const guarded_key bits(key_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
  EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, end, bits.bytes(), 128), 0);
  const tm_util_trie_node *node = trie;
  for (int i = 0; i < 128; ++i) {
    node = right_of(node);
    ASSERT_NE(node, nullptr);
  }
  EXPECT_EQ(node, end);
}

TEST_F(tm_pcmpr_trie_test, addpath_refused_at_any_node_keeps_those_made_so_far) {
  for (uint64_t k = 1; k <= 4; ++k) {
    tm_util_trie_free(trie, 0, 0);
    trie = new_trie_root();
    tm_util_trie_node end{};
    test_host::fail_pool_element(k);
    EXPECT_EQ(tm_util_trie_pcmpr_addpath(trie, &end, key_from_bits("10110").data(), 5), TM_ENOMEM);
    EXPECT_EQ(nodes_out(), k);
    const tm_util_trie_node *node = trie;
    for (size_t i = 0; i + 1 < k; ++i) {
      node = child_of(node, "10110"[i] == '1' ? 1 : 0);
      ASSERT_NE(node, nullptr);
    }
    EXPECT_TRUE(tm_trie_is_leaf(node));
  }
}

TEST_F(tm_pcmpr_trie_test, addpath_of_what_getpath_gave_rebuilds_the_way) {
  dice random(97);
  for (int round = 0; round < 30; ++round) {
    drop();
    store({""});
    store_random(random, 10, 60);
    fold();
    for (const std::string &prefix : prefixes) {
      const std::string directions = way("", prefix);
      if (directions.empty()) {
        continue;
      }
      tm_util_trie_node *start = new_trie_root();
      tm_util_trie_node *end = new_trie_root();
      const auto n = static_cast<int32_t>(directions.size());
      ASSERT_EQ(tm_util_trie_pcmpr_addpath(start, end, key_from_bits(directions).data(), n), 0);
      EXPECT_EQ(tm_util_trie_tracepath(start, key_from_bits(directions).data(), 0, n, 0, 0), end);
      tm_util_trie_free(start, 0, 0);
    }
  }
}
