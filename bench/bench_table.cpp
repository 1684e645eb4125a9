// SPDX-License-Identifier: Apache-2.0
// Tables: loading, one change at a time, and answers with a read index. Made-up prefixes, so that sizes beyond the real
// table's are alike.
#include <array>
#include <cstring>

#include "bench_clock.h"
#include "library_use.h"
#include "zel_v6comp_table.h"

namespace v6bench {
namespace {

constexpr size_t n_changes = 256;
constexpr size_t n_questions = 8192;
constexpr uint32_t most_prefixes = 200000;

void must(int32_t status, const char *what) {
  if (status < 0) {
    give_up(what, static_cast<uint32_t>(-status));
  }
}

zel_v6comp_table_change change_of(const v6tool::ip_prefix &prefix, uint8_t operation) {
  zel_v6comp_table_change record = {};
  v6tool::key_to_bytes(prefix.key, record.address);
  record.length = prefix.length;
  record.operation = operation;
  return record;
}

// A table of n prefixes, and others of the same origin that are not in it.
class filled_table {
 public:
  explicit filled_table(size_t n) {
    zel_v6comp_table_options options = ZEL_V6COMP_TABLE_OPTIONS_INIT;
    options.expected_prefixes = most_prefixes;
    must(zel_v6comp_table_open(0, 0, &options, &table_), "zel_v6comp_table_open");
    prefix_list all = shuffled(generated_table(n + n_changes));
    for (size_t i = 0; i < all.size(); ++i) {
      if (i < n_changes) {
        additions.push_back(change_of(all[i], ZEL_V6COMP_TABLE_ADD));
        removals.push_back(change_of(all[i], ZEL_V6COMP_TABLE_REMOVE));
      } else {
        const zel_v6comp_table_change record = change_of(all[i], ZEL_V6COMP_TABLE_ADD);
        std::memcpy(&prefixes.emplace_back(), &record, sizeof record);
      }
    }
    all.erase(all.begin(), all.begin() + n_changes);
    load();
    for (const v6tool::ip_key &key : covered_addresses(all, n_questions)) {
      v6tool::key_to_bytes(key, addresses.emplace_back().data());
    }
  }
  ~filled_table() { zel_v6comp_table_close(table_); }
  filled_table(const filled_table &) = delete;
  filled_table &operator=(const filled_table &) = delete;

  void load() const { must(zel_v6comp_table_load(table_, prefixes.data(), prefixes.size(), nullptr), "load"); }
  void empty() const { must(zel_v6comp_table_load(table_, nullptr, 0, nullptr), "load"); }

  // Each change is a call of its own.
  void apply_each(const std::vector<zel_v6comp_table_change> &changes) const {
    for (const zel_v6comp_table_change &change : changes) {
      must(zel_v6comp_table_apply(table_, &change, 1, nullptr), "zel_v6comp_table_apply");
    }
  }

  zel_v6comp_table *get() const { return table_; }

  std::vector<zel_v6comp_table_prefix> prefixes;
  std::vector<zel_v6comp_table_change> additions, removals;
  std::vector<std::array<uint8_t, 16>> addresses;

 private:
  zel_v6comp_table *table_ = nullptr;
};

void load(benchmark::State &state) {
  const filled_table table(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    table.empty();
    timed(state, [&] { table.load(); });
  }
  count_items(state, table.prefixes.size());
}

void compact(benchmark::State &state) {
  const filled_table table(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    timed(state, [&] { must(zel_v6comp_table_compact(table.get(), nullptr), "zel_v6comp_table_compact"); });
  }
  count_items(state, table.prefixes.size());
}

void apply(benchmark::State &state, bool add) {
  const filled_table table(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    if (add) {
      timed(state, [&] { table.apply_each(table.additions); });
      table.apply_each(table.removals);
    } else {
      table.apply_each(table.additions);
      timed(state, [&] { table.apply_each(table.removals); });
    }
  }
  count_items(state, n_changes);
}

void index(benchmark::State &state) {
  const filled_table table(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    table.apply_each({table.additions[0], table.removals[0]});
    timed(state, [&] { must(zel_v6comp_table_index(table.get()), "zel_v6comp_table_index"); });
  }
  count_items(state, table.prefixes.size());
}

void lookup(benchmark::State &state) {
  const filled_table table(static_cast<size_t>(state.range(0)));
  must(zel_v6comp_table_index(table.get()), "zel_v6comp_table_index");
  zel_v6comp_table_row row;
  for (auto _ : state) {
    timed(state, [&] {
      for (const auto &address : table.addresses) {
        must(zel_v6comp_table_lookup(table.get(), address.data(), &row) - 1, "zel_v6comp_table_lookup");
        benchmark::DoNotOptimize(row);
      }
    });
  }
  count_items(state, table.addresses.size());
}

void translate(benchmark::State &state) {
  const filled_table table(static_cast<size_t>(state.range(0)));
  must(zel_v6comp_table_index(table.get()), "zel_v6comp_table_index");
  std::vector<uint64_t> keys(table.addresses.size());
  for (auto _ : state) {
    timed(state, [&] {
      must(zel_v6comp_table_translate(table.get(), table.addresses[0].data(), keys.size(), keys.data(), nullptr),
           "zel_v6comp_table_translate");
    });
    benchmark::DoNotOptimize(keys.data());
  }
  count_items(state, table.addresses.size());
}

template <class Function>
void add_benchmark(const char *name, int iterations, Function function) {
  benchmark::RegisterBenchmark(name, function)
      ->Arg(1000)
      ->Arg(10000)
      ->Arg(160000)
      ->UseManualTime()
      ->Iterations(iterations)
      ->Unit(benchmark::kMicrosecond);
}

const bool registered = [] {
  add_benchmark("table_load", 3, load);
  add_benchmark("table_compact", 3, compact);
  add_benchmark("table_apply/add", 20, [](benchmark::State &s) { apply(s, true); });
  add_benchmark("table_apply/remove", 20, [](benchmark::State &s) { apply(s, false); });
  add_benchmark("table_index", 5, index);
  add_benchmark("table_lookup", 20, lookup);
  add_benchmark("table_translate", 20, translate);
  return true;
}();

}  // namespace
}  // namespace v6bench
