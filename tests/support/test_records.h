// SPDX-License-Identifier: Apache-2.0
// test_records.h - prefix records and keys written as text, and log lines that can be compared.
#ifndef TEST_RECORDS_H
#define TEST_RECORDS_H

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "source_dir.h"
#include "test_host.h"
#include "tm_chunk.h"
#include "tm_prefix.h"

// "2001:db8::/32" -> a record of the caller's.
inline tcamv6_prefix record_of(const std::string &text, uint32_t weight = 1, uint32_t flags = TM_PREFIX_FLAG_ADD) {
  tcamv6_prefix record = {};
  const size_t slash = text.find('/');
  if (slash == std::string::npos || inet_pton(AF_INET6, text.substr(0, slash).c_str(), record.address) != 1) {
    ADD_FAILURE() << "no prefix: " << text;
    return record;
  }
  record.flags_tag = flags;
  record.weight = weight;
  record.length = static_cast<uint8_t>(std::stoi(text.substr(slash + 1)));
  return record;
}

inline std::vector<tcamv6_prefix> records_of(const std::vector<std::string> &texts) {
  std::vector<tcamv6_prefix> records;
  for (const std::string &text : texts) {
    records.push_back(record_of(text));
  }
  return records;
}

// n prefixes, each inside the one before: ::/1 to ::/n.
inline std::vector<tcamv6_prefix> nested_records(uint32_t n) {
  std::vector<tcamv6_prefix> records;
  for (uint32_t length = 1; length <= n; ++length) {
    records.push_back(record_of("::/" + std::to_string(length)));
  }
  return records;
}

// Sibling prefixes of one length, the i-th with i in its last 16 bits.
inline std::vector<tcamv6_prefix> sibling_records(uint32_t n, uint8_t length) {
  std::vector<tcamv6_prefix> records(n);
  for (uint32_t i = 0; i < n; ++i) {
    records[i] = record_of("2001:db8::/" + std::to_string(length));
    records[i].address[length / 8 - 2] = static_cast<uint8_t>(i >> 8);
    records[i].address[length / 8 - 1] = static_cast<uint8_t>(i);
  }
  return records;
}

inline std::string address_text(const uint8_t *address) {
  char text[INET6_ADDRSTRLEN];
  return inet_ntop(AF_INET6, address, text, sizeof text);
}

// A prefix as text, bits beyond its length kept.
inline std::string prefix_text(const uint8_t *address, uint32_t length) {
  return address_text(address) + "/" + std::to_string(length);
}

// The same with the bits beyond the length cleared: those of stored prefixes are left overs of their neighbours.
inline std::string masked_text(const uint8_t *address, uint32_t length) {
  uint8_t masked[16];
  for (uint32_t i = 0; i < 16; ++i) {
    const uint32_t bits = length > 8 * i ? std::min(length - 8 * i, 8u) : 0;
    masked[i] = static_cast<uint8_t>(address[i] & ~(0xFFu >> bits));
  }
  return prefix_text(masked, length);
}

inline std::string text_of(const tcamv6_prefix &record) { return prefix_text(record.address, record.length); }

// The first `len` bits of a key as a string of '0' and '1'.
inline std::string key_bits(const uint8_t *key, uint32_t len) {
  std::string bits;
  for (uint32_t i = 0; i < len; ++i) {
    bits += static_cast<char>('0' + ((key[i / 8] >> (7 - i % 8)) & 1));
  }
  return bits;
}

// The text without its pointers and handles, which differ from run to run.
inline std::string without_pointers(const std::string &text) {
  static const std::regex twice("0x0x[0-9a-f]+|0x\\(nil\\)");
  static const std::regex pointer("0x[0-9a-f]+|\\(nil\\)|(index )[0-9a-f]+");
  return std::regex_replace(std::regex_replace(text, twice, "0x<ptr>"), pointer, "$1<ptr>");
}

// What was logged so far, line by line, without pointers.
inline std::vector<std::string> plain_log_lines() {
  std::vector<std::string> lines;
  for (const std::string &line : test_host::log_lines()) {
    lines.push_back(without_pointers(line));
  }
  return lines;
}

inline bool was_logged(const std::string &line) {
  const std::vector<std::string> lines = plain_log_lines();
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// Pools of another size for as long as this lives; made before the library is initialised.
class pools_of {
 public:
  explicit pools_of(uint64_t n_elems) {
    std::memcpy(rows_, raw_blk, sizeof rows_);
    for (uint32_t type = TM_V6_ANC_TREE; type <= TM_V6_TRIE_NODE; ++type) {
      raw_blk[type].n_elems = n_elems;
    }
  }
  pools_of(const pools_of &) = delete;
  pools_of &operator=(const pools_of &) = delete;
  ~pools_of() { std::memcpy(raw_blk, rows_, sizeof rows_); }

 private:
  tm_raw_blk_row rows_[TM_CHUNK_TYPES];
};

// The lines of a file of tests/golden or examples/tables, comments dropped.
inline std::vector<std::string> lines_of_file(const std::string &path) {
  std::ifstream file(source_path(path));
  EXPECT_TRUE(file.is_open()) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') {
      lines.push_back(line);
    }
  }
  return lines;
}

#endif
