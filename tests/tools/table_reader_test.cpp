// SPDX-License-Identifier: Apache-2.0
#include "table_reader.h"
#include "source_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "prefix_text.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;
using testing::IsEmpty;

struct parsed {
  bool good = false;
  prefix_table table;
  read_report report;
};

parsed parse(std::string_view content, size_t max_rows = 65534) {
  parsed p;
  p.good = parse_table("t.txt", content, max_rows, p.table, p.report);
  return p;
}

std::vector<std::string> rows_of(const prefix_table &table) {
  std::vector<std::string> texts;
  for (const table_row &row : table.rows) {
    texts.push_back(std::to_string(row.line) + ' ' + format_prefix(row.prefix) + ' ' + std::to_string(row.weight));
  }
  return texts;
}

TEST(TableReader, LinesAreAPrefixAndMaybeAWeight) {
  const parsed p = parse("2001:db8::/32\n2001:db8:1::/48 7\n::/0\t4294967295\n");
  EXPECT_TRUE(p.good);
  EXPECT_THAT(rows_of(p.table), ElementsAre("1 2001:db8::/32 1", "2 2001:db8:1::/48 7", "3 ::/0 4294967295"));
  EXPECT_EQ(p.report.warnings.total, 0U);
}

TEST(TableReader, CommentsBlanksAndForeignLineEndsAreNoData) {
  const parsed p = parse("# head\r\n\r\n   \t\n  ::/0  # all \r\n\t8000::/1 2\t\r\n4000::/2");
  EXPECT_TRUE(p.good);
  EXPECT_THAT(rows_of(p.table), ElementsAre("4 ::/0 1", "5 8000::/1 2", "6 4000::/2 1"));
}

TEST(TableReader, EveryFaultNamesItsPlaceAndItsText) {
  const parsed p = parse(
      "2001:db8::1/32\n"
      "2001:db8:::/32\n"
      "2001:db8::/200\n"
      "2001:db8::/32 0\n"
      "2001:db8::/32 5000000000\n"
      "2001:db8::/32 1 next-hop\n"
      "2001:db8::\n"
      "\x1b[31m/32\n");
  EXPECT_FALSE(p.good);
  EXPECT_THAT(
      p.report.faults.texts,
      ElementsAre("t.txt:1: 2001:db8::1/32: bits set beyond /32 (--mask clears them)",
                  "t.txt:2: 2001:db8:::/32: not an IPv6 address", "t.txt:3: 2001:db8::/200: prefix length above 128",
                  "t.txt:4: 2001:db8::/32 0: a weight of 0 would make the prefix an anchor; the least is 1",
                  "t.txt:5: 2001:db8::/32 5000000000: weight above 4294967295",
                  "t.txt:6: next-hop: unexpected text after the weight", "t.txt:7: 2001:db8::: no /length",
                  "t.txt:8: \\x1b[31m/32: not an IPv6 address"));
}

TEST(TableReader, FaultsBeyondTheTwentiethAreCounted) {
  std::string content;
  for (int i = 0; i < 25; ++i) {
    content += "x\n";
  }
  const parsed p = parse(content);
  EXPECT_EQ(p.report.faults.total, 25U);
  const std::vector<std::string> lines = p.report.faults.lines();
  ASSERT_EQ(lines.size(), 21U);
  EXPECT_EQ(lines[19], "t.txt:20: x: no /length");
  EXPECT_EQ(lines[20], "... and 5 more");
}

TEST(TableReader, ExactlyTwentyFaultsNeedNoCount) {
  std::string content;
  for (int i = 0; i < 20; ++i) {
    content += "x\n";
  }
  EXPECT_EQ(parse(content).report.faults.lines().size(), 20U);
}

TEST(TableReader, ANulByteIsAFaultOutsideOfComments) {
  const parsed bad = parse(std::string_view("::/0\0\n", 6));
  EXPECT_THAT(bad.report.faults.texts, ElementsAre("t.txt:1: NUL byte in the line"));
  EXPECT_TRUE(parse(std::string_view("#\0\n::/0\n", 8)).good);
}

