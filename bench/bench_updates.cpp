// SPDX-License-Identifier: Apache-2.0
// Additions and deletions on a loaded table, one by one and in batches, compatible, safe and in room mode; beside them
// the same changes in a bare bit trie. Times are per prefix of the batch; the prefixes are real ones that the table
// lacks.
#include "bench_clock.h"
#include "bit_trie.h"
#include "library_use.h"
#include "update_rounds.h"

namespace v6bench {
namespace {

std::vector<request> batches_of(const prefix_list &changes, size_t batch, change what) {
  std::vector<request> batches;
  for (size_t i = 0; i + batch <= changes.size(); i += batch) {
    batches.emplace_back(&changes[i], batch, what);
  }
  return batches;
}

uint64_t run_all(const std::vector<request> &batches) {
  uint64_t refused = 0;
  for (const request &batch : batches) {
    refused += batch.run() != 0 ? 1 : 0;
  }
  return refused;
}

// How many prefixes a round changes: few enough to leave the table what it is.
size_t changes_per_round(size_t n, size_t batch) { return std::max(batch, std::min<size_t>(200, n / 5)); }

// Rounds of additions and of the deletions that undo them; `what` is on the clock.
void update(benchmark::State &state, change what, update_mode mode) {
  const auto n = static_cast<size_t>(state.range(0));
  const auto batch = static_cast<size_t>(state.range(1));
  start_library();
  use(mode);
  const update_set &set = find_updates(n, changes_per_round(n, batch), batch);
  if (set.changes.empty()) {
    use(update_mode::compatible);
    state.SkipWithError("no batch of this size is accepted");
    return;
  }
  const std::vector<request> additions = batches_of(set.changes, batch, change::add);
  const std::vector<request> deletions = batches_of(set.changes, batch, change::remove);
  const request table(set.table);
  load(table);
  uint64_t refused = 0;
  for (auto _ : state) {
    uint64_t refused_now = 0;
    if (what == change::add) {
      timed(state, [&] { refused_now += run_all(additions); });
      refused_now += run_all(deletions);
    } else {
      refused_now += run_all(additions);
      timed(state, [&] { refused_now += run_all(deletions); });
    }
    if (refused_now != 0) {
      load(table);
    }
    refused += refused_now;
  }
  use(update_mode::compatible);
  count_items(state, set.changes.size());
  state.counters["refused"] = static_cast<double>(refused);
  state.counters["table"] = static_cast<double>(set.table.size());
}

// The floor: a working list's worth of bit trie, changed by the same prefixes and their anchors.
void bit_trie_update(benchmark::State &state, change what) {
  const auto n = static_cast<size_t>(state.range(0));
  start_library();
  const update_set &set = find_updates(n, changes_per_round(n, 1), 1);
  const working_list list(set.table);
  const std::vector<tcamv6_prefix> changes = records_of(set.changes);
  bump_pool pool(list.trie_nodes() + changes.size() * 129);
  bit_trie trie(&pool);
  for (uint32_t i = 0; i < list.count; ++i) {
    trie.insert(list.records[i].address, list.records[i].length, i + 1);
  }
  const auto add_all = [&] {
    for (const tcamv6_prefix &record : changes) {
      benchmark::DoNotOptimize(trie.insert(record.address, record.length, 1));
    }
  };
  const auto remove_all = [&] {
    for (const tcamv6_prefix &record : changes) {
      trie.remove(record.address, record.length);
    }
  };
  for (auto _ : state) {
    if (what == change::add) {
      timed(state, add_all);
      remove_all();
    } else {
      add_all();
      timed(state, remove_all);
    }
  }
  count_items(state, changes.size());
}

void single_sizes(benchmark::internal::Benchmark *b) {
  for (const int64_t n : table_sizes()) {
    b->Args({n, 1});
  }
  b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

void batch_sizes(benchmark::internal::Benchmark *b) {
  single_sizes(b);
  for (const int64_t n : {1000, 10000, 60000}) {
    for (const int64_t batch : {10, 100, 1000}) {
      if (batch < n) {
        b->Args({n, batch});
      }
    }
  }
}

BENCHMARK_CAPTURE(update, add, change::add, update_mode::compatible)->Apply(batch_sizes);
BENCHMARK_CAPTURE(update, add_safe, change::add, update_mode::safe)->Apply(batch_sizes);
BENCHMARK_CAPTURE(update, add_room, change::add, update_mode::room)->Apply(batch_sizes);
BENCHMARK_CAPTURE(update, delete, change::remove, update_mode::compatible)->Apply(batch_sizes);
BENCHMARK_CAPTURE(update, delete_safe, change::remove, update_mode::safe)->Apply(batch_sizes);
BENCHMARK_CAPTURE(update, delete_room, change::remove, update_mode::room)->Apply(batch_sizes);
BENCHMARK_CAPTURE(bit_trie_update, add, change::add)->Apply(single_sizes);
BENCHMARK_CAPTURE(bit_trie_update, delete, change::remove)->Apply(single_sizes);

}  // namespace
}  // namespace v6bench
