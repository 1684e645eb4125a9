// SPDX-License-Identifier: Apache-2.0
// batch_builder.h - what changes of routes and of rules mean for the two tables.
//
// The table of destinations holds the routes and the prefixes of rules; a prefix that only rules ask for leaves by the
// port of the longest route that covers it. The table of sources holds the prefixes of rules. In a batch all that comes
// is one operation and all that goes the next: so every packet, after every write, leaves by the old port or the new
// one.
#ifndef BATCH_BUILDER_H
#define BATCH_BUILDER_H

#include <span>

#include "batch_journal.h"
#include "packet_policy.h"
#include "route_book.h"
#include "table_pair.h"

namespace v6agent {

// Empty when the tables hold all of that already.
table_batch batch_for_routes(std::span<const route_change> changes, const table_pair &tables,
                             const packet_policy &policy);

// From the policy in force to another one; also the first batch of empty tables.
table_batch batch_for_policy(const packet_policy &before, const packet_policy &after, const table_pair &tables);

}  // namespace v6agent

#endif
