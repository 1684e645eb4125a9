// SPDX-License-Identifier: Apache-2.0
// table_pools.h - pools for as many prefixes as are expected.
#ifndef TABLE_POOLS_H
#define TABLE_POOLS_H

#include "tm_chunk.h"

// Elements of each type, by chunk type, that tables of n prefixes get by with, whatever these are.
struct table_pool_sizes {
  uint64_t elements[TM_CHUNK_TYPES];
};

table_pool_sizes table_size_pools(uint32_t n_prefixes);

#endif
