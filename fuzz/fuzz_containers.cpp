// SPDX-License-Identifier: Apache-2.0
// Heap, lists and n-ary trees against vectors.
#include <algorithm>
#include <vector>

#include "fuzz_target.h"
#include "test_host.h"
#include "tm_array.h"
#include "tm_chunk_internal.h"
#include "tm_debug.h"
#include "tm_heap.h"
#include "tm_list.h"
#include "tm_n_ary_tree.h"

using fuzz_target::byte_source;
using fuzz_target::expect;

namespace {

int compare_words(const void *a, const void *b) {
  // Half the values compare equal to a neighbour, so that stability shows.
  const auto x = static_cast<int>(reinterpret_cast<uintptr_t>(a) >> 1);
  const auto y = static_cast<int>(reinterpret_cast<uintptr_t>(b) >> 1);
  return x - y;
}

std::vector<uint64_t> words_of(const tm_util_list_node *head) {
  std::vector<uint64_t> words;
  for (; head != nullptr; head = head->next) {
    words.push_back(head->data);
  }
  return words;
}

// Delete what follows the cell at a place, or the first cell when the list ends before it.
void delete_behind(tm_util_list_node **head, std::vector<uint64_t> &twin, uint64_t place) {
  tm_util_list_node *previous = *head;
  size_t at = 0;
  for (; at < place && previous != nullptr; ++at) {
    previous = previous->next;
  }
  tm_util_list_delete_next_node(head, previous);
  at = previous == nullptr ? 0 : at + 1;
  if (at < twin.size()) {
    twin.erase(twin.begin() + static_cast<std::ptrdiff_t>(at));
  }
}

void lists(byte_source &bytes) {
  tm_util_list_node *head = nullptr;
  std::vector<uint64_t> twin;
  while (!bytes.empty() && twin.size() < 300) {
    const uint32_t operation = bytes.below(8);
    const uint64_t word = bytes.below(24);
    if (operation < 4) {
      const bool refused = operation == 3 && word % 4 == 0;
      test_host::fail_heap_allocation(refused ? 1 : 0);
      const int32_t result = tm_util_list_insert(&head, word);
      test_host::fail_heap_allocation(0);
      expect(result == (refused ? -12 : 0), "insert answered wrongly");
      if (!refused) {
        twin.insert(twin.begin(), word);
      }
    } else if (operation == 4) {
      const auto found = std::find(twin.begin(), twin.end(), word);
      expect(tm_util_list_delete(&head, word) == (found == twin.end() ? -2 : 0), "delete answered wrongly");
      if (found != twin.end()) {
        twin.erase(found);
      }
    } else if (operation == 5) {
      expect(tm_util_list_sort(&head, compare_words) == 0, "sort failed");
      std::stable_sort(twin.begin(), twin.end(), [](uint64_t a, uint64_t b) { return a >> 1 < b >> 1; });
    } else if (operation == 6) {
      tm_util_list_node *copy = nullptr;
      expect(tm_util_list_copy(head, &copy) == 0 && words_of(copy) == twin, "a copy differs");
      tm_util_list_cat(&head, copy);
      const std::vector<uint64_t> once = twin;
      twin.insert(twin.end(), once.begin(), once.end());
    } else {
      delete_behind(&head, twin, word);
    }
    expect(words_of(head) == twin, "the lists differ");
  }
  tm_util_list_free(&head, 0);
  expect(head == nullptr && test_host::heap().blocks == 1, "cells were left");
}

// The insertion rule to the letter: the key compared is the one that stands in the slot at that moment.
void insert_by_the_rule(std::vector<std::pair<int32_t, uint64_t>> &heap, std::pair<int32_t, uint64_t> element) {
  heap.push_back(element);
  size_t i = heap.size() - 1;
  while (i > 0 && heap[(i - 1) / 2].first >= heap[i].first) {
    heap[i] = heap[(i - 1) / 2];
    i = (i - 1) / 2;
  }
  heap[i] = element;
}

void sift(std::vector<std::pair<int32_t, uint64_t>> &heap, size_t i) {
  for (;;) {
    size_t child = 2 * i + 1;
    if (child >= heap.size()) {
      return;
    }
    if (child + 1 < heap.size() && heap[child + 1].first < heap[child].first) {
      ++child;
    }
    if (heap[i].first <= heap[child].first) {
      return;
    }
    std::swap(heap[i], heap[child]);
    i = child;
  }
}

void heaps(byte_source &bytes) {
  std::vector<tm_util_heap_elem> array(260);
  std::vector<std::pair<int32_t, uint64_t>> twin;
  uint32_t count = 0;
  for (uint64_t value = 0; !bytes.empty(); ++value) {
    const uint32_t operation = bytes.below(8);
    if (operation < 5 && count < 250) {
      tm_util_heap_elem element = {};
      element.key = static_cast<int32_t>(bytes.next()) - 128;
      element.value = value;
      expect(tm_util_heap_insert(array.data(), &count, &element) == 0, "insert failed");
      insert_by_the_rule(twin, {element.key, value});
    } else if (operation < 7 && count > 0) {
      tm_util_heap_elem least = {};
      expect(tm_util_heap_delmin(array.data(), &count, &least) == 0, "delmin failed");
      expect(least.key == twin[0].first && least.value == twin[0].second, "another element left the heap");
      twin[0] = twin.back();
      twin.pop_back();
      if (twin.size() >= 2) {
        sift(twin, 0);
      }
    } else if (count > 0) {
      expect(tm_util_heap_heapify(array.data(), count) == 0, "heapify failed");
      for (size_t i = (twin.size() - 1) / 2 + 1; i-- > 0;) {
        sift(twin, i);
      }
    }
    expect(count == twin.size(), "the counts differ");
    for (uint32_t i = 0; i < count; ++i) {
      expect(array[i].key == twin[i].first && array[i].value == twin[i].second, "the heaps differ");
    }
  }
}

struct twin_node {
  tm_n_ary_node *node;
  std::vector<size_t> children;
};

void postorder(const std::vector<twin_node> &twin, size_t at, std::vector<uint64_t> &out) {
  out.insert(out.begin(), reinterpret_cast<uintptr_t>(twin[at].node));
  for (const size_t child : twin[at].children) {
    postorder(twin, child, out);
  }
}

tm_n_ary_node *make_tree_node() {
  auto *node = static_cast<tm_n_ary_node *>(tm_chunk_malloc(TM_V6_ANC_TREE));
  tm_util_n_ary_tree_node_init(node);
  node->data = tm_chunk_ptr2idx(TM_V6_ANC_DATA, tm_chunk_malloc(TM_V6_ANC_DATA));
  return node;
}

void append_tree_child(tm_n_ary_node *parent, tm_n_ary_node *child) {
  const tm_chunk_idx idx = tm_chunk_ptr2idx(TM_V6_ANC_TREE, child);
  tm_n_ary_node *last = tm_ptr<tm_n_ary_node>(parent->child);
  if (last == nullptr) {
    parent->child = idx;
    return;
  }
  while (last->sibling != 0) {
    last = tm_ptr<tm_n_ary_node>(last->sibling);
  }
  last->sibling = idx;
}

// A child leaves and hands its own children on. Its place in the vector is taken by a new leaf at the chain's end.
void replace_child(std::vector<twin_node> &twin, size_t parent, size_t at) {
  const size_t child = twin[parent].children[at];
  expect(tm_n_ary_tree_delchld(twin[parent].node, twin[child].node) == 0, "a child could not be unlinked");
  expect(tm_n_ary_tree_delchld(twin[parent].node, twin[child].node) != 0, "a child was unlinked twice");
  tm_merge_n_ary_chldlst(twin[parent].node, twin[child].node);
  tm_n_ary_tree_freenode(twin[child].node, 1, TM_V6_ANC_DATA);
  std::vector<size_t> &siblings = twin[parent].children;
  siblings.erase(siblings.begin() + static_cast<std::ptrdiff_t>(at));
  siblings.insert(siblings.end(), twin[child].children.begin(), twin[child].children.end());
  twin[child] = {make_tree_node(), {}};
  siblings.push_back(child);
  append_tree_child(twin[parent].node, twin[child].node);
}

void n_ary_trees(byte_source &bytes) {
  std::vector<twin_node> twin{{make_tree_node(), {}}};
  while (!bytes.empty() && twin.size() < 200) {
    const size_t parent = bytes.next() % twin.size();
    if (bytes.below(4) != 0) {
      tm_n_ary_node *node = make_tree_node();
      node->sibling = twin[parent].node->child;
      twin[parent].node->child = tm_chunk_ptr2idx(TM_V6_ANC_TREE, node);
      twin[parent].children.insert(twin[parent].children.begin(), twin.size());
      twin.push_back({node, {}});
    } else if (!twin[parent].children.empty()) {
      replace_child(twin, parent, bytes.next() % twin[parent].children.size());
    }
  }
  tm_util_list_node *head = nullptr;
  expect(tm_util_n_ary_tree_postorder_nodelist(twin[0].node, &head) == 0, "no list");
  std::vector<uint64_t> expected;
  postorder(twin, 0, expected);
  expect(words_of(head) == expected, "the post-order differs");
  tm_util_list_free(&head, 0);
  tm_util_n_ary_tree_free(twin[0].node, 1, TM_V6_ANC_DATA);
  expect(test_host::pool_used() == 0, "nodes or data were left");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const uint32_t started = instance_model::start();
  expect(started == 0, "no pools");
  tcamv6_debug_flags = {};
  byte_source bytes(data, std::min<size_t>(size, 600));
  switch (bytes.below(3)) {
    case 0:
      lists(bytes);
      break;
    case 1:
      heaps(bytes);
      break;
    default:
      n_ary_trees(bytes);
  }
  return 0;
}
