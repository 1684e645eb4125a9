// SPDX-License-Identifier: Apache-2.0
#include "trace_driver.h"

#include <fstream>

#include "agent_fixture.h"

namespace v6agent {
namespace {

const rule_place some_rule{60000, {0x5c00000000000000, 6}, {0xffffffffffffffff, 64}, {6, {0, 0}, {443, 0xffff}}};

switch_step some_writes() {
  return {put_lookup({side::source, "2001:db8::/32"_p}, {0x5c00000000000000, 0}),
          put_lookup({side::destination, "::/0"_p}, {0, 7}),
          put_lookup({side::destination, "2001:db8::1/128"_p}, {1, 65535}),
          put_rule(some_rule, rule_action::permit),
          put_rule({1, {}, {}, {}}, rule_action::deny),
          remove_lookup({side::destination, "::/0"_p}),
          remove_rule({1, {}, {}, {}})};
}

std::string content_of(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(TraceDriver, writes_lines_that_read_back) {
  for (const switch_write &write : some_writes()) {
    switch_write again;
    ASSERT_TRUE(parse_trace_line(trace_line(write), again)) << trace_line(write);
    EXPECT_EQ(trace_line(again), trace_line(write));
    switch_image a;
    switch_image b;
    apply_write(a, write);
    apply_write(b, again);
    EXPECT_EQ(a, b);
  }
  EXPECT_EQ(trace_line(some_writes()[1]), "put destination ::/0 key 0x0000000000000000 egress 7");
  EXPECT_EQ(trace_line(some_writes()[3]),
            "put rule 60000 source 0x5c00000000000000/6 destination 0xffffffffffffffff/64 protocol 6 sport 0/0x0 dport "
            "443/0xffff permit");
}

TEST(TraceDriver, refuses_lines_that_are_no_writes) {
  switch_write write;
  for (const char *line :
       {"", "put", "put source", "put source 2001:db8::/32", "put source 2001:db8::/32 key", "put source x/32 key 0x1",
        "put source 2001:db8::/32 key 0x1 egress 1", "put destination 2001:db8::/32 key 0x1", "put rule 1 permit",
        "remove source 2001:db8::/32 key 0x1", "take source 2001:db8::/32", "put source 2001:db8::/32 key 0xg",
        "put rule 70000 source 0x0/0 destination 0x0/0 protocol 6 sport 0/0x0 dport 0/0x0 permit",
        "put rule 7 source 0x0/0 destination 0x0/0 protocol 6 sport 0/0x0 dport 0/0x0 maybe"}) {
    EXPECT_FALSE(parse_trace_line(line, write)) << line;
  }
}

TEST(TraceDriver, remembers_what_its_file_says) {
  const scratch_folder folder;
  switch_image expected;
  {
    trace_driver driver(folder.file("t"));
    EXPECT_EQ(driver.write(some_writes()).status, driver_status::done);
    EXPECT_EQ(driver.write({put_lookup({side::source, "::/0"_p}, {3, 0})}).status, driver_status::done);
  }
  for (const switch_write &write : some_writes()) {
    apply_write(expected, write);
  }
  apply_write(expected, put_lookup({side::source, "::/0"_p}, {3, 0}));
  trace_driver driver(folder.file("t"));
  switch_image found;
  EXPECT_EQ(driver.read(found).status, driver_status::done);
  EXPECT_EQ(found, expected);
}

TEST(TraceDriver, a_step_that_was_cut_off_has_not_happened) {
  const scratch_folder folder;
  {
    trace_driver driver(folder.file("t"));
    driver.write({put_lookup({side::source, "::/0"_p}, {3, 0})});
  }
  const std::string whole = content_of(folder.file("t"));
  {
    trace_driver driver(folder.file("t"));
    driver.write(some_writes());
  }
  const std::string longer = content_of(folder.file("t"));
  for (size_t length = whole.size(); length < longer.size(); length += 7) {
    std::ofstream(folder.file("t"), std::ios::trunc) << longer.substr(0, length);
    trace_driver driver(folder.file("t"));
    switch_image found;
    ASSERT_EQ(driver.read(found).status, driver_status::done) << length;
    EXPECT_EQ(found.lookups.size(), 1U);
    EXPECT_EQ(content_of(folder.file("t")), whole);
  }
}

TEST(TraceDriver, says_that_a_file_is_no_trace) {
  const scratch_folder folder;
  std::ofstream(folder.file("t")) << "put source ::/0 key 0x1\nnonsense\ndone 2\n";
  trace_driver driver(folder.file("t"));
  switch_image found;
  const driver_answer answer = driver.read(found);
  EXPECT_EQ(answer.status, driver_status::unreachable);
  EXPECT_THAT(answer.reason, testing::HasSubstr("nonsense"));
  EXPECT_THROW(trace_driver(folder.file("no/such/folder")), std::runtime_error);
}

}  // namespace
}  // namespace v6agent
