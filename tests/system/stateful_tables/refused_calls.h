// SPDX-License-Identifier: Apache-2.0
// refused_calls.h - calls that ask for what cannot be: each answers with its status, and nothing has changed.
#ifndef REFUSED_CALLS_H
#define REFUSED_CALLS_H

#include "followed_table.h"

namespace stateful_tables {

struct refused_call {
  const char *name;
  std::vector<int32_t> statuses;  // one of them is the answer
  int32_t (*call)(followed_table &table, const change &good);
};

// Of an open table. `good` is a change that could be made.
const std::vector<refused_call> &refused_calls();

// Every call with the handle of a table that is closed.
void call_closed(zel_v6comp_table *closed);

}  // namespace stateful_tables

#endif
