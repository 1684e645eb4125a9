// SPDX-License-Identifier: Apache-2.0
#include "tm_prefix_internal.h"

#include <cstddef>

#include "utils_fixture.h"

namespace {

tcamv6_prefix prefix(const char *address, uint8_t length) {
  tcamv6_prefix result{};
  std::memcpy(result.address, key_of(address).data(), 16);
  result.length = length;
  return result;
}

int compare(const tcamv6_prefix &a, const tcamv6_prefix &b) { return tm_cmp_v6_pref(&a, &b); }

// The compare as it is worded, byte by byte.
int compare_by_the_book(const tcamv6_prefix &a, const tcamv6_prefix &b) {
  if (a.length != b.length) {
    return b.length - a.length;
  }
  const int whole = a.length / 8;
  for (int k = 0; k < whole; ++k) {
    if (a.address[k] != b.address[k]) {
      return a.address[k] - b.address[k];
    }
  }
  const int rest = a.length % 8;
  if (rest == 0) {
    return 0;
  }
  const int mask = (1 << rest) - 1;
  return (a.address[whole] & mask) - (b.address[whole] & mask);
}

int sign(int value) { return (value > 0) - (value < 0); }

}  // namespace

TEST(tm_prefix_test, longer_prefix_sorts_first_by_the_difference_of_lengths) {
  EXPECT_EQ(compare(prefix("2001:db8::", 48), prefix("2001:db8::", 64)), 16);
  EXPECT_EQ(compare(prefix("2001:db8::", 64), prefix("2001:db8::", 48)), -16);
  EXPECT_EQ(compare(prefix("::", 0), prefix("::", 128)), 128);
}

TEST(tm_prefix_test, two_slash_4_that_differ_in_high_bits_only_compare_equal) {
  EXPECT_EQ(compare(prefix("2000::", 4), prefix("3000::", 4)), 0);
  EXPECT_EQ(compare(prefix("2f00::", 4), prefix("2000::", 4)), 15) << "the low bits of the byte decide";
}

TEST(tm_prefix_test, two_defaults_are_equal_whatever_their_addresses) {
  EXPECT_EQ(compare(prefix("::", 0), prefix("ffff::", 0)), 0);
}

TEST(tm_prefix_test, whole_bytes_ascend_unsigned) {
  EXPECT_EQ(compare(prefix("2001:db8::", 32), prefix("2001:db9::", 32)), -1);
  EXPECT_EQ(compare(prefix("ff00::", 8), prefix("100::", 8)), 0xFF - 1);
  EXPECT_EQ(compare(prefix("2001:db8:ff00::", 32), prefix("2001:db8::", 32)), 0) << "beyond the length";
  EXPECT_EQ(compare(prefix("::ff", 128), prefix("::", 128)), 255);
}

TEST(tm_prefix_test, compare_agrees_with_its_wording_at_every_length) {
  dice random(61);
  for (uint32_t round = 0; round < 40000; ++round) {
    tcamv6_prefix a = prefix("2001:db8::", static_cast<uint8_t>(random.below(129)));
    for (uint32_t flips = random.below(4); flips > 0; --flips) {
      a.address[random.below(16)] = static_cast<uint8_t>(random.below(256));
    }
    tcamv6_prefix b = a;
    for (uint32_t flips = random.below(3); flips > 0; --flips) {
      b.address[random.below(16)] ^= static_cast<uint8_t>(1u << random.below(8));
    }
    b.length = random.chance(4) ? static_cast<uint8_t>(random.below(129)) : a.length;
    a.flags_tag = random.below(1000);
    b.weight = random.below(1000);
    ASSERT_EQ(compare(a, b), compare_by_the_book(a, b)) << +a.length << " " << +b.length;
    ASSERT_EQ(tm_cmp_v6_bits(a.length, a.address, b.length, b.address), compare_by_the_book(a, b));
  }
}

TEST(tm_prefix_test, lengths_above_128_compare_as_they_are_and_16_bytes_are_read) {
  const guarded_key a(key_of("2001:db8::1"));
  const guarded_key b(key_of("2001:db8::2"));
  EXPECT_LT(tm_cmp_v6_bits(255, a.bytes(), 255, b.bytes()), 0);
  EXPECT_EQ(tm_cmp_v6_bits(255, a.bytes(), 129, a.bytes()), -126);
  EXPECT_EQ(tm_cmp_v6_bits(200, a.bytes(), 127, a.bytes()), -73);
  EXPECT_EQ(tm_cmp_v6_bits(127, a.bytes(), 127, b.bytes()), 1 - 2);
}

TEST(tm_prefix_test, length_order_is_ascending_and_unsigned) {
  const uint8_t lengths[] = {0, 1, 64, 127, 128, 255};
  for (const uint8_t x : lengths) {
    for (const uint8_t y : lengths) {
      const tcamv6_prefix a = prefix("ffff::", x);
      const tcamv6_prefix b = prefix("::", y);
      EXPECT_EQ(tm_prefix_length_cmp(&a, &b), sign(x - y)) << +x << " " << +y;
    }
  }
}

TEST(tm_prefix_test, tag_order_is_ascending_and_ignores_the_flags) {
  const uint32_t tags[] = {0, 1, 2, 0x7FFFF, 0x80000, 0xFFFFF};
  for (const uint32_t x : tags) {
    for (const uint32_t y : tags) {
      tcamv6_cmpr_pref a{};
      tcamv6_cmpr_pref b{};
      a.flags_tag = (x << 12) | 0xFFF;
      b.flags_tag = y << 12;
      EXPECT_EQ(tm_cmpr_pref_tag_cmp(&a, &b), x < y ? -1 : x > y ? 1 : 0) << x << " " << y;
    }
  }
}

TEST(tm_prefix_test, tag_is_the_upper_20_bits_and_flags_survive_it) {
  EXPECT_EQ(tm_prefix_tag(0xFFFFFFFF), 0xFFFFFu);
  EXPECT_EQ(tm_prefix_tag(0xFFF), 0u);
  EXPECT_EQ(tm_prefix_with_tag(0xABCDE123, 0x54321), 0x54321123u);
  EXPECT_EQ(tm_prefix_with_tag(1, 0x12345678), 0x45678001u) << "the low 20 bits of a longer tag";
}

TEST(tm_prefix_test, record_whose_weight_equals_its_anchor_reference_is_an_anchor) {
  tcamv6_prefix record = prefix("2001:db8::", 32);
  EXPECT_TRUE(tm_prefix_is_anchor(&record)) << "weight 0 counts as an anchor";
  record.weight = 1;
  EXPECT_FALSE(tm_prefix_is_anchor(&record));
  record.anchor_ref = 1;
  EXPECT_TRUE(tm_prefix_is_anchor(&record));
  EXPECT_STREQ(tm_anchor_text(true), "Anchor Prefix");
  EXPECT_STREQ(tm_anchor_text(false), "");
}
