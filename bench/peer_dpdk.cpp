// SPDX-License-Identifier: Apache-2.0
// DPDK's tables: rte_rib6 (a compressed binary tree), rte_fib6 of type TRIE over one of these, and rte_lpm6 (tables of
// 2^24 and 2^8 entries).
//
//   rte_lpm6   takes no /0; wants a table of 2^8 entries for every distinct 24-, 32-, 40-, ...-bit start of a longer
//              prefix; next hops have 21 bits
//   rte_fib6   reserves up to twice as many, and loses some of the reservation with every pair of add and delete: its
//              users must renew it from time to time
#include <rte_eal.h>
#include <rte_errno.h>
#include <rte_fib6.h>
#include <rte_lpm6.h>
#include <rte_malloc.h>
#include <rte_rib6.h>
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "peer.h"

namespace v6bench {
namespace {

constexpr size_t room_for_updates = 65536;

void fail(const char *what) {
  std::fprintf(stderr, "%s: %s\n", what, rte_strerror(rte_errno));
  std::exit(4);
}

// The environment abstraction pins its thread; the benchmark goes where there is room.
void start_environment() {
  static bool started = false;
  if (started) {
    return;
  }
  cpu_set_t before;
  sched_getaffinity(0, sizeof(before), &before);
  const char *options[] = {
      "bench_peers", "--no-huge", "--no-pci", "--no-shconf", "--no-telemetry", "-m", "4096", "--log-level=lib.*:error",
      "-l",          "0"};
  std::vector<std::string> texts(std::begin(options), std::end(options));
  std::vector<char *> arguments;
  for (std::string &text : texts) {
    arguments.push_back(text.data());
  }
  if (rte_eal_init(static_cast<int>(arguments.size()), arguments.data()) < 0) {
    fail("rte_eal_init");
  }
  sched_setaffinity(0, sizeof(before), &before);
  started = true;
}

uint64_t heap_bytes() {
  uint64_t bytes = 0;
  for (int socket = 0; socket < 2; ++socket) {
    rte_malloc_socket_stats stats;
    if (rte_malloc_get_socket_stats(socket, &stats) == 0) {
      bytes += stats.heap_allocsz_bytes;
    }
  }
  return bytes;
}

// Distinct starts of 24, 32, 40, ... bits of prefixes that are longer.
size_t table8_count(const std::vector<route> &routes) {
  std::set<std::pair<int, key_bytes>> starts;
  for (const route &r : routes) {
    for (int bits = 24; bits < r.length; bits += 8) {
      key_bytes start = {};
      std::memcpy(start.data(), r.key.data(), static_cast<size_t>(bits / 8));
      starts.insert({bits, start});
    }
  }
  return starts.size();
}

uint8_t *writable(const key_bytes &key) { return const_cast<uint8_t *>(key.data()); }

class rib6 final : public peer {
 public:
  explicit rib6(const std::vector<route> &routes) : before_(heap_bytes()) {
    rte_rib6_conf conf = {};
    conf.max_nodes = static_cast<int>(2 * (routes.size() + room_for_updates));
    table_ = rte_rib6_create("bench_rib6", SOCKET_ID_ANY, &conf);
    if (table_ == nullptr) {
      fail("rte_rib6_create");
    }
  }
  ~rib6() override { rte_rib6_free(table_); }

  size_t add(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      rte_rib6_node *node = rte_rib6_insert(table_, r.key.data(), r.length);
      if (node == nullptr) {
        ++refused;
      } else {
        rte_rib6_set_nh(node, r.hop);
      }
    }
    return refused;
  }

  size_t remove(const std::vector<route> &routes) override {
    for (const route &r : routes) {
      rte_rib6_remove(table_, r.key.data(), r.length);
    }
    return 0;
  }

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    for (size_t i = 0; i < addresses.size(); ++i) {
      uint64_t hop = 0;
      rte_rib6_node *node = rte_rib6_lookup(table_, addresses[i].data());
      if (node != nullptr) {
        rte_rib6_get_nh(node, &hop);
      }
      hops[i] = static_cast<uint32_t>(hop);
    }
  }

  uint64_t bytes() const override { return heap_bytes() - before_; }

 private:
  uint64_t before_;
  rte_rib6 *table_;
};

