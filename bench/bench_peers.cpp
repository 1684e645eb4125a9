// SPDX-License-Identifier: Apache-2.0
// General-purpose tables beside the library and a bare bit trie, all on the same prefixes and addresses.
//
// A peer stores prefixes and finds them; the library does much more in its build, and its lookups also translate. Its
// figures stand here for the ratio, not as a contest. Every table's answers are checked against a linear search before
// anything is timed; a wrong one ends the program.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "bench_clock.h"
#include "bit_trie.h"
#include "library_use.h"
#include "peer.h"
#include "update_rounds.h"
#include "zel_v6comp_table.h"

namespace v6bench {
namespace {

constexpr size_t n_addresses = 8192;
constexpr size_t n_checked = 1500;
constexpr size_t n_changes = 200;
constexpr int rounds_per_table = 20;  // before a table that loses room is renewed

// The floor as a peer: stored prefixes only, in the bare trie.
class bit_trie_peer final : public peer {
 public:
  explicit bit_trie_peer(size_t nodes) : pool_(nodes), trie_(&pool_) {}

  size_t add(const std::vector<route> &routes) override {
    for (const route &r : routes) {
      trie_.insert(r.key.data(), r.length, r.hop);
    }
    return 0;
  }
  size_t remove(const std::vector<route> &routes) override {
    for (const route &r : routes) {
      trie_.remove(r.key.data(), r.length);
    }
    return 0;
  }
  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    for (size_t i = 0; i < addresses.size(); ++i) {
      hops[i] = trie_.longest_match(addresses[i].data());
    }
  }
  uint64_t bytes() const override { return pool_.taken() * sizeof(bit_node); }

 private:
  bump_pool pool_;
  bit_trie trie_;
};

std::unique_ptr<peer> make_bit_trie(const std::vector<route> &routes) {
  size_t nodes = 1;
  for (const route &r : routes) {
    nodes += r.length;
  }
  return std::make_unique<bit_trie_peer>(nodes + 128 * n_changes);
}

// The library as a peer: a first request for all routes, then a request each. A lookup answers with the length of the
// prefix it finds, plus 1: among the prefixes that cover an address, the length tells which one it is.
class library_peer final : public peer {
 public:
  library_peer() {
    start_library();
    empty_instance();
  }

  size_t add(const std::vector<route> &routes) override {
    if (loaded_) {
      return change_each(routes, change::add);
    }
    prefix_list list;
    list.reserve(routes.size());
    for (const route &r : routes) {
      list.push_back({v6tool::key_from_bytes(r.key.data()), r.length});
    }
    loaded_ = true;
    return request(list).run() == 0 ? 0 : routes.size();
  }

  size_t remove(const std::vector<route> &routes) override { return change_each(routes, change::remove); }

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    tcamv6_prefix match;
    tcamv6_cmpr_pref code;
    tcamv6_cmpr_addr address;
    zel_v6comp_build_index(0, 0);  // once: the index stays until the table changes
    for (size_t i = 0; i < addresses.size(); ++i) {
      const int32_t result = tcamv6_lookup_address(instance(), addresses[i].data(), &match, &code, &address);
      hops[i] = result == 0 ? uint32_t{match.length} + 1 : 0;
    }
  }

  uint64_t bytes() const override { return elements().now_bytes; }

 private:
  static size_t change_each(const std::vector<route> &routes, change what) {
    struct one_record {
      v6comp_pref_info head;
      uint8_t record[sizeof(tcamv6_prefix)];
    } one = {{0, 0, 1}, {}};
    tcamv6_prefix record = {};
    record.flags_tag = static_cast<uint32_t>(what);
    record.weight = 1;
    size_t refused = 0;
    for (const route &r : routes) {
      record.length = r.length;
      std::memcpy(record.address, r.key.data(), sizeof(record.address));
      std::memcpy(one.record, &record, sizeof(record));
      refused += zel_v6comp_prefix_compress(&one.head) != 0 ? 1 : 0;
    }
    return refused;
  }

  bool loaded_ = false;
};

constexpr const char *library_name = "v6comp";

// A table of the library, one address a call. The word of a row is its hop.
class table_peer : public peer {
 public:
  table_peer() {
    start_library();
    empty_instance();
    must(zel_v6comp_table_open(0, 0, nullptr, &table_));
  }
  ~table_peer() override { zel_v6comp_table_close(table_); }

