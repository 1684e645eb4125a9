// SPDX-License-Identifier: Apache-2.0
#include "random_tables.h"

#include "prefix_text.h"

namespace random_tables {

namespace {

using v6tool::ip_key;
using v6tool::ip_prefix;

uint8_t between(random_source &random, unsigned low, unsigned high) {
  return static_cast<uint8_t>(low + random() % (high - low + 1));
}

ip_prefix cut(ip_key key, uint8_t length) { return {v6tool::masked(key, length), length}; }

ip_key noise(random_source &random) { return {random(), random()}; }

// One of a few networks: the same seed gives the same network.
ip_key network(uint64_t seed) {
  random_source random(seed);
  return noise(random);
}

ip_prefix one_prefix(random_source &random, shape s) {
  switch (s) {
    case shape::spread:
      return cut(noise(random), between(random, 0, 128));
    case shape::nested: {
      // Few bits vary, and long runs of zeros make one prefix the beginning of another.
      const ip_key sparse = noise(random) & noise(random) & noise(random) & v6tool::leading_ones(40);
      return cut(sparse, between(random, 0, 44));
    }
    case shape::clustered: {
      const ip_key base = v6tool::masked(network(random() % 5), 40);
      return cut(base | (noise(random) & ~v6tool::leading_ones(40)), between(random, 40, 64));
    }
    case shape::host_routes: {
      const ip_key base = v6tool::masked(network(random() % 20), 96);
      const uint8_t length = random() % 16 == 0 ? between(random, 20, 100) : uint8_t{128};
      return cut(base | (noise(random) & ~v6tool::leading_ones(112)), length);
    }
    case shape::dense:
      return cut(noise(random), between(random, 0, 9));
    case shape::deep: {
      const uint8_t length = between(random, 0, 128);
      const ip_key branch = random() % 8 == 0 ? noise(random) & ~v6tool::leading_ones(length / 2) : ip_key{};
      return cut(network(0) | branch, length);
    }
    case shape::mixed:
      break;
  }
  return one_prefix(random, all_shapes[random() % 5]);
}

uint32_t one_weight(random_source &random) {
  const uint32_t weight = random() % 4 == 0 ? static_cast<uint32_t>(random() % 1000000) : 1;
  return weight % 65536 == 0 ? 1 : weight;
}

}  // namespace

const char *shape_name(shape s) {
  constexpr const char *names[] = {"spread", "nested", "clustered", "host_routes", "dense", "mixed", "deep"};
  return names[static_cast<size_t>(s)];
}

v6tool::prefix_table random_table(random_source &random, shape s, size_t n) {
  v6tool::prefix_table table;
  table.name = shape_name(s);
  for (uint32_t line = 1; line <= n; ++line) {
    if (!table.rows.empty() && random() % 16 == 0) {
      v6tool::table_row again = table.rows[random() % table.rows.size()];
      again.weight = 65536;  // adds nothing modulo 2^16
      again.line = line;
      table.rows.push_back(again);
    } else {
      table.rows.push_back({one_prefix(random, s), one_weight(random), line});
    }
  }
  return table;
}

std::string as_text(const v6tool::prefix_table &table) {
  std::string text;
  for (const v6tool::table_row &row : table.rows) {
    text += v6tool::format_prefix(row.prefix) + ' ' + std::to_string(row.weight) + '\n';
  }
  return text;
}

}  // namespace random_tables
