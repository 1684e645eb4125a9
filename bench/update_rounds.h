// SPDX-License-Identifier: Apache-2.0
// update_rounds.h - prefixes that a table takes up and gives back, again and again.
#ifndef UPDATE_ROUNDS_H
#define UPDATE_ROUNDS_H

#include "bench_tables.h"

namespace v6bench {

// A table and `most` prefixes or fewer that the library adds to it and removes from it in batches of `batch`
// prefixes, round after round, without a refusal. Which ones these are depends on the mode of
// batches.
struct update_set {
  prefix_list table;
  prefix_list changes;
};

// Searched for once; the instance is left in any state.
const update_set &find_updates(size_t n, size_t most, size_t batch);

}  // namespace v6bench

#endif
