// SPDX-License-Identifier: Apache-2.0
#include "row_writer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "option_table.h"
#include "prefix_text.h"
#include "tool_failure.h"

namespace {

using namespace v6tool;

ip_prefix prefix_of(const char *text) {
  ip_prefix prefix;
  EXPECT_EQ(parse_prefix(text, prefix), "") << text;
  return prefix;
}

// What three rows of `list` become in a file.
std::string three_rows(output_options options) {
  const std::filesystem::path file = std::filesystem::path(testing::TempDir()) / ("rows." + std::to_string(getpid()));
  options.file = file.string();
  row_writer writer(options, "list");
  for (const auto &[prefix, weight] : {std::pair{"2001:db8:10::/48", 2U}, {"2001:db8:2::/48", 10U}, {"::/0", 2U}}) {
    const cell cells[] = {prefix_of(prefix), uint64_t{weight}};
    writer.row(cells);
  }
  writer.finish("three\n");
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  std::filesystem::remove(file);
  return content.str();
}

std::string fault_of(const output_options &options) {
  try {
    check_output(options, "list", {});
  } catch (const tool_failure &failure) {
    EXPECT_EQ(failure.code, exit_bad_input);
    return failure.lines.at(0);
  }
  return "";
}

TEST(RowWriter, AFileHasTheRowsAsTheyCame) {
  EXPECT_EQ(three_rows({}), "2001:db8:10::/48\n2001:db8:2::/48\n::/0\nthree\n");
  EXPECT_EQ(three_rows({.format = find_format("csv")}),
            "prefix,weight\n2001:db8:10::/48,2\n2001:db8:2::/48,10\n::/0,2\n");
}

TEST(RowWriter, FieldsArePickedAndOrdered) {
  EXPECT_EQ(three_rows({.format = find_format("csv"), .fields = "weight,prefix"}),
            "weight,prefix\n2,2001:db8:10::/48\n10,2001:db8:2::/48\n2,::/0\n");
  EXPECT_EQ(three_rows({.fields = "weight"}), "2\n10\n2\nthree\n");
  const nlohmann::json rows = nlohmann::json::parse(three_rows({.format = find_format("json"), .fields = "prefix"}));
  EXPECT_EQ(rows,
            nlohmann::json::parse(R"([{"prefix":"2001:db8:10::/48"},{"prefix":"2001:db8:2::/48"},{"prefix":"::/0"}])"));
}

TEST(RowWriter, PrefixesAndNumbersSortByTheirValue) {
  EXPECT_EQ(three_rows({.sort = "prefix"}), "::/0\n2001:db8:2::/48\n2001:db8:10::/48\nthree\n");
  EXPECT_EQ(three_rows({.sort = "prefix:down"}), "2001:db8:10::/48\n2001:db8:2::/48\n::/0\nthree\n");
  EXPECT_EQ(three_rows({.fields = "weight", .sort = "weight:down"}), "10\n2\n2\nthree\n");
  EXPECT_EQ(three_rows({.sort = "weight,prefix"}), "::/0\n2001:db8:10::/48\n2001:db8:2::/48\nthree\n");
  EXPECT_EQ(three_rows({.sort = "weight"}), "2001:db8:10::/48\n::/0\n2001:db8:2::/48\nthree\n") << "equal rows stay";
}

TEST(RowWriter, UnknownFieldsAreRefusedBeforeAnyWork) {
  EXPECT_EQ(fault_of({}), "");
  EXPECT_EQ(fault_of({.fields = "prefix,wieght"}),
            "--fields: no field \"wieght\"; there are prefix, weight; did you mean weight?");
  EXPECT_EQ(fault_of({.sort = "length"}), "--sort: no field \"length\"; there are prefix, weight");
  EXPECT_EQ(fault_of({.sort = "weight:up"}), "--sort: no field \"weight:up\"; there are prefix, weight");
  EXPECT_EQ(fault_of({.fields = ","}), "--fields: no field named");
  EXPECT_EQ(fault_of({.sort = ","}), "--sort: no field named");
  EXPECT_THROW(check_plain_output({.fields = "prefix"}, {}), tool_failure);
  EXPECT_NO_THROW(check_plain_output({}, {}));
}

TEST(RowWriter, RowsOfAnotherLengthAreAMistakeOfTheTool) {
  const output_options options;
  row_writer writer(options, "list");
  const cell one[] = {uint64_t{1}};
  EXPECT_THROW(writer.row(one), std::logic_error);
  EXPECT_THROW(row_writer(options, "nothing"), std::logic_error);
}

TEST(RowTable, NamesAreOfOneFieldAndCommandsExist) {
  std::set<std::string_view> kinds;
  for (const row_kind &kind : row_kinds()) {
    EXPECT_TRUE(kinds.insert(kind.name).second) << kind.name;
    EXPECT_NE(find_command(kind.command), nullptr) << kind.name;
    EXPECT_GT(kind.version, 0U);
    std::set<std::string> names;
    bool is_shown = false;
    for (const column &c : kind.columns) {
      EXPECT_TRUE(names.insert(c.name).second) << kind.name << ' ' << c.name;
      EXPECT_STRNE(c.help, "") << kind.name << ' ' << c.name;
      EXPECT_EQ(c.kind == field_kind::choice, !c.choices.empty()) << kind.name << ' ' << c.name;
      is_shown = is_shown || c.text_width > 0;
    }
    EXPECT_TRUE(is_shown) << kind.name;
  }
}

TEST(OutputFormat, OnlyHeadingsAreColoured) {
  EXPECT_EQ(coloured("a\n", colour::none), "a\n");
  EXPECT_EQ(coloured("a\n", colour::heading), "\x1b[1ma\x1b[0m\n");
  EXPECT_EQ(coloured("", colour::heading), "");
}

}  // namespace
