// SPDX-License-Identifier: Apache-2.0
// Addresses, prefixes and codes of the C++ interface: read, printed, compared.
#include <gtest/gtest.h>
#include <zel_v6comp/zel_v6comp.hpp>

#include <string>

namespace {

using v6comp::address;
using v6comp::code;
using v6comp::prefix;

TEST(CxxPrefix, IsReadAndPrinted) {
  for (const char *text : {"::/0", "2001:db8::/32", "2001:db8:1::/48", "8000::/1", "fe80::/9",
                           "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128", "2001:db8::1/128"}) {
    const v6comp::result<prefix> parsed = prefix::parse(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_EQ(to_string(*parsed), text);
  }
}

TEST(CxxPrefix, IsNotReadFromWhatIsNone) {
  const auto no_prefix = std::errc::invalid_argument;
  for (const char *text : {"", "/", "/32", "2001:db8::", "2001:db8::/", "2001:db8::/x", "2001:db8::/32x",
                           "2001:db8::/ 32", "2001:db8::/+32", "2001:db8::/-1", "2001:db8::/032", "2001:db8::/00",
                           "2001:db8::/99999999999", "2001:db8:::/32", "10.0.0.0/8", " ::/0", "::/0 ",
                           "fe80::1%eth0/128", "1111:2222:3333:4444:5555:6666:7777:8888:9999:aaaa:bbbb/16"}) {
    const v6comp::result<prefix> parsed = prefix::parse(text);
    EXPECT_FALSE(parsed) << text;
    EXPECT_EQ(parsed.error(), no_prefix) << text;
    EXPECT_EQ(*parsed, prefix{}) << text;
  }
  using namespace std::string_view_literals;
  EXPECT_EQ(prefix::parse("2001:db8::\0/32"sv).error(), no_prefix);
  EXPECT_EQ(prefix::parse("2001:db8::/129").error(), v6comp::status::length);
  EXPECT_EQ(prefix::parse("2001:db8::/999").error(), v6comp::status::length);
  EXPECT_EQ(prefix::parse("2001:db8::1/32").error(), v6comp::status::host_bits);
  EXPECT_EQ(prefix::parse("2001:db8:8000::/32").error(), v6comp::status::host_bits);
  EXPECT_EQ(prefix::parse("c000::/1").error(), v6comp::status::host_bits);
  EXPECT_EQ(prefix::parse("::1/0").error(), v6comp::status::host_bits);
}

TEST(CxxPrefix, CoversToTheBit) {
  for (unsigned length = 0; length <= 128; ++length) {
    prefix outer{.address = {}, .length = static_cast<std::uint8_t>(length)};
    for (unsigned bit = 0; bit < 128; ++bit) {
      address other{};
      other.bytes[bit / 8] = static_cast<std::uint8_t>(0x80 >> bit % 8);
      EXPECT_EQ(outer.covers(other), bit >= length) << length << ' ' << bit;
    }
    EXPECT_TRUE(outer.covers(outer));
    EXPECT_EQ(outer.covers(prefix{}), length == 0);
    EXPECT_TRUE(prefix{}.covers(outer));
  }
}

TEST(CxxPrefix, IsOrderedByAddressContainingOnesFirst) {
  const prefix all = *prefix::parse("::/0");
  const prefix office = *prefix::parse("2001:db8::/32");
  const prefix inner = *prefix::parse("2001:db8::/48");
  const prefix next = *prefix::parse("2001:db9::/32");
  EXPECT_LT(all, office);
  EXPECT_LT(office, inner);
  EXPECT_LT(inner, next);
}

TEST(CxxCode, PrintsAsManyDigitsAsItNeeds) {
  EXPECT_EQ(to_string(code{}), "0x0/0");
  EXPECT_EQ(to_string(code{std::uint64_t{1} << 63, 1}), "0x8/1");
  EXPECT_EQ(to_string(code{std::uint64_t{0x1ff} << 36, 28}), "0x00001ff/28");
  EXPECT_EQ(to_string(code{std::uint64_t{0x1ff} << 35, 29}), "0x00000ff8/29");
  EXPECT_EQ(to_string(code{UINT64_MAX, 64}), "0xffffffffffffffff/64");
}

TEST(CxxCode, CoversKeysThatBeginWithIt) {
  EXPECT_TRUE(code{}.covers(UINT64_MAX));
  EXPECT_TRUE((code{UINT64_MAX, 64}).covers(UINT64_MAX));
  EXPECT_FALSE((code{UINT64_MAX, 64}).covers(UINT64_MAX - 1));
  const code middle{std::uint64_t{5} << 61, 3};
  EXPECT_TRUE(middle.covers(UINT64_MAX >> 3 | std::uint64_t{5} << 61));
  EXPECT_FALSE(middle.covers(std::uint64_t{4} << 61));
  EXPECT_TRUE(middle.covers(code{std::uint64_t{11} << 60, 4}));
  EXPECT_FALSE((code{std::uint64_t{11} << 60, 4}).covers(middle));
}

TEST(CxxStatus, SaysItself) {
  const std::error_code error = v6comp::status::room;
  EXPECT_STREQ(error.category().name(), "v6comp");
  EXPECT_EQ(error.message(), zel_v6comp_table_text(ZEL_V6COMP_TABLE_E_ROOM));
  EXPECT_EQ(error.value(), ZEL_V6COMP_TABLE_E_ROOM);
  EXPECT_NE(error, v6comp::status::bits);
}

}  // namespace
