// SPDX-License-Identifier: Apache-2.0
// Every format of tables: real files against the lists beside them, and what each reader makes of odd input.
#include <archive.h>
#include <archive_entry.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "prefix_text.h"
#include "source_dir.h"
#include "table_reader.h"

namespace {

using namespace v6tool;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct outcome {
  bool good = false;
  prefix_table table;
  read_report report;

  std::vector<std::string> prefixes() const {
    std::vector<std::string> texts;
    for (const ip_prefix &prefix : distinct_prefixes(table)) {
      texts.push_back(format_prefix(prefix));
    }
    return texts;
  }
};

outcome read(std::string_view content, const read_options &options = {}, size_t block = size_t{1} << 16) {
  outcome result;
  result.table.name = "t";
  result.good = read_table(open_memory(content, block), options, result.table, result.report);
  return result;
}

std::string content_of(const std::filesystem::path &path) {
  std::ifstream stream(path, std::ios::binary);
  EXPECT_TRUE(stream) << path;
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string packed(std::string_view content, int (*add_filter)(archive *)) {
  std::string bytes(2 * content.size() + 65536, '\0');
  size_t used = 0;
  archive *out = archive_write_new();
  archive_entry *entry = archive_entry_new();
  archive_entry_set_filetype(entry, AE_IFREG);
  const bool good =
      add_filter(out) == ARCHIVE_OK && archive_write_set_format_raw(out) == ARCHIVE_OK &&
      archive_write_set_bytes_per_block(out, 1) == ARCHIVE_OK &&
      archive_write_open_memory(out, bytes.data(), bytes.size(), &used) == ARCHIVE_OK &&
      archive_write_header(out, entry) == ARCHIVE_OK &&
      archive_write_data(out, content.data(), content.size()) == static_cast<la_ssize_t>(content.size()) &&
      archive_write_close(out) == ARCHIVE_OK;
  EXPECT_TRUE(good) << archive_error_string(out);
  archive_entry_free(entry);
  archive_write_free(out);
  bytes.resize(used);
  return bytes;
}

// ---- real files

struct sample {
  const char *file;
  const char *list;
  const char *format;
};

const sample samples[] = {
    {"bird2_show_route.txt", "bird2_show_route.txt.prefixes.txt", "bird"},
    {"bird2_show_route_all.txt", "bird2_show_route_all.txt.prefixes.txt", "bird"},
    {"bird3_show_route.txt", "bird3_show_route.txt.prefixes.txt", "bird"},
    {"bird3_show_route_all.txt", "bird3_show_route_all.txt.prefixes.txt", "bird"},
    {"frr_show_ipv6_route.json", "frr_show_ipv6_route.json.prefixes.txt", "frr-json"},
    {"frr_show_ipv6_route.txt", "frr_show_ipv6_route.txt.prefixes.txt", "frr"},
    {"ip6route_a.details.txt", "ip6route_a.details.txt.prefixes.txt", "ip-route"},
    {"ip6route_a.json", "ip6route_a.json.prefixes.txt", "ip-json"},
    {"ip6route_a.pretty.json", "ip6route_a.pretty.json.prefixes.txt", "ip-json"},
    {"ip6route_a.table_all.txt", "ip6route_a.table_all.txt.prefixes.txt", "ip-route"},
    {"ip6route_a.txt", "ip6route_a.txt.prefixes.txt", "ip-route"},
    {"proc_net_ipv6_route.txt", "proc_net_ipv6_route.txt.prefixes.txt", "proc"},
    {"openbgpd_table_v2.mrt", "openbgpd_table_v2.prefixes.txt", "mrt"},
    {"quagga_table_v2.mrt", "quagga_table_v2.prefixes.txt", "mrt"},
    {"routeviews_20151101_b.mrt.bz2", "routeviews_20151101_b.prefixes.txt", "mrt"},
};

class TableSample : public testing::TestWithParam<sample> {
 protected:
  const std::filesystem::path folder_ = source_path("tests/tools/formats");
};

TEST_P(TableSample, GivesExactlyThePrefixesListedBesideIt) {
  const outcome expected = read(content_of(folder_ / GetParam().list));
  ASSERT_TRUE(expected.good);
  const std::string content = content_of(folder_ / GetParam().file);
  for (const size_t block : {size_t{1} << 16, size_t{7}}) {
    const outcome result = read(content, {}, block);
    EXPECT_TRUE(result.good) << testing::PrintToString(result.report.faults.texts);
    EXPECT_EQ(result.prefixes(), expected.prefixes());
    EXPECT_EQ(result.table.rows.size(), expected.table.rows.size());
    EXPECT_THAT(result.report.warnings.texts, IsEmpty());
    EXPECT_THAT(result.report.summary, StartsWith(std::string("t: ") + GetParam().format));
  }
}

TEST_P(TableSample, ReadsTheSamePacked) {
  const std::string content = content_of(folder_ / GetParam().file);
  const outcome expected = read(content);
  if (std::string_view(GetParam().file).ends_with(".bz2")) {
    EXPECT_THAT(expected.report.summary, HasSubstr("bzip2"));
    return;
  }
  const std::pair<const char *, int (*)(archive *)> filters[] = {{"gzip", archive_write_add_filter_gzip},
                                                                 {"bzip2", archive_write_add_filter_bzip2},
                                                                 {"xz", archive_write_add_filter_xz},
                                                                 {"zstd", archive_write_add_filter_zstd}};
  for (const auto &[name, filter] : filters) {
    const std::string bytes = packed(content, filter);
    const outcome result = read(bytes);
    EXPECT_EQ(result.prefixes(), expected.prefixes()) << name;
    EXPECT_THAT(result.report.summary, HasSubstr(std::string(", ") + name + ";"));
    const outcome cut = read(std::string_view(bytes).substr(0, bytes.size() / 2));
    EXPECT_FALSE(cut.good) << name;
    ASSERT_EQ(cut.report.faults.total, 1U) << name;
    EXPECT_THAT(cut.report.faults.texts.front(), StartsWith(std::string("t: ") + name + ": cut off or damaged"));
  }
}

INSTANTIATE_TEST_SUITE_P(RealFiles, TableSample, testing::ValuesIn(samples),
                         [](const testing::TestParamInfo<sample> &tested) {
                           std::string name = tested.param.file;
                           std::replace_if(
                               name.begin(), name.end(), [](char c) { return c == '.'; }, '_');
                           return name;
                         });

// ---- formats by hand

struct small_table {
  const char *format;
  const char *content;
};

class SmallTable : public testing::TestWithParam<small_table> {};

TEST_P(SmallTable, IsRecognisedAndRead) {
  const outcome result = read(GetParam().content);
  EXPECT_TRUE(result.good) << testing::PrintToString(result.report.faults.texts);
  EXPECT_THAT(result.prefixes(), ElementsAre("::/0", "2001:db8::/32", "2001:db8::1/128"));
  EXPECT_THAT(result.report.summary, StartsWith(std::string("t: ") + GetParam().format + ";"));
}

const small_table small_tables[] = {
    {"list", "\xef\xbb\xbf::/0\n2001:db8::/32 7\r\n# more\n2001:db8::1/128"},
    {"rows", "::/0   0x0/0   0x0000000000000000\n2001:db8::/32 0x1/1 0x1\n2001:db8::1/128 0x2/2 0x2\n"},
    {"csv", "prefix,weight,compressed_prefix\n::/0,1,0x0/0\n2001:db8::/32,2,0x1/1\n2001:db8::1/128,,\n"},
    {"csv", "# ours\nname;Prefix\n\"a;b\"; ::/0\nc;\"2001:db8::/32\"\nd;2001:db8::1/128\n"},
    {"json", R"([{"prefix": "::/0", "weight": 3}, {"prefix": "2001:db8::/32"},
                 {"weight": null, "prefix": "2001:db8::1/128", "x": [{"prefix": "8000::/1"}]}])"},
    {"json", "{\"prefix\":\"::/0\"}\n{\"prefix\":\"2001:db8::/32\",\"weight\":2}\n{\"prefix\":\"2001:db8::1/128\"}\n"},
    {"json", R"(["::/0", "2001:db8::/32", "2001:db8::1/128"])"},
    {"ip-json", R"([{"type":"unicast","dst":"default","gateway":"fe80::1"},{"dst":"default","gateway":"192.0.2.1"},
                    {"dst":"2001:db8::1","nexthops":[{"gateway":"fe80::2"}]},{"dst":"2001:db8::/32"}])"},
    {"ip-route", "default via fe80::1 dev eth0\n\tnexthop via fe80::2\n2001:db8::1 dev lo\nblackhole 2001:db8::/32\n"},
    {"ip-route",
     "10.0.0.0/8 dev eth0\ndefault via 10.0.0.1 dev eth0\ndefault dev e1 metric 1\nlocal 2001:db8::1 dev lo\n"
     "2001:db8::/32 from 2001:db8:1::/48 via fe80::1 dev eth0\n"},
    {"frr",
     "VRF default:\nK>* ::/0 [0/100] via fe80::1, eth0, 00:01:02\nO[1]>* 2001:db8::/32 [110/1] via fe80::1, e\n"
     "C>q 2001:db8::1/128 is directly connected, lo, 00:00:01\n  *   via fe80::2\n"},
    {"frr-json", R"({"default":{"::/0":[{"prefix":"::/0"}],"10.0.0.0/8":[]},"red":{"2001:db8::/32":[],
                     "2001:db8::1/128":[{"nexthops":[{"a/b":1}]}]}})"},
    {"bird",
     "BIRD 1.6.8 ready.\nAccess restricted\n::/0               via fe80::1 on eth0 [s1 10:00] * (200)\n"
     "2001:db8::/32      unreachable [s1 10:00] * (200)\n                   via fe80::1 on eth0 [b]\n"
     "2001:db8::1/128    dev lo [d1 10:00] * (240)\n"},
    {"bird",
     "Table master4:\n10.0.0.0/8 unicast [s1 10:00:00.000] * (200)\n\nTable master6:\n"
     "::/0   unicast [s1 10:00:00.000] * (200)\n2001:db8::/32 blackhole [s1 10:00] * (200)\n"
     "2001:db8::1/128  unicast [d 1] (1)\n"},
    {"bgpdump",
     "TABLE_DUMP2|1446357600|B|2001:db8::9|64500|::/0|64500 1|IGP|\n"
     "TABLE_DUMP2|1446357600|B|192.0.2.1|64500|192.0.2.0/24|64500|IGP\n"
     "TABLE_DUMP2|1446357600|B|2001:db8::8|64501|::/0|64501 1|IGP|\n"
     "TABLE_DUMP|1446357600|B|::|1|2001:db8::/32|1|IGP\nTABLE_DUMP2|11/01/15 06:00:00|B|::|1|2001:db8::1/128|\n"},
    {"proc",
     "00000000000000000000000000000000 00 00000000000000000000000000000000 00 0 0 0 0 0 lo\n"
     "20010db8000000000000000000000000 20 00000000000000000000000000000000 00 0 0 0 0 0 lo\n"
     "20010db8000000000000000000000001 80 00000000000000000000000000000000 00 0 0 0 0 0 lo\n"},
};

