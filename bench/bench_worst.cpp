// SPDX-License-Identifier: Apache-2.0
// Batches that would cost the square of their length if anything in them looked at what is there already: each at 1,000
// and at 16,000 records, compatible, safe and in room mode. Times are per record of the batch. What a record costs at
// 16,000 is held against what it costs at 1,000.
//
//   new_levels      n prefixes, each of which comes between a stored prefix and its enclosing one
//   siblings        n prefixes beside each other, none stored before
//   inner_deletes   n prefixes go that each have longer ones below
//   block_again     every /64 of a /48 (n of them) is added to a table that has it already
//   refused_last    n siblings, and a last record that refuses the batch
#include "bench_clock.h"
#include "library_use.h"

namespace v6bench {
namespace {

constexpr uint64_t block = 0x20010db800000000;  // 2001:db8::/32

v6tool::ip_prefix prefix_of(uint64_t high, uint32_t length) { return {{high, 0}, static_cast<uint8_t>(length)}; }

// n prefixes of one length below 2001:db8::/32, the i-th with i behind its first `at` bits.
prefix_list numbered(size_t n, uint32_t at, uint32_t length) {
  prefix_list list;
  for (size_t i = 0; i < n; ++i) {
    list.push_back(prefix_of(block | static_cast<uint64_t>(i) << (64 - at), length));
  }
  return list;
}

prefix_list joined(prefix_list first, const prefix_list &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// What is loaded, what is on the clock, and what it has to answer.
struct worst_case {
  prefix_list table;
  prefix_list records;
  change what;
  uint32_t status;
};

const prefix_list outer = {prefix_of(block, 32)};

// Pairs of longer prefixes, so that a new level has two children and its code a place above them. No generated anchor
// has the length of a level.
prefix_list pairs_below(size_t n) { return joined(numbered(2 * n, 47, 48), outer); }

worst_case new_levels(size_t n) { return {pairs_below(n), numbered(n, 46, 46), change::add, 0}; }

worst_case siblings(size_t n) { return {joined(numbered(1, 48, 48), outer), numbered(n, 48, 48), change::add, 0}; }

worst_case inner_deletes(size_t n) {
  return {joined(pairs_below(n), numbered(n, 46, 46)), numbered(n, 46, 46), change::remove, 0};
}

worst_case block_again(size_t n) {
  const prefix_list all = joined(numbered(n, 64, 64), {prefix_of(block, 48)});
  return {all, numbered(n, 64, 64), change::add, 0};
}

worst_case refused_last(size_t n) {
  worst_case c = siblings(n);
  c.status = 22;
  return c;
}

// With a delete of more than there is, if it is to be refused. Longer prefixes are applied first: ::/0 comes last.
request batch_of(const worst_case &c) {
  std::vector<tcamv6_prefix> records = records_of(c.records, c.what);
  if (c.status != 0) {
    records.push_back(record_of(prefix_of(0, 0), change::remove));
    records.back().weight = 60000;
  }
  return request(records);
}

void worst(benchmark::State &state, worst_case (*make)(size_t), update_mode mode) {
  const worst_case c = make(static_cast<size_t>(state.range(0)));
  start_library();
  const request table(c.table);
  const request batch = batch_of(c);
  for (auto _ : state) {
    use(mode);
    load(table);
    uint32_t status = 0;
    timed(state, [&] { status = batch.run(); });
    if (status != c.status) {
      state.SkipWithError("the batch was not answered as it should be");
      break;
    }
  }
  use(update_mode::compatible);
  count_items(state, c.records.size());
}

void sizes(benchmark::internal::Benchmark *b) {
  b->Arg(1000)->Arg(16000)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(worst, new_levels, new_levels, update_mode::compatible)->Apply(sizes);
BENCHMARK_CAPTURE(worst, new_levels_safe, new_levels, update_mode::safe)->Apply(sizes);
BENCHMARK_CAPTURE(worst, new_levels_room, new_levels, update_mode::room)->Apply(sizes);
BENCHMARK_CAPTURE(worst, siblings, siblings, update_mode::compatible)->Apply(sizes);
BENCHMARK_CAPTURE(worst, siblings_safe, siblings, update_mode::safe)->Apply(sizes);
BENCHMARK_CAPTURE(worst, siblings_room, siblings, update_mode::room)->Apply(sizes);
BENCHMARK_CAPTURE(worst, inner_deletes, inner_deletes, update_mode::compatible)->Apply(sizes);
BENCHMARK_CAPTURE(worst, inner_deletes_safe, inner_deletes, update_mode::safe)->Apply(sizes);
BENCHMARK_CAPTURE(worst, inner_deletes_room, inner_deletes, update_mode::room)->Apply(sizes);
BENCHMARK_CAPTURE(worst, block_again, block_again, update_mode::compatible)->Apply(sizes);
BENCHMARK_CAPTURE(worst, block_again_safe, block_again, update_mode::safe)->Apply(sizes);
BENCHMARK_CAPTURE(worst, block_again_room, block_again, update_mode::room)->Apply(sizes);
BENCHMARK_CAPTURE(worst, refused_last, refused_last, update_mode::compatible)->Apply(sizes);
BENCHMARK_CAPTURE(worst, refused_last_safe, refused_last, update_mode::safe)->Apply(sizes);
BENCHMARK_CAPTURE(worst, refused_last_room, refused_last, update_mode::room)->Apply(sizes);

}  // namespace
}  // namespace v6bench
