// SPDX-License-Identifier: Apache-2.0
#include "openflow_text.h"

#include <fstream>

#include "agent_fixture.h"
#include "openflow_driver.h"

namespace v6agent {
namespace {

TEST(OpenflowText, writes_flows) {
  EXPECT_EQ(flow_line(put_lookup({side::source, "2001:db8::/32"_p}, {0x12, 0})),
            "add cookie=0x7636636f6d70,table=0,priority=33,ipv6,ipv6_src=2001:db8::/32,actions=set_field:0x12->xreg0,"
            "goto_table:1");
  EXPECT_EQ(flow_line(put_lookup({side::destination, "::/0"_p}, {0, 7})),
            "add cookie=0x7636636f6d70,table=1,priority=1,ipv6,actions=set_field:0x0->xreg1,set_field:7->reg4,"
            "goto_table:2");
  EXPECT_EQ(flow_line(remove_lookup({side::destination, "2001:db8::1/128"_p})),
            "delete_strict table=1,priority=129,ipv6,ipv6_dst=2001:db8::1/128");
  EXPECT_EQ(flow_line(put_rule({60000, {0x8000000000000000, 2}, {1, 64}, {6, {80, 0xfff0}, {}}}, rule_action::permit)),
            "add cookie=0x7636636f6d70,table=2,priority=60000,tcp6,tp_src=0x50/0xfff0,xreg0=0x8000000000000000/"
            "0xc000000000000000,xreg1=0x1/0xffffffffffffffff,actions=output:NXM_NX_REG4[0..15]");
  EXPECT_EQ(flow_line(remove_rule({1, {}, {}, {89, {}, {}}})), "delete_strict table=2,priority=1,ipv6,nw_proto=89");
}

struct shown_flow {
  const char *line;  // as the switch prints it
  switch_write write;
};

const shown_flow shown_flows[] = {
    {" cookie=0x7636636f6d70, priority=33,ipv6,ipv6_src=2001:db8::/32 actions=set_field:0x12->xreg0,goto_table:1",
     put_lookup({side::source, "2001:db8::/32"_p}, {0x12, 0})},
    {" cookie=0x7636636f6d70, table=1, priority=129,ipv6,ipv6_dst=2001:db8::1 "
     "actions=set_field:0xffffffffffffffff->xreg1,set_field:0x7->reg4,goto_table:2",
     put_lookup({side::destination, "2001:db8::1/128"_p}, {UINT64_MAX, 7})},
    {" cookie=0x7636636f6d70, table=1, priority=1,ipv6 actions=set_field:0->xreg1,set_field:0->reg4,goto_table:2",
     put_lookup({side::destination, "::/0"_p}, {0, 0})},
    {" cookie=0x7636636f6d70, table=2, priority=1000,ipv6,reg0=0x80000000/0xc0000000,reg2=0,reg3=0x1 "
     "actions=output:NXM_NX_REG4[0..15]",
     put_rule({1000, {0x8000000000000000, 2}, {1, 64}, {}}, rule_action::permit)},
    {" cookie=0x7636636f6d70, table=2, priority=999,tcp6,reg2=0x80000000/0x80000000,tp_dst=0x50/0xfff0 actions=drop",
     put_rule({999, {}, {0x8000000000000000, 1}, {6, {}, {0x50, 0xfff0}}}, rule_action::deny)},
    {" cookie=0x7636636f6d70, table=2, icmp6,reg0=0x80000000/0x80000000,icmp_type=128,icmp_code=0 actions=drop",
     put_rule({32768, {0x8000000000000000, 1}, {}, {58, {128, 0xffff}, {0, 0xffff}}}, rule_action::deny)},
    {" cookie=0x7636636f6d70, table=2, priority=6,udp6,tp_dst=53 actions=drop",
     put_rule({6, {}, {}, {17, {}, {53, 0xffff}}}, rule_action::deny)},
};

TEST(OpenflowText, reads_what_a_switch_shows) {
  for (const shown_flow &shown : shown_flows) {
    switch_write write;
    std::string removal;
    ASSERT_EQ(read_flow(shown.line, write, removal), flow_reading::own) << shown.line;
    EXPECT_EQ(write, shown.write) << shown.line;
  }
}

TEST(OpenflowText, tells_foreign_flows_from_own_ones_that_make_no_sense) {
  switch_write write;
  std::string removal;
  for (const char *line : {"", "OFPST_FLOW reply (OF1.5) (xid=0x2):", " priority=0 actions=NORMAL",
                           " cookie=0x5, table=1, priority=1,ipv6 actions=drop"}) {
    EXPECT_EQ(read_flow(line, write, removal), flow_reading::foreign) << line;
  }
  for (const char *line :
       {" cookie=0x7636636f6d70, table=1, priority=1,ipv6 actions=drop",
        " cookie=0x7636636f6d70, table=1, priority=7,ipv6 actions=set_field:0->xreg1,set_field:0->reg4,goto_table:2",
        " cookie=0x7636636f6d70, table=3, priority=1,ipv6 actions=drop",
        " cookie=0x7636636f6d70, table=2, priority=1,ip actions=drop",
        " cookie=0x7636636f6d70, table=2, priority=1,ipv6,reg0=0x1/0x1 actions=drop",
        " cookie=0x7636636f6d70, table=2, priority=1,ipv6,in_port=3 actions=drop",
        " cookie=0x7636636f6d70, table=2, priority=1,ipv6 actions=NORMAL"}) {
    EXPECT_EQ(read_flow(line, write, removal), flow_reading::not_understood) << line;
    EXPECT_TRUE(removal.starts_with("delete_strict ") && removal.find("cookie") == std::string::npos) << removal;
  }
  EXPECT_EQ(removal, "delete_strict  table=2, priority=1,ipv6");
}

// A program in the place of ovs-ofctl.
class OpenflowDriver : public testing::Test {
 protected:
  openflow_driver with(const std::string &script, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const std::string path = folder.file("program");
    std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return openflow_driver({"br0", path, limit});
  }

