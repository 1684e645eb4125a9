// SPDX-License-Identifier: Apache-2.0
// A full compression phase by phase: one benchmark per size, a counter per phase, in nanoseconds per prefix. The
// phases are those of a real request on an emptied instance, in their order; together they are its whole work.
#include <map>
#include <string>

#include "bench_clock.h"
#include "library_use.h"

// The phases are private to these files of the library; to include them is to measure these and no copy of them.
#include "tcamv6_optimized.cpp"  // NOLINT(bugprone-suspicious-include)
#include "tcamv6_phases.cpp"     // NOLINT(bugprone-suspicious-include)
#include "tcamv6_prefix_list_internal.h"

namespace v6bench {
namespace {

struct named_phase {
  const char *name;
  int32_t (*run)(full_run *);
};

// A phase of the layout, as a phase of the run.
template <int32_t (*phase)(tcamv6_phases *)>
int32_t in_layout(full_run *run) {
  tcamv6_phases layout = {run->state, run->orig_root, run->cmpr_root, run->anc_root, false};
  const int32_t result = phase(&layout);
  run->cmpr_root = layout.cmpr_root;
  run->anc_root = layout.anc_root;
  return result;
}

constexpr named_phase phases[] = {
    {"03_insert_list", insert_list},
    {"04_printable", make_printable},
    {"05_costing_pass", in_layout<cost_table>},
    {"06_limits", in_layout<set_limits>},
    {"07_final_pass", in_layout<build_compressed_trie>},
    {"08_sparse", in_layout<make_sparse>},
    {"09_collect_nodes", collect_nodes},
    {"10_fill_results", fill_results},
};

// Phases on one clock, added up over the iterations of a benchmark.
class stopwatch {
 public:
  template <class Phase>
  void run(const char *name, Phase phase) {
    const double begin = thread_seconds();
    phase();
    const double took = thread_seconds() - begin;
    seconds_[name] += took;
    iteration_ += took;
  }

  double end_iteration() {
    const double took = iteration_;
    iteration_ = 0;
    return took;
  }

  void report(benchmark::State &state, size_t prefixes) const {
    const double items = static_cast<double>(prefixes) * static_cast<double>(state.iterations());
    for (const auto &[name, seconds] : seconds_) {
      state.counters[name] = seconds * 1e9 / items;
    }
  }

 private:
  std::map<std::string, double> seconds_;
  double iteration_ = 0;
};

void check(const char *what, int32_t result) {
  if (result != TM_OK) {
    give_up(what, static_cast<uint32_t>(-result));
  }
}

void run_phases_timed(stopwatch &watch, full_run *run) {
  watch.run("02_arrays", [&] {
    check("arrays", allocate_arrays(run));
    check("root", make_root(run));
  });
  for (const named_phase &phase : phases) {
    int32_t result = TM_OK;
    watch.run(phase.name, [&] { result = phase.run(run); });
    check(phase.name, result);
  }
  watch.run("11_release", [&] {
    release_pcmpr_trie(run->state);
    keep_run(run);
    free_arrays(run);
  });
}

void compress_timed(stopwatch &watch, const std::vector<tcamv6_prefix> &records) {
  full_run run = {};
  run.state = instance();
  tcamv6_prefix *list = nullptr;
  watch.run("01_working_list", [&] {
    check("list",
          tcamv6_build_prefix_list(records.data(), &list, static_cast<uint32_t>(records.size()), &run.count, 1));
    tcamv6_check_no_of_prefixes_in_array(run.count, list);
  });
  run.list = list;
  watch.run("02_arrays", [&] {
    empty_state(run.state);
    run.cmpr_prefs = static_cast<tcamv6_cmpr_pref *>(zel_calloc_named(0, run.count, sizeof(tcamv6_cmpr_pref)));
    run.cmpr_addrs = static_cast<tcamv6_cmpr_addr *>(zel_calloc_named(0, run.count, sizeof(tcamv6_cmpr_addr)));
  });
  run_phases_timed(watch, &run);
  watch.run("12_sort_results", [&] { tcamv6_prepare_return_cmpr_prefs(run.cmpr_prefs, run.count); });
  watch.run("11_release", [&] {
    zel_free_named(list);
    zel_v6comp_free_compr_result(run.cmpr_prefs, run.cmpr_addrs);
  });
}

void phases_of_full(benchmark::State &state) {
  const prefix_list table = real_table(static_cast<size_t>(state.range(0)));
  const std::vector<tcamv6_prefix> records = records_of(table);
  load(request(table));
  stopwatch watch;
  for (auto _ : state) {
    empty_instance();
    compress_timed(watch, records);
    state.SetIterationTime(watch.end_iteration());
  }
  watch.report(state, table.size());
  count_items(state, table.size());
}

void each_size(benchmark::internal::Benchmark *b) {
  for (const int64_t n : table_sizes()) {
    b->Arg(n);
  }
  b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(phases_of_full)->Apply(each_size);

}  // namespace
}  // namespace v6bench
