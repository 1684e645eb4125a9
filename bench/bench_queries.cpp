// Lookups of prefixes and addresses beside those of a bare bit trie that holds the same working list, and the dump.
#include <array>

#include "bench_clock.h"
#include "bit_trie.h"
#include "library_use.h"

namespace v6bench {
namespace {

constexpr size_t n_queries = 8192;

using key_bytes = std::array<uint8_t, 16>;

// A table in the library or in a bit trie, and queries in a fixed random order.
struct query_set {
  prefix_list table;
  std::vector<tcamv6_prefix> prefixes;
  std::vector<key_bytes> addresses;

  explicit query_set(const benchmark::State &state) : table(real_table(static_cast<size_t>(state.range(0)))) {
    random_source random(5);
    for (size_t i = 0; i < n_queries; ++i) {
      prefixes.push_back(record_of(table[random() % table.size()]));
    }
    for (const v6tool::ip_key &key : covered_addresses(table, n_queries)) {
      v6tool::key_to_bytes(key, addresses.emplace_back().data());
    }
  }
};

// Each batch of queries is one timed section; a query that is not answered ends the program. What the first queries
// after a change of the table cost more, bench_read_index measures: here they are not on the clock.
template <class Query>
void ask_all(benchmark::State &state, Query query) {
  for (size_t i = 0; i < 3 * n_queries; ++i) {
    benchmark::DoNotOptimize(query(i % n_queries));
  }
  for (auto _ : state) {
    uint64_t failed = 0;
    timed(state, [&] {
      for (size_t i = 0; i < n_queries; ++i) {
        failed += query(i) ? 0 : 1;
      }
    });
    if (failed != 0) {
      give_up("lookup", static_cast<uint32_t>(failed));
    }
  }
  count_items(state, n_queries);
}

void lookup_prefix(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  tcamv6_state *table = instance();
  ask_all(state, [&](size_t i) {
    tcamv6_cmpr_pref code;
    tcamv6_cmpr_addr address;
    const int32_t result = tcamv6_lookup_prefix(table, &queries.prefixes[i], &code, &address);
    benchmark::DoNotOptimize(code);
    return result == 0;
  });
}

void lookup_address(benchmark::State &state) {
  const query_set queries(state);
  load(request(queries.table));
  tcamv6_state *table = instance();
  ask_all(state, [&](size_t i) {
    tcamv6_prefix match;
    tcamv6_cmpr_pref code;
    tcamv6_cmpr_addr address;
    const int32_t result = tcamv6_lookup_address(table, queries.addresses[i].data(), &match, &code, &address);
    benchmark::DoNotOptimize(match);
    return result == 0;
  });
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
