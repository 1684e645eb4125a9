// SPDX-License-Identifier: Apache-2.0
// random_tables.h - tables of every shape that strains the compression.
#ifndef RANDOM_TABLES_H
#define RANDOM_TABLES_H

#include <cstdint>
#include <random>
#include <string>

#include "table_reader.h"

namespace random_tables {

using random_source = std::mt19937_64;

enum class shape {
  spread,       // lengths and bits all over
  nested,       // short prefixes with many inside one another
  clustered,    // a few networks, each with many neighbours in it
  host_routes,  // /128 and a few covering prefixes
  dense,        // nearly all prefixes of a few bits
  mixed,        // some of each
  deep          // prefixes inside one another, up to 129 levels: many of these tables need more than 64 bits
};

inline constexpr shape all_shapes[] = {shape::spread,      shape::nested, shape::clustered,
                                       shape::host_routes, shape::dense,  shape::mixed};

const char *shape_name(shape s);

// A table of about `n` rows: some stand twice, weights run from 1 to far above 16 bits but never add up to a
// multiple of 65,536.
v6tool::prefix_table random_table(random_source &random, shape s, size_t n);

// As a file of the tool, for messages.
std::string as_text(const v6tool::prefix_table &table);

}  // namespace random_tables

#endif
