// SPDX-License-Identifier: Apache-2.0
#include "tcamv6_cmpr_places.h"

#include "incr_fixture.h"
#include "tm_journal.h"

namespace {

// A trie whose paths are grown by the search that remembers, and its twin, grown by the one that does not.
class tcamv6_cmpr_places_test : public incr_test {
 protected:
  void SetUp() override {
    incr_test::SetUp();
    root = new_root();
    twin = new_root();
  }

  void TearDown() override {
    tm_util_trie_free(root, 0, 0);
    tm_util_trie_free(twin, 0, 0);
    incr_test::TearDown();
  }

  static tm_util_trie_node *new_root() {
    auto *node = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    tm_util_trie_node_initialize(node, nullptr, 0);
    return node;
  }

  static tm_util_trie_node *same_place(tm_util_trie_node *in, const tm_util_trie_node *node) {
    return tm_util_trie_lookup(in, node->key, node->len, 0);
  }

  // Everything of a trie but its marks.
  static void write(const tm_util_trie_node *node, std::string *out) {
    *out += bits_of_key(node->key, node->len) + (node->tag != 0 ? "* " : " ");
    for (uint32_t bit = 0; bit < 2; ++bit) {
      if (tm_trie_child(node, bit) != nullptr) {
        write(tm_trie_child(node, bit), out);
      }
    }
  }

  static std::string text(const tm_util_trie_node *node) {
    std::string out;
    write(node, &out);
    return out;
  }

  // Levels to the nearest free place through untagged nodes, by looking at all of them; none: a large number.
  static uint32_t nearest(const tm_util_trie_node *node) {
    if (!tm_trie_has_both_children(node)) {
      return 0;
    }
    uint32_t least = UINT16_MAX;
    for (uint32_t bit = 0; bit < 2; ++bit) {
      const tm_util_trie_node *child = tm_trie_child(node, bit);
      if (child->tag == 0) {
        least = std::min(least, nearest(child) + 1);
      }
    }
    return least;
  }

  // No mark claims more than is true.
  static void expect_true_marks(const tm_util_trie_node *node) {
    ASSERT_LE(node->full, nearest(node)) << bits_of_key(node->key, node->len);
    for (uint32_t bit = 0; bit < 2; ++bit) {
      if (tm_trie_child(node, bit) != nullptr) {
        expect_true_marks(tm_trie_child(node, bit));
      }
    }
  }

  static void collect(tm_util_trie_node *node, std::vector<tm_util_trie_node *> *nodes) {
    nodes->push_back(node);
    for (uint32_t bit = 0; bit < 2; ++bit) {
      if (tm_trie_child(node, bit) != nullptr) {
        collect(tm_trie_child(node, bit), nodes);
      }
    }
  }

  uint32_t below(uint32_t n) { return static_cast<uint32_t>(random() % n); }

  tm_util_trie_node *any_node() {
    std::vector<tm_util_trie_node *> nodes;
    collect(root, &nodes);
    return nodes[below(static_cast<uint32_t>(nodes.size()))];
  }

  // Where a change at a node may be told to begin: the root, or any tagged node above.
  tm_util_trie_node *any_way_to(const tm_util_trie_node *node) {
    std::vector<tm_util_trie_node *> ways{root};
    for (int32_t depth = 1; depth < node->len; ++depth) {
      tm_util_trie_node *above = tm_util_trie_lookup(root, node->key, depth, 0);
      if (above->tag != 0) {
        ways.push_back(above);
      }
    }
    return ways[below(static_cast<uint32_t>(ways.size()))];
  }

  void extend_both() {
    tm_util_trie_node *from = below(3) == 0 ? any_node() : root;
    const int32_t n = static_cast<int32_t>(below(9));
    tm_util_trie_node *twin_from = same_place(twin, from);
    tm_trie_grown grown;
    tm_util_trie_node *end = tcamv6_extend_cmpr_path(from, n, &grown);
    tm_util_trie_node *expected = tm_util_trie_gen_extending_path(twin_from, n, 1);
    ASSERT_EQ(end == nullptr, expected == nullptr);
    if (end != nullptr) {
      ASSERT_EQ(bits_of_key(end->key, end->len), bits_of_key(expected->key, expected->len));
      ASSERT_EQ(grown.end, end);
      end->tag = expected->tag = below(4) != 0;
    }
  }

  void cut_both() {
    tm_util_trie_node *node = any_node();
    const uint32_t bit = below(2);
    tm_util_trie_node *child = tm_trie_child(node, bit);
    if (child == nullptr) {
      return;
    }
    tm_util_trie_node *twin_node = same_place(twin, node);
    tm_util_trie_free(tm_trie_child(twin_node, bit), 0, 0);
    tm_trie_link_child(twin_node, bit, nullptr);
    tcamv6_cut_cmpr_child(node->tag != 0 && below(2) == 0 ? node : any_way_to(node), node, bit);
    tm_util_trie_free(child, 0, 0);
  }

