// SPDX-License-Identifier: Apache-2.0
// The other tests rely on what the test host notices; here it is made to notice each of its cases.
#include "../support/test_host.h"

#include <gtest/gtest.h>

#include <cstring>

class test_host_test : public ::testing::Test {
 protected:
  void SetUp() override { test_host::reset(); }
  void TearDown() override { test_host::reset(); }
};

TEST_F(test_host_test, log_keeps_every_call_and_its_order) {
  zel_buginf("%s: %d", "f", 1);
  zel_buginf("\n");
  zel_buginf("\nTM_PROCESSING ");
  EXPECT_EQ(test_host::log_calls(), (std::vector<std::string>{"f: 1", "\n", "\nTM_PROCESSING "}));
  EXPECT_EQ(test_host::log_lines(), (std::vector<std::string>{"f: 1", "TM_PROCESSING "}));
  test_host::clear_log();
  test_host::keep_log(false);
  zel_buginf("gone");
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(test_host_test, heap_is_counted_and_the_kth_allocation_refused) {
  test_host::fail_heap_allocation(2);
  void *first = zel_malloc_named(7, 10);
  void *second = zel_malloc_named(8, 20);
  void *third = zel_calloc_named(9, 3, 5);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(static_cast<unsigned char *>(first)[9], test_host::fresh_byte);
  EXPECT_EQ(static_cast<unsigned char *>(third)[14], 0);
  EXPECT_EQ(test_host::heap().blocks, 2u);
  EXPECT_EQ(test_host::heap().bytes, 25u);
  EXPECT_EQ(test_host::heap().refused, 1u);
  EXPECT_EQ(test_host::last_heap_tag(), 9u);
  zel_free_named(first);
  zel_free_named(third);
  zel_free_named(nullptr);
  EXPECT_EQ(test_host::heap().blocks, 0u);
  EXPECT_EQ(test_host::heap().bytes, 0u);
}

TEST_F(test_host_test, block_of_an_earlier_test_can_still_be_given_back) {
  void *block = zel_malloc_named(1, 8);
  test_host::reset();
  EXPECT_EQ(test_host::heap().blocks, 0u);
  zel_free_named(block);
  EXPECT_EQ(test_host::heap().blocks, 0u);
}

TEST_F(test_host_test, pool_enforces_its_count_and_reuses_the_last_element_given_back) {
  void *pool = zel_chunk_create("P", 16, 2, 1, 4, 0);
  void *a = chunk_malloc(pool);
  void *b = chunk_malloc(pool);
  EXPECT_LT(a, b);
  EXPECT_EQ(static_cast<unsigned char *>(b)[15], test_host::fresh_byte);
  EXPECT_EQ(chunk_malloc(pool), nullptr);
  EXPECT_EQ(test_host::pool_used("P"), 2u);
  chunk_free(pool, a);
  EXPECT_EQ(static_cast<unsigned char *>(a)[15], test_host::released_byte);
  EXPECT_EQ(chunk_malloc(pool), a);
  EXPECT_EQ(test_host::pool_damage(), "");
}

TEST_F(test_host_test, kth_element_of_a_named_pool_is_refused) {
  void *p = zel_chunk_create("P", 8, 9, 1, 4, 0);
  void *q = zel_chunk_create("Q", 8, 9, 1, 4, 0);
  test_host::fail_pool_element(2, "Q");
  EXPECT_NE(chunk_malloc(q), nullptr);
  EXPECT_NE(chunk_malloc(p), nullptr);
  EXPECT_NE(chunk_malloc(p), nullptr);
  EXPECT_EQ(chunk_malloc(q), nullptr);
  EXPECT_NE(chunk_malloc(q), nullptr);
}

TEST_F(test_host_test, damage_write_after_release_is_noticed) {
  void *pool = zel_chunk_create("P", 16, 4, 1, 4, 0);
  void *a = chunk_malloc(pool);
  chunk_free(pool, a);
  static_cast<unsigned char *>(a)[3] = 1;
  EXPECT_EQ(test_host::pool_damage(), "P element 0: written after it was given back");
}

TEST_F(test_host_test, damage_write_past_the_end_is_noticed) {
  void *pool = zel_chunk_create("P", 16, 4, 1, 4, 0);
  auto *a = static_cast<unsigned char *>(chunk_malloc(pool));
  a[16] = 0;
  EXPECT_EQ(test_host::pool_damage(), "P element 0: written past its end");
}

TEST_F(test_host_test, damage_second_release_is_noticed) {
  void *pool = zel_chunk_create("P", 16, 4, 1, 4, 0);
  void *a = chunk_malloc(pool);
  chunk_free(pool, a);
  chunk_free(pool, a);
  EXPECT_EQ(test_host::pool_damage(), "P element 0: given back twice");
}

TEST_F(test_host_test, damage_release_into_the_wrong_pool_is_noticed) {
  void *p = zel_chunk_create("P", 16, 4, 1, 4, 0);
  void *q = zel_chunk_create("Q", 16, 4, 1, 4, 0);
  chunk_free(q, chunk_malloc(p));
  EXPECT_NE(test_host::pool_damage(), "");
}

TEST_F(test_host_test, kth_pool_is_refused) {
  test_host::fail_pool_creation(2);
  EXPECT_NE(zel_chunk_create("P", 16, 4, 1, 4, 0), nullptr);
  EXPECT_EQ(zel_chunk_create("Q", 16, 4, 1, 4, 0), nullptr);
  EXPECT_NE(zel_chunk_create("R", 16, 4, 1, 4, 0), nullptr);
  ASSERT_EQ(test_host::pools().size(), 2u);
  EXPECT_EQ(test_host::pools()[1].name, "R");
}

TEST_F(test_host_test, fatal_report_is_matched_to_the_letter) {
  EXPECT_FATAL(zel_fatal("\n%s: is [NULL] (%d)", "f", 1), "\nf: is [NULL] (1)");
}

TEST_F(test_host_test, environment_is_the_tests_own) {
  EXPECT_EQ(zel_getenv("PATH"), nullptr);
  test_host::set_environment("A", "");
  EXPECT_STREQ(zel_getenv("A"), "");
  EXPECT_EQ(test_host::environment_lookups(), (std::vector<std::string>{"PATH", "A"}));
}
