// SPDX-License-Identifier: Apache-2.0
#include "early_warnings.h"

#include <fmt/format.h>

#include <algorithm>

namespace v6agent {

namespace {

constexpr double nearly_all = 0.8;     // of a pool, of the routes
constexpr uint32_t few_bits_left = 8;  // of 64

}  // namespace

std::map<std::string, std::string> nearly_full(const room_figures &figures) {
  std::map<std::string, std::string> lines;
  for (const side which : both_sides) {
    const uint32_t bits = (which == side::source ? figures.source : figures.destination).bits_needed;
    if (64 - std::min(bits, 64U) < few_bits_left) {
      lines[name_of(which)] =
          fmt::format("the {} prefixes nest deeply: {} of 64 bits are needed", name_of(which), bits);
    }
  }
  for (int i = 0; i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    const zel_v6comp_table_pool &pool = figures.source.pools[i];  // both tables share them
    if (pool.in_use > nearly_all * pool.size) {
      lines[pool_names[i]] = fmt::format("the pool {} is nearly full, {} of {}: start with more --expected-prefixes",
                                         pool_names[i], pool.in_use, pool.size);
    }
  }
  if (static_cast<double>(figures.routes) > nearly_all * static_cast<double>(figures.most_routes)) {
    lines["routes"] = fmt::format("{} routes of at most {}", figures.routes, figures.most_routes);
  }
  return lines;
}

void early_warnings::look(const room_figures &figures) {
  for (const auto &[name, line] : nearly_full(figures)) {
    lines_.try_emplace(name, pause).first->second.say(log_level::warning, line);
  }
}

}  // namespace v6agent
