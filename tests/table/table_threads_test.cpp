// SPDX-License-Identifier: Apache-2.0
// Eight threads ask, one changes in between: with a read-write lock around the calls, as the header says. A build with
// the thread sanitizer looks for races.
#include <atomic>
#include <random>
#include <shared_mutex>
#include <thread>

#include "table_record.h"
#include "table_twin.h"

namespace {

using table_test::parse;
using table_test::table_twin;
using table_test::wish;

TEST(TableThreads, EightReadersAndAChange) {
  table_twin twin(4000);
  std::vector<wish> all;
  const tm_key_number base = parse("2001:db8::/32").address;
  for (uint32_t i = 0; i < 500; ++i) {
    all.push_back({{base | tm_key_number{i} << 80, 48}, true, i});
  }
  ASSERT_EQ(twin.load(all), ZEL_V6COMP_TABLE_OK);
  std::shared_mutex lock;
  std::atomic<bool> stop = false;
  std::atomic<bool> change_waits = false;  // readers would never let it in
  std::atomic<uint64_t> asked = 0;
  std::atomic<uint32_t> wrong = 0;
  std::vector<std::thread> readers;
  for (uint32_t number = 0; number < 8; ++number) {
    readers.emplace_back([&, number] {
      std::mt19937 random(number);
      uint8_t addresses[4][16];
      while (!stop) {
        while (change_waits) {
          std::this_thread::yield();
        }
        const std::shared_lock reading(lock);
        for (auto &address : addresses) {
          tm_key_store(address, all[random() % all.size()].p.address | random());
        }
        zel_v6comp_table_row row = {};
        uint64_t keys[4];
        uint8_t covered[4];
        zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
        zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
        wrong += zel_v6comp_table_lookup(twin.table, addresses[0], &row) < 0;
        wrong += zel_v6comp_table_find(twin.table, row.address, row.length, &row) < 0;
        wrong += zel_v6comp_table_translate(twin.table, addresses[0], 4, keys, covered) != 0;
        wrong += zel_v6comp_table_rows(twin.table, &place, &row, 1) < 0;
        wrong += random() % 64 == 0 && zel_v6comp_table_stats(twin.table, &figures) != 0;
        ++asked;
      }
    });
  }
  for (uint32_t round = 0; round < 40; ++round) {
    while (asked < round * 50) {
      std::this_thread::yield();
    }
    change_waits = true;
    const std::unique_lock writing(lock);
    change_waits = false;
    EXPECT_EQ(
        twin.apply({{all[round].p, round % 2 != 0, round}, {{base | tm_key_number{round} << 72, 56}, true, round}}),
        ZEL_V6COMP_TABLE_OK);
    if (round % 3 == 0) {
      EXPECT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
    }
  }
  stop = true;
  for (std::thread &reader : readers) {
    reader.join();
  }
  EXPECT_EQ(wrong, 0u);
  twin.check_rows();
  twin.check_lookups();
}

// A build with assertions counts its readers; others cannot notice.
TEST(TableThreads, AChangeThatMeetsAReaderIsRefusedWhereItCanBeNoticed) {
  table_twin twin;
  ASSERT_EQ(twin.load({{parse("2001:db8::/32"), true, 1}}), ZEL_V6COMP_TABLE_OK);
  ASSERT_EQ(table_begin_reading(twin.table), ZEL_V6COMP_TABLE_OK);
  const int32_t met = twin.apply({{parse("2001:db8:1::/48"), true, 2}});
  table_end_reading();
#ifdef NDEBUG
  EXPECT_EQ(met, ZEL_V6COMP_TABLE_OK);
#else
  EXPECT_EQ(met, ZEL_V6COMP_TABLE_E_BUSY);
#endif
  EXPECT_EQ(twin.apply({{parse("2001:db8:2::/48"), true, 3}}), ZEL_V6COMP_TABLE_OK);
  twin.check_rows();
}

}  // namespace