INSTANTIATE_TEST_SUITE_P(ByHand, SmallTable, testing::ValuesIn(small_tables),
                         [](const testing::TestParamInfo<small_table> &tested) {
                           std::string name = tested.param.format;
                           name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                           return name + std::to_string(tested.index);
                         });

TEST(TableFormats, WeightsOfOurOwnFormatsAreKept) {
  for (const char *content : {"::/0 7\n", "weight\tprefix\n7\t::/0\n", R"([{"prefix":"::/0","weight":7}])",
                              R"({"weight":"7","prefix":"::/0"})"}) {
    const outcome result = read(content);
    ASSERT_TRUE(result.good) << content;
    EXPECT_EQ(result.table.rows.at(0).weight, 7U) << content;
  }
}

TEST(TableFormats, AFormatThatIsNamedIsNotLookedFor) {
  read_options options;
  options.format = find_table_format("list");
  EXPECT_THAT(read("[\n", options).report.faults.texts, ElementsAre("t:1: [: no /length"));
  options.format = find_table_format("csv");
  EXPECT_THAT(read("::/0\n", options).report.faults.texts, ElementsAre("t:1: the first line names no column `prefix`"));
  EXPECT_EQ(find_table_format("xml"), nullptr);
}

// ---- MRT

std::string bytes16(unsigned value) { return {static_cast<char>(value >> 8), static_cast<char>(value)}; }
std::string bytes32(uint32_t value) { return bytes16(value >> 16) + bytes16(value & 0xFFFF); }

