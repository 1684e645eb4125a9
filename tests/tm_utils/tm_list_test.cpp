// SPDX-License-Identifier: Apache-2.0
#include "tm_list.h"

#include <algorithm>
#include <cstdio>

#include "tm_bits.h"
#include "utils_fixture.h"

namespace {

using words = std::vector<uint64_t>;

words words_of(const tm_util_list_node *head) {
  words result;
  for (; head != nullptr; head = head->next) {
    result.push_back(head->data);
  }
  return result;
}

// A list whose words, read from the head, are those given.
tm_util_list_node *list_of(const words &data) {
  tm_util_list_node *head = nullptr;
  for (auto word = data.rbegin(); word != data.rend(); ++word) {
    EXPECT_EQ(tm_util_list_insert(&head, *word), 0);
  }
  return head;
}

// Words are compared as numbers, without being pointers to anything.
int by_word(const void *a, const void *b) {
  const auto x = reinterpret_cast<uintptr_t>(a);
  const auto y = reinterpret_cast<uintptr_t>(b);
  return x < y ? -1 : x > y;
}

int by_upper_half(const void *a, const void *b) {
  const auto x = reinterpret_cast<uintptr_t>(a) >> 32;
  const auto y = reinterpret_cast<uintptr_t>(b) >> 32;
  return x < y ? -7 : x > y ? 9 : 0;
}

int always_equal(const void *, const void *) { return 0; }

// No order at all: a and b, b and c, c and a can all be "out of order".
int no_order(const void *a, const void *b) {
  const auto x = reinterpret_cast<uintptr_t>(a);
  const auto y = reinterpret_cast<uintptr_t>(b);
  return static_cast<int>((x * 31 + y * 17 + x * y) % 5) - 2;
}

std::string pointer_text(const char *format, const void *a, const void *b) {
  char text[160];
  std::snprintf(text, sizeof text, format, a, b);
  return text;
}

// The steps of the sort, on an array.
words sorted_by_the_book(words list, int (*cmp)(const void *, const void *)) {
  const auto after = [cmp](uint64_t a, uint64_t b) {
    return cmp(reinterpret_cast<void *>(static_cast<uintptr_t>(a)),
               reinterpret_cast<void *>(static_cast<uintptr_t>(b))) > 0;
  };
  for (size_t current = 1; current < list.size(); ++current) {
    size_t to = 0;
    while (to < current && !after(list[to], list[current])) {
      ++to;
    }
    std::rotate(list.begin() + static_cast<ptrdiff_t>(to), list.begin() + static_cast<ptrdiff_t>(current),
                list.begin() + static_cast<ptrdiff_t>(current) + 1);
  }
  return list;
}

class tm_list_test : public utils_test {};

}  // namespace

