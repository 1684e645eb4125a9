// SPDX-License-Identifier: Apache-2.0
#include "tm_n_ary_tree.h"

#include <algorithm>

#include "utils_fixture.h"

namespace {

tm_n_ary_node *node_at(tm_chunk_idx idx) { return static_cast<tm_n_ary_node *>(tm_chunk_idx2ptr(TM_V6_ANC_TREE, idx)); }

tm_chunk_idx index_of(const tm_n_ary_node *node) { return tm_chunk_ptr2idx(TM_V6_ANC_TREE, node); }

class tm_n_ary_tree_test : public utils_test {
 protected:
  // A node with a payload from the pool of ancestor data.
  tm_n_ary_node *node() {
    auto *made = static_cast<tm_n_ary_node *>(tm_chunk_malloc(TM_V6_ANC_TREE));
    tm_util_n_ary_tree_node_init(made);
    made->data = tm_chunk_ptr2idx(TM_V6_ANC_DATA, tm_chunk_malloc(TM_V6_ANC_DATA));
    return made;
  }

  static void append(tm_n_ary_node *parent, tm_n_ary_node *child) {
    tm_chunk_idx *link = &parent->child;
    while (*link != TM_CHUNK_IDX_NULL) {
      link = &node_at(*link)->sibling;
    }
    *link = index_of(child);
  }

  static std::vector<tm_n_ary_node *> children(const tm_n_ary_node *parent) {
    std::vector<tm_n_ary_node *> result;
    for (tm_n_ary_node *child = node_at(parent->child); child != nullptr; child = node_at(child->sibling)) {
      result.push_back(child);
    }
    return result;
  }

  // Every node follows all its descendants, later siblings first.
  static void reference_order(tm_n_ary_node *node, std::vector<tm_n_ary_node *> &order) {
    const std::vector<tm_n_ary_node *> below = children(node);
    for (auto child = below.rbegin(); child != below.rend(); ++child) {
      reference_order(*child, order);
    }
    order.push_back(node);
  }

  static std::vector<tm_n_ary_node *> listed(const tm_util_list_node *head) {
    std::vector<tm_n_ary_node *> result;
    for (; head != nullptr; head = head->next) {
      result.push_back(reinterpret_cast<tm_n_ary_node *>(static_cast<uintptr_t>(head->data)));
    }
    return result;
  }

  tm_n_ary_node *random_tree(dice &random, uint32_t size) {
    std::vector<tm_n_ary_node *> nodes{node()};
    while (nodes.size() < size) {
      nodes.push_back(node());
      append(nodes[random.below(static_cast<uint32_t>(nodes.size() - 1))], nodes.back());
    }
    return nodes[0];
  }

  size_t nodes_out() const { return test_host::pool_used("TM_V6_ANC_TREE"); }
  size_t payloads_out() const { return test_host::pool_used("TM_V6_ANC_DATA"); }
};

}  // namespace

