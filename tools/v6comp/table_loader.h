// SPDX-License-Identifier: Apache-2.0
// table_loader.h - a table of any size into the library.
#ifndef TABLE_LOADER_H
#define TABLE_LOADER_H

#include "library_instance.h"
#include "pool_sizing.h"
#include "table_reader.h"

namespace v6tool {

// Compress a table in an instance that is empty. What is larger than one request needs room mode: the first request
// takes as many prefixes as it can, by address, and the rest come as batches, which can move some of the first. The
// outcome is that of all requests: the codes are those at the end, of the rows in their order.
request_outcome load_table(const library_instance &instance, const prefix_table &table);

// What the pools need for that many rows: a batch takes elements before it gives others back.
pool_needs needs_of_loading(const stored_prefixes &stored, size_t rows);

}  // namespace v6tool

#endif
