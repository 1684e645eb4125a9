// SPDX-License-Identifier: Apache-2.0
// made_history.h - whole tables and histories to order.
#ifndef MADE_HISTORY_H
#define MADE_HISTORY_H

#include <cstdint>
#include <string>
#include <vector>

#include "history_reader.h"
#include "prefix_wishes.h"

namespace v6tool {

struct table_order {
  uint64_t count = 0;
  wish_shares shares;
  ip_prefix within;
  uint64_t seed = 1;
};

// Sorted prefixes. Returns what cannot be in words, "" when it is good.
std::string make_table(const table_order &order, std::vector<ip_prefix> &prefixes);

struct history_order {
  uint64_t batches = 0;               // at most a million
  uint64_t batch_size = 0;            // changes, at most a million
  share additions = whole_share / 2;  // of all changes
  wish_shares shares;                 // of the additions, at the time of each
  ip_prefix within;
  uint64_t seed = 1;
};

// Batches for a table of these prefixes. No prefix changes twice in a batch. Returns as above.
std::string make_history(const std::vector<ip_prefix> &table, const history_order &order,
                         std::vector<history_batch> &batches);

// What prefixes are like, for others that are to be like them as far as can be.
wish_shares shares_of(const std::vector<ip_prefix> &prefixes);

}  // namespace v6tool

#endif
