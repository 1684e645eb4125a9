// SPDX-License-Identifier: Apache-2.0
// Heap, messages, environment and debug switch of the stand-alone host.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zel_standalone.h"

namespace {

TEST(zel_heap, an_allocation_of_no_bytes_gives_a_pointer) {
  void *a = zel_malloc_named(1, 0);
  void *b = zel_calloc_named(1, 0, 16);
  void *c = zel_calloc_named(1, 16, 0);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(b, nullptr);
  EXPECT_NE(c, nullptr);
  zel_free_named(a);
  zel_free_named(b);
  zel_free_named(c);
}

TEST(zel_heap, calloc_gives_zeroed_memory) {
  auto *bytes = static_cast<unsigned char *>(zel_calloc_named(0x17002B, 1000, 3));
  ASSERT_NE(bytes, nullptr);
  for (int i = 0; i < 3000; ++i) {
    ASSERT_EQ(bytes[i], 0);
  }
  zel_free_named(bytes);
}

TEST(zel_heap, a_product_that_overflows_gives_null) {
  volatile size_t half = SIZE_MAX / 2;  // volatile: a constant would be judged by the compiler
  EXPECT_EQ(zel_calloc_named(1, half, 3), nullptr);
}

TEST(zel_heap, free_ignores_null) { zel_free_named(nullptr); }

TEST(zel_log, messages_go_to_standard_error_as_formatted) {
  testing::internal::CaptureStderr();
  zel_buginf("%s: %d", "who", -5);
  zel_buginf("\n");
  zel_printf("\nbanner");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "who: -5\n\nbanner");
}

TEST(zel_log, nothing_goes_to_standard_output) {
  testing::internal::CaptureStdout();
  zel_buginf("a");
  zel_printf("b");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(zel_log_death, a_fatal_error_prints_its_text_and_aborts) {
  EXPECT_EXIT(zel_fatal("\n%s: node is NULL", "somewhere"), testing::KilledBySignal(SIGABRT),
              "somewhere: node is NULL");
}

TEST(zel_environment, an_empty_variable_is_set_and_an_absent_one_is_null) {
  ASSERT_EQ(setenv("ZEL_SERVICES_TEST", "", 1), 0);
  EXPECT_STREQ(zel_getenv("ZEL_SERVICES_TEST"), "");
  ASSERT_EQ(unsetenv("ZEL_SERVICES_TEST"), 0);
  EXPECT_EQ(zel_getenv("ZEL_SERVICES_TEST"), nullptr);
}

TEST(zel_environment, memset_fills_and_returns_the_destination) {
  unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(zel_memset(bytes + 1, 0x5A, 4), bytes + 1);
  const unsigned char expected[6] = {9, 0x5A, 0x5A, 0x5A, 0x5A, 9};
  EXPECT_EQ(std::memcmp(bytes, expected, 6), 0);
}

TEST(zel_environment, error_texts_are_the_same_for_either_sign) {
  EXPECT_STREQ(cerr_strerror(12), std::strerror(ENOMEM));
  EXPECT_STREQ(cerr_strerror(-12), std::strerror(ENOMEM));
  EXPECT_STREQ(cerr_strerror(-28), std::strerror(ENOSPC));
  EXPECT_STREQ(cerr_strerror(0), std::strerror(0));
}

TEST(zel_environment, an_unknown_error_number_has_a_text_too) {
  EXPECT_NE(cerr_strerror(99999), nullptr);
  EXPECT_NE(cerr_strerror(INT32_MAX), nullptr);
  EXPECT_NE(cerr_strerror(INT32_MIN), nullptr);
}

int32_t heard = -1;

TEST(zel_debug_all, the_last_registered_listener_hears_the_switch) {
  zel_debug_all_register_cb([](int32_t) { heard = 100; });
  zel_debug_all_register_cb([](int32_t on) { heard = on; });
  zel_standalone_debug_all(1);
  EXPECT_EQ(heard, 1);
  zel_standalone_debug_all(0);
  EXPECT_EQ(heard, 0);
  zel_debug_all_register_cb(nullptr);
  zel_standalone_debug_all(7);
  EXPECT_EQ(heard, 0);
}

}  // namespace
