// SPDX-License-Identifier: Apache-2.0
#include "prefix_value.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace v6tool;

// The slow twins: one bit at a time.
bool naive_contains(const ip_prefix &a, const ip_prefix &b) {
  for (unsigned i = 0; i < a.length; ++i) {
    if (i >= b.length || bit_at(a.key, i) != bit_at(b.key, i)) {
      return false;
    }
  }
  return true;
}

TEST(PrefixValue, LeadingOnesSetsExactlyThatManyBits) {
  for (unsigned length = 0; length <= 128; ++length) {
    const ip_key mask = leading_ones(length);
    for (unsigned i = 0; i < 128; ++i) {
      ASSERT_EQ(bit_at(mask, i), i < length) << length << ' ' << i;
    }
  }
}

TEST(PrefixValue, CommonBitsEndsAtTheFirstDifference) {
  const ip_key base = {0x123456789ABCDEF0U, 0x0FEDCBA987654321U};
  EXPECT_EQ(common_bits(base, base), 128U);
  for (unsigned i = 0; i < 128; ++i) {
    ip_key other = base;
    (i < 64 ? other.hi : other.lo) ^= uint64_t{1} << (63 - i % 64);
    ASSERT_EQ(common_bits(base, other), i);
  }
}

TEST(PrefixValue, BytesAndKeysAreTheSameBits) {
  uint8_t bytes[16];
  uint8_t back[16];
  for (uint8_t i = 0; i < 16; ++i) {
    bytes[i] = static_cast<uint8_t>(17 * i);
  }
  const ip_key key = key_from_bytes(bytes);
  EXPECT_EQ(key.hi, 0x0011223344556677U);
  EXPECT_EQ(key.lo, 0x8899AABBCCDDEEFFU);
  key_to_bytes(key, back);
  EXPECT_TRUE(std::equal(bytes, bytes + 16, back));
}

TEST(PrefixValue, NeighboursCarryBetweenTheWordsAndWrapAtTheEnds) {
  const uint64_t all = ~uint64_t{0};
  EXPECT_EQ(next_key({7, all}), (ip_key{8, 0}));
  EXPECT_EQ(previous_key({8, 0}), (ip_key{7, all}));
  EXPECT_EQ(next_key({all, all}), (ip_key{0, 0}));
  EXPECT_EQ(previous_key({0, 0}), (ip_key{all, all}));
}

TEST(PrefixValue, FirstAndLastAddressAreTheEdgesOfThePrefix) {
  const ip_prefix p = {{0x20010DB800000000U, 0}, 47};
  EXPECT_EQ(first_address(p), p.key);
  EXPECT_EQ(last_address(p), (ip_key{0x20010DB80001FFFFU, ~uint64_t{0}}));
  EXPECT_TRUE(covers(p, last_address(p)));
  EXPECT_FALSE(covers(p, next_key(last_address(p))));
  EXPECT_FALSE(covers(p, previous_key(p.key)));
}

TEST(PrefixValue, ContainsAgreesWithABitByBitComparison) {
  std::mt19937_64 random(1);
  unsigned contained = 0;
  for (int i = 0; i < 20000; ++i) {
    const ip_key key = {random(), random()};
    const auto a_length = static_cast<uint8_t>(random() % 129);
    const auto b_length = static_cast<uint8_t>(random() % 129);
    ip_key other = key;  // differs in one bit, half of the time
    if (random() % 2 == 0) {
      (random() % 2 == 0 ? other.hi : other.lo) ^= uint64_t{1} << (random() % 64);
    }
    const ip_prefix a = {masked(key, a_length), a_length};
    const ip_prefix b = {masked(other, b_length), b_length};
    ASSERT_EQ(contains(a, b), naive_contains(a, b));
    contained += contains(a, b) ? 1 : 0;
  }
  EXPECT_GT(contained, 1000U);
}

TEST(PrefixValue, SortedPrefixesStandBeforeWhatLiesInsideThem) {
  const ip_prefix slash0 = {};
  const ip_prefix slash16 = {{0x2001000000000000U, 0}, 16};
  const ip_prefix slash32 = {{0x2001000000000000U, 0}, 32};
  const ip_prefix other = {{0x2001000100000000U, 0}, 32};
  EXPECT_LT(slash0, slash16);
  EXPECT_LT(slash16, slash32);
  EXPECT_LT(slash32, other);
}

}  // namespace
