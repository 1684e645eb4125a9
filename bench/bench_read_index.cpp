// What the read index gives to lookups, and what it costs: building it, its memory, and dropping it with every update.
#include <array>

#include "bench_clock.h"
#include "library_use.h"
#include "tcamv6_lookup.h"
#include "tcamv6_read_index.h"

namespace v6bench {
namespace {

constexpr size_t n_queries = 8192;
constexpr uint64_t tries_only = ~uint64_t{0};  // as after memory for the index was refused

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
    load(request(table));
  }

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

tcamv6_read_index *index() { return tcamv6_read_index_at(instance()->read_index); }

// Build the instance's index now, whether it is due or not.
void build_index() {
  tcamv6_read_index *built = index();
  if (built == nullptr) {
    built = static_cast<tcamv6_read_index *>(zel_calloc_named(TM_MEM_TAG_LIST, 1, sizeof *built));
    instance()->read_index = reinterpret_cast<uintptr_t>(built);
  }
  if (!tcamv6_build_read_index(built, tm_trie_node(instance()->orig_root), instance()->n_prefs)) {
    give_up("tcamv6_build_read_index", 0);
  }
  built->is_live = 1;
}

// `prepare` is not on the clock.
template <class Prepare, class Ask>
void ask_all(benchmark::State &state, Prepare prepare, Ask ask) {
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

void tries_address(benchmark::State &state) {
  const query_set queries(state);
  instance()->read_index = tries_only;
  ask_all(
      state, [] {}, [&](size_t i) { return queries.ask_address(i); });
}

void tries_prefix(benchmark::State &state) {
  const query_set queries(state);
  instance()->read_index = tries_only;
  ask_all(
      state, [] {}, [&](size_t i) { return queries.ask_prefix(i); });
}

// The first lookup of each prefix gathers its answer.
void index_address_first(benchmark::State &state) {
  const query_set queries(state);
  ask_all(state, build_index, [&](size_t i) { return queries.ask_address(i); });
}

void index_address(benchmark::State &state) {
  const query_set queries(state);
  build_index();
  for (size_t i = 0; i < n_queries; ++i) {
    queries.ask_address(i);
  }
  ask_all(
      state, [] {}, [&](size_t i) { return queries.ask_address(i); });
}

void index_prefix(benchmark::State &state) {
  const query_set queries(state);
  build_index();
  for (size_t i = 0; i < n_queries; ++i) {
    queries.ask_prefix(i);
  }
  ask_all(
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
  for (auto _ : state) {
    if (!in_kept_memory) {
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
  const request add(&queries.table[queries.table.size() / 2], 1, change::add);
  const request remove(&queries.table[queries.table.size() / 2], 1, change::remove);
  instance()->read_index = 0;
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
            index()->is_live = 1;  // as if it had been built again
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
BENCHMARK(index_address_first)->Apply(each_size);
BENCHMARK(index_address)->Apply(each_size);
BENCHMARK(index_prefix)->Apply(each_size);
BENCHMARK_CAPTURE(index_build, fresh, false)->Apply(each_size);
BENCHMARK_CAPTURE(index_build, kept, true)->Apply(each_size);
BENCHMARK_CAPTURE(update, plain, false)->Apply(each_size);
BENCHMARK_CAPTURE(update, drops_index, true)->Apply(each_size);

}  // namespace
}  // namespace v6bench