  size_t add(const std::vector<route> &routes) override { return apply(routes, ZEL_V6COMP_TABLE_ADD); }
  size_t remove(const std::vector<route> &routes) override { return apply(routes, ZEL_V6COMP_TABLE_REMOVE); }

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    must(zel_v6comp_table_index(table_));  // once: the index stays until the table changes
    zel_v6comp_table_row row;
    for (size_t i = 0; i < addresses.size(); ++i) {
      hops[i] = zel_v6comp_table_lookup(table_, addresses[i].data(), &row) == 1 ? row.word : 0;
    }
  }

  uint64_t bytes() const override { return elements().now_bytes; }

 protected:
  static void must(int32_t status) {
    if (status < 0) {
      give_up(zel_v6comp_table_text(status), static_cast<uint32_t>(-status));
    }
  }

  zel_v6comp_table *table_ = nullptr;

 private:
  // All routes at once into an empty table, then a call each.
  size_t apply(const std::vector<route> &routes, uint8_t operation) {
    std::vector<zel_v6comp_table_change> changes(routes.size());
    for (size_t i = 0; i < routes.size(); ++i) {
      std::memcpy(changes[i].address, routes[i].key.data(), sizeof changes[i].address);
      changes[i].length = routes[i].length;
      changes[i].operation = operation;
      changes[i].word = routes[i].hop;
    }
    size_t refused = 0;
    const size_t step = loaded_ ? 1 : changes.size();
    for (size_t i = 0; i < changes.size(); i += step) {
      refused += zel_v6comp_table_apply(table_, &changes[i], step, nullptr) < 0 ? step : 0;
    }
    loaded_ = true;
    return refused;
  }

  bool loaded_ = false;
};

// The same, all addresses a call: it answers with keys.
class bulk_table_peer final : public table_peer {
 public:
  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &) override {
    must(zel_v6comp_table_index(table_));
    keys_.resize(addresses.size());
    must(zel_v6comp_table_translate(table_, addresses[0].data(), addresses.size(), keys_.data(), nullptr));
  }

  void hops_of_last(std::vector<uint32_t> &hops) override {
    std::map<uint64_t, uint32_t> hop_of;
    zel_v6comp_table_place place = ZEL_V6COMP_TABLE_PLACE_INIT;
    zel_v6comp_table_row row;
    while (zel_v6comp_table_rows(table_, &place, &row, 1) == 1) {
      hop_of[row.key] = row.word;
    }
    for (size_t i = 0; i < hops.size(); ++i) {
      const auto found = hop_of.find(keys_[i]);
      hops[i] = found == hop_of.end() ? 0 : found->second;
    }
  }

 private:
  std::vector<uint64_t> keys_;
};

template <class Peer>
std::unique_ptr<peer> make(const std::vector<route> &) {
  return std::make_unique<Peer>();
}

std::vector<peer_kind> all_kinds() {
  std::vector<peer_kind> kinds = {{library_name, make<library_peer>},
                                  {"table", make<table_peer>},
                                  {"table_bulk", make<bulk_table_peer>},
                                  {"bit_trie", make_bit_trie}};
#ifdef V6COMP_BENCH_DPDK
  for (const peer_kind &kind : dpdk_peers()) {
    kinds.push_back(kind);
  }
#endif
#ifdef V6COMP_BENCH_NDPI
  for (const peer_kind &kind : ndpi_peers()) {
    kinds.push_back(kind);
  }
#endif
  return kinds;
}

route route_of(const v6tool::ip_prefix &prefix, uint32_t hop) {
  route r = {{}, prefix.length, hop};
  v6tool::key_to_bytes(prefix.key, r.key.data());
  return r;
}

std::vector<route> routes_of(const prefix_list &list) {
  std::vector<route> routes;
  for (const v6tool::ip_prefix &prefix : list) {
    routes.push_back(route_of(prefix, static_cast<uint32_t>(routes.size() + 1)));
  }
  return routes;
}

std::vector<key_bytes> addresses_of(const prefix_list &table) {
  std::vector<key_bytes> addresses;
  for (const v6tool::ip_key &key : covered_addresses(table, n_addresses)) {
    v6tool::key_to_bytes(key, addresses.emplace_back().data());
  }
  return addresses;
}

// What the library's answers are checked against: its anchors and /0 are stored prefixes too.
std::vector<route> working_routes(const prefix_list &table) {
  const working_list list(table);
  std::vector<route> routes;
  for (uint32_t i = 0; i < list.count; ++i) {
    const tcamv6_prefix &record = list.records[i];
    const v6tool::ip_key key = v6tool::masked(v6tool::key_from_bytes(record.address), record.length);
    routes.push_back(route_of({key, record.length}, uint32_t{record.length} + 1));
  }
  return routes;
}

// Every route against the address, one after the other.
uint32_t linear_search(const std::vector<route> &routes, const key_bytes &address) {
  const v6tool::ip_key key = v6tool::key_from_bytes(address.data());
  int best = -1;
  uint32_t hop = 0;
  for (const route &r : routes) {
    if (r.length > best && v6tool::covers({v6tool::key_from_bytes(r.key.data()), r.length}, key)) {
      best = r.length;
      hop = r.hop;
    }
  }
  return hop;
}

