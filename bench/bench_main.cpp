// SPDX-License-Identifier: Apache-2.0
// The main program of every benchmark: `--table FILE`, then Google Benchmark's own options.
#include <benchmark/benchmark.h>

#include "bench_tables.h"

int main(int argc, char **argv) {
  v6bench::take_table_option(&argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
