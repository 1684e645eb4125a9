// SPDX-License-Identifier: Apache-2.0
#include "tm_array.h"

#include <algorithm>

#include "tm_bits.h"
#include "tm_stable_sort.h"
#include "utils_fixture.h"

namespace {

struct record {
  int32_t key;
  uint32_t order;
  uint8_t filler[32];
};

int by_key(const void *a, const void *b) {
  return tm_util_cmp_int(&static_cast<const record *>(a)->key, &static_cast<const record *>(b)->key);
}

int by_byte(const void *a, const void *b) {
  return *static_cast<const uint8_t *>(a) - *static_cast<const uint8_t *>(b);
}

std::vector<record> random_records(dice &random, uint32_t n, uint32_t distinct) {
  std::vector<record> records(n);
  for (uint32_t i = 0; i < n; ++i) {
    records[i].key = static_cast<int32_t>(random.below(distinct)) - 5;
    records[i].order = i;
    std::memset(records[i].filler, static_cast<int>(i % 251), sizeof records[i].filler);
  }
  return records;
}

bool same(const std::vector<record> &a, const std::vector<record> &b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(record)) == 0);
}

class tm_array_test : public utils_test {
 protected:
  static void expect_stable(std::vector<record> records, const char *what) {
    std::vector<record> expected = records;
    std::stable_sort(expected.begin(), expected.end(), [](const record &a, const record &b) { return a.key < b.key; });
    tm_stable_sort(records.data(), records.size(), sizeof(record), by_key);
    EXPECT_TRUE(same(records, expected)) << what << ", " << records.size() << " records";
    EXPECT_EQ(test_host::heap().blocks, 0u);
  }
};

}  // namespace

TEST_F(tm_array_test, insert_of_3_into_1_3_3_7_returns_slot_3) {
  int32_t array[5] = {1, 3, 3, 7, -1};
  const int32_t element = 3;
  EXPECT_EQ(tm_util_array_insert(&element, array, 4, sizeof(int32_t), tm_util_cmp_int), &array[3]);
  const int32_t expected[5] = {1, 3, 3, 3, 7};
  EXPECT_EQ(std::memcmp(array, expected, sizeof array), 0);
}

TEST_F(tm_array_test, insert_reaches_both_ends) {
  int32_t array[4] = {5, 6, 0, 0};
  int32_t element = 4;
  EXPECT_EQ(tm_util_array_insert(&element, array, 2, sizeof(int32_t), tm_util_cmp_int), &array[0]);
  element = 7;
  EXPECT_EQ(tm_util_array_insert(&element, array, 3, sizeof(int32_t), tm_util_cmp_int), &array[3]);
  const int32_t expected[4] = {4, 5, 6, 7};
  EXPECT_EQ(std::memcmp(array, expected, sizeof array), 0);
}

TEST_F(tm_array_test, insert_with_a_count_of_zero_or_less_uses_slot_zero) {
  for (const int32_t count : {0, -1, INT32_MIN}) {
    int32_t array[2] = {111, 222};
    const int32_t element = 9;
    EXPECT_EQ(tm_util_array_insert(&element, array, count, sizeof(int32_t), tm_util_cmp_int), &array[0]);
    EXPECT_EQ(array[0], 9);
    EXPECT_EQ(array[1], 222) << "count " << count;
  }
}

TEST_F(tm_array_test, insert_builds_a_stable_order_in_exactly_the_room_it_needs) {
  dice random(41);
  for (uint32_t round = 0; round < 100; ++round) {
    const std::vector<record> incoming = random_records(random, random.below(30), 5);
    std::vector<record> array;
    for (const record &element : incoming) {
      array.resize(array.size() + 1);
      const auto count = static_cast<int32_t>(array.size() - 1);
      const auto *slot =
          static_cast<record *>(tm_util_array_insert(&element, array.data(), count, sizeof(record), by_key));
      ASSERT_EQ(std::memcmp(slot, &element, sizeof element), 0);
    }
    std::vector<record> expected = incoming;
    std::stable_sort(expected.begin(), expected.end(), [](const record &a, const record &b) { return a.key < b.key; });
    ASSERT_TRUE(same(array, expected)) << "round " << round;
  }
}