std::string record(unsigned type, unsigned subtype, const std::string &body) {
  return bytes32(0) + bytes16(type) + bytes16(subtype) + bytes32(static_cast<uint32_t>(body.size())) + body;
}

const std::string net_db8 = std::string("\x20\x20\x01\x0d\xb8");  // 2001:db8::/32

TEST(MrtFormat, RibsOfIpv6UnicastAreRead) {
  const std::string one = bytes16(1) + std::string(20, 'x');
  const std::string content = record(13, 1, "peers") + record(13, 2, "IPv4") +
                              record(13, 4, bytes32(0) + net_db8 + one) +
                              record(13, 10, bytes32(1) + std::string("\x08\x30") + one) +
                              record(13, 6, bytes32(2) + bytes16(2) + "\x01" + std::string("\x08\x40") + one) +
                              record(13, 6, bytes32(2) + bytes16(1) + "\x01" + std::string("\x08\x40") + one) +
                              record(13, 6, bytes32(2) + bytes16(2) + "\x80" + std::string("\x08\x50") + one) +
                              record(13, 4, bytes32(3) + std::string("\x08\x60") + bytes16(0));
  const outcome result = read(content);
  EXPECT_THAT(result.prefixes(), ElementsAre("2001:db8::/32", "3000::/8", "4000::/8"));
  EXPECT_EQ(result.report.summary, "t: mrt; 3 prefixes, 3 routes of other families left out");
}

