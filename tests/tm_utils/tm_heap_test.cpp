// SPDX-License-Identifier: Apache-2.0
#include "tm_heap.h"

#include <algorithm>

#include "utils_fixture.h"

namespace {

using elements = std::vector<tm_util_heap_elem>;

bool same(const tm_util_heap_elem &a, const tm_util_heap_elem &b) {
  return a.key == b.key && a.key_high == b.key_high && a.value == b.value;
}

bool same(const elements &a, const elements &b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](const auto &x, const auto &y) { return same(x, y); });
}

std::vector<int32_t> keys_of(const elements &heap) {
  std::vector<int32_t> keys;
  for (const tm_util_heap_elem &element : heap) {
    keys.push_back(element.key);
  }
  return keys;
}

elements with_keys(const std::vector<int32_t> &keys) {
  elements heap;
  for (const int32_t key : keys) {
    heap.push_back({key, 0x80000000u + static_cast<uint32_t>(heap.size()), heap.size() * 1000});
  }
  return heap;
}

// -- the twin: the three operations by exchange of neighbours

void book_sift_down(elements &heap, size_t i) {
  for (;;) {
    const size_t left = 2 * i + 1;
    if (left >= heap.size()) {
      return;
    }
    size_t least = left;
    if (left + 1 < heap.size() && heap[left + 1].key < heap[left].key) {
      least = left + 1;
    }
    if (heap[i].key <= heap[least].key) {
      return;
    }
    std::swap(heap[i], heap[least]);
    i = least;
  }
}

void book_heapify(elements &heap) {
  for (size_t i = (heap.size() - 1) / 2 + 1; i-- > 0;) {
    book_sift_down(heap, i);
  }
}

tm_util_heap_elem book_delmin(elements &heap) {
  const tm_util_heap_elem least = heap.front();
  heap.front() = heap.back();
  heap.pop_back();
  if (heap.size() >= 2) {
    book_sift_down(heap, 0);
  }
  return least;
}

void book_insert(elements &heap, const tm_util_heap_elem &element) {
  heap.push_back(element);
  size_t i = heap.size() - 1;
  while (i > 0) {
    const size_t parent = (i - 1) / 2;
    if (heap[parent].key < heap[i].key) {
      break;
    }
    heap[i] = heap[parent];
    i = parent;
  }
  heap[i] = element;
}

bool is_heap(const elements &heap) {
  for (size_t i = 1; i < heap.size(); ++i) {
    if (heap[(i - 1) / 2].key > heap[i].key) {
      return false;
    }
  }
  return true;
}

// The library's operations on a vector: exactly the room that they need, so that a sanitizer sees more.
void insert(elements &heap, const tm_util_heap_elem &element) {
  uint32_t count = static_cast<uint32_t>(heap.size());
  heap.push_back({-1, 0, 0});
  ASSERT_EQ(tm_util_heap_insert(heap.data(), &count, &element), 0);
  ASSERT_EQ(count, heap.size());
}

tm_util_heap_elem delmin(elements &heap) {
  uint32_t count = static_cast<uint32_t>(heap.size());
  tm_util_heap_elem least{};
  EXPECT_EQ(tm_util_heap_delmin(heap.data(), &count, &least), 0);
  EXPECT_EQ(count, heap.size() - 1);
  heap.pop_back();
  return least;
}

}  // namespace

TEST(tm_heap_test, insert_of_5_3_1_gives_1_5_3_and_then_0_breaks_the_heap) {
  elements heap;
  for (const int32_t key : {5, 3, 1}) {
    insert(heap, {key, 0, 0});
  }
  EXPECT_EQ(keys_of(heap), (std::vector<int32_t>{1, 5, 3}));
  insert(heap, {0, 0, 0});
  EXPECT_EQ(keys_of(heap), (std::vector<int32_t>{1, 0, 3, 5}));
  EXPECT_FALSE(is_heap(heap));
  EXPECT_EQ(delmin(heap).key, 1);
}

TEST(tm_heap_test, insert_with_distinct_keys_rises_at_most_one_level) {
  elements heap = with_keys({1, 2, 3, 4, 5, 6, 7});
  insert(heap, {0, 9, 99});
  EXPECT_EQ(keys_of(heap), (std::vector<int32_t>{1, 2, 3, 0, 5, 6, 7, 4}));
  EXPECT_EQ(heap[3].key_high, 9u);
  EXPECT_EQ(heap[3].value, 99u);
}

TEST(tm_heap_test, insert_among_equal_keys_climbs_to_the_root) {
  elements heap = with_keys({4, 4, 4, 4});
  insert(heap, {4, 7, 77});
  EXPECT_EQ(heap[0].value, 77u);
  insert(heap, {3, 8, 88});
  EXPECT_EQ(heap[0].value, 88u);
}

