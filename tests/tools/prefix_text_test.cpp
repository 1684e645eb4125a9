// SPDX-License-Identifier: Apache-2.0
#include "prefix_text.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace v6tool;

ip_prefix prefix(const std::string &text) {
  ip_prefix out;
  EXPECT_EQ(parse_prefix(text, out), "") << text;
  return out;
}

std::string fault(const std::string &text) {
  ip_prefix out;
  return parse_prefix(text, out);
}

TEST(PrefixText, EveryWayOfWritingAnAddressMeansTheSame) {
  const ip_key expected = {0x20010DB800000000U, 1};
  for (const char *text : {"2001:db8::1", "2001:DB8::1", "2001:0db8:0:0:0:0:0:1", "2001:db8::0.0.0.1"}) {
    ip_key key;
    ASSERT_TRUE(parse_address(text, key)) << text;
    EXPECT_EQ(key, expected) << text;
  }
}

TEST(PrefixText, WhatIsNoAddressIsRefusedAndLeavesTheOutputAlone) {
  const std::string with_nul("::1\0", 4);
  for (const std::string &text : {std::string(""), std::string(":"), std::string(":::"), std::string("1::2::3"),
                                  std::string("12345::"), std::string("2001:db8"), std::string("1.2.3.4"),
                                  std::string("::1%eth0"), std::string(" ::1"), with_nul, std::string(100, '1')}) {
    ip_key key = {1, 2};
    EXPECT_FALSE(parse_address(text, key)) << text;
    EXPECT_EQ(key, (ip_key{1, 2}));
  }
}

TEST(PrefixText, LengthsFrom0To128AreTaken) {
  EXPECT_EQ(prefix("::/0").length, 0);
  EXPECT_EQ(prefix("::1/128").length, 128);
  EXPECT_EQ(prefix("8000::/1").key.hi, uint64_t{1} << 63);
}

TEST(PrefixText, FaultsOfAPrefixAreNamed) {
  EXPECT_EQ(fault("2001:db8::"), "no /length");
  EXPECT_EQ(fault("2001:db8::/"), "bad prefix length, expected 0 to 128");
  EXPECT_EQ(fault("2001:db8::/x"), "bad prefix length, expected 0 to 128");
  EXPECT_EQ(fault("2001:db8::/-1"), "bad prefix length, expected 0 to 128");
  EXPECT_EQ(fault("2001:db8::/3 2"), "bad prefix length, expected 0 to 128");
  EXPECT_EQ(fault("2001:db8::/032"), "bad prefix length, expected 0 to 128 without a leading zero");
  EXPECT_EQ(fault("::/00"), "bad prefix length, expected 0 to 128 without a leading zero");
  EXPECT_EQ(fault("2001:db8::/129"), "prefix length above 128");
  EXPECT_EQ(fault("2001:db8::/99999999999999999999"), "prefix length above 128");
  EXPECT_EQ(fault("2001:db8:::/32"), "not an IPv6 address");
  EXPECT_EQ(fault("10.0.0.0/8"), "not an IPv6 address");
  EXPECT_EQ(fault("/32"), "not an IPv6 address");
}

TEST(PrefixText, ABitJustBeyondTheLengthIsSeenAndTheLastOneInsideIsNot) {
  EXPECT_EQ(fault("2001:db8:0:1::/63"), "bits set beyond /63");
  EXPECT_EQ(fault("2001:db8:0:1::/64"), "");
  EXPECT_EQ(fault("2001:db8::1/32"), "bits set beyond /32");
  EXPECT_EQ(fault("::1/127"), "bits set beyond /127");
  EXPECT_EQ(fault("8000::/0"), "bits set beyond /0");
}

TEST(PrefixText, WeightsRunFrom1To32Bits) {
  uint32_t weight = 5;
  EXPECT_EQ(parse_weight("1", weight), "");
  EXPECT_EQ(weight, 1U);
  EXPECT_EQ(parse_weight("4294967295", weight), "");
  EXPECT_EQ(weight, 4294967295U);
  EXPECT_EQ(parse_weight("4294967296", weight), "weight above 4294967295");
  EXPECT_EQ(parse_weight("0", weight), "a weight of 0 would make the prefix an anchor; the least is 1");
  for (const char *text : {"", "-1", "+1", "1.5", "0x10", "ten", "1e3"}) {
    EXPECT_EQ(parse_weight(text, weight), "bad weight, expected a whole number from 1 to 4294967295") << text;
  }
  EXPECT_EQ(weight, 4294967295U);
}

TEST(PrefixText, PrintedPrefixesReadBackAsTheyWere) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 5000; ++i) {
    const auto length = static_cast<uint8_t>(random() % 129);
    const ip_key sparse = {random() & random() & random(), random() & random() & random()};
    const ip_prefix p = {masked(sparse, length), length};
    ASSERT_EQ(prefix(format_prefix(p)), p);
  }
}

TEST(PrefixText, CompressedPrefixesShowAsManyDigitsAsHoldTheirBits) {
  EXPECT_EQ(format_code({{0, 0}, 0}), "0x0/0");
  EXPECT_EQ(format_code({{uint64_t{1} << 63, 0}, 1}), "0x8/1");
  EXPECT_EQ(format_code({{0x8A40000000000000U, 0}, 12}), "0x8a4/12");
  EXPECT_EQ(format_code({{0x8A48000000000000U, 0}, 13}), "0x8a48/13");
  EXPECT_EQ(format_code({{0x0123456789ABCDEFU, 0}, 64}), "0x0123456789abcdef/64");
  EXPECT_EQ(format_code({{1, uint64_t{9} << 60}, 68}), "0x00000000000000019/68");
}

TEST(PrefixText, CompressedAddressesShow64Bits) {
  EXPECT_EQ(format_code_address({0x0123456789ABCDEFU, 0}), "0x0123456789abcdef");
  EXPECT_EQ(format_code_address({0, 0}), "0x0000000000000000");
}

TEST(PrefixText, TextFromOutsideCannotReachTheTerminal) {
  EXPECT_EQ(printable("a\x1b[2Jb"), "a\\x1b[2Jb");
  EXPECT_EQ(printable(std::string("\0\x7f\xff", 3)), "\\x00\\x7f\\xff");
  EXPECT_EQ(printable(std::string(100, 'x')), std::string(60, 'x') + "...");
}

}  // namespace
