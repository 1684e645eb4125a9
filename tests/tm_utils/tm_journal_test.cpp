// SPDX-License-Identifier: Apache-2.0
#include "tm_journal.h"

#include <set>

#include "tm_n_ary_tree.h"
#include "tm_trie_internal.h"
#include "trie_twin.h"

namespace {

constexpr uint32_t node_type = TM_V6_TRIE_NODE;

class tm_journal_test : public utils_test {
 protected:
  void TearDown() override {
    if (tm_journal_is_open) {
      tm_journal_discard();
    }
    utils_test::TearDown();
  }

  static tm_util_trie_node *take() { return static_cast<tm_util_trie_node *>(tm_chunk_malloc(node_type)); }

  const uint64_t unreserved = tm_journal_unreserved();

  // Elements and their bytes.
  using snapshot = std::vector<std::pair<tm_util_trie_node *, tm_util_trie_node>>;

  static snapshot look_at(const std::vector<tm_util_trie_node *> &elements) {
    snapshot result;
    for (tm_util_trie_node *element : elements) {
      result.emplace_back(element, *element);
    }
    return result;
  }

  static void expect_unchanged(const snapshot &before) {
    for (const auto &[element, contents] : before) {
      ASSERT_EQ(std::memcmp(element, &contents, sizeof contents), 0);
    }
  }

  // Change a field of any width.
  static void edit_something(dice &random, tm_util_trie_node *node) {
    switch (random.below(8)) {
      case 0:
        return tm_edit(&node->left, random.below(1000));
      case 1:
        return tm_edit(&node->right, random.below(1000));
      case 2:
        return tm_edit(&node->len, random.below(129));
      case 3:
        return tm_edit(&node->aux1, random.below(65536));
      case 4:
        return tm_edit(&node->tag, random.below(1000));
      case 5:
        return tm_edit(&node->key[random.below(16)], random.below(256));
      case 6:
        return tm_edit(&node->owners, random.below(1000));
      default:
        return tm_edit(&node->data, random.below(1000));
    }
  }

  size_t nodes_out() const { return test_host::pool_used("TM_V6_TRIE_NODE"); }
};

}  // namespace

TEST_F(tm_journal_test, edit_without_a_journal_is_a_plain_store) {
  tm_util_trie_node *node = take();
  ASSERT_FALSE(tm_journal_is_open);
  tm_edit(&node->len, 0x12345);
  EXPECT_EQ(node->len, 0x2345);
  EXPECT_EQ(node->aux1, 0xA5A5);
  EXPECT_EQ(test_host::heap().allocations, 0u);
}

TEST_F(tm_journal_test, open_refused_memory_opens_nothing_and_keeps_none) {
  take();
  uint64_t k = 1;
  for (;; ++k) {
    test_host::fail_heap_allocation(k);
    const int32_t result = tm_journal_open("test");
    test_host::fail_heap_allocation(0);
    if (result == 0) {
      break;
    }
    EXPECT_EQ(result, TM_ENOMEM);
    EXPECT_FALSE(tm_journal_is_open);
    EXPECT_EQ(test_host::heap().blocks, 0u);
  }
  EXPECT_GT(k, 1u);
  EXPECT_TRUE(tm_journal_is_open);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_journal_test, commit_keeps_edits_and_makes_the_releases_only_then) {
  tm_util_trie_node *edited = take();
  tm_util_trie_node *released = take();
  released->tag = 4711;
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_edit(&edited->tag, 5);
  tm_util_trie_node *taken = take();
  tm_chunk_free(node_type, released);
  EXPECT_EQ(released->tag, 4711u) << "its contents stay";
  EXPECT_EQ(nodes_out(), 3u);
  EXPECT_EQ(info[node_type].frees, 0u);
  tm_journal_commit(tm_chunk_free);
  EXPECT_FALSE(tm_journal_is_open);
  EXPECT_EQ(edited->tag, 5u);
  EXPECT_EQ(nodes_out(), 2u);
  EXPECT_EQ(info[node_type].allocated, 2u);
  EXPECT_EQ(info[node_type].mallocs, 3u);
  EXPECT_EQ(info[node_type].frees, 1u);
  EXPECT_EQ(take(), released) << "now it can be handed out again";
  EXPECT_NE(taken, released);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_journal_test, released_element_is_not_handed_out_again_within_the_batch) {
  tm_util_trie_node *released = take();
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_chunk_free(node_type, released);
  for (int i = 0; i < 20; ++i) {
    EXPECT_NE(take(), released);
  }
  tm_journal_rollback(tm_chunk_free);
}

