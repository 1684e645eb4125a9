// SPDX-License-Identifier: Apache-2.0
// Sorting by precomputed keys, beside std::stable_sort.
#include "tm_keyed_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <tuple>
#include <vector>

namespace {

using entries = std::vector<tm_keyed_entry>;

bool is_before(const tm_keyed_entry &a, const tm_keyed_entry &b) {
  return std::tie(a.high, a.low, a.rank) < std::tie(b.high, b.low, b.rank);
}

// Each run ascending, as tables come; their entries numbered in the order in which they lie.
entries random_runs(std::mt19937 &random, size_t n_runs, size_t run_length, uint64_t high_mask, uint64_t low_mask) {
  entries all;
  for (size_t run = 0; run < n_runs; ++run) {
    entries one(run_length);
    for (tm_keyed_entry &entry : one) {
      const uint64_t high = (uint64_t{random()} << 32 | random()) & high_mask;
      const uint64_t low = (uint64_t{random()} << 32 | random()) & low_mask;
      entry = {high, low, static_cast<uint32_t>(random() % 2), 0};
    }
    std::sort(one.begin(), one.end(), is_before);
    all.insert(all.end(), one.begin(), one.end());
  }
  for (size_t i = 0; i < all.size(); ++i) {
    all[i].index = static_cast<uint32_t>(i);
  }
  return all;
}

void expect_sorted(entries list, uint32_t key_bytes) {
  entries expected = list;
  std::stable_sort(expected.begin(), expected.end(), is_before);
  entries scratch(list.size());
  tm_keyed_sort(list.data(), scratch.data(), list.size(), key_bytes);
  for (size_t i = 0; i < list.size(); ++i) {
    ASSERT_EQ(list[i].index, expected[i].index) << "at " << i << " of " << list.size();
    ASSERT_EQ(list[i].high, expected[i].high);
    ASSERT_EQ(list[i].low, expected[i].low);
    ASSERT_EQ(list[i].rank, expected[i].rank);
  }
}

}  // namespace

TEST(tm_keyed_sort_test, nothing_and_a_single_entry_stay) {
  tm_keyed_sort(nullptr, nullptr, 0, 16);
  expect_sorted({{5, 6, 1, 0}}, 16);
}

TEST(tm_keyed_sort_test, the_first_word_counts_most_then_the_second_then_the_rank) {
  expect_sorted({{2, 0, 0, 0}, {1, 9, 1, 1}, {1, 9, 0, 2}, {1, 8, 1, 3}, {0, ~uint64_t{0}, 1, 4}}, 16);
}

TEST(tm_keyed_sort_test, equal_entries_keep_their_order_at_any_number_of_runs) {
  std::mt19937 random(1);
  for (size_t n_runs = 1; n_runs <= 20; ++n_runs) {
    expect_sorted(random_runs(random, n_runs, 40, 3, 1), 16);
  }
}

TEST(tm_keyed_sort_test, keys_may_end_at_any_byte) {
  std::mt19937 random(2);
  for (uint32_t key_bytes = 0; key_bytes <= 16; ++key_bytes) {
    const uint64_t high_mask = key_bytes >= 8   ? ~uint64_t{0}
                               : key_bytes == 0 ? 0
                                                : ~uint64_t{0} << (64 - 8 * key_bytes);
    const uint64_t low_mask = key_bytes <= 8 ? 0 : ~uint64_t{0} << (128 - 8 * key_bytes);
    for (const size_t n_runs : std::initializer_list<size_t>{1, 2, 3, 7, 8, 9, 200}) {
      expect_sorted(random_runs(random, n_runs, 30, high_mask, low_mask), key_bytes);
      expect_sorted(random_runs(random, n_runs, 1 + random() % 30, high_mask & ~uint64_t{0xFFFF00FF0000}, low_mask),
                    key_bytes);
    }
  }
}

TEST(tm_keyed_sort_test, descending_entries_are_turned_around) {
  for (const size_t n : std::initializer_list<size_t>{2, 8, 9, 10, 1000}) {
    entries list;
    for (size_t i = 0; i < n; ++i) {
      list.push_back({n - i, 0, 0, static_cast<uint32_t>(i)});
    }
    expect_sorted(list, 8);
  }
}
