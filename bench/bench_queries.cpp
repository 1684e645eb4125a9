// SPDX-License-Identifier: Apache-2.0
// Lookups of prefixes and addresses beside those of a bare bit trie that holds the same working list, and the dump.
#include "bit_trie.h"
#include "lookup_queries.h"

namespace v6bench {
namespace {

// With the read index, which bench_read_index compares with the tries alone.
template <class Query>
void ask_all(benchmark::State &state, Query query) {
  time_queries(
      state, [] {}, query);
}

void lookup_prefix(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  zel_v6comp_build_index(0, 0);
  ask_all(state, [&](size_t i) { return queries.ask_prefix(i); });
}

void lookup_address(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  zel_v6comp_build_index(0, 0);
  ask_all(state, [&](size_t i) { return queries.ask_address(i); });
}

// The floor of both.
template <class Query>
void ask_bit_trie(benchmark::State &state, const query_set &queries, Query query) {
  const working_list list(queries.table);
  bump_pool pool(list.trie_nodes());
  bit_trie trie(&pool);
  for (uint32_t i = 0; i < list.count; ++i) {
    trie.insert(list.records[i].address, list.records[i].length, i + 1);
  }
  ask_all(state, [&](size_t i) { return query(trie, i); });
}

void bit_trie_prefix(benchmark::State &state) {
  const query_set queries(state);
  ask_bit_trie(state, queries, [&](const bit_trie &trie, size_t i) {
    return trie.find(queries.prefixes[i].address, queries.prefixes[i].length) != nullptr;
  });
}

void bit_trie_address(benchmark::State &state) {
  const query_set queries(state);
  ask_bit_trie(state, queries,
               [&](const bit_trie &trie, size_t i) { return trie.longest_match(queries.addresses[i].data()) != 0; });
}

void dump(benchmark::State &state) {
  const prefix_list table = real_table(static_cast<size_t>(state.range(0)));
  load(request(table));
  uint32_t n = 0;
  if (tcamv6_dump_n_prefixes(instance(), &n) != 0) {
    give_up("tcamv6_dump_n_prefixes", n);
  }
  std::vector<tcamv6_prefix> originals(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  for (auto _ : state) {
    uint32_t rows = 0;
    int32_t result = 0;
    timed(state, [&] {
      result = tcamv6_dump_cmpr_tbl(instance(), static_cast<int32_t>(n), originals.data(), codes.data(),
                                    addresses.data(), &rows);
    });
    if (result != 0 || rows < table.size()) {
      give_up("tcamv6_dump_cmpr_tbl", rows);
    }
  }
  count_items(state, table.size());
}

void each_size(benchmark::internal::Benchmark *b) {
  for (const int64_t n : table_sizes()) {
    b->Arg(n);
  }
  b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(lookup_prefix)->Apply(each_size);
BENCHMARK(bit_trie_prefix)->Apply(each_size);
BENCHMARK(lookup_address)->Apply(each_size);
BENCHMARK(bit_trie_address)->Apply(each_size);
BENCHMARK(dump)->Apply(each_size);

}  // namespace
}  // namespace v6bench
