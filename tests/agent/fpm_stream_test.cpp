// SPDX-License-Identifier: Apache-2.0
#include "fpm_stream.h"

#include <linux/rtnetlink.h>

#include "agent_fixture.h"
#include "feed_fixture.h"

namespace v6agent {
namespace {

const ip_prefix some = "2001:db8:1::/48"_p;

message_rules some_rules() {
  message_rules rules;
  rules.egress.ports = {{7, 70}, {8, 80}};
  rules.egress.otherwise = 1;
  return rules;
}

class FpmStream : public testing::Test {
 protected:
  bool take(const std::vector<uint8_t> &bytes) { return stream.take(bytes); }
  bool take(const route_text &route) { return take(fpm_frame(route_message_bytes(route))); }

  message_rules rules = some_rules();
  remembering_sink sink;
  fpm_stream stream{rules, sink};
};

TEST_F(FpmStream, tells_of_routes_that_come_and_go) {
  EXPECT_TRUE(take(route_text{some}));
  EXPECT_EQ(sink.routes, (std::map<ip_prefix, uint32_t>{{some, 70}}));
  EXPECT_TRUE(take(route_text{.prefix = some, .interface = 8}));
  EXPECT_EQ(sink.routes[some], 80U);
  EXPECT_TRUE(take(route_text{.prefix = some, .add = false, .type = RTN_UNSPEC}));
  EXPECT_TRUE(sink.routes.empty());
  EXPECT_EQ(sink.withdrawn, 1U);
  EXPECT_EQ(stream.frames(), 3U);
  EXPECT_EQ(sink.bad, 0U);
}

TEST_F(FpmStream, knows_the_port_of_every_kind_of_route) {
  take(route_text{.prefix = "2001:db8:2::/48"_p, .interface = 9});
  take(route_text{.prefix = "2001:db8:3::/48"_p, .interface = std::nullopt});
  take(route_text{.prefix = "2001:db8:4::/48"_p, .interface = std::nullopt, .first_of_many = 8});
  take(route_text{.prefix = "2001:db8:5::/48"_p, .type = RTN_BLACKHOLE});
  take(route_text{.prefix = "::/0"_p});
  take(route_text{.prefix = "2001:db8::1/128"_p});
  EXPECT_EQ(sink.routes, (std::map<ip_prefix, uint32_t>{{"2001:db8:2::/48"_p, 1},
                                                        {"2001:db8:3::/48"_p, 1},
                                                        {"2001:db8:4::/48"_p, 80},
                                                        {"2001:db8:5::/48"_p, 0},
                                                        {"::/0"_p, 70},
                                                        {"2001:db8::1/128"_p, 70}}));
}

TEST_F(FpmStream, leaves_out_what_is_not_its_own) {
  take(route_text{.prefix = some, .family = 2});
  take(route_text{.prefix = some, .table = 255});
  take(route_text{.prefix = some, .table = 1000});
  take(route_text{.prefix = some, .type = RTN_MULTICAST});
  EXPECT_EQ(sink.announced, 0U);
  EXPECT_EQ(sink.bad, 0U);
}

TEST_F(FpmStream, takes_pieces_of_any_size) {
  std::vector<uint8_t> bytes;
  for (uint8_t i = 0; i < 20; ++i) {
    const std::vector<uint8_t> frame = fpm_frame(route_message_bytes({.prefix = {{uint64_t{i} << 56, 0}, 8}}));
    bytes.insert(bytes.end(), frame.begin(), frame.end());
  }
  for (size_t size = 1; size < bytes.size(); size += 13) {
    remembering_sink own;
    fpm_stream pieces(rules, own);
    for (size_t at = 0; at < bytes.size(); at += size) {
      ASSERT_TRUE(pieces.take(std::span(bytes).subspan(at, std::min(size, bytes.size() - at))));
    }
    EXPECT_EQ(own.announced, 20U) << size;
    EXPECT_EQ(own.routes.size(), 20U);
  }
}

TEST_F(FpmStream, several_messages_may_share_a_frame) {
  std::vector<uint8_t> content = route_message_bytes({.prefix = some});
  const std::vector<uint8_t> second = route_message_bytes({.prefix = "2001:db8:2::/48"_p});
  content.insert(content.end(), second.begin(), second.end());
  take(fpm_frame(content));
  EXPECT_EQ(sink.announced, 2U);
}

TEST_F(FpmStream, a_bad_message_is_left_out_and_the_stream_goes_on) {
  std::vector<uint8_t> message = route_message_bytes({.prefix = some});
  message.resize(message.size() - 2);  // says more than it has
  EXPECT_TRUE(take(fpm_frame(message)));
  EXPECT_EQ(sink.bad, 1U);
  EXPECT_TRUE(take(fpm_frame({1, 2, 3})));
  EXPECT_EQ(sink.bad, 2U);
  std::vector<uint8_t> long_prefix = route_message_bytes({.prefix = some});
  long_prefix[sizeof(nlmsghdr) + 1] = 129;  // rtm_dst_len
  EXPECT_TRUE(take(fpm_frame(long_prefix)));
  EXPECT_EQ(sink.bad, 3U);
  EXPECT_TRUE(take(fpm_frame({1, 2, 3}, 1, 2)));
  EXPECT_EQ(sink.bad, 4U);
  EXPECT_EQ(sink.announced, 0U);
  EXPECT_TRUE(take(route_text{some}));
  EXPECT_EQ(sink.announced, 1U);
}

// As a signed number such a length is below that of any frame.
TEST_F(FpmStream, a_message_that_says_two_gigabytes_is_left_out) {
  for (const uint8_t top : {uint8_t{0x80}, uint8_t{0xff}}) {
    std::vector<uint8_t> message = route_message_bytes({.prefix = some});
    message[3] = top;  // of nlmsg_len, least significant byte first
    EXPECT_TRUE(take(fpm_frame(message)));
  }
  EXPECT_EQ(sink.bad, 2U);
  EXPECT_EQ(sink.announced, 0U);
}

TEST_F(FpmStream, a_frame_that_cannot_be_stepped_over_breaks_the_stream) {
  for (const std::vector<uint8_t> &start : {std::vector<uint8_t>{2, 1, 0, 8}, std::vector<uint8_t>{1, 1, 0, 3}}) {
    remembering_sink own;
    fpm_stream broken(rules, own);
    EXPECT_FALSE(broken.take(start));
    EXPECT_EQ(own.bad, 1U);
    EXPECT_NE(broken.fault(), "");
    EXPECT_FALSE(broken.take(fpm_frame(route_message_bytes({.prefix = some}))));
    EXPECT_EQ(own.announced, 0U);
  }
}

TEST_F(FpmStream, host_bits_of_a_route_are_cleared) {
  take(route_text{.prefix = {"2001:db8:1::5"_a, 48}});
  EXPECT_TRUE(sink.routes.contains(some));
}

}  // namespace
}  // namespace v6agent
