// SPDX-License-Identifier: Apache-2.0
// Memory of a full compression in a fresh process: the most pool elements that are out at one time, and the most
// memory that the process holds beyond what it held before. One JSON object on standard output.
//   bench_memory [--table FILE] PREFIXES
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "library_use.h"
#include "pool_counters.h"

namespace {

// A line of /proc/self/status, in bytes; 0 when the system does not tell.
uint64_t status_bytes(const char *name) {
  std::FILE *file = std::fopen("/proc/self/status", "r");
  if (file == nullptr) {
    return 0;
  }
  char line[256];
  uint64_t kilobytes = 0;
  while (std::fgets(line, sizeof(line), file) != nullptr) {
    if (std::strncmp(line, name, std::strlen(name)) == 0) {
      kilobytes = std::strtoull(line + std::strlen(name) + 1, nullptr, 10);
    }
  }
  std::fclose(file);
  return kilobytes * 1024;
}

struct pool_total {
  uint64_t elements = 0;
  uint64_t bytes = 0;
};

pool_total peak_elements() {
  pool_total total;
  for (const tm_raw_blk_row &row : raw_blk) {
    const uint64_t peak = v6tool::pool_peak(row.name);
    total.elements += peak;
    total.bytes += peak * row.elem_size;
  }
  return total;
}

}  // namespace

int main(int argc, char **argv) {
  v6bench::take_table_option(&argc, argv);
  const size_t n = argc == 2 ? std::strtoull(argv[1], nullptr, 10) : 0;
  if (n == 0) {
    std::fprintf(stderr, "usage: %s [--table FILE] PREFIXES\n", argv[0]);
    return 2;
  }
  const v6bench::prefix_list table = v6bench::real_table(n);
  const v6bench::request wanted(table);
  v6bench::start_library();
  const uint64_t before = status_bytes("VmRSS:");
  if (const uint32_t status = wanted.run(); status != 0) {
    v6bench::give_up("full compression", status);
  }
  const uint64_t most = status_bytes("VmHWM:") - before;
  const pool_total peak = peak_elements();
  const v6bench::element_use settled = v6bench::elements();
  std::printf("{\"prefixes\": %zu, \"peak_elements\": %" PRIu64 ", \"peak_element_bytes\": %" PRIu64
              ", \"settled_elements\": %" PRIu64 ", \"settled_element_bytes\": %" PRIu64
              ", \"peak_process_bytes\": %" PRIu64 "}\n",
              n, peak.elements, peak.bytes, settled.now, settled.now_bytes, most);
  return 0;
}