TEST_F(tm_list_test, insert_pushes_at_the_head_one_16_byte_cell_per_word) {
  tm_util_list_node *head = nullptr;
  for (const uint64_t word : {uint64_t{1}, uint64_t{0}, UINT64_MAX}) {
    EXPECT_EQ(tm_util_list_insert(&head, word), 0);
  }
  EXPECT_EQ(words_of(head), (words{UINT64_MAX, 0, 1}));
  EXPECT_EQ(test_host::heap().blocks, 3u);
  EXPECT_EQ(test_host::heap().bytes, 48u);
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, insert_without_head_address_or_memory_changes_nothing) {
  EXPECT_EQ(tm_util_list_insert(nullptr, 1), TM_EINVAL);
  tm_util_list_node *head = list_of({5, 6});
  test_host::fail_heap_allocation(1);
  EXPECT_EQ(tm_util_list_insert(&head, 4), TM_ENOMEM);
  EXPECT_EQ(words_of(head), (words{5, 6}));
  tm_util_list_free(&head, 0);
  EXPECT_EQ(test_host::heap().blocks, 0u);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tm_list_test, delete_of_a_word_held_by_two_cells_removes_only_the_first) {
  tm_util_list_node *head = list_of({1, 7, 2, 7, 3});
  EXPECT_EQ(tm_util_list_delete(&head, 7), 0);
  EXPECT_EQ(words_of(head), (words{1, 2, 7, 3}));
  EXPECT_EQ(tm_util_list_delete(&head, 7), 0);
  EXPECT_EQ(words_of(head), (words{1, 2, 3}));
  EXPECT_EQ(test_host::heap().blocks, 3u);
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, delete_reaches_head_tail_and_last_cell) {
  tm_util_list_node *head = list_of({1, 2, 3});
  EXPECT_EQ(tm_util_list_delete(&head, 1), 0);
  EXPECT_EQ(words_of(head), (words{2, 3}));
  EXPECT_EQ(tm_util_list_delete(&head, 3), 0);
  EXPECT_EQ(words_of(head), (words{2}));
  EXPECT_EQ(tm_util_list_delete(&head, 2), 0);
  EXPECT_EQ(head, nullptr);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_list_test, delete_compares_all_64_bits) {
  tm_util_list_node *head = list_of({0x1'0000'0005, 5});
  EXPECT_EQ(tm_util_list_delete(&head, 5), 0);
  EXPECT_EQ(words_of(head), (words{0x1'0000'0005}));
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, delete_of_an_absent_word_is_reported_under_the_error_word) {
  tm_util_list_node *head = list_of({1, 2});
  EXPECT_EQ(tm_util_list_delete(&head, 9), TM_ENOENT);
  const std::string expected =
      pointer_text("TU: tm_util_list_delete: Error (-2) ptr(s) (0x%p, 0x%p)", static_cast<void *>(&head), head);
  EXPECT_EQ(test_host::log_calls(), (std::vector<std::string>{expected, "\n"}));
  EXPECT_EQ(words_of(head), (words{1, 2}));

  test_host::clear_log();
  tcamv6_debug_flags = {1, 1, 0, 1, 1, 1};
  EXPECT_EQ(tm_util_list_delete(&head, 9), TM_ENOENT);
  EXPECT_TRUE(test_host::log_calls().empty());
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, delete_from_an_empty_list_is_reported_with_a_null_head_cell) {
  tm_util_list_node *head = nullptr;
  EXPECT_EQ(tm_util_list_delete(&head, 9), TM_ENOENT);
  const std::string expected =
      pointer_text("TU: tm_util_list_delete: Error (-2) ptr(s) (0x%p, 0x%p)", static_cast<void *>(&head), nullptr);
  EXPECT_EQ(test_host::log_calls(), (std::vector<std::string>{expected, "\n"}));
}

