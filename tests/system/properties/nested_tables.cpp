// SPDX-License-Identifier: Apache-2.0
#include "nested_tables.h"

#include <algorithm>

namespace nested_tables {

using v6tool::ip_key;
using v6tool::ip_prefix;

namespace {

void cover(prefix_set *prefixes, const ip_prefix &block, const std::vector<ip_key> &hosts) {
  const bool holds_host =
      std::any_of(hosts.begin(), hosts.end(), [&block](ip_key host) { return v6tool::covers(block, host); });
  if (!holds_host) {
    prefixes->push_back(block);
    return;
  }
  if (block.length < 128) {
    cover(prefixes, part_of(block, 1, 0), hosts);
    cover(prefixes, part_of(block, 1, 1), hosts);
  }
}

}  // namespace

v6tool::prefix_table table_of(const prefix_set &prefixes) {
  v6tool::prefix_table table;
  for (const ip_prefix &prefix : prefixes) {
    table.rows.push_back({prefix, 1, static_cast<uint32_t>(table.rows.size() + 1)});
  }
  return table;
}

prefix_set all_but(const ip_prefix &block, const std::vector<ip_key> &hosts) {
  prefix_set prefixes;
  cover(&prefixes, block, hosts);
  return prefixes;
}

ip_prefix part_of(const ip_prefix &block, unsigned bits, uint64_t value) {
  ip_prefix part = block;
  for (unsigned i = 0; i < bits; ++i) {
    const unsigned place = block.length + i;
    const uint64_t bit = value >> (bits - 1 - i) & 1;
    (place < 64 ? part.key.hi : part.key.lo) |= bit << (63 - place % 64);
  }
  part.length = static_cast<uint8_t>(block.length + bits);
  return part;
}

prefix_set parts_of(const ip_prefix &block, unsigned length) {
  prefix_set parts;
  const unsigned bits = length - block.length;
  for (uint64_t value = 0; value < uint64_t{1} << bits; ++value) {
    parts.push_back(part_of(block, bits, value));
  }
  return parts;
}

void add_full(prefix_set *prefixes, const ip_prefix &block, unsigned order) {
  prefixes->push_back(block);
  for (unsigned smaller = 0; smaller < order; ++smaller) {
    // 1..10: as many ones as orders lie between
    const unsigned bits = order - smaller;
    add_full(prefixes, part_of(block, bits, (uint64_t{1} << bits) - 2), smaller);
  }
}

}  // namespace nested_tables
