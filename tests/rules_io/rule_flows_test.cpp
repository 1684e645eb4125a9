// SPDX-License-Identifier: Apache-2.0
#include "rule_flows.h"

#include <gtest/gtest.h>

#include "rule_text.h"

namespace {

using namespace v6tool;

TEST(RuleFlows, MapPrefixesToKeys) {
  EXPECT_EQ(prefix_flow(flow_side::source, prefix("2001:db8::/32"), 0x12),
            "table=0,priority=32,ipv6,ipv6_src=2001:db8::/32,actions=set_field:0x0000000000000012->xreg0,goto_table:1");
  EXPECT_EQ(prefix_flow(flow_side::destination, prefix("::/0"), ~uint64_t{0}),
            "table=1,priority=0,ipv6,actions=set_field:0xffffffffffffffff->xreg1,goto_table:2");
}

TEST(RuleFlows, MatchKeysProtocolsAndPorts) {
  rule_entry entry;
  entry.source = {0xA000000000000000U, 3};
  entry.protocol = protocol_tcp;
  entry.protocol_mask = 255;
  entry.destination_port = {80, 0xFFFC};
  entry.verdict = rule_verdict::accept;
  EXPECT_EQ(entry_flow(entry, 7, "NORMAL"),
            "table=2,priority=7,tcp6,tcp_dst=0x50/0xfffc,xreg0=0xa000000000000000/0xe000000000000000,actions=NORMAL");
  entry.verdict = rule_verdict::reject;
  entry.protocol = protocol_icmpv6;
  entry.source_port = {128, 0xFFFF};
  entry.destination_port = {};
  EXPECT_EQ(entry_flow(entry, 65535, "NORMAL"),
            "table=2,priority=65535,icmp6,icmpv6_type=128,xreg0=0xa000000000000000/0xe000000000000000,actions=drop");
  rule_entry last;
  last.rule = max_flow_rules;
  EXPECT_EQ(flow_priority(last), 0U);
  EXPECT_EQ(entry_flow_match(last, flow_priority(last)), "table=2,priority=0,ipv6");
  last.protocol = 47;
  last.protocol_mask = 255;
  EXPECT_EQ(entry_flow_match(last, 1), "table=2,priority=1,ipv6,nw_proto=47");
}

}  // namespace