  void clear_both() {
    tm_util_trie_node *node = any_node();
    same_place(twin, node)->tag = 0;
    tcamv6_clear_cmpr_tag(any_way_to(node), node);
  }

  // A way that the functions here know nothing of: another part makes a child or tags a node.
  void take_both() {
    tm_util_trie_node *node = any_node();
    tm_util_trie_node *twin_node = same_place(twin, node);
    const uint32_t bit = below(2);
    if (node->len < 12 && tm_trie_child(node, bit) == nullptr) {
      tm_trie_make_child(node, bit);
      tm_trie_make_child(twin_node, bit);
    } else if (node->len != 0) {
      node->tag = twin_node->tag = 1;
    }
  }

  void change_both() {
    const uint32_t what = below(20);
    if (what < 14) {
      extend_both();
    } else if (what < 16) {
      take_both();
    } else if (what < 18) {
      clear_both();
    } else {
      cut_both();
    }
  }

  tm_util_trie_node *root = nullptr;
  tm_util_trie_node *twin = nullptr;
  std::mt19937_64 random{13};
};

}  // namespace

TEST_F(tcamv6_cmpr_places_test, full_subtree_is_marked_and_not_entered_again) {
  tm_trie_grown grown;
  for (int i = 0; i < 8; ++i) {
    tm_util_trie_node *end = tcamv6_extend_cmpr_path(root, 3, &grown);
    ASSERT_NE(end, nullptr);
    end->tag = 1;
  }
  EXPECT_EQ(root->full, 0u) << "no search has failed yet";
  EXPECT_EQ(tcamv6_extend_cmpr_path(root, 3, &grown), nullptr);
  EXPECT_EQ(grown.end, nullptr);
  EXPECT_EQ(root->full, UINT16_MAX) << "tagged nodes all around: nothing for any search";
  EXPECT_EQ(tcamv6_extend_cmpr_path(root, 64, &grown), nullptr);
}

TEST_F(tcamv6_cmpr_places_test, mark_tells_how_far_the_nearest_place_is) {
  tm_trie_grown grown;
  while (tcamv6_extend_cmpr_path(root, 2, &grown) != nullptr) {
  }
  EXPECT_EQ(root->full, 2u);
  ASSERT_NE(tcamv6_extend_cmpr_path(root, 3, &grown), nullptr) << "one level more reaches past it";
  EXPECT_EQ(root->full, 2u) << "true still, if not all that is known";
}

TEST_F(tcamv6_cmpr_places_test, cleared_tag_opens_the_way_to_its_node) {
  tm_trie_grown grown;
  for (int i = 0; i < 4; ++i) {
    tcamv6_extend_cmpr_path(root, 2, &grown)->tag = 1;
  }
  ASSERT_EQ(tcamv6_extend_cmpr_path(root, 4, &grown), nullptr);
  tm_util_trie_node *node = tm_trie_child(tm_trie_child(root, 1), 0);
  tcamv6_clear_cmpr_tag(root, node);
  EXPECT_EQ(node->tag, 0u);
  const tm_util_trie_node *end = tcamv6_extend_cmpr_path(root, 4, &grown);
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(bits_of_key(end->key, end->len), "1000");
}

TEST_F(tcamv6_cmpr_places_test, cut_child_leaves_a_place) {
  tm_trie_grown grown;
  for (int i = 0; i < 4; ++i) {
    tcamv6_extend_cmpr_path(root, 2, &grown)->tag = 1;
  }
  ASSERT_EQ(tcamv6_extend_cmpr_path(root, 2, &grown), nullptr);
  tm_util_trie_node *node = tm_trie_child(root, 0);
  tm_util_trie_node *child = tm_trie_child(node, 1);
  tcamv6_cut_cmpr_child(root, node, 1);
  tm_util_trie_free(child, 0, 0);
  const tm_util_trie_node *end = tcamv6_extend_cmpr_path(root, 2, &grown);
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(bits_of_key(end->key, end->len), "01");
}

TEST_F(tcamv6_cmpr_places_test, way_begins_at_a_tagged_node_above_or_at_the_root) {
  const uint8_t key[16] = {0xA0};
  const uint8_t elsewhere[16] = {0x80};
  tm_util_trie_node *node = tm_util_trie_insert(root, key, 6);
  tm_util_trie_node *near = tm_util_trie_insert(root, key, 3);
  tm_util_trie_node *beside = tm_util_trie_insert(root, elsewhere, 3);
  EXPECT_EQ(tcamv6_cmpr_way_to(node, near, root), root) << "not tagged";
  near->tag = beside->tag = node->tag = 1;
  EXPECT_EQ(tcamv6_cmpr_way_to(node, near, root), near);
  EXPECT_EQ(tcamv6_cmpr_way_to(node, beside, root), root) << "not above";
  EXPECT_EQ(tcamv6_cmpr_way_to(near, node, root), root) << "below";
  EXPECT_EQ(tcamv6_cmpr_way_to(node, node, root), root) << "the node itself";
  EXPECT_EQ(tcamv6_cmpr_way_to(node, nullptr, root), root);
}

