// SPDX-License-Identifier: Apache-2.0
#include "zel_v6comp_dbg.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "../support/test_host.h"

namespace {

struct syslog_call {
  int priority;
  std::string text;
};

std::vector<syslog_call> syslog_calls;

void keep_syslog(int priority, const char *format, va_list args) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, args);
  syslog_calls.push_back({priority, text});
}

std::vector<uint32_t> words() {
  const tcamv6_debug_flags_t &f = tcamv6_debug_flags;
  return {f.trace, f.info, f.error, f.stats, f.result, f.result_hw};
}

using flags = std::vector<uint32_t>;

const flags all_off{0, 0, 0, 0, 0, 0};
const flags only_error{0, 0, 1, 0, 0, 0};

// On or off, whatever the value that means on.
flags on_off() {
  flags result = words();
  for (uint32_t &word : result) {
    word = word != 0 ? 1 : 0;
  }
  return result;
}

// What a call writes to a file descriptor.
template <class Write>
std::string written(Write write_line) {
  int ends[2];
  if (pipe(ends) != 0) {
    return "no pipe";
  }
  write_line(ends[1]);
  close(ends[1]);
  std::string text(4096, '\0');
  const ssize_t n = read(ends[0], text.data(), text.size());
  close(ends[0]);
  text.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return text;
}

class zel_v6comp_dbg_test : public ::testing::Test {
 protected:
  void SetUp() override {
    test_host::reset();
    tcamv6_debug_flags = {};
    syslog_calls.clear();
  }
  void TearDown() override {
    tcamv6_debug_flags = {};
    test_host::reset();
  }
};

}  // namespace

// The system log of this program: the plain call, and the one that fortified builds make instead.
extern "C" {
void syslog(int priority, const char *format, ...) {
  va_list args;
  va_start(args, format);
  keep_syslog(priority, format, args);
  va_end(args);
}

void __syslog_chk(int priority, int flag, const char *format, ...) {
  static_cast<void>(flag);
  va_list args;
  va_start(args, format);
  keep_syslog(priority, format, args);
  va_end(args);
}
}

TEST_F(zel_v6comp_dbg_test, init_with_no_variable_set_leaves_only_the_error_word_on) {
  tcamv6_debug_flags = {9, 9, 0, 9, 9, 9};
  zel_v6comp_dbg_init();
  EXPECT_EQ(words(), only_error);
  EXPECT_TRUE(test_host::console_calls().empty());
  EXPECT_TRUE(test_host::log_calls().empty());
}

TEST_F(zel_v6comp_dbg_test, init_asks_for_the_three_variables_in_their_order) {
  zel_v6comp_dbg_init();
  EXPECT_EQ(test_host::environment_lookups(),
            (std::vector<std::string>{"ZEL_V6COMP_DBG_TRACE", "ZEL_V6COMP_DBG_INFO", "ZEL_V6COMP_DBG_RESULT"}));
}

TEST_F(zel_v6comp_dbg_test, each_variable_turns_its_words_on_and_prints_its_banner_on_the_console) {
  const struct {
    const char *variable, *what;
    flags expected;
  } cases[] = {
      {"ZEL_V6COMP_DBG_TRACE", "trace", {1, 0, 1, 0, 0, 0}},
      {"ZEL_V6COMP_DBG_INFO", "info", {0, 1, 1, 1, 0, 0}},
      {"ZEL_V6COMP_DBG_RESULT", "result", {0, 0, 1, 0, 1, 1}},
  };
  for (const auto &one : cases) {
    test_host::reset();
    test_host::set_environment(one.variable, "yes");
    zel_v6comp_dbg_init();
    EXPECT_EQ(words(), one.expected) << one.variable;
    EXPECT_EQ(test_host::console_calls(),
              (std::vector<std::string>{std::string("\nZEL V6COMP LIB: enable ") + one.what + " debugging messages"}));
    EXPECT_TRUE(test_host::log_calls().empty());
  }
}

TEST_F(zel_v6comp_dbg_test, variable_counts_as_set_whatever_its_value) {
  for (const char *value : {"", "0", "no"}) {
    test_host::reset();
    test_host::set_environment("ZEL_V6COMP_DBG_TRACE", value);
    zel_v6comp_dbg_init();
    EXPECT_EQ(tcamv6_debug_flags.trace, 1u) << '"' << value << '"';
  }
}

