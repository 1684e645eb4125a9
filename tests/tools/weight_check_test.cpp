// SPDX-License-Identifier: Apache-2.0
#include "weight_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "prefix_text.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

prefix_table table_of(std::string_view content) {
  prefix_table table;
  read_report report;
  EXPECT_TRUE(parse_table("t.txt", content, 65534, table, report));
  return table;
}

read_report report_of(std::string_view content) {
  read_report report;
  warn_of_weights(table_of(content), report);
  const bool good = check_weights(table_of(content), report);
  EXPECT_EQ(good, report.faults.total == 0);
  return report;
}

read_report report_of(std::string_view content, std::string_view changes) {
  update_history history;
  read_report report;
  EXPECT_TRUE(parse_history("h.txt", changes, 65534, history, report));
  const bool good = check_weights(table_of(content), history, report);
  EXPECT_EQ(good, report.faults.total == 0);
  return report;
}

TEST(WeightCheck, OnlyMultiplesOfTheModulusAreFaults) {
  for (const char *weight : {"65536", "131072", "4294901760"}) {
    const read_report report = report_of(std::string("2001:db8::/32 ") + weight + "\n");
    EXPECT_THAT(report.faults.texts, ElementsAre(HasSubstr(std::string("add up to ") + weight))) << weight;
  }
  for (const char *weight : {"1", "65535", "65537", "131071", "131073", "4294967295"}) {
    EXPECT_THAT(report_of(std::string("2001:db8::/32 ") + weight + "\n").faults.texts, IsEmpty()) << weight;
  }
}

TEST(WeightCheck, TheSumOfSeveralRowsCountsAndTheLastOfThemIsNamed) {
  const read_report report = report_of("2001:db8::/32 65535\n2001:db9::/32\n2001:db8::/32\n2001:db9::/32 65536\n");
  EXPECT_THAT(report.faults.texts, ElementsAre(StartsWith("t.txt:3: 2001:db8::/32: its weights add up to 65536,")));
}

TEST(WeightCheck, TheDefaultPrefixHasAWeightFromTheLibrary) {
  EXPECT_THAT(report_of("::/0 65535\n").faults.texts, ElementsAre(HasSubstr("the library's own 1")));
  EXPECT_THAT(report_of("::/0 65536\n").faults.texts, IsEmpty());
  EXPECT_THAT(report_of("::/0 65534\n").faults.texts, IsEmpty());
}

TEST(WeightCheck, SumsBeyond32BitsAreKept) {
  const read_report report = report_of("2001:db8::/32 4294967295\n2001:db8::/32 4294967295\n2001:db8::/32 2\n");
  EXPECT_THAT(report.faults.texts, ElementsAre(HasSubstr("8589934592")));
}

TEST(WeightCheck, ManyWeightsAbove1AreWarnedOf) {
  const read_report report = report_of("2001:db8::/32\n2001:db9::/32 64500\n2001:dba::/32 64501\n");
  EXPECT_THAT(report.warnings.texts,
              ElementsAre(StartsWith("t.txt:2: the second column is read as weights, and 2 of 3 are above 1")));
  EXPECT_THAT(report_of("2001:db8::/32\n2001:db9::/32 2\n").warnings.texts, IsEmpty());
}

TEST(WeightCheck, OneWeightBeyond16BitsIsWarnedOf) {
  EXPECT_THAT(report_of("2001:db8::/32\n2001:db9::/32\n2001:dba::/32 70000\n").warnings.texts,
              ElementsAre(StartsWith("t.txt:3: 70000 is read as a weight")));
  EXPECT_THAT(report_of("2001:db8::/32\n2001:db9::/32\n2001:dba::/32 65535\n").warnings.texts, IsEmpty());
}

TEST(WeightCheck, WhatABatchLeavesIsCheckedWithTheLineThatMadeIt) {
  const read_report report = report_of("2001:db8::/32\n", "+2001:db8::/32 65534\n---\n+2001:db8::/32\n---\n+::1/128\n");
  EXPECT_THAT(report.faults.texts, ElementsAre(StartsWith("h.txt:3: 2001:db8::/32: its weights add up to 65536,")));
}

TEST(WeightCheck, SumsInsideABatchDoNotMatter) {
  EXPECT_THAT(report_of("2001:db8::/32\n", "+2001:db8::/32 65535\n-2001:db8::/32 65535\n").faults.texts, IsEmpty());
}

TEST(WeightCheck, DeletesTakeDownToNothingAndNothingIsNoFault) {
  EXPECT_THAT(report_of("2001:db8::/32 65537\n", "-2001:db8::/32 70000\n").faults.texts, IsEmpty());
  EXPECT_THAT(report_of("2001:db8::/32 65537\n", "-2001:db8::/32\n").faults.texts, ElementsAre(StartsWith("h.txt:1:")));
}

}  // namespace