TEST(MrtFormat, BitsBeyondTheLengthHaveNoMeaningInARib) {
  const outcome result = read(record(13, 4, bytes32(0) + std::string("\x03\x3f") + bytes16(1) + "route"));
  EXPECT_THAT(result.prefixes(), ElementsAre("2000::/3"));
}

TEST(MrtFormat, TheOlderTableDumpIsRead) {
  const std::string address = std::string("\x20\x01\x0d\xb8") + std::string(12, '\0');
  const auto old_record = [&](unsigned subtype, uint8_t length) {
    return record(12, subtype, bytes32(0) + address + static_cast<char>(length) + std::string(30, 'x'));
  };
  const outcome result = read(old_record(2, 32) + old_record(1, 8) + old_record(2, 48));
  EXPECT_THAT(result.prefixes(), ElementsAre("2001:db8::/32", "2001:db8::/48"));
  const outcome bad = read(old_record(2, 32) + old_record(2, 16) + old_record(2, 129) + record(12, 2, "short"));
  EXPECT_THAT(bad.report.faults.texts,
              ElementsAre("t: record 2 at byte 63: 2001:db8::/16: bits set beyond /16 (--mask clears them)",
                          "t: record 3 at byte 126: prefix length above 128",
                          "t: record 4 at byte 189: too short for its destination"));
}

