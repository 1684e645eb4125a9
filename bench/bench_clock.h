// SPDX-License-Identifier: Apache-2.0
// bench_clock.h - processor time of this thread: what other programs on the machine take does not count.
#ifndef BENCH_CLOCK_H
#define BENCH_CLOCK_H

#include <benchmark/benchmark.h>

#include <ctime>

namespace v6bench {

inline double thread_seconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Run one timed section of a benchmark that uses manual time.
template <class Section>
void timed(benchmark::State &state, Section section) {
  const double begin = thread_seconds();
  section();
  state.SetIterationTime(thread_seconds() - begin);
}

// Every benchmark reports `ns_per_item`: per prefix of the table, or per operation. `items` is per iteration.
inline void count_items(benchmark::State &state, size_t items) {
  state.SetItemsProcessed(static_cast<int64_t>(items) * state.iterations());
  state.counters["items"] = static_cast<double>(items);
}

}  // namespace v6bench

#endif
