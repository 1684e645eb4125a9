// SPDX-License-Identifier: Apache-2.0
#include "foreign_content.h"

#include <algorithm>
#include <cstdint>

#include "text_words.h"

namespace v6tool {

namespace {

struct known_content {
  size_t at;  // bytes from the beginning
  std::string_view magic;
  const char *sentence;  // {} stands for what was meant
};

const known_content known_contents[] = {
    {0,
     "\x7f"
     "ELF",
     "a program (ELF), not a {}"},
    {0, "PK\x03\x04", "a zip archive; unpack it and give the file with the {}"},
    {257, "ustar", "a tar archive; unpack it and give the file with the {}"},
    {0, "7z\xbc\xaf", "a 7z archive; unpack it and give the file with the {}"},
    {0, "\x04\x22\x4d\x18", "packed with lz4, which is not undone here; unpack it first"},
    {0, "\x1f\x9d", "packed with compress, which is not undone here; unpack it first"},
    {0, "%PDF", "a PDF document, not a {}; save the {} as text"},
    {0, "\x89PNG", "a picture, not a {}"},
    {0, "\xd4\xc3\xb2\xa1", "a capture of packets, not a {}"},
    {0, "\xa1\xb2\xc3\xd4", "a capture of packets, not a {}"},
    {0, "\x0a\x0d\x0d\x0a", "a capture of packets, not a {}"},
    {0, "SQLite format 3", "a database, not a {}; export the {} as text"},
    {0, "\xff\xfe", "UTF-16 text; save it as UTF-8"},
    {0, "\xfe\xff", "UTF-16 text; save it as UTF-8"},
};

std::string sentence_about(std::string sentence, std::string_view meant) {
  for (size_t at = sentence.find("{}"); at != std::string::npos; at = sentence.find("{}", at + meant.size())) {
    sentence.replace(at, 2, meant);
  }
  return sentence;
}

// How many bytes of a well-formed UTF-8 character stand in front; 0: none.
size_t character_size(std::string_view text) {
  const auto first = static_cast<uint8_t>(text.front());
  const size_t size = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (size > text.size()) {
    return 0;
  }
  for (size_t i = 1; i < size; ++i) {
    if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return size;
}

// Text has few bytes that cannot be printed: less than one in ten.
bool is_binary(std::string_view head) {
  const size_t size = std::min<size_t>(head.size(), 4096);
  size_t strange = 0;
  for (size_t at = 0; at < size;) {
    const size_t character = character_size(head.substr(at));
    const auto byte = static_cast<uint8_t>(head[at]);
    const bool control = (byte < 0x20 && (byte < '\t' || byte > '\r') && byte != 0x1B) || byte == 0x7F;
    strange += character == 0 || control ? 1 : 0;
    at += std::max<size_t>(character, 1);
  }
  return 10 * strange >= size;
}

}  // namespace

std::string describe_foreign_bytes(std::string_view head, std::string_view meant) {
  for (const known_content &known : known_contents) {
    if (head.size() > known.at && head.substr(known.at).starts_with(known.magic)) {
      return sentence_about(known.sentence, meant);
    }
  }
  return !head.empty() && is_binary(head) ? "binary data of no known format" : "";
}

std::string describe_foreign_content(std::string_view head) {
  if (head.empty()) {
    return "no prefixes, the file is empty";
  }
  if (std::string foreign = describe_foreign_bytes(head, "table"); !foreign.empty()) {
    return foreign;
  }
  const std::string_view line = trimmed(first_data_line(head));
  if (line.starts_with('<')) {
    return "a page of HTML or XML, not a table; save the table itself as text";
  }
  if (line.starts_with('{') || line.starts_with('[')) {
    return "JSON, but neither rows with `prefix` nor routes as ip -j or FRR print them";
  }
  if (line == "---" || ((line.starts_with('+') || line.starts_with('-')) && line.find(':') != std::string_view::npos)) {
    return "a history of changes, not a table; give it to v6comp update behind its table";
  }
  return "";
}

}  // namespace v6tool