TEST(MrtFormat, ARecordThatIsCutOffIsAFaultWhereverTheCutIs) {
  const std::string content = record(13, 4, bytes32(0) + net_db8 + bytes16(1) + std::string(99, 'x'));
  for (size_t size = 12; size < content.size(); ++size) {
    const outcome result = read(std::string_view(content).substr(0, size));
    EXPECT_FALSE(result.good);
    EXPECT_EQ(result.report.faults.texts.back(), "t: record 1 at byte 0: the file is cut off here, inside the record");
  }
  const outcome second = read(content + content.substr(0, 5));
  EXPECT_THAT(second.report.faults.texts,
              ElementsAre("t: record 2 at byte 122: the file is cut off here, inside the record"));
}

TEST(MrtFormat, MessagesAreNoTableAndUnknownTypesAreDamage) {
  EXPECT_THAT(read(record(16, 4, "message")).report.faults.texts.front(), HasSubstr("messages between routers only"));
  const outcome damaged = read(record(13, 1, "") + record(999, 1, ""));
  EXPECT_THAT(damaged.report.faults.texts,
              ElementsAre("t: record 2 at byte 12: type 999 is none of MRT; the file is damaged"));
}

// ---- what is no table

TEST(ForeignContent, GetsOneSentence) {
  const std::pair<std::string, const char *> foreign[] = {
      {"", "t: no prefixes, the file is empty"},
      {std::string("\x7f") + "ELF\x02\x01", "t: a program (ELF), not a table"},
      {"<!DOCTYPE html>\n<html>", "t: a page of HTML or XML, not a table; save the table itself as text"},
      {"{\"a\": 1}", "t: JSON, but neither rows with `prefix` nor routes as ip -j or FRR print them"},
      {"10.0.0.0/8\n192.0.2.1/32\n", "t: only IPv4 prefixes (2 of them), and IPv6 prefixes are wanted"},
      {"10.0.0.0/8 dev eth0\n", "t: only IPv4 prefixes (1 of them), and IPv6 prefixes are wanted"},
      {"[{\"dst\":\"10.0.0.0/8\"}]", "t: only IPv4 prefixes (1 of them), and IPv6 prefixes are wanted"},
      {std::string("\0\1\2\3\4\5\6\7", 8), "t: binary data of no known format"},
      {std::string("\xff\xfe:\0:\0", 6), "t: UTF-16 text; save it as UTF-8"},
      {"---\n+::/0\n", "t: a history of changes, not a table; give it to v6comp update behind its table"},
      {"Dear all,\nhello\n",
       "t: not a table, no line is a prefix or a route (line 1: Dear: no /length); --input names "
       "a format"},
      {"# nothing\n", "t: no prefixes"},
      {"[]", "t: no prefixes"},
      {"[{\"prefix\":\"::/0\"}", "t:1: cut off, the JSON ends in the middle"},
      {"[{\"prefix\":\"::/0\"}\n}", "t:2: not JSON: syntax error while parsing array - unexpected '}'"},
      {"BGP4MP|1|A|::|1|::/0|1|IGP\n",
       "t:1: messages between routers (BGP4MP), not a table; dump a file with a whole table (RIB)"},
  };
  for (const auto &[content, sentence] : foreign) {
    const outcome result = read(content);
    EXPECT_FALSE(result.good);
    EXPECT_THAT(result.report.faults.texts, ElementsAre(sentence));
  }
}

TEST(ForeignContent, InputThatGrowsBeyondMeasureIsRefused) {
  std::string comments;
  while (comments.size() < size_t{64} << 20) {
    comments.append(1023, '#').append(1, '\n');
  }
  for (const auto filter : {archive_write_add_filter_gzip, archive_write_add_filter_zstd}) {
    const outcome result = read(packed(comments, filter));
    EXPECT_FALSE(result.good);
    EXPECT_THAT(result.report.faults.texts, ElementsAre(HasSubstr("grows more than 256 times")));
  }
}