void check_answers(const peer_kind &kind, peer &table, const prefix_list &list) {
  std::vector<key_bytes> addresses = addresses_of(list);
  addresses.resize(n_checked);
  const std::vector<route> stored = kind.name == library_name ? working_routes(list) : routes_of(list);
  std::vector<uint32_t> hops(addresses.size());
  table.look_up(addresses, hops);
  table.hops_of_last(hops);
  for (size_t i = 0; i < addresses.size(); ++i) {
    const uint32_t wanted = linear_search(stored, addresses[i]);
    if (hops[i] != wanted) {
      std::fprintf(stderr, "%s: wrong answer for address %zu: %u, a linear search finds %u\n", kind.name.c_str(), i,
                   hops[i], wanted);
      std::exit(1);
    }
  }
}

std::unique_ptr<peer> loaded(const peer_kind &kind, const std::vector<route> &routes) {
  std::unique_ptr<peer> table = kind.make(routes);
  if (const size_t refused = table->add(routes); refused != 0) {
    give_up(kind.name.c_str(), static_cast<uint32_t>(refused));
  }
  return table;
}

// Making the empty table, with all that it reserves, is not on the clock.
void build(benchmark::State &state, const peer_kind &kind, bool in_order) {
  const prefix_list list = real_table(static_cast<size_t>(state.range(0)));
  const std::vector<route> routes = routes_of(in_order ? list : shuffled(list));
  const uint64_t bytes = loaded(kind, routes)->bytes();
  for (auto _ : state) {
    std::unique_ptr<peer> table = kind.make(routes);
    size_t refused = 0;
    timed(state, [&] { refused = table->add(routes); });
    if (refused != 0) {
      give_up(kind.name.c_str(), static_cast<uint32_t>(refused));
    }
  }
  count_items(state, routes.size());
  state.counters["bytes_per_prefix"] = static_cast<double>(bytes) / static_cast<double>(routes.size());
}

void look_up(benchmark::State &state, const peer_kind &kind) {
  const prefix_list list = real_table(static_cast<size_t>(state.range(0)));
  const std::unique_ptr<peer> table = loaded(kind, routes_of(list));
  check_answers(kind, *table, list);
  const std::vector<key_bytes> addresses = addresses_of(list);
  std::vector<uint32_t> hops(addresses.size());
  for (int round = 0; round < 3; ++round) {  // not on the clock: after these the library has its read index
    table->look_up(addresses, hops);
  }
  for (auto _ : state) {
    timed(state, [&] { table->look_up(addresses, hops); });
    benchmark::DoNotOptimize(hops.data());
  }
  count_items(state, addresses.size());
}

void update(benchmark::State &state, const peer_kind &kind, bool add) {
  const auto n = static_cast<size_t>(state.range(0));
  start_library();
  const update_set &set = find_updates(n, n_changes, 1);
  const std::vector<route> routes = routes_of(set.table);
  const std::vector<route> changes = routes_of(set.changes);
  std::unique_ptr<peer> table;
  int round = 0;
  for (auto _ : state) {
    if (round++ % rounds_per_table == 0) {
      table.reset();
      table = loaded(kind, routes);
    }
    size_t refused = 0;
    if (add) {
      timed(state, [&] { refused += table->add(changes); });
      refused += table->remove(changes);
    } else {
      refused += table->add(changes);
      timed(state, [&] { refused += table->remove(changes); });
    }
    if (refused != 0) {
      give_up(kind.name.c_str(), static_cast<uint32_t>(refused));
    }
  }
  check_answers(kind, *table, set.table);
  count_items(state, changes.size());
}

template <class Function>
void add_benchmark(const std::string &name, int iterations, Function function) {
  benchmark::RegisterBenchmark(name.c_str(), function)
      ->Arg(1000)
      ->Arg(10000)
      ->Arg(60000)
      ->UseManualTime()
      ->Iterations(iterations)
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace
}  // namespace v6bench

int main(int argc, char **argv) {
  v6bench::take_table_option(&argc, argv);
  benchmark::Initialize(&argc, argv);
  using state = benchmark::State;
  for (const v6bench::peer_kind &kind : v6bench::all_kinds()) {
    v6bench::add_benchmark("peer_build_sorted/" + kind.name, 3, [kind](state &s) { v6bench::build(s, kind, true); });
    v6bench::add_benchmark("peer_build_shuffled/" + kind.name, 3, [kind](state &s) { v6bench::build(s, kind, false); });
    v6bench::add_benchmark("peer_lookup/" + kind.name, 20, [kind](state &s) { v6bench::look_up(s, kind); });
    v6bench::add_benchmark("peer_add/" + kind.name, 20, [kind](state &s) { v6bench::update(s, kind, true); });
    v6bench::add_benchmark("peer_delete/" + kind.name, 20, [kind](state &s) { v6bench::update(s, kind, false); });
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
