// SPDX-License-Identifier: Apache-2.0
// Full compression and reset, and the two floors over the same working list.
#include "bench_clock.h"
#include "bit_trie.h"
#include "library_use.h"

namespace v6bench {
namespace {

prefix_list table_of(const benchmark::State &state, bool generated) {
  const auto n = static_cast<size_t>(state.range(0));
  return generated ? generated_table(n) : real_table(n);
}

void report_elements(benchmark::State &state, const element_use &use, uint64_t taken, size_t n) {
  const auto prefixes = static_cast<double>(n);
  state.counters["elements"] = static_cast<double>(use.now);
  state.counters["elements_taken"] = static_cast<double>(taken);
  state.counters["bytes_per_prefix"] = static_cast<double>(use.now_bytes) / prefixes;
}

// As a line card recompresses: the pools were in use before.
void full(benchmark::State &state, bool generated) {
  const prefix_list table = table_of(state, generated);
  const request wanted(table);
  load(wanted);
  element_use use;
  uint64_t taken = 0;
  for (auto _ : state) {
    empty_instance();
    const uint64_t before = elements().taken;
    uint32_t status = 0;
    timed(state, [&] { status = wanted.run(); });
    if (status != 0) {
      give_up("full compression", status);
    }
    use = elements();
    taken = use.taken - before;
  }
  count_items(state, table.size());
  report_elements(state, use, taken, table.size());
}

// All of a /32 of the table but one host: the documented limits refuse what holds this.
prefix_list with_hole(prefix_list table) {
  const size_t middle = table.size() / 2;
  const v6tool::ip_key host = v6tool::last_address({v6tool::masked(table[middle].key, 32), 32});
  for (unsigned length = 33; length <= 128; ++length) {
    v6tool::ip_key key = host;
    (length <= 64 ? key.hi : key.lo) ^= uint64_t{1} << (63 - (length - 1) % 64);
    table.push_back({v6tool::masked(key, length), static_cast<uint8_t>(length)});
  }
  return table;
}

// A table that room mode accepts and compatible mode refuses, to be held against full/real.
void full_fit(benchmark::State &state) {
  const prefix_list table = with_hole(table_of(state, false));
  const request wanted(table);
  zel_v6comp_set_room(1);
  load(wanted);
  for (auto _ : state) {
    empty_instance();
    uint32_t status = 0;
    timed(state, [&] { status = wanted.run(); });
    if (status != 0) {
      give_up("full compression in room mode", status);
    }
  }
  zel_v6comp_set_room(0);
  count_items(state, table.size());
}

// The first table of a process: pages of the pools are touched for the first time.
void full_first(benchmark::State &state) {
  const prefix_list table = table_of(state, false);
  const request wanted(table);
  for (auto _ : state) {
    renew_library();
    uint32_t status = 0;
    timed(state, [&] { status = wanted.run(); });
    if (status != 0) {
      give_up("full compression", status);
    }
  }
  count_items(state, table.size());
}

void reset(benchmark::State &state) {
  const prefix_list table = table_of(state, false);
  const request wanted(table);
  for (auto _ : state) {
    load(wanted);
    timed(state, [] { empty_instance(); });
  }
  count_items(state, table.size());
}

void trie_floor(benchmark::State &state, bool generated) {
  const prefix_list table = table_of(state, generated);
  const working_list list(table);
  bump_pool pool(list.trie_nodes());
  size_t nodes = 0;
  for (auto _ : state) {
    timed(state, [&] {
      pool.take_all_back();
      bit_trie trie(&pool);
      for (uint32_t i = 0; i < list.count; ++i) {
        benchmark::DoNotOptimize(trie.insert(list.records[i].address, list.records[i].length, i + 1));
      }
    });
    nodes = pool.taken();
  }
  count_items(state, table.size());
  state.counters["elements"] = static_cast<double>(nodes);
  state.counters["bytes_per_prefix"] =
      static_cast<double>(nodes * sizeof(bit_node)) / static_cast<double>(table.size());
}

void touch_floor(benchmark::State &state) {
  const prefix_list table = table_of(state, false);
  start_library();
  empty_instance();
  const uint64_t before = elements().taken;
  load(request(table));
  const uint64_t taken = elements().taken - before;
  bump_pool pool(taken);
  for (auto _ : state) {
    timed(state, [&] {
      pool.take_all_back();
      for (uint64_t i = 0; i < taken; ++i) {
        bit_node *node = pool.take();
        std::memset(static_cast<void *>(node), static_cast<int>(i), sizeof(*node));
        benchmark::DoNotOptimize(node);
      }
      benchmark::ClobberMemory();
    });
  }
  count_items(state, table.size());
  state.counters["elements_taken"] = static_cast<double>(taken);
}

void each_size(benchmark::internal::Benchmark *b) {
  for (const int64_t n : table_sizes()) {
    b->Arg(n);
  }
  b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

void first_sizes(benchmark::internal::Benchmark *b) {
  each_size(b);
  b->Iterations(1);  // each one keeps its pools to the end of the process
}

BENCHMARK_CAPTURE(full, real, false)->Apply(each_size);
BENCHMARK_CAPTURE(full, generated, true)->Apply(each_size);
BENCHMARK(full_fit)->Apply(each_size);
BENCHMARK_CAPTURE(trie_floor, real, false)->Apply(each_size);
BENCHMARK_CAPTURE(trie_floor, generated, true)->Apply(each_size);
BENCHMARK(touch_floor)->Apply(each_size);
BENCHMARK(reset)->Apply(each_size);
BENCHMARK(full_first)->Apply(first_sizes);

}  // namespace
}  // namespace v6bench