TEST_F(tcamv6_cmpr_places_test, change_below_a_tagged_node_leaves_the_marks_above_it) {
  tm_trie_grown grown;
  for (int i = 0; i < 4; ++i) {
    tcamv6_extend_cmpr_path(root, 2, &grown)->tag = 1;
  }
  tm_util_trie_node *tagged = tm_trie_child(tm_trie_child(root, 0), 0);
  while (tcamv6_extend_cmpr_path(tagged, 1, &grown) != nullptr) {
  }
  ASSERT_EQ(tcamv6_extend_cmpr_path(root, 4, &grown), nullptr);
  ASSERT_EQ(root->full, UINT16_MAX);
  ASSERT_EQ(tagged->full, 1u);
  tm_util_trie_node *child = tm_trie_child(tagged, 1);
  tcamv6_cut_cmpr_child(tagged, tagged, 1);
  tm_util_trie_free(child, 0, 0);
  EXPECT_EQ(tagged->full, 0u);
  EXPECT_EQ(root->full, UINT16_MAX);
  expect_true_marks(root);
}

TEST_F(tcamv6_cmpr_places_test, nothing_is_grown_without_a_node_or_levels) {
  tm_trie_grown grown{root, root};
  EXPECT_EQ(tcamv6_extend_cmpr_path(nullptr, 3, &grown), nullptr);
  EXPECT_EQ(grown.end, nullptr);
  EXPECT_EQ(tcamv6_extend_cmpr_path(root, 0, &grown), nullptr);
  EXPECT_TRUE(tm_trie_is_leaf(root));
}

TEST_F(tcamv6_cmpr_places_test, search_finds_the_twins_place_whatever_happened_before) {
  for (int round = 0; round < 150; ++round) {
    for (int step = 0; step < 120; ++step) {
      change_both();
      ASSERT_EQ(text(root), text(twin)) << "round " << round << " step " << step;
    }
    expect_true_marks(root);
    TearDown();
    SetUp();
  }
}

TEST_F(tcamv6_cmpr_places_test, refused_element_is_not_taken_for_a_full_subtree) {
  for (uint64_t k = 1; k <= 30; ++k) {
    for (int step = 0; step < 40; ++step) {
      extend_both();
    }
    test_host::fail_pool_element(1 + k % 5);
    tm_trie_grown grown;
    const tm_util_trie_node *end = tcamv6_extend_cmpr_path(root, 7, &grown);
    test_host::fail_pool_element(1 + k % 5);
    const tm_util_trie_node *expected = tm_util_trie_gen_extending_path(twin, 7, 1);
    test_host::fail_pool_element(0);
    ASSERT_EQ(end == nullptr, expected == nullptr);
    ASSERT_EQ(text(root), text(twin)) << k;
    expect_true_marks(root);
    TearDown();
    SetUp();
  }
}

TEST_F(tcamv6_cmpr_places_test, rolled_back_batch_leaves_no_mark_of_its_own) {
  for (int round = 0; round < 60; ++round) {
    for (int step = 0; step < 40; ++step) {
      change_both();
    }
    const std::string before = text(root);
    ASSERT_EQ(tm_journal_open("test"), 0);
    for (int step = 0; step < 30; ++step) {
      ASSERT_EQ(tm_journal_reserve_record("test"), 0);
      tm_trie_grown grown;
      tm_util_trie_node *end = tcamv6_extend_cmpr_path(root, 1 + static_cast<int32_t>(below(6)), &grown);
      if (end != nullptr) {
        tm_edit(&end->tag, 1);
      }
    }
    tm_journal_rollback(tm_chunk_free);
    ASSERT_EQ(text(root), before);
    expect_true_marks(root);
    TearDown();
    SetUp();
  }
}

TEST_F(tcamv6_cmpr_places_test, mark_without_memory_for_its_note_is_left_out) {
  tm_trie_grown grown;
  for (int i = 0; i < 512; ++i) {
    tcamv6_extend_cmpr_path(root, 9, &grown)->tag = 1;
  }
  ASSERT_EQ(tm_journal_open("test"), 0);
  test_host::fail_all_heap_allocations(true);
  EXPECT_EQ(tcamv6_extend_cmpr_path(root, 9, &grown), nullptr);
  test_host::fail_all_heap_allocations(false);
  EXPECT_EQ(tm_journal_check(), 0);
  expect_true_marks(root);
  EXPECT_EQ(tcamv6_extend_cmpr_path(root, 9, &grown), nullptr);
  EXPECT_EQ(root->full, UINT16_MAX);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(root->full, 0u);
}
