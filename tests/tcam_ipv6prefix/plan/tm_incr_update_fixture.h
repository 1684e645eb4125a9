// SPDX-License-Identifier: Apache-2.0
// tm_incr_update_fixture.h - an update list and a table to plan for.
#ifndef TM_INCR_UPDATE_FIXTURE_H
#define TM_INCR_UPDATE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <memory>
#include <random>
#include <vector>

#include "test_host.h"
#include "tm_debug.h"
#include "tm_incr_update.h"

// Records as a caller hands them over: prefixes and, parallel to them, compressed addresses.
struct plan_table {
  std::vector<tcamv6_prefix> prefixes;
  std::vector<tcamv6_cmpr_addr> cmpr_addrs;

  void add(std::initializer_list<uint8_t> address, uint8_t length, uint8_t code) {
    tcamv6_prefix prefix = {};
    std::copy(address.begin(), address.end(), prefix.address);
    prefix.length = length;
    prefixes.push_back(prefix);
    tcamv6_cmpr_addr cmpr_addr = {};
    cmpr_addr.bytes[0] = code;
    cmpr_addrs.push_back(cmpr_addr);
  }

  uint32_t size() const { return static_cast<uint32_t>(prefixes.size()); }
};

class tm_incr_update : public testing::Test {
 protected:
  void SetUp() override {
    test_host::reset();
    tcamv6_debug_flags = {};
    list = std::make_unique<tm_incr_update_list>();
    std::memset(list->header, 0x77, sizeof(list->header));
  }

  void TearDown() override {
    for (const uint8_t byte : list->header) {
      ASSERT_EQ(byte, 0x77);
    }
    EXPECT_EQ(test_host::heap().blocks, 0u);
    tcamv6_debug_flags = {};
  }

  void put(uint32_t slot, std::initializer_list<uint8_t> address, uint8_t length, uint8_t code, uint32_t state) {
    tm_incr_update_entry &entry = list->entries[slot];
    entry = {};
    std::copy(address.begin(), address.end(), entry.prefix);
    entry.length = length;
    entry.cmpr_addr[0] = code;
    entry.state = state;
  }

  void put_states(std::initializer_list<uint32_t> states) {
    list->count = 0;
    for (const uint32_t state : states) {
      list->entries[list->count++].state = state;
    }
  }

  std::vector<uint32_t> states(uint32_t n) const {
    std::vector<uint32_t> result;
    for (uint32_t i = 0; i < n; ++i) {
      result.push_back(list->entries[i].state);
    }
    return result;
  }

  std::vector<int> lengths(uint32_t n) const {
    std::vector<int> result;
    for (uint32_t i = 0; i < n; ++i) {
      result.push_back(list->entries[i].length);
    }
    return result;
  }

  std::vector<int> first_bytes(uint32_t n) const {
    std::vector<int> result;
    for (uint32_t i = 0; i < n; ++i) {
      result.push_back(list->entries[i].prefix[0]);
    }
    return result;
  }

  int32_t build(const plan_table &table, uint32_t expected, bool force = false) {
    return tm_build_incremental_update_prefixes_list(list.get(), table.prefixes.data(), nullptr,
                                                     table.cmpr_addrs.data(), table.size(), expected, &corrupted,
                                                     force ? 1 : 0);
  }

  std::unique_ptr<tm_incr_update_list> list;
  uint32_t corrupted = 99;
};

#endif
