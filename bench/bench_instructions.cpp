// SPDX-License-Identifier: Apache-2.0
// Fixed workloads whose instructions are counted under callgrind (bench/instruction_guard.py). Only what runs
// inside v6comp_measured() counts; everything else is preparation.
//   bench_instructions TABLE full|updates|room_updates|lookups
// Prints the number of prefixes, changes or lookups that the workload is about.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "library_use.h"

namespace {

using v6bench::change;
using v6bench::prefix_list;
using v6bench::request;

constexpr size_t n_changes = 200;
constexpr size_t n_lookups = 10000;

}  // namespace

// Found by its name.
extern "C" __attribute__((noinline, visibility("default"))) uint64_t v6comp_measured(
    const std::function<uint64_t()> *work) {
  const uint64_t failed = (*work)();
  asm volatile("" ::: "memory");
  return failed;
}

namespace {

uint64_t measure(const std::function<uint64_t()> &work) { return v6comp_measured(&work); }

size_t run_full(const prefix_list &table) {
  const request wanted(table);
  v6bench::start_library();
  if (measure([&] { return uint64_t{wanted.run()}; }) != 0) {
    v6bench::give_up("full compression", 0);
  }
  return table.size();
}

// Each change is a batch of its own. Refusals are part of the workload: they are the same in every run.
size_t run_updates(const prefix_list &table, v6bench::update_mode mode) {
  const prefix_list mixed = v6bench::shuffled(table);
  prefix_list stored(mixed.begin() + n_changes, mixed.end());
  std::sort(stored.begin(), stored.end());
  std::vector<request> changes;
  for (const change what : {change::add, change::remove}) {
    for (size_t i = 0; i < n_changes; ++i) {
      changes.emplace_back(&mixed[i], 1, what);
    }
  }
  v6bench::start_library();
  v6bench::use(mode);
  v6bench::load(request(stored));
  const uint64_t refused = measure([&] {
    uint64_t n = 0;
    for (const request &one : changes) {
      n += one.run() != 0 ? 1 : 0;
    }
    return n;
  });
  if (refused > changes.size() / 4) {
    v6bench::give_up("single updates refused", static_cast<uint32_t>(refused));
  }
  return changes.size();
}

size_t run_lookups(const prefix_list &table) {
  std::vector<std::array<uint8_t, 16>> addresses;
  for (const v6tool::ip_key &key : v6bench::covered_addresses(table, n_lookups / 2)) {
    v6tool::key_to_bytes(key, addresses.emplace_back().data());
  }
  const std::vector<tcamv6_prefix> prefixes = v6bench::records_of(v6bench::shuffled(table));
  v6bench::load(request(table));
  tcamv6_state *state = v6bench::instance();
  const uint64_t failed = measure([&] {
    uint64_t n = 0;
    tcamv6_prefix match;
    tcamv6_cmpr_pref code;
    tcamv6_cmpr_addr address;
    n += zel_v6comp_build_index(0, 0);
    for (size_t i = 0; i < n_lookups / 2; ++i) {
      n += tcamv6_lookup_address(state, addresses[i].data(), &match, &code, &address) != 0 ? 1 : 0;
      n += tcamv6_lookup_prefix(state, &prefixes[i % prefixes.size()], &code, &address) != 0 ? 1 : 0;
    }
    return n;
  });
  if (failed != 0) {
    v6bench::give_up("lookups failed", static_cast<uint32_t>(failed));
  }
  return n_lookups;
}

}  // namespace

int main(int argc, char **argv) {
  const std::string workload = argc == 3 ? argv[2] : "";
  std::string option = "--table";
  char *table_arguments[] = {argv[0], option.data(), argc == 3 ? argv[1] : argv[0]};
  int n_arguments = 3;
  v6bench::take_table_option(&n_arguments, table_arguments);
  size_t items = 0;
  if (workload == "full") {
    items = run_full(v6bench::whole_table());
  } else if (workload == "updates") {
    items = run_updates(v6bench::whole_table(), v6bench::update_mode::safe);
  } else if (workload == "room_updates") {
    items = run_updates(v6bench::whole_table(), v6bench::update_mode::room);
  } else if (workload == "lookups") {
    items = run_lookups(v6bench::whole_table());
  } else {
    std::fprintf(stderr, "usage: %s TABLE full|updates|room_updates|lookups\n", argv[0]);
    return 2;
  }
  std::printf("%zu\n", items);
  return 0;
}