TEST_F(zel_v6comp_dbg_test, all_three_variables_give_three_banners_in_order_and_all_words) {
  for (const char *name : {"ZEL_V6COMP_DBG_RESULT", "ZEL_V6COMP_DBG_INFO", "ZEL_V6COMP_DBG_TRACE"}) {
    test_host::set_environment(name, "1");
  }
  zel_v6comp_dbg_init();
  EXPECT_EQ(words(), (flags{1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(test_host::console_calls(),
            (std::vector<std::string>{"\nZEL V6COMP LIB: enable trace debugging messages",
                                      "\nZEL V6COMP LIB: enable info debugging messages",
                                      "\nZEL V6COMP LIB: enable result debugging messages"}));
}

TEST_F(zel_v6comp_dbg_test, every_init_resets_earlier_settings_and_registers_the_callback_again) {
  zel_v6comp_dbg_init();
  zel_v6comp_dbg_set_by_level(7);
  zel_v6comp_dbg_init();
  EXPECT_EQ(words(), only_error);
  EXPECT_EQ(test_host::registered_callbacks(),
            (std::vector<test_host::debug_all_callback>{zel_v6comp_debug_all, zel_v6comp_debug_all}));
}

TEST_F(zel_v6comp_dbg_test, setters_write_the_given_value_into_their_words_only) {
  const struct {
    void (*set)(uint32_t on);
    flags mask;
  } cases[] = {
      {zel_v6comp_dbg_trace_set, {1, 0, 0, 0, 0, 0}},  {zel_v6comp_dbg_info_set, {0, 1, 0, 1, 0, 0}},
      {zel_v6comp_dbg_error_set, {0, 0, 1, 0, 0, 0}},  {zel_v6comp_dbg_warning_set, {0, 0, 1, 0, 0, 0}},
      {zel_v6comp_dbg_result_set, {0, 0, 0, 0, 1, 1}},
  };
  for (const auto &one : cases) {
    for (const uint32_t on : {1u, 0u, 2u, 0xFFFFFFFFu}) {
      tcamv6_debug_flags = {7, 7, 7, 7, 7, 7};
      one.set(on);
      flags expected;
      for (const uint32_t written : one.mask) {
        expected.push_back(written != 0 ? on : 7);
      }
      EXPECT_EQ(words(), expected) << on;
    }
  }
}

TEST_F(zel_v6comp_dbg_test, warning_set_to_0_turns_error_reports_off) {
  zel_v6comp_dbg_init();
  zel_v6comp_dbg_warning_set(0);
  EXPECT_EQ(words(), all_off);
}

TEST_F(zel_v6comp_dbg_test, level_2_is_silent_3_and_6_are_errors_only_7_and_255_are_everything) {
  for (const flags &before : {all_off, flags{1, 1, 1, 1, 1, 1}}) {
    for (uint32_t level = 0; level < 10; ++level) {
      tcamv6_debug_flags = {before[0], before[1], before[2], before[3], before[4], before[5]};
      zel_v6comp_dbg_set_by_level(level);
      EXPECT_EQ(on_off(), level >= 7 ? flags({1, 1, 1, 1, 1, 1}) : level >= 3 ? only_error : all_off) << level;
    }
  }
  zel_v6comp_dbg_set_by_level(255);
  EXPECT_EQ(on_off(), (flags{1, 1, 1, 1, 1, 1}));
}

TEST_F(zel_v6comp_dbg_test, level_is_compared_unsigned) {
  zel_v6comp_dbg_set_by_level(0xFFFFFFFF);
  EXPECT_EQ(on_off(), (flags{1, 1, 1, 1, 1, 1}));
}

TEST_F(zel_v6comp_dbg_test, debug_all_on_changes_nothing) {
  tcamv6_debug_flags = {0, 3, 0, 0, 5, 0};
  for (const int32_t on : {1, -1, 2}) {
    zel_v6comp_debug_all(on);
    EXPECT_EQ(words(), (flags{0, 3, 0, 0, 5, 0})) << on;
  }
}

TEST_F(zel_v6comp_dbg_test, debug_all_off_after_level_7_leaves_only_error_on) {
  zel_v6comp_dbg_set_by_level(7);
  zel_v6comp_debug_all(0);
  EXPECT_EQ(words(), only_error);
  zel_v6comp_dbg_error_set(0);
  zel_v6comp_debug_all(0);
  EXPECT_EQ(words(), only_error) << "the default, also from silence";
}

TEST_F(zel_v6comp_dbg_test, host_words_are_zero_and_lie_in_their_order) {
  const int32_t *const in_order[] = {&tcamv6_debug_processing_flag, &tcamv6_debug_trace_flag,
                                     &tcamv6_debug_errors_flag,     &tcamv6_debug_result_flag,
                                     &tcamv6_debug_profiling_flag,  &tcamv6_debug_incremental_flag};
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(*in_order[i], 0);
    if (i > 0) {
      EXPECT_LT(reinterpret_cast<uintptr_t>(in_order[i - 1]), reinterpret_cast<uintptr_t>(in_order[i])) << i;
    }
  }
}

TEST_F(zel_v6comp_dbg_test, host_words_steer_nothing) {
  tcamv6_debug_processing_flag = tcamv6_debug_trace_flag = tcamv6_debug_errors_flag = 1;
  zel_v6comp_dbg_init();
  EXPECT_EQ(words(), only_error);
  EXPECT_EQ(tcamv6_debug_trace_flag, 1);
  tcamv6_debug_processing_flag = tcamv6_debug_trace_flag = tcamv6_debug_errors_flag = 0;
}

TEST_F(zel_v6comp_dbg_test, write_to_file_formats_one_line) {
  EXPECT_EQ(written([](int fd) { tcamv6_write_to_file(fd, "%s: %d", "prefix", 64); }), "prefix: 64\n");
  EXPECT_EQ(written([](int fd) { tcamv6_write_to_file(fd, "%s", ""); }), "\n");
  EXPECT_TRUE(syslog_calls.empty());
}

TEST_F(zel_v6comp_dbg_test, write_to_file_cuts_a_line_at_255_characters_before_the_line_end) {
  for (const size_t length : {254u, 255u, 256u, 257u, 1000u}) {
    const std::string line(length, 'x');
    EXPECT_EQ(written([&](int fd) { tcamv6_write_to_file(fd, "%s", line.c_str()); }),
              std::string(std::min<size_t>(length, 255), 'x') + "\n")
        << length;
  }
}

TEST_F(zel_v6comp_dbg_test, write_to_file_ends_the_line_at_a_nul_character) {
  EXPECT_EQ(written([](int fd) { tcamv6_write_to_file(fd, "ab%cde", 0); }), "ab\n");
}

TEST_F(zel_v6comp_dbg_test, failed_write_is_reported_to_the_system_log) {
  tcamv6_write_to_file(-1, "%s", "lost");
  ASSERT_EQ(syslog_calls.size(), 1u);
  EXPECT_EQ(syslog_calls[0].priority, 3);
  EXPECT_EQ(syslog_calls[0].text, "tcamv6_write_to_file:319 write failed");
  EXPECT_TRUE(test_host::log_calls().empty());
}
