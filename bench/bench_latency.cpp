// SPDX-License-Identifier: Apache-2.0
// How long single updates take at worst: a table of 55,000 prefixes, from which one of them goes and into which one of
// 5,000 others comes in turn, each in a request of its own, in every mode. One JSON object a mode on standard output;
// times are of the thread's own processor use, in nanoseconds, the clock's own included.
//   bench_latency [--table FILE] [UPDATES]      100,000 when left out
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "bench_clock.h"
#include "library_use.h"

namespace {

using v6bench::change;
using v6bench::prefix_list;
using v6bench::request;
using v6bench::update_mode;

constexpr size_t table_size = 55000;
constexpr size_t n_others = 5000;

struct outcome {
  std::vector<double> nanoseconds;
  size_t refused = 0;
  uint64_t moved = 0;
};

// Runs one update. Returns whether it was accepted.
bool update(const v6tool::ip_prefix &prefix, change what, outcome *result) {
  const request one(&prefix, 1, what);
  const double begin = v6bench::thread_seconds();
  const uint32_t status = one.run();
  result->nanoseconds.push_back((v6bench::thread_seconds() - begin) * 1e9);
  const zel_v6comp_move *moves = nullptr;
  uint32_t n = 0;
  if (status == 0 && zel_v6comp_moves(0, 0, &moves, &n) == 0) {
    result->moved += n;
  }
  result->refused += status != 0 ? 1 : 0;
  return status == 0;
}

outcome churn(const v6bench::split_table &split, size_t updates) {
  prefix_list stored = split.table;
  prefix_list others = split.others;
  v6bench::random_source random(9);
  outcome result;
  result.nanoseconds.reserve(updates);
  for (size_t i = 0; i < updates; ++i) {
    const bool adds = i % 2 != 0 && !others.empty();
    prefix_list &from = adds ? others : stored;
    prefix_list &to = adds ? stored : others;
    v6tool::ip_prefix &chosen = from[random() % from.size()];
    if (update(chosen, adds ? change::add : change::remove, &result)) {
      to.push_back(chosen);
      chosen = from.back();
      from.pop_back();
    }
  }
  std::sort(result.nanoseconds.begin(), result.nanoseconds.end());
  return result;
}

// The time that a share of the updates does not exceed.
double at_share(const std::vector<double> &sorted, double share) {
  return sorted[std::min(sorted.size() - 1, static_cast<size_t>(share * static_cast<double>(sorted.size())))];
}

void print(const char *mode, const outcome &result) {
  const std::vector<double> &times = result.nanoseconds;
  const double sum = std::accumulate(times.begin(), times.end(), 0.0);
  std::printf(
      "{\"mode\": \"%s\", \"table\": %zu, \"updates\": %zu, \"refused\": %zu, \"moved\": %lu, \"mean_ns\": %.0f, "
      "\"median_ns\": %.0f, \"p99_ns\": %.0f, \"p999_ns\": %.0f, \"max_ns\": %.0f}\n",
      mode, table_size, times.size(), result.refused, static_cast<unsigned long>(result.moved),
      sum / static_cast<double>(times.size()), at_share(times, 0.5), at_share(times, 0.99), at_share(times, 0.999),
      times.back());
}

}  // namespace

int main(int argc, char **argv) {
  v6bench::take_table_option(&argc, argv);
  const size_t updates = argc == 2 ? std::strtoull(argv[1], nullptr, 10) : 100000;
  if (argc > 2 || updates == 0) {
    std::fprintf(stderr, "usage: %s [--table FILE] [UPDATES]\n", argv[0]);
    return 2;
  }
  const v6bench::split_table split = v6bench::real_table_with_others(table_size, n_others);
  const request table(split.table);
  for (const auto &[name, mode] : {std::pair{"compatible", update_mode::compatible},
                                   std::pair{"safe", update_mode::safe}, std::pair{"room", update_mode::room}}) {
    v6bench::start_library();
    v6bench::use(mode);
    v6bench::load(table);
    print(name, churn(split, updates));
  }
  return 0;
}