  scratch_folder folder;
  const switch_step step{put_lookup({side::source, "::/0"_p}, {3, 0})};
};

TEST_F(OpenflowDriver, hands_a_step_over_as_one_bundle) {
  openflow_driver driver = with("echo \"$@\" > " + folder.file("arguments") + "; cat > " + folder.file("lines"));
  EXPECT_EQ(driver.write(step).status, driver_status::done);
  std::string arguments;
  std::string line;
  std::ifstream said(folder.file("arguments"));
  std::getline(said, arguments);
  std::ifstream lines(folder.file("lines"));
  std::getline(lines, line);
  EXPECT_EQ(arguments, "-O OpenFlow15 --bundle add-flows br0 -");
  EXPECT_EQ(line, flow_line(step[0]));
}

TEST_F(OpenflowDriver, tells_a_refusal_from_silence) {
  driver_answer answer =
      with("echo 'Error OFPFMFC_TABLE_FULL for: OFPT_FLOW_MOD (OF1.5) (xid=0x6): ADD' >&2; exit 1").write(step);
  EXPECT_EQ(answer.status, driver_status::refused);
  EXPECT_THAT(answer.reason, testing::HasSubstr("OFPFMFC_TABLE_FULL"));
  answer = with("echo 'ovs-ofctl: br0 is not a bridge or a socket' >&2; exit 1").write(step);
  EXPECT_EQ(answer.status, driver_status::unreachable);
  EXPECT_THAT(answer.reason, testing::HasSubstr("not a bridge"));
  EXPECT_EQ(with("exec sleep 100", std::chrono::milliseconds(200)).write(step).status, driver_status::unreachable);
  EXPECT_EQ(with("kill -9 $$").write(step).status, driver_status::unreachable);
  EXPECT_EQ(openflow_driver({"br0", "/no/such/program", std::chrono::seconds(1)}).write(step).status,
            driver_status::unreachable);
}

TEST_F(OpenflowDriver, counts_its_own_flows) {
  std::optional<size_t> entries;
  const std::string reply = "'OFPST_AGGREGATE reply (OF1.5) (xid=0x6): packet_count=0 byte_count=7 flow_count=";
  openflow_driver driver = with(
      "[ \"$*\" = '-O OpenFlow15 --no-stats --no-names dump-aggregate br0 "
      "cookie=0x7636636f6d70/-1' ] && echo " +
      reply + "5207'");
  EXPECT_EQ(driver.count(entries).status, driver_status::done);
  EXPECT_EQ(entries, 5207U);
  EXPECT_EQ(with("echo " + reply + "'").count(entries).status, driver_status::done);
  EXPECT_EQ(entries, std::nullopt);
  EXPECT_EQ(with("echo nothing").count(entries).status, driver_status::done);
  EXPECT_EQ(entries, std::nullopt);
  EXPECT_EQ(with("exit 1").count(entries).status, driver_status::unreachable);
}

TEST_F(OpenflowDriver, reads_its_own_flows_and_removes_what_it_cannot_understand) {
  std::string script = "if [ \"$4\" = dump-flows ] || [ \"$5\" = dump-flows ]; then cat <<'END'\n";
  for (const shown_flow &shown : shown_flows) {
    script += std::string(shown.line) + "\n";
  }
  script +=
      " cookie=0x7636636f6d70, table=2, priority=1,ipv6 actions=NORMAL\n priority=0 actions=NORMAL\nEND\nelse cat > " +
      folder.file("removed") + "; fi";
  openflow_driver driver = with(script);
  switch_image image;
  ASSERT_EQ(driver.read(image).status, driver_status::done);
  EXPECT_EQ(image.lookups.size(), 3U);
  EXPECT_EQ(image.rules.size(), 4U);
  std::ifstream removed(folder.file("removed"));
  std::string line;
  std::getline(removed, line);
  EXPECT_EQ(line, "delete_strict  table=2, priority=1,ipv6");
}

}  // namespace
}  // namespace v6agent