TEST_F(tm_journal_test, rollback_puts_back_words_saved_several_times_and_fields_that_share_a_word) {
  tm_util_trie_node *node = take();
  tm_util_trie_node_initialize(node, nullptr, 0);
  node->len = 7;
  node->aux1 = 8;
  node->tag = 9;
  const snapshot before = look_at({node});
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_edit(&node->len, 1);
  tm_edit(&node->aux1, 2);
  tm_edit(&node->len, 3);
  tm_edit(&node->tag, 4);
  tm_edit(&node->key[0], 5);
  tm_edit(&node->aux2, 6);
  EXPECT_EQ(node->len, 3);
  EXPECT_EQ(node->aux1, 2);
  tm_journal_rollback(tm_chunk_free);
  expect_unchanged(before);
  EXPECT_FALSE(tm_journal_is_open);
}

TEST_F(tm_journal_test, rollback_gives_back_what_was_taken_and_forgets_the_releases) {
  tm_util_trie_node *kept = take();
  const tm_chunk_info before = info[node_type];
  ASSERT_EQ(tm_journal_open("test"), 0);
  take();
  tm_util_trie_node *both = take();
  tm_chunk_free(node_type, both);
  tm_chunk_free(node_type, kept);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 1u);
  EXPECT_EQ(info[node_type].allocated, before.allocated);
  EXPECT_EQ(info[node_type].mallocs, before.mallocs + 2);
  EXPECT_EQ(info[node_type].frees, before.frees + 2);
  EXPECT_NE(take(), kept);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_journal_test, element_taken_and_released_in_one_batch_is_given_back_once_at_commit) {
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_chunk_free(node_type, take());
  EXPECT_EQ(nodes_out(), 1u);
  tm_journal_commit(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 0u);
  EXPECT_EQ(info[node_type].frees, 1u);
}

TEST_F(tm_journal_test, every_chunk_type_is_given_back_to_its_own_pool) {
  void *kept[6];
  for (uint32_t type = 1; type <= 5; ++type) {
    kept[type] = tm_chunk_malloc(type);
  }
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (uint32_t type = 1; type <= 5; ++type) {
    ASSERT_NE(tm_chunk_malloc(type), nullptr);
    tm_chunk_free(type, kept[type]);
  }
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(test_host::pool_used(), 5u);
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (uint32_t type = 1; type <= 5; ++type) {
    tm_chunk_free(type, kept[type]);
  }
  tm_journal_commit(tm_chunk_free);
  EXPECT_EQ(test_host::pool_used(), 0u);
  EXPECT_EQ(test_host::pool_damage(), "");
}

TEST_F(tm_journal_test, closing_needs_no_memory) {
  for (const bool commit : {false, true}) {
    tm_util_trie_node *node = take();
    ASSERT_EQ(tm_journal_open("test"), 0);
    test_host::fail_all_heap_allocations(true);
    const uint64_t refused = test_host::heap().refused;
    tm_edit(&node->tag, 1);
    take();
    tm_chunk_free(node_type, node);
    commit ? tm_journal_commit(tm_chunk_free) : tm_journal_rollback(tm_chunk_free);
    EXPECT_EQ(test_host::heap().refused, refused);
    EXPECT_EQ(test_host::heap().blocks, 0u);
    test_host::fail_all_heap_allocations(false);
  }
}

TEST_F(tm_journal_test, element_without_room_for_its_note_is_refused_and_not_lost) {
  ASSERT_EQ(tm_journal_open("test"), 0);
  test_host::fail_all_heap_allocations(true);
  uint32_t taken = 0;
  while (take() != nullptr) {
    ASSERT_LT(++taken, 1000u);
  }
  test_host::fail_all_heap_allocations(false);
  EXPECT_EQ(nodes_out(), taken);
  EXPECT_EQ(info[node_type].failed, 1u);
  EXPECT_EQ(info[node_type].mallocs, taken);
  EXPECT_EQ(info[node_type].allocated, taken);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 0u);
}

