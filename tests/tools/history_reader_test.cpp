// SPDX-License-Identifier: Apache-2.0
#include "history_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "prefix_text.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;
using testing::IsEmpty;

struct parsed {
  bool good = false;
  update_history history;
  read_report report;
};

parsed parse(std::string_view content, size_t max_changes = 65534) {
  parsed p;
  p.good = parse_history("h.txt", content, max_changes, p.history, p.report);
  return p;
}

// "sign prefix weight line" of each change, batches in brackets.
std::string text_of(const update_history &history) {
  std::string text;
  for (const history_batch &batch : history.batches) {
    text += '[';
    for (const history_change &change : batch) {
      text += (change.add ? '+' : '-') + format_prefix(change.prefix) + ' ' + std::to_string(change.weight) + ' ' +
              std::to_string(change.line) + ';';
    }
    text += ']';
  }
  return text;
}

TEST(HistoryReader, ABatchEndsAtThreeDashesOrAtTheEndOfTheFile) {
  const parsed p = parse("-2001:db8::/32\n+2001:db8:1::/48 7\n---\n+::/0\n");
  EXPECT_TRUE(p.good);
  EXPECT_EQ(text_of(p.history), "[-2001:db8::/32 1 1;+2001:db8:1::/48 7 2;][+::/0 1 4;]");
}

TEST(HistoryReader, NothingAfterTheLastDashesIsNoBatch) {
  EXPECT_EQ(text_of(parse("+::/0\n---\n").history), "[+::/0 1 1;]");
  EXPECT_EQ(text_of(parse("+::/0\n---\n\n# end\n").history), "[+::/0 1 1;]");
}

TEST(HistoryReader, ABatchMayBeEmpty) { EXPECT_EQ(text_of(parse("---\n---\n+::/0").history), "[][][+::/0 1 3;]"); }

TEST(HistoryReader, CommentsBlanksAndCarriageReturnsAreSkipped) {
  const parsed p = parse("# a history\r\n\r\n  + 2001:db8::/32   # inside\r\n --- # batch 1\r\n");
  EXPECT_TRUE(p.good);
  EXPECT_EQ(text_of(p.history), "[+2001:db8::/32 1 3;]");
}

TEST(HistoryReader, AllFaultsAreCollectedWithTheirPlaces) {
  const parsed p = parse("2001:db8::/32\n+2001:db8::1/32\n-\n+::/0 0\n----\n");
  EXPECT_FALSE(p.good);
  EXPECT_THAT(p.report.faults.lines(),
              ElementsAre("h.txt:1: 2001:db8::/32: expected +prefix/length, -prefix/length or ---",
                          "h.txt:2: 2001:db8::1/32: bits set beyond /32", "h.txt:3: -: no prefix behind the sign",
                          testing::StartsWith("h.txt:4: ::/0 0: a weight of 0"), testing::StartsWith("h.txt:5: ---")));
}

TEST(HistoryReader, ABatchMustFitIntoOneRequest) {
  EXPECT_TRUE(parse("+::/0\n-::/0\n---\n+::/0\n", 2).good);
  const parsed p = parse("+::/0\n-::/0\n+::/0\n---\n", 2);
  EXPECT_THAT(p.report.faults.lines(),
              ElementsAre("h.txt:4: a batch of 3 changes ends here, at most 2 fit into one request"));
}

TEST(HistoryReader, AFileWithoutBatchesIsAFault) {
  EXPECT_THAT(parse("# nothing\n").report.faults.lines(), ElementsAre("h.txt: no batches"));
  EXPECT_THAT(parse("").report.faults.lines(), ElementsAre("h.txt: no batches"));
}

TEST(HistoryReader, ANewHistoryReplacesTheOldOne) {
  update_history history;
  read_report report;
  EXPECT_TRUE(parse_history("a", "+::/0\n", 9, history, report));
  EXPECT_TRUE(parse_history("b", "-::/0\n", 9, history, report));
  EXPECT_EQ(history.name, "b");
  EXPECT_EQ(text_of(history), "[-::/0 1 1;]");
}

TEST(HistoryReader, FilesAreReadWholeAndMissingOnesNamed) {
  const std::string path = testing::TempDir() + "/history_reader_test.txt";
  std::ofstream(path) << "+2001:db8::/32\n---\n";
  update_history history;
  read_report report;
  EXPECT_TRUE(read_history(path, 9, history, report));
  EXPECT_EQ(history.batches.size(), 1u);
  EXPECT_THAT(report.faults.lines(), IsEmpty());
  EXPECT_FALSE(read_history(path + ".absent", 9, history, report));
  EXPECT_THAT(report.faults.lines(), ElementsAre(path + ".absent: No such file or directory"));
}

TEST(HistoryReader, WhatIsNoTextGetsOneSentence) {
  const std::string path = testing::TempDir() + "/history_reader_test.bin";
  const std::pair<std::string, const char *> foreign[] = {
      {"\x7f"
       "ELF\x02\x01\n+\n",
       ": a program (ELF), not a history"},
      {"PK\x03\x04\n\n", ": a zip archive; unpack it and give the file with the history"},
      {"%PDF-1.7\n", ": a PDF document, not a history; save the history as text"},
      {std::string("\xff\xfe+\0:\0:\0\n\0", 10), ": UTF-16 text; save it as UTF-8"},
      {std::string("\0\n\1\n\2\n", 6), ": binary data of no known format"}};
  for (const auto &[content, sentence] : foreign) {
    std::ofstream(path, std::ios::binary) << content;
    update_history history;
    read_report report;
    EXPECT_FALSE(read_history(path, 9, history, report));
    EXPECT_THAT(report.faults.lines(), ElementsAre(path + sentence));
  }
}

}  // namespace
