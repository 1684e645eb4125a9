// SPDX-License-Identifier: Apache-2.0
#include "table_twin.h"

#include <arpa/inet.h>

#include "all_rows.h"

namespace table_test {

prefix parse(const std::string &text) {
  const size_t slash = text.find('/');
  uint8_t bytes[16];
  EXPECT_EQ(inet_pton(AF_INET6, text.substr(0, slash).c_str(), bytes), 1) << text;
  return {tm_key_load(bytes), static_cast<unsigned>(std::stoul(text.substr(slash + 1)))};
}

table_twin::table_twin(uint32_t expected, int32_t processor, int32_t instance) {
  zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  options.expected_prefixes = expected;
  EXPECT_EQ(zel_v6comp_table_open(processor, instance, &options, &table), ZEL_V6COMP_TABLE_OK);
}

table_twin::~table_twin() { EXPECT_EQ(zel_v6comp_table_close(table), ZEL_V6COMP_TABLE_OK); }

int32_t table_twin::load(const std::vector<wish> &all) {
  std::vector<zel_v6comp_table_prefix> records(all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    tm_key_store(records[i].address, all[i].p.address);
    records[i].length = static_cast<uint8_t>(all[i].p.length);
    records[i].word = all[i].word;
  }
  const int32_t status = zel_v6comp_table_load(table, records.data(), records.size(), &last);
  if (status == ZEL_V6COMP_TABLE_OK) {
    wanted.clear();
    for (const wish &w : all) {
      wanted[w.p] = w.word;
    }
    follow_last();
  }
  return status;
}

int32_t table_twin::apply(const std::vector<wish> &changes) {
  std::vector<zel_v6comp_table_change> records(changes.size());
  for (size_t i = 0; i < changes.size(); ++i) {
    tm_key_store(records[i].address, changes[i].p.address);
    records[i].length = static_cast<uint8_t>(changes[i].p.length);
    records[i].operation = changes[i].add ? ZEL_V6COMP_TABLE_ADD : ZEL_V6COMP_TABLE_REMOVE;
    records[i].word = changes[i].word;
  }
  const int32_t status = zel_v6comp_table_apply(table, records.data(), records.size(), &last);
  if (status == ZEL_V6COMP_TABLE_OK) {
    for (const wish &w : changes) {
      if (w.add) {
        wanted[w.p] = w.word;
      } else {
        wanted.erase(w.p);
      }
    }
    follow_last();
  }
  return status;
}

int32_t table_twin::compact() {
  const int32_t status = zel_v6comp_table_compact(table, &last);
  if (status == ZEL_V6COMP_TABLE_OK) {
    follow_last();
  }
  return status;
}

void table_twin::follow_last() {
  const std::span<const zel_v6comp_table_write> list(last.writes, last.n_writes);
  writes += last.n_writes;
  moved += last.moved;
  parked += last.parked;
  early += last.early;
  if (last.early == 0) {
    EXPECT_EQ(hardware.follow(list), "");
  } else {
    hardware.follow_blindly(list);
  }
  EXPECT_EQ(hardware.difference(rows()), "");
}

std::vector<zel_v6comp_table_row> table_twin::rows() const {
  const auto all = all_rows(table, 61);
  EXPECT_TRUE(all.has_value());
  return all.value_or(std::vector<zel_v6comp_table_row>());
}

zel_v6comp_table_stats_record table_twin::figures() const {
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  EXPECT_EQ(zel_v6comp_table_stats(table, &figures), ZEL_V6COMP_TABLE_OK);
  return figures;
}

void table_twin::check_rows() const {
  const std::vector<zel_v6comp_table_row> all = rows();
  ASSERT_EQ(all.size(), wanted.size());
  size_t i = 0;
  for (const auto &[p, word] : wanted) {
    ASSERT_EQ(text_of(prefix_of(all[i])), text_of(p));
    ASSERT_EQ(all[i].word, word) << text_of(p);
    zel_v6comp_table_row found = {};
    ASSERT_EQ(zel_v6comp_table_find(table, all[i].address, all[i].length, &found), 1);
    ASSERT_EQ(found.code, all[i].code);
    ASSERT_EQ(found.key, all[i].key);
    ASSERT_EQ(found.word, word);
    ASSERT_EQ(found.code_length, all[i].code_length);
    ++i;
  }
  ASSERT_EQ(figures().prefixes, wanted.size());
}

void table_twin::check_lookups() const {
  std::vector<prefix> probes;
  for (const auto &[p, word] : wanted) {
    const tm_key_number end = p.address | ~tm_key_number_leading(static_cast<int32_t>(p.length));
    for (const tm_key_number a : {p.address, end, p.address - 1, end + 1}) {
      probes.push_back({a, 128});
    }
  }
  std::vector<uint8_t> addresses(16 * probes.size());
  std::vector<uint64_t> keys(probes.size());
  std::vector<uint8_t> covered(probes.size());
  for (size_t i = 0; i < probes.size(); ++i) {
    tm_key_store(&addresses[16 * i], probes[i].address);
  }
  ASSERT_EQ(zel_v6comp_table_translate(table, addresses.data(), probes.size(), keys.data(), covered.data()), 0);
  for (size_t i = 0; i < probes.size(); ++i) {
    const prefix *expected = nullptr;
    for (unsigned length = 129; length-- > 0 && expected == nullptr;) {
      const auto at = wanted.find(probes[i].cut(length));
      expected = at == wanted.end() ? nullptr : &at->first;
    }
    zel_v6comp_table_row row = {};
    const int32_t found = zel_v6comp_table_lookup(table, &addresses[16 * i], &row);
    ASSERT_EQ(found, expected != nullptr ? 1 : 0);
    ASSERT_EQ(covered[i], found);
    if (found == 1) {
      ASSERT_EQ(text_of(prefix_of(row)), text_of(*expected));
      ASSERT_EQ(keys[i], row.key);
    } else {
      for (const auto &other : rows()) {
        ASSERT_FALSE(
            ((other.code ^ keys[i]) & (other.code_length == 0 ? 0 : ~uint64_t{0} << (64 - other.code_length))) == 0);
      }
    }
  }
}

}  // namespace table_test