TEST(ForeignContent, DeepAndLongJsonIsRefused) {
  EXPECT_THAT(read("[{\"prefix\":" + std::string(100000, '[')).report.faults.texts,
              ElementsAre("t:1: nested deeper than 64"));
  EXPECT_THAT(read("[{\"prefix\":\"" + std::string(3U << 20, 'x') + "\"}]").report.faults.texts,
              ElementsAre("t:1: a text of more than 1 MiB"));
}

// ---- rules

TEST(BuildRules, HostBitsAreRefusedOrCleared) {
  read_options options;
  EXPECT_THAT(read("2001:db8::1/32\n").report.faults.texts,
              ElementsAre("t:1: 2001:db8::1/32: bits set beyond /32 (--mask clears them)"));
  options.rules.clear_host_bits = true;
  const outcome result = read("2001:db8::1/32\n::/0\n", options);
  EXPECT_THAT(result.prefixes(), ElementsAre("::/0", "2001:db8::/32"));
  EXPECT_THAT(result.report.notes, ElementsAre("t: host bits of 1 prefix cleared"));
}

TEST(BuildRules, AsManyBadLinesAsAreAllowedAreSkippedAndCounted) {
  const std::string content = "::/0\nx\n2001:db8::/200\n8000::/1\n";
  read_options options;
  options.rules.skip_bad = 1;
  EXPECT_FALSE(read(content, options).good);
  EXPECT_EQ(read(content, options).report.faults.total, 2U);
  options.rules.skip_bad = 2;
  const outcome result = read(content, options);
  EXPECT_TRUE(result.good);
  EXPECT_THAT(result.prefixes(), ElementsAre("::/0", "8000::/1"));
  EXPECT_THAT(result.report.warnings.texts,
              ElementsAre("t:2: x: no /length", "t:3: 2001:db8::/200: prefix length above 128"));
  EXPECT_THAT(result.report.notes, ElementsAre("t: 2 bad lines skipped"));
}

TEST(BuildRules, WhatIsBrokenCannotBeSkipped) {
  read_options options;
  options.rules.skip_bad = 1000;
  EXPECT_FALSE(read("[{\"prefix\":\"::/0\"},", options).good);
  EXPECT_FALSE(read("x\n", options).good);
}

TEST(BuildRules, DistinctRowsAddTheirWeightsUp) {
  read_options options;
  options.rules.distinct = true;
  const outcome result = read("::/0 4294967290\n::/0 5\n8000::/1\n::/0 5\n", options);
  ASSERT_EQ(result.table.rows.size(), 2U);
  EXPECT_EQ(result.table.rows[0].weight, 4294967295U);
  EXPECT_EQ(result.report.warnings.total, 2U);
}

TEST(BuildRules, SeveralRoutesToOneDestinationCountOnce) {
  read_options options;
  options.rules.max_rows = 1;
  const std::string twice = "::/0 dev a\n::/0 dev b\n";
  EXPECT_EQ(read(twice, options).table.rows.size(), 1U);
  EXPECT_THAT(read(twice + "8000::/1 dev a\n8000::/1 dev b\n", options).report.faults.texts,
              ElementsAre("t: 2 prefixes, at most 1 fit into one request"));
}

TEST(BuildRules, LongLinesKeepWhatCounts) {
  const std::string path(200000, '1');
  EXPECT_TRUE(read("TABLE_DUMP2|1|B|::|1|::/0|" + path + "\nTABLE_DUMP2|1|B|::|1|8000::/1|1\n").good);
  EXPECT_TRUE(read("::/0 # " + path + "\n").good);
  EXPECT_THAT(read("::/0\n" + std::string(200000, ' ') + "x\n").report.faults.texts,
              ElementsAre("t:2: line of more than 65536 characters"));
}

}  // namespace
