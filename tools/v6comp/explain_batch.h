// SPDX-License-Identifier: Apache-2.0
// explain_batch.h - what a batch moved, and for whom.
#ifndef EXPLAIN_BATCH_H
#define EXPLAIN_BATCH_H

#include <string>
#include <vector>

#include "live_table.h"
#include "prefix_value.h"

namespace v6tool {

struct batch_move {
  ip_prefix prefix;
  ip_prefix from;  // codes
  ip_prefix to;
  std::string reason;  // "makes way for 2001:db8::/48, which is new", ...
};

// Prefixes that are there before and after with another code. A code that overlaps one that was there before is what
// drove that out: of two codes one begins the other.
std::vector<batch_move> moves_between(const table_rows &before, const table_rows &after);

}  // namespace v6tool

#endif
