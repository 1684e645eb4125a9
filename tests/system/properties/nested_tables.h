// SPDX-License-Identifier: Apache-2.0
// nested_tables.h - tables that nest as deeply as they can, and those that leave single hosts out.
#ifndef NESTED_TABLES_H
#define NESTED_TABLES_H

#include <vector>

#include "table_reader.h"

namespace nested_tables {

using prefix_set = std::vector<v6tool::ip_prefix>;

// A table of these prefixes, in their order.
v6tool::prefix_table table_of(const prefix_set &prefixes);

// The fewest prefixes that cover a block but for some hosts in it: one host leaves 128 - length.
prefix_set all_but(const v6tool::ip_prefix &block, const std::vector<v6tool::ip_key> &hosts);

// The part of a block that begins with `value` in `bits` more bits.
v6tool::ip_prefix part_of(const v6tool::ip_prefix &block, unsigned bits, uint64_t value);

// All parts of a block that have this length.
prefix_set parts_of(const v6tool::ip_prefix &block, unsigned length);

// Into a block, `order` bits long: 2^order prefixes whose codes leave nothing over. The prefix of order c holds one of
// each smaller order; with its own address they fill its 2^c codes.
void add_full(prefix_set *prefixes, const v6tool::ip_prefix &block, unsigned order);

}  // namespace nested_tables

#endif
