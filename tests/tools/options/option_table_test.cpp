// SPDX-License-Identifier: Apache-2.0
#include "option_table.h"

#include <gtest/gtest.h>

#include <set>

#include "help_page.h"
#include "nearest_name.h"

namespace {

using namespace v6tool;

const option_row &option_of(const char *command, const char *name) {
  for (const option_row *row : options_of(*find_command(command))) {
    if (has_name(*row, name)) {
      return *row;
    }
  }
  throw std::runtime_error(name);
}

std::vector<const command_row *> all_commands() {
  std::vector<const command_row *> all = {&tool_row()};
  for (const command_row &row : command_rows()) {
    all.push_back(&row);
  }
  return all;
}

TEST(OptionTable, EveryNameIsOneOptionOfItsCommand) {
  for (const command_row *command : all_commands()) {
    std::set<std::string> names;
    for (const option_row *row : options_of(*command)) {
      for (const std::string &name : names_of(*row)) {
        EXPECT_TRUE(names.insert(name).second) << command->name << ' ' << name;
      }
    }
  }
}

TEST(OptionTable, EveryRowIsTakenBySomeCommandAndEverySetExists) {
  std::set<const option_row *> taken;
  std::set<std::string> sets;
  for (const option_set &set : option_sets()) {
    sets.insert(std::string(set.name));
  }
  for (const command_row *command : all_commands()) {
    for (const option_row *row : options_of(*command)) {
      taken.insert(row);
    }
    for (const std::string &set : split_names(command->sets, ' ')) {
      EXPECT_TRUE(sets.contains(set)) << command->name << ' ' << set;
    }
  }
  EXPECT_EQ(taken.size(), option_rows().size());
  for (const option_row &row : option_rows()) {
    for (const std::string &word : split_names(row.of, ' ')) {
      EXPECT_TRUE(word[0] == '@' ? sets.contains(word.substr(1)) : find_command(word) != nullptr) << word;
    }
  }
}

TEST(OptionTable, HelpQuietAndVersionWorkEverywhere) {
  for (const command_row *command : all_commands()) {
    std::set<std::string> names;
    for (const option_row *row : options_of(*command)) {
      names.insert(std::string(row->names));
    }
    for (const char *wanted : {"-q,--quiet", "-h,--help", "-V,--version"}) {
      EXPECT_TRUE(names.contains(wanted)) << command->name << ' ' << wanted;
    }
  }
}

TEST(OptionTable, DefaultsAreGoodValues) {
  for (const option_row &row : option_rows()) {
    if (!row.standard.empty()) {
      EXPECT_EQ(value_fault(row, std::string(row.standard)), "") << row.names;
    }
  }
}

TEST(OptionTable, WhatIsNoValueIsSaidWithWhatThereIs) {
  const option_row &slots = option_of("plan", "--slots");
  EXPECT_EQ(value_fault(slots, "1"), "");
  EXPECT_EQ(value_fault(slots, "16777216"), "");
  for (const char *text : {"0", "16777217", "", "-1", "+1", " 1", "1 ", "0x10", "1e3", "18446744073709551616"}) {
    EXPECT_EQ(value_fault(slots, text),
              "expected a number from 1 to 16777216, not " + std::string(*text != '\0' ? text : "''"));
  }
  const option_row &pools = option_of("compress", "--pool-elements");
  EXPECT_EQ(value_fault(pools, "auto"), "");
  EXPECT_EQ(value_fault(pools, "7"), "");
  EXPECT_EQ(value_fault(pools, "0"), "expected auto, default, or a number from 1 to 4294967295, not 0");
  EXPECT_EQ(value_fault(option_of("compress", "-f"), "cvs"),
            "no \"cvs\"; there are text, json, ndjson, csv; did you mean csv?");
  EXPECT_EQ(value_fault(option_of("compress", "-o"), "anything"), "");
}

TEST(OptionTable, UsageTellsArgumentsThatMayBeLeftOut) {
  EXPECT_EQ(usage_of(*find_command("lookup")), "v6comp lookup [OPTIONS] TABLE [QUERY...]");
  EXPECT_EQ(usage_of(*find_command("help")), "v6comp help [OPTIONS] [COMMAND]");
  EXPECT_EQ(usage_of(*find_command("plan")), "v6comp plan [OPTIONS] TABLE NEW");
  EXPECT_EQ(usage_of(tool_row()), "v6comp [OPTIONS] COMMAND ...");
}

TEST(NearestName, CountsInsertionsDeletionsReplacementsAndExchanges) {
  EXPECT_EQ(edit_distance("", ""), 0U);
  EXPECT_EQ(edit_distance("", "abc"), 3U);
  EXPECT_EQ(edit_distance("abc", ""), 3U);
  EXPECT_EQ(edit_distance("csv", "cvs"), 1U);
  EXPECT_EQ(edit_distance("kitten", "sitting"), 3U);
  EXPECT_EQ(edit_distance("fromat", "format"), 1U);
}

TEST(NearestName, SaysNothingWhereNothingIsNear) {
  EXPECT_EQ(nearest_name("compres", {"list", "compress"}), "compress");
  EXPECT_EQ(nearest_name("comp", {"list", "compress"}), "compress");
  EXPECT_EQ(nearest_name("squeeze", {"list", "compress"}), "");
  EXPECT_EQ(nearest_name("", {"list"}), "");
  EXPECT_EQ(nearest_name("x", {"list", "on"}), "");
  EXPECT_EQ(meant("jsno", {"text", "json"}), "; did you mean json?");
  EXPECT_EQ(meant("zzzz", {"text", "json"}), "");
}

TEST(HelpPage, NamesEveryOptionOnceAndFitsItsWidth) {
  for (const command_row *command : all_commands()) {
    const std::string page = help_page(*command, 80);
    for (const option_row *row : options_of(*command)) {
      const std::string synopsis =
          is_argument(*row) ? "\n  " + argument_name(*row) + ' ' : '\n' + ("  " + option_synopsis(*row));
      const size_t at = page.find(synopsis);
      ASSERT_NE(at, std::string::npos) << command->name << ' ' << row->names;
      EXPECT_EQ(page.find(synopsis, at + 1), std::string::npos) << command->name << ' ' << row->names;
    }
    for (size_t at = 0; at < page.size();) {
      const size_t end = page.find('\n', at);
      EXPECT_LE(end - at, 80U) << page.substr(at, end - at);
      at = end + 1;
    }
  }
}

TEST(HelpPage, WrapsAtWords) {
  EXPECT_EQ(wrapped("one two three", 7, 2), "one two\n  three");
  EXPECT_EQ(wrapped("  one   two  ", 80, 2), "one two");
  EXPECT_EQ(wrapped("unbreakable x", 5, 0), "unbreakable\nx");
  EXPECT_EQ(wrapped("", 5, 0), "");
}

}  // namespace
