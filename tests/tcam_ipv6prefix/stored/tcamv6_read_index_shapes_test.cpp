// SPDX-License-Identifier: Apache-2.0
// The read index over tries of every shape: what it finds is what the trie finds, and it stays small.
#include "read_index_fixture.h"
#include "tcamv6_read_index_find.h"

namespace {

struct shaped_prefix {
  tm_key_number key;
  uint32_t length;
};

tm_key_number random_key(std::mt19937 &random) {
  return tm_key_number{random()} << 96 | tm_key_number{random()} << 64 | tm_key_number{random()} << 32 | random();
}

uint32_t number_below(std::mt19937 &random, uint32_t end) { return static_cast<uint32_t>(random() % end); }

// A trie of the test's own, and an index over it that the fixture's state holds.
class tcamv6_read_index_shapes_test : public read_index_test {
 protected:
  void SetUp() override {
    read_index_test::SetUp();
    root_ = new_trie_node();
  }
  void TearDown() override {
    tcamv6_release_read_index(state);
    tm_util_trie_free(root_, 0, TM_V6_ORIG_DATA);
    read_index_test::TearDown();
  }

  void store(tm_key_number key, uint32_t length) {
    uint8_t bytes[16];
    tm_key_store(bytes, key);
    tm_util_trie_node *node = tm_util_trie_insert(root_, bytes, static_cast<int32_t>(length));
    ASSERT_NE(node, nullptr);
    if (node->tag == 0) {
      node->tag = 1;
      node->aux1 = 2;  // a row, ::/0 too
      stored_.push_back({key, length});
    }
  }
  void store(const std::string &text) {
    const tcamv6_prefix record = record_of(text);
    store(tm_key_load(record.address), record.length);
  }

  bool build() {
    tcamv6_release_read_index(state);
    index_ = static_cast<tcamv6_read_index *>(zel_calloc_named(TM_MEM_TAG_LIST, 1, sizeof *index_));
    state->read_index = reinterpret_cast<uintptr_t>(index_);
    index_->rows_only = rows_only_;
    return tcamv6_build_read_index(index_, root_, static_cast<uint32_t>(stored_.size()));
  }

  const tm_util_trie_node *node_of(uint32_t number) const { return tm_trie_node(index_->items[number].node); }

  bool agrees(tm_key_number key) {
    uint8_t bytes[16];
    tm_key_store(bytes, key);
    return node_of(tcamv6_read_index_covering(index_, bytes)) == tm_util_trie_lookup(root_, bytes, 128, 1);
  }

  bool agrees(tm_key_number key, uint32_t length) {
    uint8_t bytes[16];
    tm_key_store(bytes, key);
    const tm_util_trie_node *node = tm_util_trie_lookup(root_, bytes, static_cast<int32_t>(length), 1);
    node = tcamv6_holds_prefix(node, length) ? node : nullptr;
    return node_of(tcamv6_read_index_exact(index_, bytes, length)) == node;
  }

  // Around every stored prefix, all lengths of its path, and somewhere.
  void expect_agreement_of_shape() {
    ASSERT_TRUE(build());
    ASSERT_EQ(index_->n_items, stored_.size());
    std::mt19937 random(11);
    for (const shaped_prefix &p : stored_) {
      const tm_key_number bits = tm_key_number_leading(static_cast<int32_t>(p.length));
      const tm_key_number inside = random_key(random) & ~bits;
      for (const tm_key_number key : {p.key & bits, (p.key & bits) | inside, p.key | ~bits, (p.key & bits) - 1,
                                      (p.key | ~bits) + 1, random_key(random)}) {
        ASSERT_TRUE(agrees(key)) << p.length;
        ASSERT_TRUE(agrees(key, p.length)) << p.length;
        ASSERT_TRUE(agrees(key, number_below(random, 129))) << p.length;
      }
    }
    const shaped_prefix p = stored_.empty() ? shaped_prefix{} : stored_[random() % stored_.size()];
    for (uint32_t length = 0; length <= 128; ++length) {
      ASSERT_TRUE(agrees(p.key, length)) << length;
      ASSERT_TRUE(agrees(p.key | ~tm_key_number_leading(static_cast<int32_t>(length)), length)) << length;
    }
    EXPECT_LE(index_->n_nodes, index_->node_room);
    EXPECT_LE(index_->node_room, tcamv6_read_index_max_nodes(index_->n_items, rows_only_));
  }