TEST_F(tm_list_test, delete_without_head_address_is_reported_without_a_cell) {
  EXPECT_EQ(tm_util_list_delete(nullptr, 9), TM_EINVAL);
  const std::string expected =
      pointer_text("TU: tm_util_list_delete: Error (-22) ptr(s) (0x%p, N/A)", nullptr, nullptr);
  EXPECT_EQ(test_host::log_calls(), (std::vector<std::string>{expected, "\n"}));
  test_host::clear_log();
  tcamv6_debug_flags.error = 0;
  EXPECT_EQ(tm_util_list_delete(nullptr, 9), TM_EINVAL);
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(tm_list_test, delete_next_node_frees_the_head_or_the_cell_after) {
  tm_util_list_node *head = list_of({1, 2, 3, 4});
  tm_util_list_delete_next_node(&head, nullptr);
  EXPECT_EQ(words_of(head), (words{2, 3, 4}));
  tm_util_list_delete_next_node(&head, head);
  EXPECT_EQ(words_of(head), (words{2, 4}));
  tm_util_list_delete_next_node(&head, head->next);
  EXPECT_EQ(words_of(head), (words{2, 4})) << "nothing follows the last cell";
  EXPECT_EQ(test_host::heap().blocks, 2u);
  tm_util_list_free(&head, 0);

  tm_util_list_delete_next_node(&head, nullptr);
  EXPECT_EQ(head, nullptr);
  tm_util_list_delete_next_node(nullptr, nullptr);
}

TEST_F(tm_list_test, delhead_unlinks_but_does_not_release_the_cell) {
  tm_util_list_node *head = list_of({10, 20});
  tm_util_list_node *first = head;
  uint64_t word = 0;
  EXPECT_EQ(tm_util_list_delhead(&head, &word), 0);
  EXPECT_EQ(word, 10u);
  EXPECT_EQ(words_of(head), (words{20}));
  EXPECT_EQ(test_host::heap().blocks, 2u);
  zel_free_named(first);
  tm_util_list_free(&head, 0);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_list_test, delhead_needs_both_addresses) {
  tm_util_list_node *head = list_of({10});
  uint64_t word = 77;
  EXPECT_EQ(tm_util_list_delhead(&head, nullptr), TM_EINVAL);
  EXPECT_EQ(tm_util_list_delhead(nullptr, &word), TM_EINVAL);
  EXPECT_EQ(words_of(head), (words{10}));
  EXPECT_EQ(word, 77u);
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, cat_shares_the_second_list) {
  tm_util_list_node *head = list_of({1, 2});
  tm_util_list_node *second = list_of({3, 4});
  EXPECT_EQ(tm_util_list_cat(&head, second), 0);
  EXPECT_EQ(words_of(head), (words{1, 2, 3, 4}));
  EXPECT_EQ(head->next->next, second);
  EXPECT_EQ(test_host::heap().allocations, 4u);

  EXPECT_EQ(tm_util_list_cat(&head, nullptr), 0);
  EXPECT_EQ(words_of(head), (words{1, 2, 3, 4}));

  tm_util_list_node *empty = nullptr;
  EXPECT_EQ(tm_util_list_cat(&empty, head), 0);
  EXPECT_EQ(empty, head);
  EXPECT_EQ(tm_util_list_cat(nullptr, head), TM_EINVAL);
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, copy_keeps_the_order_in_cells_of_its_own) {
  tm_util_list_node *head = list_of({3, 1, 2});
  tm_util_list_node *copy = head;
  EXPECT_EQ(tm_util_list_copy(head, &copy), 0);
  EXPECT_NE(copy, head);
  EXPECT_EQ(words_of(copy), words_of(head));
  EXPECT_EQ(test_host::heap().blocks, 6u);
  tm_util_list_free(&copy, 0);

  copy = head;
  EXPECT_EQ(tm_util_list_copy(nullptr, &copy), 0);
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(tm_util_list_copy(head, nullptr), TM_EINVAL);
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, copy_out_of_memory_keeps_the_cells_built_so_far) {
  const words all{9, 8, 7, 6, 5};
  tm_util_list_node *head = list_of(all);
  for (size_t k = 1; k <= all.size(); ++k) {
    tm_util_list_node *copy = head;
    test_host::fail_heap_allocation(k);
    EXPECT_EQ(tm_util_list_copy(head, &copy), TM_ENOMEM);
    EXPECT_EQ(words_of(copy), words(all.begin(), all.begin() + static_cast<ptrdiff_t>(k) - 1));
    tm_util_list_free(&copy, 0);
  }
  EXPECT_EQ(words_of(head), all);
  tm_util_list_free(&head, 0);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(tm_list_test, free_passes_the_words_on_only_when_the_flag_is_one) {
  for (const int32_t flag : {0, 1, 2, -1}) {
    void *blocks[3];
    tm_util_list_node *head = nullptr;
    for (void *&block : blocks) {
      block = zel_malloc_named(1, 32);
      tm_util_list_insert(&head, reinterpret_cast<uintptr_t>(block));
    }
    tm_util_list_free(&head, flag);
    EXPECT_EQ(head, nullptr);
    EXPECT_EQ(test_host::heap().blocks, flag == 1 ? 0u : 3u) << "flag " << flag;
    if (flag != 1) {
      for (void *block : blocks) {
        zel_free_named(block);
      }
    }
  }
  tm_util_list_node *empty = nullptr;
  tm_util_list_free(&empty, 1);
  tm_util_list_free(nullptr, 1);
}

TEST_F(tm_list_test, sort_of_equal_cells_leaves_the_list_unchanged) {
  tm_util_list_node *head = list_of({4, 2, 9, 1});
  EXPECT_EQ(tm_util_list_sort(&head, always_equal), 0);
  EXPECT_EQ(words_of(head), (words{4, 2, 9, 1}));
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, sort_of_a_reversed_list_ends_ascending) {
  tm_util_list_node *head = list_of({6, 5, 4, 3, 2, 1});
  EXPECT_EQ(tm_util_list_sort(&head, by_word), 0);
  EXPECT_EQ(words_of(head), (words{1, 2, 3, 4, 5, 6}));
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, sort_answers_zero_where_there_is_nothing_to_sort) {
  EXPECT_EQ(tm_util_list_sort(nullptr, by_word), 0);
  tm_util_list_node *head = nullptr;
  EXPECT_EQ(tm_util_list_sort(&head, by_word), 0);
  EXPECT_EQ(head, nullptr);
  head = list_of({3});
  EXPECT_EQ(tm_util_list_sort(&head, by_word), 0);
  EXPECT_EQ(words_of(head), (words{3}));
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, sort_hands_the_data_words_themselves_to_the_comparator) {
  const int32_t values[] = {30, -10, 20};
  tm_util_list_node *head = nullptr;
  for (const int32_t &value : values) {
    tm_util_list_insert(&head, reinterpret_cast<uintptr_t>(&value));
  }
  EXPECT_EQ(tm_util_list_sort(&head, tm_util_cmp_int), 0);
  const words expected{reinterpret_cast<uintptr_t>(&values[1]), reinterpret_cast<uintptr_t>(&values[2]),
                       reinterpret_cast<uintptr_t>(&values[0])};
  EXPECT_EQ(words_of(head), expected);
  tm_util_list_free(&head, 0);
}

TEST_F(tm_list_test, sort_agrees_with_a_stable_sort_and_moves_cells_not_words) {
  dice random(11);
  for (int round = 0; round < 400; ++round) {
    words data;
    for (uint32_t n = random.below(40); n > 0; --n) {
      data.push_back((static_cast<uint64_t>(random.below(6)) << 32) | n);
    }
    tm_util_list_node *head = list_of(data);
    std::vector<std::pair<const tm_util_list_node *, uint64_t>> cells;
    for (const tm_util_list_node *cell = head; cell != nullptr; cell = cell->next) {
      cells.emplace_back(cell, cell->data);
    }
    EXPECT_EQ(tm_util_list_sort(&head, by_upper_half), 0);
    std::stable_sort(data.begin(), data.end(), [](uint64_t a, uint64_t b) { return a >> 32 < b >> 32; });
    ASSERT_EQ(words_of(head), data) << "round " << round;
    for (const auto &[cell, word] : cells) {
      ASSERT_EQ(cell->data, word);
    }
    tm_util_list_free(&head, 0);
  }
}

TEST_F(tm_list_test, sort_takes_its_steps_even_under_a_comparator_that_is_no_order) {
  dice random(12);
  for (int round = 0; round < 400; ++round) {
    words data;
    for (uint32_t n = random.below(12); n > 0; --n) {
      data.push_back(random.below(50));
    }
    tm_util_list_node *head = list_of(data);
    EXPECT_EQ(tm_util_list_sort(&head, no_order), 0);
    ASSERT_EQ(words_of(head), sorted_by_the_book(data, no_order)) << "round " << round;
    tm_util_list_free(&head, 0);
  }
}
