// SPDX-License-Identifier: Apache-2.0
// Pools of the stand-alone host: order, limit, reuse, lazy memory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "zel_platform.h"

namespace {

void *make_pool(size_t elem_size, size_t n_elems) { return zel_chunk_create("test pool", elem_size, n_elems, 1, 4, 0); }

size_t resident_bytes() {
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0;
  size_t resident = 0;
  statm >> pages >> resident;
  return resident * 4096;
}

TEST(zel_pool, fresh_elements_come_in_address_order_side_by_side) {
  void *pool = make_pool(24, 100);
  ASSERT_NE(pool, nullptr);
  auto *previous = static_cast<unsigned char *>(chunk_malloc(pool));
  ASSERT_NE(previous, nullptr);
  for (int i = 1; i < 100; ++i) {
    auto *next = static_cast<unsigned char *>(chunk_malloc(pool));
    ASSERT_EQ(next, previous + 24);
    previous = next;
  }
}

TEST(zel_pool, element_count_is_enforced_and_a_release_makes_room_again) {
  void *pool = make_pool(8, 3);
  void *first = chunk_malloc(pool);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(chunk_malloc(pool), nullptr);
  ASSERT_NE(chunk_malloc(pool), nullptr);
  EXPECT_EQ(chunk_malloc(pool), nullptr);
  EXPECT_EQ(chunk_malloc(pool), nullptr);
  chunk_free(pool, first);
  EXPECT_EQ(chunk_malloc(pool), first);
  EXPECT_EQ(chunk_malloc(pool), nullptr);
}

TEST(zel_pool, freed_elements_are_reused_last_in_first_out_before_fresh_ones) {
  void *pool = make_pool(56, 10);
  std::vector<void *> taken;
  for (int i = 0; i < 5; ++i) {
    taken.push_back(chunk_malloc(pool));
  }
  chunk_free(pool, taken[1]);
  chunk_free(pool, taken[3]);
  chunk_free(pool, taken[0]);
  EXPECT_EQ(chunk_malloc(pool), taken[0]);
  EXPECT_EQ(chunk_malloc(pool), taken[3]);
  EXPECT_EQ(chunk_malloc(pool), taken[1]);
  EXPECT_EQ(chunk_malloc(pool), static_cast<unsigned char *>(taken[4]) + 56);
}

TEST(zel_pool, elements_are_aligned_to_eight_bytes_whatever_the_size_asked_for) {
  for (size_t size = 1; size <= 64; ++size) {
    void *pool = make_pool(size, 20);
    for (int i = 0; i < 20; ++i) {
      void *element = chunk_malloc(pool);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(element) % 8, 0u) << size;
      std::memset(element, 0xA5, size);
    }
  }
}

TEST(zel_pool, elements_of_a_full_pool_do_not_overlap) {
  constexpr size_t count = 32768;
  void *pool = make_pool(40, count);
  std::vector<unsigned char *> taken;
  for (size_t i = 0; i < count; ++i) {
    auto *element = static_cast<unsigned char *>(chunk_malloc(pool));
    ASSERT_NE(element, nullptr);
    std::memset(element, static_cast<int>(i % 251), 40);
    taken.push_back(element);
  }
  EXPECT_EQ(chunk_malloc(pool), nullptr);
  EXPECT_EQ(std::set<unsigned char *>(taken.begin(), taken.end()).size(), count);
  for (size_t i = 0; i < count; ++i) {
    ASSERT_EQ(taken[i][0], i % 251);
    ASSERT_EQ(taken[i][39], i % 251);
  }
}

TEST(zel_pool, memory_is_committed_only_as_it_is_touched) {
  const size_t before = resident_bytes();
  void *pool = make_pool(64, size_t{1} << 28);  // 16 GiB of addresses
  ASSERT_NE(pool, nullptr);
  for (int i = 0; i < 1000; ++i) {
    std::memset(chunk_malloc(pool), 1, 64);
  }
  EXPECT_LT(resident_bytes() - before, size_t{16} << 20);
}

TEST(zel_pool, a_pool_of_no_elements_is_always_exhausted) {
  void *pool = make_pool(24, 0);
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(chunk_malloc(pool), nullptr);
}

TEST(zel_pool, a_size_that_overflows_makes_no_pool) {
  EXPECT_EQ(make_pool(SIZE_MAX / 2, 3), nullptr);
  EXPECT_EQ(make_pool(SIZE_MAX, 1), nullptr);
  EXPECT_EQ(make_pool(8, SIZE_MAX / 8), nullptr);
  EXPECT_EQ(make_pool(0, 8), nullptr);
}

TEST(zel_pool, two_pools_share_nothing) {
  void *a = make_pool(8, 1);
  void *b = make_pool(8, 1);
  void *of_a = chunk_malloc(a);
  EXPECT_NE(of_a, chunk_malloc(b));
  chunk_free(a, of_a);
  EXPECT_EQ(chunk_malloc(b), nullptr);
  EXPECT_EQ(chunk_malloc(a), of_a);
}

TEST(zel_pool_death, giving_back_what_is_not_an_element_ends_the_process) {
  void *pool = make_pool(24, 4);
  auto *element = static_cast<unsigned char *>(chunk_malloc(pool));
  int stranger = 0;
  EXPECT_DEATH(chunk_free(pool, &stranger), "is no element of pool test pool");
  EXPECT_DEATH(chunk_free(pool, element + 8), "is no element of pool test pool");
  EXPECT_DEATH(chunk_free(pool, element + 24), "is no element of pool test pool");  // never handed out
  EXPECT_DEATH(chunk_free(pool, nullptr), "is no element of pool test pool");
}

}  // namespace