  tm_util_trie_node *root_ = nullptr;
  std::vector<shaped_prefix> stored_;
  tcamv6_read_index *index_ = nullptr;
  bool rows_only_ = false;
};

}  // namespace

TEST_F(tcamv6_read_index_shapes_test, trie_without_prefixes_covers_nothing) {
  expect_agreement_of_shape();
  const uint8_t address[16] = {};
  EXPECT_EQ(tcamv6_read_index_covering(index_, address), 0u);
}

TEST_F(tcamv6_read_index_shapes_test, default_alone_needs_no_node) {
  store("::/0");
  expect_agreement_of_shape();
  EXPECT_EQ(index_->n_nodes, 0u);
}

TEST_F(tcamv6_read_index_shapes_test, one_to_four_prefixes_without_a_default) {
  for (const char *text : {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128", "::/128", "8000::/1", "2001:db8::/32"}) {
    store(text);
    expect_agreement_of_shape();
  }
}

TEST_F(tcamv6_read_index_shapes_test, whole_path_of_129_lengths_to_the_last_address) {
  for (uint32_t length = 0; length <= 128; ++length) {
    store(~tm_key_number{0}, length);
  }
  expect_agreement_of_shape();
  EXPECT_EQ(index_->n_nodes, 16u);
}

TEST_F(tcamv6_read_index_shapes_test, paths_of_zeros_and_of_mixed_bits) {
  for (uint32_t length = 0; length <= 128; ++length) {
    store(0, length);
    store(~tm_key_number{0} / 3, length);
  }
  expect_agreement_of_shape();
}

TEST_F(tcamv6_read_index_shapes_test, every_prefix_of_two_bytes) {
  for (uint32_t length = 0; length <= 9; ++length) {
    for (uint32_t i = 0; i < 1u << length; ++i) {
      store(length == 0 ? 0 : tm_key_number{i} << (128 - length), length);
    }
  }
  expect_agreement_of_shape();
}

TEST_F(tcamv6_read_index_shapes_test, bytes_that_all_share_are_passed_over_and_compared) {
  for (uint32_t i = 0; i < 9; ++i) {
    store("2001:db8:1:2:3:4:5:" + std::to_string(i) + "/128");
  }
  store("2001:db8::/32");
  expect_agreement_of_shape();
  EXPECT_EQ(index_->n_nodes, 2u);
  EXPECT_EQ(index_->root & TCAMV6_READ_KIND, uint32_t{TCAMV6_READ_SKIP});
  const tcamv6_prefix beside = record_of("2001:db8:1:2:3:7:5:1/128");
  EXPECT_EQ(node_of(tcamv6_read_index_covering(index_, beside.address))->len, 32u);
}

TEST_F(tcamv6_read_index_shapes_test, shorter_prefix_keeps_its_byte_from_being_passed_over) {
  store("2001:d00::/24");
  store("2001:d80::/25");
  for (uint32_t i = 0; i < 9; ++i) {
    store("2001:db8:" + std::to_string(i) + "::/48");
  }
  expect_agreement_of_shape();
}

TEST_F(tcamv6_read_index_shapes_test, full_block_of_single_addresses) {
  for (uint32_t i = 0; i < 4096; ++i) {
    store(tm_key_number{0x20010db8} << 96 | i, 128);
  }
  expect_agreement_of_shape();
}

TEST_F(tcamv6_read_index_shapes_test, random_prefixes_of_all_lengths_in_clusters) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    std::mt19937 random(seed);
    tm_util_trie_free(root_, 0, TM_V6_ORIG_DATA);
    root_ = new_trie_node();
    stored_.clear();
    tm_key_number key = random_key(random);
    const uint32_t n = 1 + number_below(random, 400);
    for (uint32_t i = 0; i < n; ++i) {
      // Away from the last one by some bits anywhere, seldom somewhere else.
      key = random() % 16 == 0 ? random_key(random) : key ^ tm_key_number { random() % 64 } << random() % 128;
      const uint32_t length = random() % 4 == 0 ? number_below(random, 129) : 8 * number_below(random, 17);
      const tm_key_number bits = tm_key_number_leading(static_cast<int32_t>(length));
      store(random() % 2 == 0 ? key & bits : key, length);
    }
    SCOPED_TRACE(seed);
    ASSERT_NO_FATAL_FAILURE(expect_agreement_of_shape());
  }
}

