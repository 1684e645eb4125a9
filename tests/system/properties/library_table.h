// SPDX-License-Identifier: Apache-2.0
// library_table.h - a table in the library, through its public interface.
#ifndef LIBRARY_TABLE_H
#define LIBRARY_TABLE_H

#include <optional>
#include <vector>

#include "containment_check.h"
#include "table_reader.h"
#include "zel_v6comp.h"

namespace library_table {

// Start the library, once, with pools for any table of these tests.
void start();

// Compress a table in full on instance 0 of processor 0, whatever it held before; keeps the request's own results.
uint32_t compress(const v6tool::prefix_table &table);

// The compressed prefix of row `row` in the results of the last compress().
v6tool::ip_prefix result_code(size_t row);

// What a stored prefix became, by lookup.
std::optional<v6tool::compressed_row> translate(const v6tool::ip_prefix &prefix);

struct found_address {
  v6tool::ip_prefix match;
  v6tool::ip_prefix code;
  v6tool::ip_key address;
};
std::optional<found_address> find(v6tool::ip_key address);

std::vector<v6tool::compressed_row> dump();

// The `Bits Required` that the library itself reported during the last compress() with the trace word on.
std::optional<uint32_t> reported_bits();

}  // namespace library_table

#endif
