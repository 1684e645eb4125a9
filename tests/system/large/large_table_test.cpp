// SPDX-License-Identifier: Apache-2.0
// A table of 72,000 prefixes: one full compression of as many as a request holds, and batches for the rest. Right
// after every request, nothing refused, and every entry where it was or where the moves say.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <span>

#include "containment_check.h"
#include "told_moves.h"
#include "zel_v6comp.h"

namespace {

using v6tool::ip_key;
using v6tool::ip_prefix;

constexpr size_t table_size = 72000;
constexpr uint8_t anchor_lengths[] = {32, 48, 64, 96};

// Networks of 32 bits with up to 20 longer prefixes in each, nested and beside each other.
std::vector<ip_prefix> make_table() {
  std::mt19937_64 random(17);
  std::set<ip_prefix> table;
  while (table.size() < table_size) {
    const ip_prefix network = {{(uint64_t{2} << 60 | (random() >> 4)) & ~uint64_t{0xFFFFFFFF}, 0}, 32};
    table.insert(network);
    for (uint64_t n = random() % 20; n > 0 && table.size() < table_size; --n) {
      const auto length = static_cast<uint8_t>(33 + random() % 32);
      const uint64_t near = random() % 2 == 0 ? random() & 0xF0FFFF : random();
      table.insert({v6tool::masked({network.key.hi | (near & 0xFFFFFFFF), 0}, length), length});
    }
  }
  std::vector<ip_prefix> list(table.begin(), table.end());
  std::shuffle(list.begin(), list.end(), random);
  return list;
}

uint32_t request(std::span<const ip_prefix> prefixes, bool add) {
  std::vector<uint8_t> bytes(sizeof(v6comp_pref_info) + prefixes.size() * sizeof(tcamv6_prefix));
  const v6comp_pref_info head = {0, 0, static_cast<uint32_t>(prefixes.size())};
  std::memcpy(bytes.data(), &head, sizeof head);
  uint8_t *next = bytes.data() + sizeof head;
  for (const ip_prefix &prefix : prefixes) {
    tcamv6_prefix record = {};
    record.flags_tag = add ? TM_PREFIX_FLAG_ADD : 0;
    record.weight = 1;
    record.length = prefix.length;
    v6tool::key_to_bytes(prefix.key, record.address);
    std::memcpy(next, &record, sizeof record);
    next += sizeof record;
  }
  return zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data()));
}

class LargeTable : public testing::Test {
 protected:
  void SetUp() override {
    for (tm_raw_blk_row &row : raw_blk) {
      if (row.enabled != 0 && row.elem_size != 0) {
        row.n_elems = uint64_t{1} << 23;
      }
    }
    ASSERT_EQ(zel_v6comp_init_global_state(1, 1), 0u);
    zel_v6comp_set_room(1);
  }

  void TearDown() override {
    zel_v6comp_set_room(0);
    EXPECT_EQ(zel_v6comp_reset_instance(0, 0), 0u);
  }

  // What every entry became, and whether all that is stored is right, anchors and /0 included.
  static told_moves::form_map look(const std::set<ip_prefix> &table) {
    std::set<ip_prefix> stored = table;
    stored.insert(ip_prefix{});
    for (const ip_prefix &prefix : table) {
      for (const uint8_t length : anchor_lengths) {
        if (prefix.length > length) {
          stored.insert({v6tool::masked(prefix.key, length), length});
        }
      }
    }
    std::vector<v6tool::compressed_row> rows;
    told_moves::form_map forms;
    for (const ip_prefix &prefix : stored) {
      tcamv6_prefix record = {};
      record.length = prefix.length;
      v6tool::key_to_bytes(prefix.key, record.address);
      tcamv6_cmpr_pref code = {};
      tcamv6_cmpr_addr address = {};
      EXPECT_EQ(tcamv6_lookup_prefix(zel_v6comp_instance(0, 0), &record, &code, &address), 0);
      const ip_key key = v6tool::key_from_bytes(code.key);
      rows.push_back({prefix, {v6tool::masked(key, code.length), code.length}, v6tool::key_from_bytes(address.bytes)});
      if (table.contains(prefix) || prefix.length == 0) {
        forms[prefix] = {rows.back().code, rows.back().address};
      }
    }
    EXPECT_EQ(v6tool::containment_counterexample(rows), "");
    return forms;
  }
};

TEST_F(LargeTable, IsLoadedByOneFullCompressionAndBatches) {
  const std::vector<ip_prefix> list = make_table();
  const std::span<const ip_prefix> all(list);
  std::set<ip_prefix> table(list.begin(), list.begin() + TCAMV6_MAX_PREFIXES);
  ASSERT_EQ(request(all.first(TCAMV6_MAX_PREFIXES), true), 0u);
  told_moves::form_map before = look(table);
  size_t loaded = TCAMV6_MAX_PREFIXES;
  for (const size_t n : {size_t{4000}, table_size - TCAMV6_MAX_PREFIXES - 4000}) {
    const auto batch = all.subspan(loaded, n);
    ASSERT_EQ(request(batch, true), 0u);
    table.insert(batch.begin(), batch.end());
    loaded += n;
    told_moves::form_map after = look(table);
    EXPECT_EQ(told_moves::fault(before, after, {}, told_moves::list(0, 0)), "");
    before = std::move(after);
  }
  ASSERT_EQ(table.size(), table_size);

  ASSERT_EQ(zel_v6comp_recompress(0, 0), 0u) << "more than a request holds";
  told_moves::form_map after = look(table);
  EXPECT_EQ(told_moves::fault(before, after, {}, told_moves::list(0, 0)), "");

  ASSERT_EQ(request(all.first(30000), false), 0u);
  for (const ip_prefix &prefix : all.first(30000)) {
    table.erase(prefix);
  }
  look(table);
}

}  // namespace