// Each group of three addresses has a path of its own, with a prefix beside it at every byte: nodes that hold little.
TEST_F(tcamv6_read_index_shapes_test, table_that_needs_more_than_the_bound_gets_no_index) {
  for (uint32_t group = 0; group < 150; ++group) {
    const tm_key_number key = tm_key_number{group} << 112;
    for (uint32_t i = 0; i < 3; ++i) {
      store(key | i, 128);
    }
    for (int32_t byte = 3; byte < 16; ++byte) {
      store(key | tm_key_number_bit(8 * byte), static_cast<uint32_t>(8 * byte + 8));
    }
  }
  const size_t bytes = test_host::heap().bytes;
  EXPECT_FALSE(build());
  EXPECT_GT(index_->n_nodes, tcamv6_read_index_max_nodes(index_->n_items, false));
  EXPECT_EQ(index_->words, nullptr);
  EXPECT_LT(test_host::heap().bytes - bytes, 120 * stored_.size()) << "the list of prefixes only";
}

TEST_F(tcamv6_read_index_shapes_test, index_of_rows_has_nodes_for_single_bytes_while_they_are_few) {
  for (uint32_t group = 0; group < 200; ++group) {
    store(tm_key_number{group} << 112 | tm_key_number{1} << 96, 32);
    store(tm_key_number{group} << 112 | tm_key_number{2} << 96, 32);
  }
  expect_agreement_of_shape();
  EXPECT_EQ(index_->n_nodes, 1u + 200);
  EXPECT_EQ(index_->n_spread, 0u);
  rows_only_ = true;
  expect_agreement_of_shape();
  EXPECT_EQ(index_->n_nodes, 1u + 200 + 400 / 8);
  EXPECT_EQ(index_->n_spread, 400u / 8);
}

TEST_F(tcamv6_read_index_shapes_test, index_of_rows_leaves_anchors_out) {
  store("2001:db8::/32");
  store("2001:db8::/64");
  tm_util_trie_node *anchor = find(root_, "2001:db8::/32");
  anchor->aux2 = anchor->aux1;
  store("::/0");
  find(root_, "::/0")->aux1 = 1;  // the library's own
  ASSERT_TRUE(build());
  EXPECT_EQ(index_->n_items, 3u);
  rows_only_ = true;
  ASSERT_TRUE(build());
  EXPECT_EQ(index_->n_items, 1u);
  EXPECT_EQ(index_->items[1].length, 64u);
  EXPECT_EQ(index_->items[1].parent, 0u);
}

TEST_F(tcamv6_read_index_shapes_test, memory_of_hostile_shapes_stays_within_the_bound) {
  const size_t before = test_host::heap().bytes;
  std::mt19937 random(5);
  for (uint32_t i = 0; i < 2500; ++i) {
    store(random_key(random), 128);
  }
  expect_agreement_of_shape();
  EXPECT_LE(test_host::heap().bytes - before, stored_.size() * (512 + 112) + 70000);
}

TEST_F(tcamv6_read_index_shapes_test, node_that_is_not_where_it_says_is_no_base_for_an_index) {
  store("2001:db8::/32");
  store("2001:db8::/48");
  tm_util_trie_node *node = find(root_, "2001:db8::/48");
  node->len = 47;
  EXPECT_FALSE(build());
  node->len = 48;
  EXPECT_TRUE(build());
}

TEST_F(tcamv6_read_index_shapes_test, node_deeper_than_any_key_is_no_base_for_an_index) {
  store("::1/128");
  tm_util_trie_node *node = find(root_, "::1/128");
  for (const uint32_t bit : {0u, 1u}) {
    tm_util_trie_node *below = new_trie_node();
    (bit != 0 ? node->right : node->left) = tm_idx(below);
    EXPECT_FALSE(build());
    (bit != 0 ? node->right : node->left) = TM_CHUNK_IDX_NULL;
    tm_util_trie_free(below, 0, TM_V6_ORIG_DATA);
  }
}
