// SPDX-License-Identifier: Apache-2.0
// Random lives of tables: every change followed write by write and compared with a dump, all answers with a plain map.
#include <random>

#include "table_twin.h"

namespace {

using table_test::prefix;
using table_test::table_twin;
using table_test::wish;

class random_life {
 public:
  random_life(uint32_t seed, unsigned levels) : random_(seed), levels_(levels) {}

  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }

  // Prefixes of a few networks, nested and side by side; now and then any at all.
  prefix some_prefix() {
    static constexpr unsigned lengths[] = {0,  8,  16, 29, 32, 33, 40, 44, 47, 48,  49,
                                           52, 56, 60, 63, 64, 65, 80, 96, 97, 127, 128};
    const unsigned length = lengths[below(levels_)];
    tm_key_number address = tm_key_number{0x20010db800000000u} << 64;
    for (unsigned at = 30; at < 128; at += 2 + below(9)) {
      address |= tm_key_number{below(2)} << (127 - at);
    }
    if (below(20) == 0) {
      address = tm_key_number{random_()} << 64 | random_();
    }
    return {address & tm_key_number_leading(static_cast<int32_t>(length)), length};
  }

  std::vector<wish> some_changes(const table_twin &twin, unsigned most) {
    std::vector<wish> changes;
    for (unsigned left = 1 + below(most); left > 0; --left) {
      if (below(2) == 0 || twin.wanted.empty()) {
        changes.push_back({some_prefix(), true, static_cast<uint32_t>(random_())});
      } else {
        const auto at = std::next(twin.wanted.begin(), below(static_cast<unsigned>(twin.wanted.size())));
        changes.push_back({at->first, below(8) == 0, static_cast<uint32_t>(random_())});
      }
    }
    return changes;
  }

 private:
  std::mt19937_64 random_;
  unsigned levels_;
};

class TableLives : public testing::TestWithParam<uint32_t> {};

TEST_P(TableLives, AgreeWithAPlainMap) {
  random_life life(GetParam(), GetParam() % 2 == 0 ? 22 : 14);
  table_twin twin(2000);
  unsigned refused = 0;
  for (int step = 0; step < 120 && !testing::Test::HasFailure(); ++step) {
    const unsigned what = life.below(40);
    int32_t status = 0;
    if (what == 0) {
      status = twin.compact();
    } else if (what == 1) {
      std::vector<wish> all;
      for (unsigned left = life.below(60); left > 0; --left) {
        all.push_back({life.some_prefix(), true, left});
      }
      status = twin.load(all);
    } else {
      status = twin.apply(life.some_changes(twin, what < 5 ? 60 : 6));
    }
    if (status != ZEL_V6COMP_TABLE_OK) {
      ++refused;
      EXPECT_LE(status, ZEL_V6COMP_TABLE_E_BITS) << twin.last.reason;
      EXPECT_NE(status, ZEL_V6COMP_TABLE_E_INTERNAL) << twin.last.reason;
      EXPECT_EQ(twin.hardware.difference(twin.rows()), "");
    }
    if (twin.early != 0) {
      ADD_FAILURE() << "step " << step << ": " << twin.last.early << " early of " << twin.last.n_writes << " writes, "
                    << twin.last.parked << " parked, what " << what;
    }
    if (life.below(8) == 0) {
      ASSERT_EQ(zel_v6comp_table_index(twin.table), ZEL_V6COMP_TABLE_OK);
    }
    if (life.below(6) == 0) {
      twin.check_rows();
      twin.check_lookups();
    }
  }
  EXPECT_LT(refused, 80u);
  EXPECT_EQ(twin.early, 0u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TableLives, testing::Range(1u, 25u));

}  // namespace
