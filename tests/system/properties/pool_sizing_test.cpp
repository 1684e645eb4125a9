// SPDX-License-Identifier: Apache-2.0
// The pools that the tool makes for a table are large enough for it, and what it calls the least is no more than
// what the table takes.
#include "pool_sizing.h"

#include <gtest/gtest.h>

#include "library_table.h"
#include "pool_counters.h"
#include "random_tables.h"

namespace {

using namespace v6tool;
using random_tables::random_source;
using random_tables::random_table;

// Empty pools, and peaks that begin at 0.
void start_anew() {
  library_table::start();
  zel_v6comp_reset_instance(0, 0);
  forget_pool_peaks();
}

TEST(PoolSizing, EveryPeakLiesBetweenTheLeastAndTheMost) {
  random_source random(21);
  for (size_t round = 0; round < 120; ++round) {
    const random_tables::shape shape = random_tables::all_shapes[round % std::size(random_tables::all_shapes)];
    const prefix_table table = random_table(random, shape, 1 + random() % 300);
    start_anew();
    if (library_table::compress(table) != 0) {
      continue;
    }
    const pool_needs needs = find_pool_needs(find_stored_prefixes(table));
    for (const uint32_t type : {TM_V6_ANC_TREE, TM_V6_ANC_DATA, TM_V6_ORIG_DATA, TM_V6_PCMPR_DATA, TM_V6_TRIE_NODE}) {
      const uint64_t peak = pool_peak(raw_blk[type].name);
      ASSERT_LE(needs[type].least, peak) << table.name << ' ' << raw_blk[type].name;
      ASSERT_LE(peak, needs[type].most) << table.name << ' ' << raw_blk[type].name;
      ASSERT_GE(peak, gbl_chunk_info[type].allocated);
    }
  }
}

TEST(PoolSizing, TheLeastOfTheTreeIsExact) {
  random_source random(22);
  for (int round = 0; round < 40; ++round) {
    const prefix_table table = random_table(random, random_tables::shape::mixed, 1 + random() % 200);
    start_anew();
    if (library_table::compress(table) == 0) {
      const pool_needs needs = find_pool_needs(find_stored_prefixes(table));
      ASSERT_EQ(pool_peak(raw_blk[TM_V6_ANC_TREE].name), needs[TM_V6_ANC_TREE].least);
      ASSERT_EQ(pool_peak(raw_blk[TM_V6_ANC_DATA].name), needs[TM_V6_ANC_DATA].least);
    }
  }
}

}  // namespace
