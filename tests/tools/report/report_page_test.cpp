// SPDX-License-Identifier: Apache-2.0
#include "report_page.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "packed_text.h"

namespace {

std::string unbase64(std::string_view text) {
  static constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  uint32_t bits = 0;
  int have = 0;
  for (const char letter : text) {
    if (letter == '=') {
      break;
    }
    bits = bits << 6 | static_cast<uint32_t>(letters.find(letter));
    have += 6;
    if (have >= 8) {
      have -= 8;
      bytes += static_cast<char>(bits >> have & 255);
    }
  }
  return bytes;
}

std::string unpacked(std::string_view text) {
  std::string packed = unbase64(text);
  z_stream stream = {};
  EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
  stream.next_in = reinterpret_cast<Bytef *>(packed.data());
  stream.avail_in = static_cast<uInt>(packed.size());
  std::string plain(1 << 20, '\0');
  stream.next_out = reinterpret_cast<Bytef *>(plain.data());
  stream.avail_out = static_cast<uInt>(plain.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  plain.resize(stream.total_out);
  inflateEnd(&stream);
  return plain;
}

v6tool::report_data two_rows() {
  v6tool::report_data data;
  data.table = "</script><b>&\"";
  data.version = "9.9.9";
  data.figures.prefixes = 2;
  data.figures.bits_needed = 1;
  zel_v6comp_table_row outer = {{0x20, 0x01}, 0xa000000000000000, 0xa800000000000000, 0, 16, 4, {0, 0}};
  zel_v6comp_table_row inner = {{0x20, 0x01, 0x0d, 0xb8}, 0xa040000000000000, 0xa040000000000000, 0, 32, 12, {0, 0}};
  data.rows = {outer, inner};
  return data;
}

TEST(PackedText, Base64OfOneTwoAndThreeBytes) {
  EXPECT_EQ(v6tool::base64(""), "");
  EXPECT_EQ(v6tool::base64("f"), "Zg==");
  EXPECT_EQ(v6tool::base64("fo"), "Zm8=");
  EXPECT_EQ(v6tool::base64("foo"), "Zm9v");
  EXPECT_EQ(v6tool::base64("\xff\xfe\xfd\xfc"), "//79/A==");
}

TEST(PackedText, ComesBackAsItWas) {
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    text += std::to_string(i * 7919) + ',';
  }
  EXPECT_EQ(unpacked(v6tool::packed_text(text)), text);
  EXPECT_EQ(unpacked(v6tool::packed_text("")), "");
  EXPECT_EQ(v6tool::packed_text(text), v6tool::packed_text(text));
}

TEST(ReportJson, RowsAreColumns) {
  EXPECT_EQ(v6tool::report_rows_json(two_rows()),
            R"({"prefix":["2001::/16","2001:db8::/32"],"bits":[4,12],"code":["a","a04"],"key":["a8","a04"],)"
            R"("up":[0,1],"need":[1,0]})");
}

TEST(ReportJson, WithoutAHistoryThereAreNoBatches) {
  const std::string json = v6tool::report_json(two_rows());
  EXPECT_NE(json.find(R"("schema":"v6comp.report/1")"), std::string::npos);
  EXPECT_NE(json.find(R"("history":null)"), std::string::npos);
  EXPECT_NE(json.find(R"("batches":null)"), std::string::npos);
}

TEST(ReportJson, RefusalsStandBesideTheColumns) {
  v6tool::report_data data = two_rows();
  data.history = "changes";
  data.batches = {{1, 2, 0, 0, 4, 4, 0.5, ""}, {2, 0, 0, 0, 0, 4, 0.25, "no room"}};
  const std::string json = v6tool::report_json(data);
  EXPECT_NE(json.find(R"("number":[1,2],"added":[2,0])"), std::string::npos);
  EXPECT_NE(json.find(R"("refused":[{"batch":2,"reason":"no room"}])"), std::string::npos);
}

// Nothing that a table is called may become a part of the page.
TEST(ReportPage, NamesStayNames) {
  const std::string page = v6tool::report_page(two_rows());
  EXPECT_EQ(page.find("<b>"), std::string::npos);
  EXPECT_NE(page.find("Table &lt;/script&gt;&lt;b&gt;&amp;"), std::string::npos);
  EXPECT_EQ(page.find("{{"), std::string::npos);
}

TEST(ReportPage, FetchesNothing) {
  const std::string page = v6tool::report_page(two_rows());
  EXPECT_EQ(page.find(" src="), std::string::npos);
  EXPECT_EQ(page.find("@import"), std::string::npos);
  EXPECT_EQ(page.find("url("), std::string::npos);
  EXPECT_EQ(page.find("fetch("), std::string::npos);
}

TEST(ReportPage, HoldsTheSameRowsForTheBrowser) {
  const std::string page = v6tool::report_page(two_rows());
  const std::string mark = "id=\"report-rows\">";
  const size_t begin = page.find(mark) + mark.size();
  EXPECT_EQ(unpacked(page.substr(begin, page.find('<', begin) - begin)), v6tool::report_rows_json(two_rows()));
}

}  // namespace
