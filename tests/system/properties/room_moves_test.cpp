// SPDX-License-Identifier: Apache-2.0
// How many entries room mode moves for one new prefix above stored ones, against the fewest that any method could.
//
// Let X be new, P the prefix around it, N the code that X gets. An entry that keeps its code lies below N if X contains
// it, and not below or above N if it does not. So the fewest moves for N are the entries for which that does not hold,
// and one for P if its own address lies below N. The bound is the least over all N; only codes above those inside X,
// and one that holds none of them, need a look.
#include <gtest/gtest.h>

#include <cstdio>

#include "told_moves.h"
#include "updated_table_fixture.h"

namespace {

using namespace updated_table;
using v6tool::contains;
using v6tool::ip_prefix;

bool is_entry(const stored_row &row) { return row.counters.weight != row.counters.anchors; }

class RoomMoves : public updated_table_test {
 protected:
  void TearDown() override {
    zel_v6comp_set_room(0);
    updated_table_test::TearDown();
  }

  static size_t moves_for(const std::vector<stored_row> &before, const ip_prefix &x, const ip_prefix &code) {
    size_t moves = 0;
    for (const stored_row &row : before) {
      const ip_prefix &has = row.row.code;
      const bool around_x = contains(row.row.original, x);
      const bool inside_x = contains(x, row.row.original);
      const bool below = has.length > code.length && contains(code, has);
      const bool above = has.length < code.length && contains(has, code);
      const bool right = around_x   ? above && !v6tool::covers(code, row.row.address)
                         : inside_x ? below
                                    : !above && !below && has != code;
      moves += is_entry(row) && !right ? 1 : 0;
    }
    return moves;
  }

  static size_t fewest_moves(const std::vector<stored_row> &before, const ip_prefix &x) {
    size_t fewest = 0;  // all inside X come to a new place
    for (const stored_row &row : before) {
      fewest += contains(x, row.row.original) && is_entry(row) ? 1 : 0;
    }
    for (const stored_row &row : before) {
      for (uint8_t length = 1; contains(x, row.row.original) && length <= row.row.code.length; ++length) {
        const ip_prefix code = {v6tool::masked(row.row.code.key, length), length};
        fewest = std::min(fewest, moves_for(before, x, code));
      }
    }
    return fewest;
  }

  bool has_longer(const ip_prefix &x) const {
    return std::any_of(rows.begin(), rows.end(),
                       [&](const stored_row &row) { return contains(x, row.row.original) && row.row.original != x; });
  }

  // Stores one prefix that has longer ones below it and brings no anchor of its own; others are passed over.
  void add_level(const ip_prefix &x) {
    const change_list batch = {{true, x, 1}};
    counting with = table;
    with.apply(batch, true);
    if (table.stored().contains(x) || with.stored().size() != table.stored().size() + 1 || !has_longer(x)) {
      return;
    }
    const std::vector<stored_row> before = rows;
    EXPECT_EQ(request(batch), 0u);
    table = with;
    look(story(batch, 0));
    EXPECT_EQ(counterexample(), "");
    const size_t bound = fewest_moves(before, x);
    const size_t moved = told_moves::list(0, 0).size();
    EXPECT_GE(moved, bound) << story(batch, 0);
    ++levels;
    free_levels += moved == 0 ? 1 : 0;
    at_the_bound += moved == bound ? 1 : 0;
    all_moved += moved;
    all_bounds += bound;
  }

  // Tables in spaces that begin at `deepest_start` or above grow, and levels come above their prefixes in between.
  void grow_tables(uint8_t deepest_start) {
    for (int round = 0; round < 120 && !HasFailure(); ++round) {
      zel_v6comp_set_room(0);
      do {
        start_table(10);
      } while (space.network.length > deepest_start);
      zel_v6comp_set_room(1);
      space.width = std::min(20u, 128u - space.network.length);
      for (int i = 0; i < 12 && !HasFailure(); ++i) {
        const change_list more = random_batches::random_table(random, space, 10);
        ASSERT_EQ(request(more), 0u);
        table.apply(more, true);
        look(story(more, 0));
        for (int k = 0; k < 6 && !HasFailure(); ++k) {
          add_level(random_batches::random_prefix(random, space));
        }
      }
    }
    std::printf("%zu levels, %zu without a move, %zu with the fewest; %zu moved, bound %zu\n", levels, free_levels,
                at_the_bound, all_moved, all_bounds);
  }

  size_t levels = 0;
  size_t free_levels = 0;
  size_t at_the_bound = 0;
  size_t all_moved = 0;
  size_t all_bounds = 0;
};

TEST_F(RoomMoves, LevelsMoveLittleMoreThanTheFewestWhereThereAreBits) {
  grow_tables(26);
  EXPECT_GT(all_bounds, 100u) << "too few of these levels need a move at all";
  EXPECT_LE(10 * all_moved, 17 * all_bounds);
  EXPECT_GE(100 * at_the_bound, 97 * levels);
}

// Near the end of the codes subtrees are laid out anew, which the bound knows nothing of.
TEST_F(RoomMoves, LevelsOfLongPrefixesToo) {
  grow_tables(128);
  EXPECT_GT(all_bounds, 100u);
  EXPECT_LE(10 * all_moved, 30 * all_bounds);
  EXPECT_GE(100 * at_the_bound, 94 * levels);
}

}  // namespace
