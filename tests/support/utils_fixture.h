// SPDX-License-Identifier: Apache-2.0
// utils_fixture.h - fresh pools for each test of the utility layer, and keys written as text.
#ifndef UTILS_FIXTURE_H
#define UTILS_FIXTURE_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "test_host.h"
#include "tm_chunk_internal.h"
#include "tm_debug.h"
#include "tm_trie.h"

using test_key = std::array<uint8_t, 16>;

// "2001:db8::" -> its 16 bytes.
inline test_key key_of(const char *text) {
  test_key key{};
  if (inet_pton(AF_INET6, text, key.data()) != 1) {
    ADD_FAILURE() << "no address: " << text;
  }
  return key;
}

inline uint32_t bit_of(const test_key &key, int32_t bit) {
  return (static_cast<uint32_t>(key[static_cast<size_t>(bit) / 8]) >> (7 - static_cast<uint32_t>(bit) % 8)) & 1u;
}

inline void put_bit(test_key &key, int32_t bit, bool value) {
  const auto mask = static_cast<uint8_t>(0x80u >> (static_cast<uint32_t>(bit) % 8));
  uint8_t &byte = key[static_cast<size_t>(bit) / 8];
  byte = static_cast<uint8_t>(value ? byte | mask : byte & static_cast<uint8_t>(~mask));
}

// The first `len` bits of a key as a string of '0' and '1'.
inline std::string bits_of(const uint8_t *key, int32_t len) {
  std::string bits;
  for (int32_t i = 0; i < len; ++i) {
    bits += static_cast<char>('0' + ((key[i / 8] >> (7 - i % 8)) & 1));
  }
  return bits;
}

inline test_key key_from_bits(const std::string &bits) {
  test_key key{};
  for (size_t i = 0; i < bits.size(); ++i) {
    put_bit(key, static_cast<int32_t>(i), bits[i] == '1');
  }
  return key;
}

// A key whose last byte is the last one of a page with none after it: fetching a 17th byte ends the test.
class guarded_key {
 public:
  explicit guarded_key(const test_key &key) : end_(take_end()) { std::memcpy(bytes(), key.data(), key.size()); }
  guarded_key(const guarded_key &) = delete;
  guarded_key &operator=(const guarded_key &) = delete;
  ~guarded_key() { spare_ends().push_back(end_); }

  uint8_t *bytes() const { return end_ - 16; }

  test_key copy() const {
    test_key key;
    std::memcpy(key.data(), bytes(), key.size());
    return key;
  }

 private:
  static std::vector<uint8_t *> &spare_ends() {
    static auto *ends = new std::vector<uint8_t *>;
    return *ends;
  }

  static uint8_t *take_end() {
    if (spare_ends().empty()) {
      const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
      auto *area =
          static_cast<uint8_t *>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
      mprotect(area + page, page, PROT_NONE);
      return area + page;
    }
    uint8_t *end = spare_ends().back();
    spare_ends().pop_back();
    return end;
  }

  uint8_t *end_;
};

inline tm_util_trie_node *left_of(const tm_util_trie_node *node) {
  return static_cast<tm_util_trie_node *>(tm_chunk_idx2ptr(TM_V6_TRIE_NODE, node->left));
}

inline tm_util_trie_node *right_of(const tm_util_trie_node *node) {
  return static_cast<tm_util_trie_node *>(tm_chunk_idx2ptr(TM_V6_TRIE_NODE, node->right));
}

inline tm_util_trie_node *child_of(const tm_util_trie_node *node, uint32_t bit) {
  return bit != 0 ? right_of(node) : left_of(node);
}

// The pools of raw_blk, made anew for every test. A test must leave them unharmed.
class utils_test : public ::testing::Test {
 protected:
  void SetUp() override {
    test_host::reset();
    std::memset(info, 0, sizeof info);
    ASSERT_EQ(tm_init_raw_chunks(info, raw_blk, 0, TM_CHUNK_TYPES), 0u);
    tm_chunk_set_chunk_inf_base(info);
    tm_dump_chk_info_set_base(info);
    tcamv6_debug_flags = {};
    tcamv6_debug_flags.error = 1;
  }

  void TearDown() override {
    EXPECT_EQ(test_host::pool_damage(), "");
    tm_chunk_forget_abandoned();
    test_host::reset();
  }

  static tm_util_trie_node *new_trie_root() {
    auto *root = static_cast<tm_util_trie_node *>(tm_chunk_malloc(TM_V6_TRIE_NODE));
    tm_util_trie_node_initialize(root, nullptr, 0);
    return root;
  }

  tm_chunk_info info[TM_CHUNK_TYPES];
};

// Random numbers that are the same in every run and with every standard library.
class dice {
 public:
  explicit dice(uint64_t seed) : engine_(seed) {}

  uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine_() % n); }

  bool chance(uint32_t one_in) { return below(one_in) == 0; }

 private:
  std::mt19937_64 engine_;
};

#endif
