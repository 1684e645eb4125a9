// SPDX-License-Identifier: Apache-2.0
// Planning hardware updates: half of the slots stay, a quarter change, a quarter go and as many come. Beside it, on
// the same records, the plain scan of every slot against every record, and a sort.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench_clock.h"
#include "library_use.h"
#include "slow_plan.h"

namespace v6bench {
namespace {

struct plan_input {
  std::unique_ptr<tm_incr_update_list> list = std::make_unique<tm_incr_update_list>();
  std::vector<tcamv6_prefix> records;
  std::vector<tcamv6_cmpr_addr> addresses;
};

tcamv6_cmpr_addr address_number(uint64_t number) {
  tcamv6_cmpr_addr address = {};
  std::memcpy(address.bytes, &number, 7);
  return address;
}

void fill_slot(tm_incr_update_entry *slot, const tcamv6_prefix &record, uint64_t number) {
  std::memcpy(slot->prefix, record.address, sizeof(slot->prefix));
  std::memcpy(slot->cmpr_addr, address_number(number).bytes, 7);
  slot->length = record.length;
  slot->state = TM_INCR_IN_HW;
}

// n slots in hardware order, longest first, and n records. A list of 32,000 slots is full: it takes no inserts.
plan_input make_input(size_t n) {
  const prefix_list drawn = shuffled(real_table(n + n / 4));
  plan_input input;
  prefix_list held(drawn.begin(), drawn.begin() + static_cast<std::ptrdiff_t>(n));
  std::stable_sort(held.begin(), held.end(), [](const auto &a, const auto &b) { return a.length > b.length; });
  for (size_t i = 0; i < n; ++i) {
    fill_slot(&input.list->entries[i], record_of(held[i]), i);
  }
  input.list->count = static_cast<uint32_t>(n);
  for (size_t i = n / 4; i < n; ++i) {
    input.records.push_back(record_of(held[i]));
    input.addresses.push_back(address_number(i < n / 2 ? i + n : i));
  }
  for (size_t i = n; i < n + n / 4; ++i) {
    input.records.push_back(record_of(drawn[i]));
    input.addresses.push_back(address_number(i));
  }
  return input;
}

template <class Build>
void build_plans(benchmark::State &state, Build build) {
  const plan_input input = make_input(static_cast<size_t>(state.range(0)));
  auto list = std::make_unique<tm_incr_update_list>();
  for (auto _ : state) {
    *list = *input.list;
    uint32_t corrupted = 0;
    timed(state, [&] { build(*list, input, corrupted); });
    if (corrupted != 0 || list->entries[0].state != TM_INCR_DELETE) {
      give_up("plan", corrupted);
    }
  }
  count_items(state, input.records.size());
}

void plan(benchmark::State &state) {
  start_library();
  build_plans(state, [](tm_incr_update_list &list, const plan_input &input, uint32_t &corrupted) {
    tm_build_incremental_update_prefixes_list(&list, input.records.data(), nullptr, input.addresses.data(),
                                              static_cast<uint32_t>(input.records.size()), list.count, &corrupted, 0);
  });
}

void plain_scan(benchmark::State &state) {
  start_library();
  build_plans(state, [](tm_incr_update_list &list, const plan_input &input, uint32_t &corrupted) {
    slow_plan::build(list, input.records, input.addresses, list.count, corrupted, false);
  });
}

bool record_before(const tcamv6_prefix &a, const tcamv6_prefix &b) {
  if (a.length != b.length) {
    return a.length > b.length;
  }
  return std::memcmp(a.address, b.address, sizeof(a.address)) < 0;
}

void sort_records(benchmark::State &state) {
  const plan_input input = make_input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    std::vector<tcamv6_prefix> records = input.records;
    timed(state, [&] { std::sort(records.begin(), records.end(), record_before); });
    benchmark::DoNotOptimize(records.data());
  }
  count_items(state, input.records.size());
}

// What a host pays that sorts through the C library: a comparator call per comparison.
void qsort_records(benchmark::State &state) {
  const plan_input input = make_input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    std::vector<tcamv6_prefix> records = input.records;
    timed(state, [&] {
      std::qsort(records.data(), records.size(), sizeof(records[0]), [](const void *a, const void *b) {
        const auto &x = *static_cast<const tcamv6_prefix *>(a);
        const auto &y = *static_cast<const tcamv6_prefix *>(b);
        return static_cast<int>(record_before(y, x)) - static_cast<int>(record_before(x, y));
      });
    });
    benchmark::DoNotOptimize(records.data());
  }
  count_items(state, input.records.size());
}

void slot_counts(benchmark::internal::Benchmark *b) {
  b->Arg(1000)->Arg(8000)->Arg(32000)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(plan)->Apply(slot_counts);
BENCHMARK(sort_records)->Apply(slot_counts);
BENCHMARK(qsort_records)->Apply(slot_counts);
BENCHMARK(plain_scan)->Apply(slot_counts);

}  // namespace
}  // namespace v6bench