TEST_F(tm_n_ary_tree_test, node_init_clears_the_three_links_and_ignores_null) {
  tm_n_ary_node fresh{1, 2, 3};
  tm_util_n_ary_tree_node_init(&fresh);
  EXPECT_EQ(fresh.sibling, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(fresh.child, TM_CHUNK_IDX_NULL);
  EXPECT_EQ(fresh.data, TM_CHUNK_IDX_NULL);
  tm_util_n_ary_tree_node_init(nullptr);
}

TEST_F(tm_n_ary_tree_test, postorder_nodelist_reads_c2_g_c1_root) {
  tm_n_ary_node *root = node();
  tm_n_ary_node *c1 = node();
  tm_n_ary_node *c2 = node();
  tm_n_ary_node *g = node();
  append(root, c1);
  append(root, c2);
  append(c1, g);
  tm_util_list_node *list = nullptr;
  EXPECT_EQ(tm_util_n_ary_tree_postorder_nodelist(root, &list), 0);
  EXPECT_EQ(listed(list), (std::vector<tm_n_ary_node *>{c2, g, c1, root}));
  tm_util_list_free(&list, 0);
}

TEST_F(tm_n_ary_tree_test, postorder_nodelist_pushes_before_what_the_list_holds) {
  tm_n_ary_node *root = node();
  tm_util_list_node *list = nullptr;
  tm_util_list_insert(&list, 4711);
  EXPECT_EQ(tm_util_n_ary_tree_postorder_nodelist(root, &list), 0);
  EXPECT_EQ(list->data, reinterpret_cast<uintptr_t>(root));
  EXPECT_EQ(list->next->data, 4711u);
  tm_util_list_free(&list, 0);
}

TEST_F(tm_n_ary_tree_test, postorder_nodelist_of_random_trees_lists_descendants_first) {
  dice random(21);
  for (uint32_t size = 1; size < 60; ++size) {
    tm_n_ary_node *root = random_tree(random, size);
    tm_util_list_node *list = nullptr;
    EXPECT_EQ(tm_util_n_ary_tree_postorder_nodelist(root, &list), 0);
    std::vector<tm_n_ary_node *> expected;
    reference_order(root, expected);
    ASSERT_EQ(listed(list), expected) << "size " << size;
    tm_util_list_free(&list, 0);
  }
}

TEST_F(tm_n_ary_tree_test, postorder_nodelist_out_of_memory_keeps_the_cells_pushed_so_far) {
  dice random(22);
  const uint32_t size = 17;
  tm_n_ary_node *root = random_tree(random, size);
  tm_util_list_node *whole = nullptr;
  ASSERT_EQ(tm_util_n_ary_tree_postorder_nodelist(root, &whole), 0);
  const std::vector<tm_n_ary_node *> all = listed(whole);
  tm_util_list_free(&whole, 0);
  for (uint32_t k = 1; k <= size; ++k) {
    tm_util_list_node *list = nullptr;
    test_host::fail_heap_allocation(k);
    EXPECT_EQ(tm_util_n_ary_tree_postorder_nodelist(root, &list), TM_ENOMEM);
    EXPECT_EQ(test_host::heap().blocks, k - 1) << "the first failure ends the walk";
    EXPECT_EQ(listed(list), std::vector<tm_n_ary_node *>(all.end() - static_cast<ptrdiff_t>(k - 1), all.end()));
    tm_util_list_free(&list, 0);
  }
}

TEST_F(tm_n_ary_tree_test, free_releases_the_subtree_and_payloads_when_the_flag_is_one) {
  dice random(23);
  for (const int32_t flag : {0, 1, 2}) {
    const size_t nodes_before = nodes_out();
    const size_t payloads_before = payloads_out();
    tm_n_ary_node *root = random_tree(random, 50);
    tm_util_n_ary_tree_free(root, flag, TM_V6_ANC_DATA);
    EXPECT_EQ(nodes_out(), nodes_before);
    EXPECT_EQ(payloads_out(), payloads_before + (flag == 1 ? 0u : 50u)) << "flag " << flag;
    EXPECT_EQ(test_host::pool_damage(), "");
  }
  tm_util_n_ary_tree_free(nullptr, 1, TM_V6_ANC_DATA);
}

TEST_F(tm_n_ary_tree_test, free_goes_children_first_in_sibling_order) {
  tm_n_ary_node *root = node();
  tm_n_ary_node *c1 = node();
  tm_n_ary_node *c2 = node();
  tm_n_ary_node *g = node();
  append(root, c1);
  append(root, c2);
  append(c1, g);
  tm_util_n_ary_tree_free(root, 1, TM_V6_ANC_DATA);
  // The pool hands out what came back last.
  std::vector<void *> reused;
  for (int i = 0; i < 4; ++i) {
    reused.push_back(tm_chunk_malloc(TM_V6_ANC_TREE));
  }
  EXPECT_EQ(reused, (std::vector<void *>{root, c2, c1, g}));
}

TEST_F(tm_n_ary_tree_test, free_does_not_follow_the_siblings_of_its_root) {
  tm_n_ary_node *root = node();
  tm_n_ary_node *c1 = node();
  tm_n_ary_node *c2 = node();
  append(root, c1);
  append(root, c2);
  tm_util_n_ary_tree_free(c1, 1, TM_V6_ANC_DATA);
  EXPECT_EQ(nodes_out(), 2u);
  EXPECT_EQ(payloads_out(), 2u);
}

TEST_F(tm_n_ary_tree_test, free_copes_with_nodes_that_carry_no_payload) {
  tm_n_ary_node *root = node();
  tm_n_ary_node *bare = static_cast<tm_n_ary_node *>(tm_chunk_malloc(TM_V6_ANC_TREE));
  tm_util_n_ary_tree_node_init(bare);
  append(root, bare);
  tm_util_n_ary_tree_free(root, 1, TM_V6_ANC_DATA);
  EXPECT_EQ(nodes_out(), 0u);
  EXPECT_EQ(payloads_out(), 0u);
  EXPECT_EQ(info[TM_V6_ANC_DATA].frees, 1u);
}

TEST_F(tm_n_ary_tree_test, freenode_leaves_the_children) {
  for (const int32_t flag : {1, 0, 2}) {
    tm_n_ary_node *root = node();
    append(root, node());
    const size_t nodes_before = nodes_out();
    const size_t payloads_before = payloads_out();
    tm_n_ary_tree_freenode(root, flag, TM_V6_ANC_DATA);
    EXPECT_EQ(nodes_out(), nodes_before - 1);
    EXPECT_EQ(payloads_out(), payloads_before - (flag == 1 ? 1 : 0));
  }
  tm_n_ary_node *bare = static_cast<tm_n_ary_node *>(tm_chunk_malloc(TM_V6_ANC_TREE));
  tm_util_n_ary_tree_node_init(bare);
  const size_t payloads_before = payloads_out();
  tm_n_ary_tree_freenode(bare, 1, TM_V6_ANC_DATA);
  EXPECT_EQ(payloads_out(), payloads_before);
  tm_n_ary_tree_freenode(nullptr, 1, TM_V6_ANC_DATA);
}

TEST_F(tm_n_ary_tree_test, delchld_unlinks_first_middle_and_last_and_keeps_the_childs_own_sibling) {
  for (size_t place = 0; place < 4; ++place) {
    tm_n_ary_node *parent = node();
    for (int i = 0; i < 4; ++i) {
      append(parent, node());
    }
    std::vector<tm_n_ary_node *> expected = children(parent);
    tm_n_ary_node *gone = expected[place];
    const tm_chunk_idx sibling = gone->sibling;
    const size_t nodes_before = nodes_out();
    EXPECT_EQ(tm_n_ary_tree_delchld(parent, gone), 0);
    expected.erase(expected.begin() + static_cast<ptrdiff_t>(place));
    EXPECT_EQ(children(parent), expected);
    EXPECT_EQ(gone->sibling, sibling);
    EXPECT_EQ(nodes_out(), nodes_before);
  }
}

TEST_F(tm_n_ary_tree_test, delchld_of_an_only_child_leaves_the_parent_childless) {
  tm_n_ary_node *parent = node();
  tm_n_ary_node *child = node();
  append(parent, child);
  EXPECT_EQ(tm_n_ary_tree_delchld(parent, child), 0);
  EXPECT_EQ(parent->child, TM_CHUNK_IDX_NULL);
}

TEST_F(tm_n_ary_tree_test, delchld_refuses_null_childless_and_strangers) {
  tm_n_ary_node *parent = node();
  tm_n_ary_node *child = node();
  tm_n_ary_node *stranger = node();
  EXPECT_EQ(tm_n_ary_tree_delchld(parent, stranger), TM_EINVAL) << "no children at all";
  append(parent, child);
  append(child, stranger);
  EXPECT_EQ(tm_n_ary_tree_delchld(nullptr, child), TM_EINVAL);
  EXPECT_EQ(tm_n_ary_tree_delchld(parent, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_n_ary_tree_delchld(parent, stranger), TM_ENOENT) << "a grandchild is no child";
  EXPECT_EQ(children(parent), (std::vector<tm_n_ary_node *>{child}));
}

TEST_F(tm_n_ary_tree_test, merge_moves_the_chain_to_the_end) {
  for (int to = 0; to < 3; ++to) {
    for (int from = 0; from < 3; ++from) {
      tm_n_ary_node *destination = node();
      tm_n_ary_node *source = node();
      for (int i = 0; i < to; ++i) {
        append(destination, node());
      }
      for (int i = 0; i < from; ++i) {
        append(source, node());
      }
      std::vector<tm_n_ary_node *> expected = children(destination);
      const std::vector<tm_n_ary_node *> moved = children(source);
      expected.insert(expected.end(), moved.begin(), moved.end());
      tm_merge_n_ary_chldlst(destination, source);
      EXPECT_EQ(children(destination), expected) << to << " + " << from;
      EXPECT_EQ(source->child, TM_CHUNK_IDX_NULL);
    }
  }
}

TEST_F(tm_n_ary_tree_test, merge_needs_both_nodes) {
  tm_n_ary_node *source = node();
  tm_n_ary_node *child = node();
  append(source, child);
  tm_merge_n_ary_chldlst(nullptr, source);
  EXPECT_EQ(children(source), (std::vector<tm_n_ary_node *>{child}));
  tm_merge_n_ary_chldlst(source, nullptr);
  EXPECT_EQ(children(source), (std::vector<tm_n_ary_node *>{child}));
  tm_merge_n_ary_chldlst(nullptr, nullptr);
}