class fib6 final : public peer {
 public:
  explicit fib6(const std::vector<route> &routes) : before_(heap_bytes()) {
    rte_fib6_conf conf = {};
    conf.type = RTE_FIB6_TRIE;
    conf.max_routes = static_cast<int>(2 * (routes.size() + room_for_updates));
    conf.trie.nh_sz = RTE_FIB6_TRIE_4B;
    conf.trie.num_tbl8 = static_cast<uint32_t>(2 * table8_count(routes) + room_for_updates);
    table_ = rte_fib6_create("bench_fib6", SOCKET_ID_ANY, &conf);
    if (table_ == nullptr) {
      fail("rte_fib6_create");
    }
  }
  ~fib6() override { rte_fib6_free(table_); }

  size_t add(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      refused += rte_fib6_add(table_, r.key.data(), r.length, r.hop) != 0 ? 1 : 0;
    }
    return refused;
  }

  size_t remove(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      refused += rte_fib6_delete(table_, r.key.data(), r.length) != 0 ? 1 : 0;
    }
    return refused;
  }

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    constexpr size_t burst = 32;
    uint64_t found[burst];
    for (size_t i = 0; i < addresses.size(); i += burst) {
      const size_t n = std::min(burst, addresses.size() - i);
      auto *keys = reinterpret_cast<uint8_t(*)[RTE_FIB6_IPV6_ADDR_SIZE]>(writable(addresses[i]));
      rte_fib6_lookup_bulk(table_, keys, found, static_cast<int>(n));
      for (size_t k = 0; k < n; ++k) {
        hops[i + k] = static_cast<uint32_t>(found[k]);
      }
    }
  }

  uint64_t bytes() const override { return heap_bytes() - before_; }

 private:
  uint64_t before_;
  rte_fib6 *table_;
};

class lpm6 : public peer {
 public:
  explicit lpm6(const std::vector<route> &routes) : before_(heap_bytes()) {
    rte_lpm6_config config = {};
    config.max_rules = static_cast<uint32_t>(2 * (routes.size() + room_for_updates));
    config.number_tbl8s = static_cast<uint32_t>(table8_count(routes) + room_for_updates);
    table_ = rte_lpm6_create("bench_lpm6", SOCKET_ID_ANY, &config);
    if (table_ == nullptr) {
      fail("rte_lpm6_create");
    }
  }
  ~lpm6() override { rte_lpm6_free(table_); }

  size_t add(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      refused += rte_lpm6_add(table_, r.key.data(), r.length, r.hop) != 0 ? 1 : 0;
    }
    return refused;
  }

  size_t remove(const std::vector<route> &routes) override {
    size_t refused = 0;
    for (const route &r : routes) {
      refused += rte_lpm6_delete(table_, r.key.data(), r.length) != 0 ? 1 : 0;
    }
    return refused;
  }

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    for (size_t i = 0; i < addresses.size(); ++i) {
      uint32_t hop = 0;
      hops[i] = rte_lpm6_lookup(table_, addresses[i].data(), &hop) == 0 ? hop : 0;
    }
  }

  uint64_t bytes() const override { return heap_bytes() - before_; }

 private:
  uint64_t before_;

 protected:
  rte_lpm6 *table_;
};

// As many addresses a call as there are.
class lpm6_bulk final : public lpm6 {
 public:
  using lpm6::lpm6;

  void look_up(const std::vector<key_bytes> &addresses, std::vector<uint32_t> &hops) override {
    auto *keys = reinterpret_cast<uint8_t(*)[RTE_LPM6_IPV6_ADDR_SIZE]>(writable(addresses[0]));
    auto *found = reinterpret_cast<int32_t *>(hops.data());
    rte_lpm6_lookup_bulk_func(table_, keys, found, static_cast<unsigned>(addresses.size()));
  }

  void hops_of_last(std::vector<uint32_t> &hops) override {
    for (uint32_t &hop : hops) {
      hop = static_cast<int32_t>(hop) < 0 ? 0 : hop;
    }
  }
};

template <class Table>
std::unique_ptr<peer> make(const std::vector<route> &routes) {
  start_environment();
  return std::make_unique<Table>(routes);
}

}  // namespace

std::vector<peer_kind> dpdk_peers() {
  return {
      {"rte_rib6", make<rib6>}, {"rte_fib6", make<fib6>}, {"rte_lpm6", make<lpm6>}, {"rte_lpm6_bulk", make<lpm6_bulk>}};
}

}  // namespace v6bench