TEST(tm_heap_test, insert_agrees_with_the_twin_for_every_short_sequence_of_small_keys) {
  for (uint32_t sequence = 0; sequence < 4 * 4 * 4 * 4 * 4 * 4; ++sequence) {
    elements heap;
    elements twin;
    uint32_t digits = sequence;
    for (uint32_t i = 0; i < 6; ++i, digits /= 4) {
      const tm_util_heap_elem element{static_cast<int32_t>(digits % 4), i, i};
      insert(heap, element);
      book_insert(twin, element);
    }
    ASSERT_TRUE(same(heap, twin)) << "sequence " << sequence;
  }
}

TEST(tm_heap_test, heapify_agrees_with_the_twin_and_gives_a_heap) {
  dice random(31);
  for (uint32_t round = 0; round < 2000; ++round) {
    std::vector<int32_t> keys(1 + random.below(40));
    for (int32_t &key : keys) {
      key = static_cast<int32_t>(random.below(20)) - 10;
    }
    elements heap = with_keys(keys);
    elements twin = heap;
    ASSERT_EQ(tm_util_heap_heapify(heap.data(), static_cast<uint32_t>(heap.size())), 0);
    book_heapify(twin);
    ASSERT_TRUE(same(heap, twin)) << "round " << round;
    ASSERT_TRUE(is_heap(heap));
  }
}

TEST(tm_heap_test, delmin_empties_a_heap_in_ascending_order_and_in_the_twins_order_of_equal_keys) {
  dice random(32);
  for (uint32_t round = 0; round < 500; ++round) {
    std::vector<int32_t> keys(1 + random.below(60));
    for (int32_t &key : keys) {
      key = static_cast<int32_t>(random.below(12));
    }
    elements heap = with_keys(keys);
    ASSERT_EQ(tm_util_heap_heapify(heap.data(), static_cast<uint32_t>(heap.size())), 0);
    elements twin = heap;
    std::sort(keys.begin(), keys.end());
    for (const int32_t key : keys) {
      const tm_util_heap_elem least = delmin(heap);
      ASSERT_EQ(least.key, key);
      ASSERT_TRUE(same(least, book_delmin(twin)));
      ASSERT_TRUE(same(heap, twin));
    }
  }
}

TEST(tm_heap_test, mixed_operations_agree_with_the_twin_step_by_step) {
  dice random(33);
  for (uint32_t round = 0; round < 200; ++round) {
    elements heap;
    elements twin;
    for (uint32_t step = 0; step < 200; ++step) {
      if (heap.empty() || !random.chance(3)) {
        const tm_util_heap_elem element{static_cast<int32_t>(random.below(8)), step, round * 1000 + step};
        insert(heap, element);
        book_insert(twin, element);
      } else {
        ASSERT_TRUE(same(delmin(heap), book_delmin(twin)));
      }
      ASSERT_TRUE(same(heap, twin)) << "round " << round << " step " << step;
    }
  }
}

TEST(tm_heap_test, keys_are_signed_and_their_upper_half_is_never_compared) {
  elements heap = {{1, 0, 1}, {INT32_MIN, UINT32_MAX, 2}, {INT32_MAX, 0, 3}, {-1, 5, 4}};
  ASSERT_EQ(tm_util_heap_heapify(heap.data(), 4), 0);
  const tm_util_heap_elem first = delmin(heap);
  EXPECT_EQ(first.key, INT32_MIN);
  EXPECT_EQ(first.key_high, UINT32_MAX);
  EXPECT_EQ(delmin(heap).key, -1);
  EXPECT_EQ(delmin(heap).key, 1);
  EXPECT_EQ(delmin(heap).key, INT32_MAX);
}

TEST(tm_heap_test, one_element_is_a_heap_and_its_removal_leaves_none) {
  elements heap = with_keys({42});
  ASSERT_EQ(tm_util_heap_heapify(heap.data(), 1), 0);
  EXPECT_EQ(delmin(heap).key, 42);
  EXPECT_TRUE(heap.empty());
}

TEST(tm_heap_test, null_pointers_are_answered) {
  tm_util_heap_elem array[2] = {{3, 0, 0}, {4, 0, 0}};
  tm_util_heap_elem element{1, 0, 0};
  uint32_t count = 1;
  EXPECT_EQ(tm_util_heap_heapify(nullptr, 1), TM_EINVAL);
  EXPECT_EQ(tm_util_heap_delmin(nullptr, &count, &element), TM_EINVAL);
  EXPECT_EQ(tm_util_heap_delmin(array, &count, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_heap_delmin(array, nullptr, &element), TM_EINVAL);
  EXPECT_EQ(tm_util_heap_insert(nullptr, &count, &element), TM_EINVAL);
  EXPECT_EQ(tm_util_heap_insert(array, nullptr, &element), TM_EINVAL);
  EXPECT_EQ(tm_util_heap_insert(array, &count, nullptr), TM_EINVAL);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(array[0].key, 3);
}