TEST_F(tm_journal_test, one_record_may_grow_a_path_of_128_nodes_and_two_of_64) {
  const auto add_and_roll_back = [this] {
    tm_util_trie_node *trie = new_trie_root();
    tm_util_trie_node *compressed = new_trie_root();
    if (tm_journal_open("test") != 0 || tm_util_trie_insert(trie, key_of("2001:db8::1").data(), 128) == nullptr ||
        tm_util_trie_gen_extending_path(compressed, 64, 1) == nullptr ||
        tm_util_trie_gen_extending_path(compressed, 64, 1) == nullptr) {
      return 1;
    }
    tm_journal_rollback(tm_chunk_free);
    return tm_trie_is_leaf(trie) && tm_trie_is_leaf(compressed) && nodes_out() == 2 ? 0 : 2;
  };
  EXPECT_EXIT(_exit(add_and_roll_back()), ::testing::ExitedWithCode(0), "");
}

TEST_F(tm_journal_test, pool_can_still_be_emptied_within_a_batch) {
  std::vector<tm_util_trie_node *> before;
  for (int i = 0; i < 32000; ++i) {
    before.push_back(take());
  }
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (int i = 0; i < 768; ++i) {
    ASSERT_NE(take(), nullptr) << i;
  }
  EXPECT_EQ(take(), nullptr);
  EXPECT_EQ(info[node_type].failed, 1u);
  for (tm_util_trie_node *node : before) {
    tm_chunk_free(node_type, node);
  }
  EXPECT_EQ(take(), nullptr) << "releases give no room before the end";
  tm_journal_commit(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 768u);
}

TEST_F(tm_journal_test, reserved_edits_survive_growth_and_a_refusal_leaves_the_journal_usable) {
  tm_util_trie_node *node = take();
  tm_util_trie_node_initialize(node, nullptr, 0);
  const snapshot before = look_at({node});
  EXPECT_EQ(tm_journal_reserve_edits("test", 100), 0) << "no journal, nothing to do";
  EXPECT_EQ(test_host::heap().allocations, 0u);
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_edit(&node->tag, 1);
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(tm_journal_reserve_edits("test", 5000), TM_ENOMEM);
  tm_edit(&node->tag, 2);
  EXPECT_EQ(tm_journal_reserve_edits("test", 5000), 0);
  for (uint32_t i = 0; i < 5000; ++i) {
    tm_edit(&node->aux1, i);
  }
  tm_journal_rollback(tm_chunk_free);
  expect_unchanged(before);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_journal_test, logs_double_so_that_records_cost_the_same_however_many_there_are) {
  tm_util_trie_node *node = take();
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (int record = 0; record < 20000; ++record) {
    ASSERT_EQ(tm_journal_reserve_record("test"), 0);
    for (uint32_t i = 0; i < 40; ++i) {
      tm_edit(&node->tag, i);
    }
    tm_chunk_free(node_type, node);
  }
  EXPECT_LT(test_host::heap().allocations, 40u);
  EXPECT_EQ(tm_journal_unreserved(), unreserved);
  tm_journal_rollback(tm_chunk_free);
}

TEST_F(tm_journal_test, what_a_record_leaves_unused_does_not_add_up) {
  ASSERT_EQ(tm_journal_open("test"), 0);
  const uint64_t before = test_host::heap().allocations;
  for (int record = 0; record < 20000; ++record) {
    ASSERT_EQ(tm_journal_reserve_record("test"), 0);
  }
  EXPECT_EQ(test_host::heap().allocations, before);
  tm_journal_rollback(tm_chunk_free);
}

TEST_F(tm_journal_test, refused_reserves_are_told_and_lose_nothing) {
  tm_util_trie_node *node = take();
  tcamv6_debug_flags = {0, 1, 0, 0, 0, 0};
  EXPECT_EQ(tm_journal_reserve_record("test"), 0) << "no journal";
  EXPECT_EQ(tm_journal_reserve_releases("test", 1u << 20), 0);
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_edit(&node->tag, 1);
  tm_chunk_free(node_type, node);
  test_host::fail_all_heap_allocations(true);
  EXPECT_EQ(tm_journal_reserve_edits("some_step", 10000), TM_ENOMEM);
  EXPECT_EQ(tm_journal_reserve_releases("some_step", 10000), TM_ENOMEM);
  EXPECT_EQ(test_host::log_text(),
            "some_step: malloc(328192 bytes) failed for the journal\nsome_step: malloc(166400 bytes) failed for the "
            "journal\n");
  test_host::fail_all_heap_allocations(false);
  EXPECT_EQ(tm_journal_reserve_releases("some_step", 10000), 0);
  for (int i = 0; i < 10000; ++i) {
    tm_chunk_free(node_type, node);
  }
  EXPECT_EQ(tm_journal_unreserved(), unreserved);
  tm_journal_rollback(tm_chunk_free);
  tcamv6_debug_flags = {};
}

