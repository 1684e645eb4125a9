// SPDX-License-Identifier: Apache-2.0
// What the read index gives to lookups, and what it costs: building it, its memory, and dropping it with every update.
#include "lookup_queries.h"
#include "tcamv6_lookup_index.h"

namespace v6bench {
namespace {

tcamv6_read_index *index() { return tcamv6_read_index_at(instance()->read_index); }

void build_index() {
  if (tcamv6_build_lookup_index(instance()) != TM_OK) {
    give_up("tcamv6_build_lookup_index", 0);
  }
}

void tries_address(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  time_queries(
      state, [] {}, [&](size_t i) { return queries.ask_address(i); });
}

void tries_prefix(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  time_queries(
      state, [] {}, [&](size_t i) { return queries.ask_prefix(i); });
}

void index_address(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  build_index();
  time_queries(
      state, [] {}, [&](size_t i) { return queries.ask_address(i); });
}

void index_prefix(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  build_index();
  time_queries(
      state, [] {}, [&](size_t i) { return queries.ask_prefix(i); });
}

void count_memory(benchmark::State &state, size_t n_prefixes) {
  const tcamv6_read_index *built = index();
  const size_t items = built->item_room * (sizeof(tcamv6_read_item) + sizeof(tcamv6_read_answer));
  const size_t nodes = size_t{built->node_room} * TCAMV6_READ_NODE_WORDS * sizeof(uint32_t);
  state.counters["bytes_per_prefix"] = static_cast<double>(items + nodes) / static_cast<double>(n_prefixes);
  state.counters["nodes"] = static_cast<double>(built->n_nodes);
}

// In memory that the system must still back with pages, or in that of the index before.
void index_build(benchmark::State &state, bool in_kept_memory) {
  const query_set queries(state);
  load(request(queries.table));
  for (auto _ : state) {
    if (in_kept_memory) {
      tcamv6_drop_read_index(instance());
    } else {
      tcamv6_release_read_index(instance());
    }
    timed(state, build_index);
  }
  count_items(state, queries.table.size());
  count_memory(state, queries.table.size());
}

// A prefix of the table is added once more, and taken back: the shortest update there is. Every change finds a live
// index that it drops, or none.
void update(benchmark::State &state, bool with_index) {
  const query_set queries(state);
  load(request(queries.table));
  const request add(&queries.table[queries.table.size() / 2], 1, change::add);
  const request remove(&queries.table[queries.table.size() / 2], 1, change::remove);
  if (with_index) {
    build_index();
  }
  constexpr size_t n_pairs = 64;
  for (auto _ : state) {
    uint32_t status = 0;
    timed(state, [&] {
      for (size_t i = 0; i < n_pairs; ++i) {
        for (const request *one : {&add, &remove}) {
          if (with_index) {
            index()->live = 1;  // as if it had been built again
          }
          status |= one->run();
        }
      }
    });
    if (status != 0) {
      give_up("update", status);
    }
  }
  count_items(state, 2 * n_pairs);
}

void each_size(benchmark::internal::Benchmark *b) {
  b->Arg(1000)->Arg(10000)->Arg(60000)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(tries_address)->Apply(each_size);
BENCHMARK(tries_prefix)->Apply(each_size);
BENCHMARK(index_address)->Apply(each_size);
BENCHMARK(index_prefix)->Apply(each_size);
BENCHMARK_CAPTURE(index_build, fresh, false)->Apply(each_size);
BENCHMARK_CAPTURE(index_build, kept, true)->Apply(each_size);
BENCHMARK_CAPTURE(update, plain, false)->Apply(each_size);
BENCHMARK_CAPTURE(update, drops_index, true)->Apply(each_size);

}  // namespace
}  // namespace v6bench
