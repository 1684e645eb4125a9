// SPDX-License-Identifier: Apache-2.0
// bench_tables.h - the tables that are measured, and what is asked of them.
#ifndef BENCH_TABLES_H
#define BENCH_TABLES_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "prefix_value.h"

namespace v6bench {

using prefix_list = std::vector<v6tool::ip_prefix>;
using address_list = std::vector<v6tool::ip_key>;
using random_source = std::mt19937_64;

// What every benchmark is run with: 100 .. 60,000 prefixes.
const std::vector<int64_t> &table_sizes();

// Take `--table FILE` out of the arguments: the real table to measure. Call it before anything below.
void take_table_option(int *argc, char **argv);

// The real table, sorted. Ends the program when it cannot be read.
const prefix_list &whole_table();

// n prefixes of the real table, sorted. Whole top-level blocks are drawn, so that the share of each length and the
// nesting stay those of the real table at every size.
prefix_list real_table(size_t n);

// n made-up prefixes with the lengths and the clustering of a real table; sorted.
prefix_list generated_table(size_t n);

// A table and prefixes of the same origin that are not in it, in random order.
struct split_table {
  prefix_list table;
  prefix_list others;
};

// real_table(n) without `n_others` of its prefixes; as many as n allows at the end of the real table.
split_table real_table_with_others(size_t n, size_t n_others);

// Addresses inside random prefixes of a table.
address_list covered_addresses(const prefix_list &table, size_t n);

prefix_list shuffled(prefix_list list);

}  // namespace v6bench

#endif