TEST_F(tm_journal_test, notes_that_nobody_reserved_are_kept_and_counted) {
  tm_util_trie_node *node = take();
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (uint32_t i = 0; i < 256; ++i) {
    tm_edit(&node->tag, i);
  }
  EXPECT_EQ(tm_journal_unreserved(), unreserved);
  tm_edit(&node->tag, 0);
  EXPECT_EQ(tm_journal_unreserved(), unreserved + 1);
  tm_journal_rollback(tm_chunk_free);
}

TEST_F(tm_journal_test, edits_beyond_the_reserved_room_grow_the_log) {
  tm_util_trie_node *node = take();
  const uint32_t before = node->tag;
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (uint32_t i = 0; i < 100000; ++i) {
    tm_edit(&node->tag, i);
  }
  EXPECT_EQ(tm_journal_check(), 0);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(node->tag, before);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_journal_test, elements_beyond_the_allotted_room_grow_their_logs) {
  ASSERT_EQ(tm_journal_open("test"), 0);
  for (int i = 0; i < 1000; ++i) {
    tm_util_trie_node *node = take();
    ASSERT_NE(node, nullptr);
    tm_chunk_free(node_type, node);
  }
  EXPECT_EQ(tm_journal_check(), 0);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 0u);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_journal_test, release_without_room_for_its_note_can_be_rolled_back_but_not_committed) {
  tm_util_trie_node *node = take();
  ASSERT_EQ(tm_journal_open("test"), 0);
  test_host::fail_all_heap_allocations(true);
  for (int i = 0; i < 1000; ++i) {
    tm_chunk_free(node_type, node);  // only noted: nothing is given back before the commit
  }
  test_host::fail_all_heap_allocations(false);
  EXPECT_EQ(tm_journal_check(), TM_ENOMEM);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 1u);
  tm_chunk_free(node_type, node);
}

TEST_F(tm_journal_test, edits_that_no_memory_is_left_to_note_are_fatal_rather_than_lost) {
  tm_util_trie_node *node = take();
  ASSERT_EQ(tm_journal_open("test"), 0);
  EXPECT_FATAL(
      {
        test_host::fail_all_heap_allocations(true);
        for (int i = 0; i < 100000; ++i) {
          tm_edit(&node->tag, i);
        }
      },
      "\ntm_journal_save: journal is full");
  tm_journal_rollback(tm_chunk_free);
}

TEST_F(tm_journal_test, discard_neither_restores_nor_gives_back) {
  tm_util_trie_node *node = take();
  node->tag = 1;
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_edit(&node->tag, 2);
  take();
  tm_chunk_free(node_type, node);
  tm_journal_discard();
  EXPECT_FALSE(tm_journal_is_open);
  EXPECT_EQ(node->tag, 2u);
  EXPECT_EQ(nodes_out(), 2u);
  EXPECT_EQ(info[node_type].frees, 0u);
  EXPECT_EQ(test_host::heap().blocks, 0u);
  tm_journal_discard();
}

TEST_F(tm_journal_test, nothing_is_abandoned_during_a_batch) {
  ASSERT_EQ(tm_journal_open("test"), 0);
  tm_util_trie_node *node = take();
  const snapshot before = look_at({node});
  tm_chunk_abandon(node_type, node);
  expect_unchanged(before);
  tm_journal_rollback(tm_chunk_free);
  EXPECT_EQ(nodes_out(), 0u);
  tm_chunk_release_abandoned();
  EXPECT_EQ(info[node_type].frees, 1u) << "the rollback was its release";
}

