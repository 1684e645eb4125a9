// SPDX-License-Identifier: Apache-2.0
// table_engine.h - the engine's requests, as tables make them.
#ifndef TABLE_ENGINE_H
#define TABLE_ENGINE_H

#include "table_record.h"
#include "tcamv6_rules.h"

// One record of a request.
tcamv6_prefix table_request_record(tm_key_number address, uint32_t length, bool add);

// Empty the instance, then compress these prefixes. Returns 0 or the engine's negative number: the instance is empty.
int32_t table_compress_in_full(const zel_v6comp_table *table, const tcamv6_prefix *records, uint32_t n);

// Release all that the instance holds.
void table_empty_instance(const zel_v6comp_table *table);

// Apply a batch to a table that has been compressed; the judge is heard before it is accepted. Returns 0 or the
// engine's negative number: nothing has changed.
int32_t table_apply_batch(const zel_v6comp_table *table, const tcamv6_prefix *records, uint32_t n,
                          const tcamv6_batch_judge *judge);

// Compress anew what the instance holds. `accept` is heard before the old table is given up.
// Returns 0 or a negative number: nothing has changed.
int32_t table_compress_anew(const zel_v6comp_table *table, const tcamv6_prefix *records, uint32_t n,
                            const tcamv6_batch_judge *judge);

// The status of an engine's number. Which memory was short is seen by the pools' counters of failed requests.
uint32_t table_count_pool_failures(void);
int32_t table_status_of(int32_t result, uint32_t pool_failures_before);

#endif