TEST_F(tm_array_test, insert_moves_elements_of_any_size) {
  uint8_t bytes[4] = {2, 4, 6, 0};
  const uint8_t byte = 4;
  EXPECT_EQ(tm_util_array_insert(&byte, bytes, 3, 1, by_byte), &bytes[2]);
  EXPECT_EQ(std::memcmp(bytes, "\2\4\4\6", 4), 0);
  uint8_t triples[9] = {1, 10, 11, 3, 30, 31, 0, 0, 0};
  const uint8_t triple[3] = {2, 20, 21};
  EXPECT_EQ(tm_util_array_insert(triple, triples, 2, 3, by_byte), &triples[3]);
  EXPECT_EQ(std::memcmp(triples, "\1\12\13\2\24\25\3\36\37", 9), 0);
}

TEST_F(tm_array_test, stable_sort_agrees_with_the_standard_one) {
  dice random(42);
  for (uint32_t n = 0; n < 130; ++n) {
    expect_stable(random_records(random, n, 7), "few keys");
    expect_stable(random_records(random, n, 1000000), "many keys");
  }
  expect_stable(random_records(random, 20000, 50), "large");
}

TEST_F(tm_array_test, stable_sort_without_scratch_memory_gives_the_same_order) {
  dice random(43);
  test_host::fail_all_heap_allocations(true);
  for (uint32_t n = 0; n < 130; ++n) {
    expect_stable(random_records(random, n, 7), "few keys");
    expect_stable(random_records(random, n, 1000000), "many keys");
  }
  expect_stable(random_records(random, 20000, 50), "large");
  EXPECT_GT(test_host::heap().refused, 0u);
  EXPECT_EQ(test_host::heap().allocations, 0u);
}

TEST_F(tm_array_test, stable_sort_survives_the_refusal_of_any_single_allocation) {
  dice random(44);
  const std::vector<record> records = random_records(random, 300, 9);
  for (uint64_t k = 1; k <= 4; ++k) {
    test_host::fail_heap_allocation(k);
    expect_stable(records, "refused");
  }
}

TEST_F(tm_array_test, stable_sort_of_ordered_and_reversed_input) {
  for (const bool refused : {false, true}) {
    test_host::fail_all_heap_allocations(refused);
    std::vector<record> records(1000);
    for (uint32_t i = 0; i < records.size(); ++i) {
      records[i] = {static_cast<int32_t>(i / 3), i, {}};
    }
    expect_stable(records, "ascending");
    std::reverse(records.begin(), records.end());
    expect_stable(records, "descending");
    for (record &element : records) {
      element.key = 1;
    }
    expect_stable(records, "all equal");
  }
}

TEST_F(tm_array_test, stable_sort_of_single_bytes_and_odd_sizes) {
  for (const bool refused : {false, true}) {
    test_host::fail_all_heap_allocations(refused);
    std::vector<uint8_t> bytes = {9, 1, 8, 1, 7, 3};
    tm_stable_sort(bytes.data(), bytes.size(), 1, by_byte);
    EXPECT_EQ(bytes, (std::vector<uint8_t>{1, 1, 3, 7, 8, 9}));
    std::vector<uint8_t> triples = {2, 0, 1, 1, 0, 2, 2, 0, 3, 1, 0, 4, 0, 0, 5};
    tm_stable_sort(triples.data(), 5, 3, by_byte);
    EXPECT_EQ(triples, (std::vector<uint8_t>{0, 0, 5, 1, 0, 2, 1, 0, 4, 2, 0, 1, 2, 0, 3}));
  }
}

TEST_F(tm_array_test, stable_sort_of_large_elements) {
  struct large_record {
    int32_t key;
    uint32_t order;
    uint8_t filler[1000];
  };
  dice random(45);
  for (const bool refused : {false, true}) {
    test_host::fail_all_heap_allocations(refused);
    for (const size_t n : {2u, 3u, 5u, 20u, 100u}) {
      std::vector<large_record> records(n);
      for (uint32_t i = 0; i < n; ++i) {
        records[i] = {static_cast<int32_t>(random.below(6)), i, {}};
        std::memset(records[i].filler, static_cast<int>(i + 1), sizeof records[i].filler);
      }
      std::vector<large_record> expected = records;
      std::stable_sort(expected.begin(), expected.end(), [](const auto &a, const auto &b) { return a.key < b.key; });
      tm_stable_sort(records.data(), n, sizeof(large_record), tm_util_cmp_int);
      EXPECT_EQ(std::memcmp(records.data(), expected.data(), n * sizeof(large_record)), 0) << n << " records";
    }
  }
}

TEST_F(tm_array_test, stable_sort_of_nothing_touches_nothing) {
  tm_stable_sort(nullptr, 0, sizeof(record), by_key);
  record one{3, 4, {}};
  tm_stable_sort(&one, 1, sizeof(record), by_key);
  EXPECT_EQ(one.order, 4u);
}