TEST_F(tm_journal_test, rollback_of_random_batches_restores_every_byte_and_every_counter) {
  dice random(101);
  std::vector<tm_util_trie_node *> live;
  for (int i = 0; i < 200; ++i) {
    live.push_back(take());
  }
  for (int round = 0; round < 300; ++round) {
    const snapshot before = look_at(live);
    const tm_chunk_info counters = info[node_type];
    const uint32_t records = 1 + random.below(5);
    ASSERT_EQ(tm_journal_open("test"), 0);
    std::vector<tm_util_trie_node *> now = live;
    uint32_t taken = 0;
    for (uint32_t step = random.below(60 * records); step > 0; --step) {
      const uint32_t pick = random.below(static_cast<uint32_t>(now.size()));
      const uint32_t kind = random.below(10);
      if (kind < 7) {
        edit_something(random, now[pick]);
      } else if (kind < 9) {
        now.push_back(take());
        ASSERT_NE(now.back(), nullptr);
        ++taken;
      } else if (now.size() > 20) {
        tm_chunk_free(node_type, now[pick]);
        now[pick] = now.back();
        now.pop_back();
      }
    }
    if (random.chance(4)) {
      tm_journal_commit(tm_chunk_free);
      live = now;
      ASSERT_EQ(info[node_type].allocated, live.size());
    } else {
      tm_journal_rollback(tm_chunk_free);
      expect_unchanged(before);
      ASSERT_EQ(info[node_type].allocated, counters.allocated);
      ASSERT_EQ(info[node_type].mallocs, counters.mallocs + taken);
      ASSERT_EQ(info[node_type].frees, counters.frees + taken);
    }
    ASSERT_EQ(nodes_out(), live.size());
    ASSERT_EQ(test_host::pool_damage(), "") << "round " << round;
  }
}

TEST_F(tm_journal_test, trie_is_as_it_was_after_rolled_back_inserts_growth_and_cuts) {
  dice random(102);
  tm_util_trie_node *root = new_trie_root();
  std::vector<tm_util_trie_node *> tagged;
  for (uint32_t i = 1; i <= 40; ++i) {
    const std::string path = random_path(random, 40);
    tm_util_trie_node *node = tm_util_trie_insert(root, key_from_bits(path).data(), static_cast<int32_t>(path.size()));
    node->tag = i;
    tagged.push_back(node);
  }
  const std::map<std::string, uint32_t> before = nodes_of(root);
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(tm_journal_open("test"), 0);
    std::set<tm_util_trie_node *> gone;
    for (int step = 0; step < 12; ++step) {
      const std::string path = random_path(random, 60);
      tm_util_trie_node *node = tagged[random.below(40)];
      if (random.chance(2)) {
        tm_util_trie_insert(root, key_from_bits(path).data(), static_cast<int32_t>(path.size()));
      } else if (random.chance(2)) {
        tm_util_trie_gen_extending_path(node, 1 + static_cast<int32_t>(random.below(6)), 1);
      } else if (node->len > 0 && tm_trie_is_leaf(node) && gone.insert(node).second) {
        tm_util_trie_free_trailing_path(root, node, 0, 0);
      }
    }
    tm_journal_rollback(tm_chunk_free);
    ASSERT_EQ(nodes_of(root), before) << "round " << round;
    ASSERT_EQ(nodes_out(), before.size());
  }
}

TEST_F(tm_journal_test, child_chains_are_as_they_were_after_a_rolled_back_unlink_and_merge) {
  std::vector<tm_n_ary_node *> nodes;
  for (int i = 0; i < 6; ++i) {
    nodes.push_back(static_cast<tm_n_ary_node *>(tm_chunk_malloc(TM_V6_ANC_TREE)));
    tm_util_n_ary_tree_node_init(nodes.back());
  }
  const auto link = [&](size_t i) { return tm_chunk_ptr2idx(TM_V6_ANC_TREE, nodes[i]); };
  nodes[0]->child = link(2);
  nodes[2]->sibling = link(3);
  nodes[3]->sibling = link(4);
  nodes[1]->child = link(5);
  std::vector<tm_n_ary_node> before;
  for (const tm_n_ary_node *node : nodes) {
    before.push_back(*node);
  }
  ASSERT_EQ(tm_journal_open("test"), 0);
  EXPECT_EQ(tm_n_ary_tree_delchld(nodes[0], nodes[3]), 0);
  EXPECT_EQ(tm_n_ary_tree_delchld(nodes[0], nodes[2]), 0);
  tm_merge_n_ary_chldlst(nodes[1], nodes[0]);
  EXPECT_EQ(nodes[5]->sibling, link(4));
  tm_journal_rollback(tm_chunk_free);
  for (size_t i = 0; i < nodes.size(); ++i) {
    EXPECT_EQ(std::memcmp(nodes[i], &before[i], sizeof before[i]), 0) << i;
  }
}
