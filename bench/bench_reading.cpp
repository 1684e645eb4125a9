// SPDX-License-Identifier: Apache-2.0
// Reading a table: what every command of the tool begins with.

#include "bench_clock.h"
#include "prefix_text.h"
#include "table_reader.h"

#include "bench_tables.h"

namespace v6bench {
namespace {

std::string text_of(const prefix_list &table) {
  std::string text;
  for (const v6tool::ip_prefix &prefix : table) {
    text += v6tool::format_prefix(prefix) + '\n';
  }
  return text;
}

void read_table(benchmark::State &state) {
  const auto n = static_cast<size_t>(state.range(0));
  const std::string text = text_of(real_table(n));
  for (auto _ : state) {
    v6tool::prefix_table table;
    v6tool::read_report report;
    timed(state, [&] { v6tool::parse_table("table", text, n, table, report); });
    if (table.rows.size() != n) {
      state.SkipWithError("the table was not read");
      break;
    }
  }
  count_items(state, n);
}

void each_size(benchmark::internal::Benchmark *b) {
  for (const int64_t n : table_sizes()) {
    b->Arg(n);
  }
  b->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(read_table)->Apply(each_size);

}  // namespace
}  // namespace v6bench