TEST(TableReader, ALongLineIsAFaultUnlessItIsAComment) {
  const parsed bad = parse(std::string(256, 'x') + "\n");
  EXPECT_THAT(bad.report.faults.texts, ElementsAre("t.txt:1: line of 256 characters, at most 255 are expected"));
  EXPECT_TRUE(parse("#" + std::string(5000, 'x') + "\n::/0\n").good);
}

TEST(TableReader, ALineThatSaysTheSameAgainIsAWarning) {
  const parsed p = parse("2001:db8::/32\n::/0\n2001:0db8::/32 5\n2001:db8::/32\n2001:db8::/33\n");
  EXPECT_TRUE(p.good);
  EXPECT_EQ(p.table.rows.size(), 5U);
  EXPECT_THAT(p.report.warnings.texts, ElementsAre("t.txt:3: 2001:db8::/32: also on line 1; the weights add up",
                                                   "t.txt:4: 2001:db8::/32: also on line 1; the weights add up"));
}

TEST(TableReader, ATableWithoutPrefixesIsAFault) {
  for (const char *content : {"", "\n", "# nothing\n", "   "}) {
    const parsed p = parse(content);
    EXPECT_FALSE(p.good);
    EXPECT_THAT(p.report.faults.texts, ElementsAre("t.txt: no prefixes"));
  }
}

TEST(TableReader, AsManyPrefixesAsARequestHoldsAreTakenAndOneMoreIsNot) {
  const std::string three = "::/0\n::/1\n::/2\n";
  EXPECT_TRUE(parse(three, 3).good);
  const parsed p = parse(three + "::/3\nx\n", 3);
  EXPECT_FALSE(p.good);
  EXPECT_THAT(p.report.faults.texts,
              ElementsAre("t.txt:5: x: no /length", "t.txt: 4 prefixes, at most 3 fit into one request"));
}

TEST(TableReader, LargeTablesFindTheirDuplicatesToo) {
  std::string content;
  for (unsigned i = 0; i < 30000; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "2001:%x:%x::/48\n", i >> 8, i & 0xFF);
    content += line;
  }
  EXPECT_EQ(parse(content).report.warnings.total, 0U);
  EXPECT_EQ(parse(content + content).report.warnings.total, 30000U);
}

TEST(TableReader, DistinctPrefixesAreSortedAndStandOnce) {
  const parsed p = parse("2001:db8::/32\n::/0\n2001:db8::/32\n2001:db8::/31\n");
  const std::vector<ip_prefix> distinct = distinct_prefixes(p.table);
  ASSERT_EQ(distinct.size(), 3U);
  EXPECT_EQ(format_prefix(distinct[0]), "::/0");
  EXPECT_EQ(format_prefix(distinct[1]), "2001:db8::/31");
  EXPECT_EQ(format_prefix(distinct[2]), "2001:db8::/32");
}

TEST(TableReader, FilesThatCannotBeReadSayWhy) {
  prefix_table table;
  read_report missing;
  EXPECT_FALSE(read_table("/nonexistent/t.txt", {}, table, missing));
  EXPECT_THAT(missing.faults.texts, ElementsAre("/nonexistent/t.txt: No such file or directory"));
  read_report directory;
  EXPECT_FALSE(read_table("/", {}, table, directory));
  EXPECT_THAT(directory.faults.texts, ElementsAre("/: Is a directory"));
}

TEST(TableReader, AFileReadsAsItsContent) {
  const std::string path = source_path("examples/tables/dc_wikimedia_144.txt");
  prefix_table table;
  read_report report;
  ASSERT_TRUE(read_table(path, {}, table, report));
  EXPECT_EQ(table.rows.size(), 144U);
  EXPECT_THAT(report.warnings.texts, IsEmpty());
  std::string content;
  ASSERT_EQ(read_file(path, content), "");
  EXPECT_EQ(content.size(), std::filesystem::file_size(path));
}

}  // namespace
