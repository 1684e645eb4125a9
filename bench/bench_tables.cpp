// SPDX-License-Identifier: Apache-2.0
#include "bench_tables.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "table_reader.h"

namespace v6bench {

namespace {

using v6tool::ip_key;
using v6tool::ip_prefix;

std::string table_path = V6COMP_BENCH_TABLE;

// Prefixes without a shorter one above them, each with all that lies inside it: [begin, end) of a sorted list.
struct top_block {
  size_t begin;
  size_t end;
};

std::vector<top_block> top_blocks(const prefix_list &sorted) {
  std::vector<top_block> blocks;
  for (size_t i = 0; i < sorted.size(); ++i) {
    if (blocks.empty() || !v6tool::contains(sorted[blocks.back().begin], sorted[i])) {
      blocks.push_back({i, i});
    }
    blocks.back().end = i + 1;
  }
  return blocks;
}

ip_key random_key(random_source &random) {
  const uint64_t hi = random();
  return {hi, random()};
}

struct length_share {
  uint8_t length;
  unsigned share;
};

// Per mille, of two regions of a full table. What lies inside a block of an operator, and the blocks themselves.
constexpr std::array<length_share, 8> block_lengths = {
    {{20, 1}, {28, 1}, {29, 160}, {30, 20}, {31, 8}, {32, 720}, {36, 20}, {48, 70}}};
constexpr std::array<length_share, 12> inner_lengths = {{{33, 60},
                                                         {34, 55},
                                                         {35, 20},
                                                         {36, 65},
                                                         {38, 20},
                                                         {40, 100},
                                                         {42, 35},
                                                         {44, 100},
                                                         {46, 20},
                                                         {47, 20},
                                                         {48, 503},
                                                         {64, 2}}};

template <size_t N>
uint8_t draw_length(const std::array<length_share, N> &shares, random_source &random) {
  unsigned total = 0;
  for (const length_share &s : shares) {
    total += s.share;
  }
  auto at = static_cast<unsigned>(random() % total);
  for (const length_share &s : shares) {
    if (at < s.share) {
      return s.length;
    }
    at -= s.share;
  }
  return shares.back().length;
}

// A subnet number of a block: small numbers are common, and most significant bits are varied first.
ip_prefix inner_prefix(const ip_prefix &block, random_source &random) {
  const uint8_t length = std::max<uint8_t>(draw_length(inner_lengths, random), static_cast<uint8_t>(block.length + 1));
  const unsigned free_bits = length - block.length;
  const unsigned used_bits = 1 + static_cast<unsigned>(random() % std::min(free_bits, 12u));
  const uint64_t number = random() & ((uint64_t{1} << used_bits) - 1);
  const unsigned shift = random() % 2 == 0 ? free_bits - used_bits : 0;
  ip_key key = block.key;
  key.hi |= (number << shift) << (64 - length);
  return {key, length};
}

}  // namespace

const std::vector<int64_t> &table_sizes() {
  static const std::vector<int64_t> sizes = {100, 1000, 10000, 30000, 60000};
  return sizes;
}

void take_table_option(int *argc, char **argv) {
  int kept = 1;
  for (int i = 1; i < *argc; ++i) {
    if (std::strcmp(argv[i], "--table") == 0 && i + 1 < *argc) {
      table_path = argv[++i];
    } else {
      argv[kept++] = argv[i];
    }
  }
  *argc = kept;
}

const prefix_list &whole_table() {
  static const prefix_list list = [] {
    v6tool::prefix_table table;
    v6tool::read_report report;
    if (!v6tool::read_table(table_path, {}, table, report)) {
      for (const std::string &line : report.faults.lines()) {
        std::fprintf(stderr, "%s\n", line.c_str());
      }
      std::exit(3);
    }
    return v6tool::distinct_prefixes(table);
  }();
  return list;
}

prefix_list real_table(size_t n) {
  const prefix_list &whole = whole_table();
  if (n > whole.size()) {
    std::fprintf(stderr, "%s holds %zu prefixes, %zu are wanted\n", table_path.c_str(), whole.size(), n);
    std::exit(3);
  }
  std::vector<top_block> blocks = top_blocks(whole);
  random_source random(1);
  std::shuffle(blocks.begin(), blocks.end(), random);
  prefix_list list;
  list.reserve(n);
  for (const top_block &block : blocks) {
    for (size_t i = block.begin; i < block.end && list.size() < n; ++i) {
      list.push_back(whole[i]);
    }
  }
  std::sort(list.begin(), list.end());
  return list;
}

prefix_list generated_table(size_t n) {
  random_source random(2);
  std::set<ip_prefix> made;
  std::array<uint64_t, 2> next_block = {0x28000000, 0x2a000000};  // in /32s: registries hand them out in order
  while (made.size() < n) {
    uint64_t &at = next_block[random() % 2];
    const uint8_t length = draw_length(block_lengths, random);
    const ip_key where = {at << 32 | random() >> 32, 0};
    const ip_prefix block = {v6tool::masked(where, length), length};
    at += length < 32 ? uint64_t{1} << (32 - length) : 1 + random() % 4;
    made.insert(block);
    // Most operators announce little more than their block, a few a great deal.
    const unsigned scale = 1u << (random() % 8 * (random() % 8) / 7);
    for (auto k = static_cast<unsigned>(random() % (scale + 1)); k > 0 && length <= 36 && made.size() < n; --k) {
      made.insert(inner_prefix(block, random));
    }
  }
  return {made.begin(), made.end()};
}

split_table real_table_with_others(size_t n, size_t n_others) {
  const size_t most = whole_table().size();
  prefix_list pool = shuffled(real_table(std::min(n + n_others, most)));
  split_table split;
  split.others.assign(pool.begin(), pool.begin() + static_cast<std::ptrdiff_t>(n_others));
  split.table.assign(pool.begin() + static_cast<std::ptrdiff_t>(n_others), pool.end());
  std::sort(split.table.begin(), split.table.end());
  return split;
}

address_list covered_addresses(const prefix_list &table, size_t n) {
  random_source random(3);
  address_list addresses;
  for (size_t i = 0; i < n; ++i) {
    const ip_prefix &p = table[random() % table.size()];
    addresses.push_back(p.key | (random_key(random) & ~v6tool::leading_ones(p.length)));
  }
  return addresses;
}

prefix_list shuffled(prefix_list list) {
  random_source random(4);
  std::shuffle(list.begin(), list.end(), random);
  return list;
}

}  // namespace v6bench
