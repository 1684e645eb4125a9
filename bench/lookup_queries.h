// SPDX-License-Identifier: Apache-2.0
// lookup_queries.h - lookups of a table in a fixed random order, and the clock around them.
#ifndef LOOKUP_QUERIES_H
#define LOOKUP_QUERIES_H

#include <array>

#include "bench_clock.h"
#include "library_use.h"

namespace v6bench {

inline constexpr size_t n_queries = 8192;

using key_bytes = std::array<uint8_t, 16>;

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

  // Of the library's instance. False when the query is not answered.
  bool ask_address(size_t i) const {
    tcamv6_prefix match;
    tcamv6_cmpr_pref code;
    tcamv6_cmpr_addr address;
    const int32_t result = tcamv6_lookup_address(instance(), addresses[i].data(), &match, &code, &address);
    benchmark::DoNotOptimize(match);
    return result == 0;
  }
  bool ask_prefix(size_t i) const {
    tcamv6_cmpr_pref code;
    tcamv6_cmpr_addr address;
    const int32_t result = tcamv6_lookup_prefix(instance(), &prefixes[i], &code, &address);
    benchmark::DoNotOptimize(code);
    return result == 0;
  }
};

// Each batch of queries is one timed section, and `prepare` before it is not; a query that is not answered ends the
// program.
template <class Prepare, class Ask>
void time_queries(benchmark::State &state, Prepare prepare, Ask ask) {
  for (auto _ : state) {
    prepare();
    uint64_t failed = 0;
    timed(state, [&] {
      for (size_t i = 0; i < n_queries; ++i) {
        failed += ask(i) ? 0 : 1;
      }
    });
    if (failed != 0) {
      give_up("lookup", static_cast<uint32_t>(failed));
    }
  }
  count_items(state, n_queries);
}

}  // namespace v6bench

#endif
