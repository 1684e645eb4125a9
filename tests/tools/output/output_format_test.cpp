// SPDX-License-Identifier: Apache-2.0
#include "output_format.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "json_summary.h"

namespace {

using namespace v6tool;

std::string two_rows(const std::string &format) {
  const output_format &f = *find_format(format);
  const std::vector<column> columns = {{"name", 6}, {"length_bits", 0}, {"found", 5}, {"note", 4}};
  const std::vector<cell> first = {std::string("a\"b,c"), uint64_t{7}, true, std::monostate{}};
  const std::vector<cell> second = {std::string("d"), uint64_t{0}, false, std::string("x")};
  std::string out;
  f.begin(out, columns);
  f.row(out, columns, first, true);
  f.row(out, columns, second, false);
  f.end(out, false);
  return out;
}

std::string no_rows(const std::string &format) {
  const std::vector<column> columns = {{"name", 6}, {"note", 4}};
  std::string out;
  find_format(format)->begin(out, columns);
  find_format(format)->end(out, true);
  return out;
}

TEST(OutputFormat, TextAlignsWhatPeopleReadAndLeavesOutTheRest) {
  EXPECT_EQ(two_rows("text"), "a\"b,c  yes   -\nd      no    x\n");
  EXPECT_EQ(no_rows("text"), "");
}

TEST(OutputFormat, JsonIsOneArrayOfObjects) {
  const nlohmann::json rows = nlohmann::json::parse(two_rows("json"));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["name"], "a\"b,c");
  EXPECT_EQ(rows[0]["length_bits"], 7);
  EXPECT_EQ(rows[0]["found"], true);
  EXPECT_TRUE(rows[0]["note"].is_null());
  EXPECT_EQ(rows[1]["note"], "x");
  EXPECT_TRUE(nlohmann::json::parse(no_rows("json")).empty());
}

TEST(OutputFormat, NdjsonIsOneObjectALine) {
  const std::string out = two_rows("ndjson");
  const size_t end = out.find('\n');
  EXPECT_EQ(nlohmann::json::parse(out.substr(0, end))["length_bits"], 7);
  EXPECT_EQ(nlohmann::json::parse(out.substr(end + 1))["name"], "d");
  EXPECT_EQ(no_rows("ndjson"), "");
}

TEST(OutputFormat, CsvQuotesWhatHoldsCommasOrQuotes) {
  EXPECT_EQ(two_rows("csv"), "name,length_bits,found,note\n\"a\"\"b,c\",7,true,\nd,0,false,x\n");
  EXPECT_EQ(no_rows("csv"), "name,note\n");
}

TEST(OutputFormat, UnknownFormatsAreNotFound) {
  EXPECT_EQ(find_format("xml"), nullptr);
  EXPECT_EQ(find_format(""), nullptr);
  EXPECT_EQ(format_names(), "text|json|ndjson|csv");
}

TEST(OutputFormat, BytesThatAreNoTextBecomeValidJson) {
  EXPECT_TRUE(nlohmann::json::accept(json_text("\xff\x01\"\\")));
}

}  // namespace
