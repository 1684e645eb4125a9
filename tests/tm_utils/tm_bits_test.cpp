// SPDX-License-Identifier: Apache-2.0
#include "tm_bits.h"

#include "tm_key.h"
#include "utils_fixture.h"

namespace {

uint32_t counted(uint32_t word) {
  uint32_t n = 0;
  for (int i = 0; i < 32; ++i) {
    n += (word >> i) & 1;
  }
  return n;
}

uint32_t first_set(uint32_t word) {
  for (uint32_t place = 1; place <= 32; ++place) {
    if (((word >> (32 - place)) & 1) != 0) {
      return place;
    }
  }
  return 0;
}

test_key random_key(dice &random) {
  test_key key;
  for (uint8_t &byte : key) {
    byte = static_cast<uint8_t>(random.below(256));
  }
  return key;
}

}  // namespace

TEST(tm_bits_test, count_of_the_extremes) {
  EXPECT_EQ(tm_util_bit_cnt_1(0), 0u);
  EXPECT_EQ(tm_util_bit_cnt_1(0xFFFFFFFF), 32u);
}

TEST(tm_bits_test, find_first_set_counts_from_the_most_significant_end) {
  EXPECT_EQ(tm_util_bit_find_first_set(0), 0u);
  EXPECT_EQ(tm_util_bit_find_first_set(1), 32u);
  EXPECT_EQ(tm_util_bit_find_first_set(0x80000000), 1u);
  EXPECT_EQ(tm_util_bit_find_first_set(0x40000000), 2u);
  EXPECT_EQ(tm_util_bit_find_first_set(0x7FFFFFFF), 2u);
  EXPECT_EQ(tm_util_bit_find_first_set(0xFFFFFFFF), 1u);
}

TEST(tm_bits_test, counts_agree_with_loops_on_single_bits_runs_and_random_words) {
  dice random(51);
  std::vector<uint32_t> words;
  for (uint32_t i = 0; i < 32; ++i) {
    words.push_back(1u << i);
    words.push_back((1u << i) - 1);
    words.push_back(~(1u << i));
  }
  for (uint32_t i = 0; i < 5000; ++i) {
    words.push_back((random.below(65536) << 16 | random.below(65536)) >> random.below(32));
  }
  for (const uint32_t word : words) {
    ASSERT_EQ(tm_util_bit_cnt_1(word), counted(word)) << word;
    ASSERT_EQ(tm_util_bit_find_first_set(word), first_set(word)) << word;
  }
}

TEST(tm_bits_test, cmp_int_is_three_way_and_does_not_overflow) {
  const int32_t values[] = {INT32_MIN, -2, -1, 0, 1, 2, INT32_MAX};
  for (const int32_t &a : values) {
    for (const int32_t &b : values) {
      EXPECT_EQ(tm_util_cmp_int(&a, &b), a < b ? -1 : a > b ? 1 : 0) << a << " " << b;
    }
  }
}

TEST(tm_bits_test, key_bit_is_most_significant_first) {
  const test_key key = key_of("8000::1");
  for (int32_t i = 0; i < 128; ++i) {
    EXPECT_EQ(tm_key_bit(key.data(), i), i == 0 || i == 127 ? 1u : 0u) << i;
  }
}

TEST(tm_bits_test, key_bit_outside_the_key_reads_as_zero_and_is_never_fetched) {
  const guarded_key ones(key_of("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
  EXPECT_EQ(tm_key_bit(ones.bytes(), 127), 1u);
  for (const int32_t bit : {128, 129, 135, 136, 4096, INT32_MAX, -1, -8, INT32_MIN}) {
    EXPECT_EQ(tm_key_bit(ones.bytes(), bit), 0u) << bit;
  }
}

TEST(tm_bits_test, put_bit_writes_one_bit_and_none_outside_the_key) {
  dice random(52);
  for (int32_t i = 0; i < 128; ++i) {
    for (const bool value : {false, true}) {
      test_key key = random_key(random);
      test_key expected = key;
      put_bit(expected, i, value);
      tm_key_put_bit(key.data(), i, value);
      ASSERT_EQ(key, expected) << i;
    }
  }
  guarded_key key(random_key(random));
  const test_key before = key.copy();
  for (const int32_t bit : {128, 129, 1000, INT32_MAX, -1, INT32_MIN}) {
    tm_key_put_bit(key.bytes(), bit, true);
    tm_key_put_bit(key.bytes(), bit, false);
  }
  EXPECT_EQ(key.copy(), before);
}

TEST(tm_bits_test, leading_mask_of_every_width) {
  const uint8_t masks[] = {0x00, 0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE, 0xFF};
  for (uint32_t n = 0; n <= 8; ++n) {
    EXPECT_EQ(tm_leading_mask(n), masks[n]);
  }
}

TEST(tm_bits_test, equal_bits_agrees_with_a_bit_loop_at_every_length) {
  dice random(53);
  for (uint32_t differing = 0; differing <= 128; ++differing) {
    const test_key a = random_key(random);
    test_key b = a;
    for (auto i = static_cast<int32_t>(differing); i < 128; ++i) {
      put_bit(b, i, static_cast<uint32_t>(i) == differing ? bit_of(a, i) == 0 : random.chance(2));
    }
    const guarded_key ga(a);
    const guarded_key gb(b);
    for (uint32_t n = 0; n <= 128; ++n) {
      ASSERT_EQ(tm_key_equal_bits(ga.bytes(), gb.bytes(), n), n <= differing) << n << " of " << differing;
    }
  }
}

TEST(tm_bits_test, copy_bits_clears_what_lies_beyond_at_every_length) {
  dice random(54);
  for (int32_t n = 0; n <= 128; ++n) {
    const guarded_key from(random_key(random));
    guarded_key to(random_key(random));
    test_key expected{};
    for (int32_t i = 0; i < n; ++i) {
      put_bit(expected, i, bit_of(from.copy(), i) != 0);
    }
    tm_key_copy_bits(to.bytes(), from.bytes(), static_cast<uint32_t>(n));
    ASSERT_EQ(to.copy(), expected) << n;
  }
}
