// SPDX-License-Identifier: Apache-2.0
// weighted_table.h - a table as its owner keeps it: weights count references to a prefix, and batches give and take.
#ifndef WEIGHTED_TABLE_H
#define WEIGHTED_TABLE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "history_reader.h"
#include "table_reader.h"

namespace v6tool {

// A delete that leaves its prefix in the table, because it takes less than the prefix's weight.
struct held_delete {
  ip_prefix prefix;
  uint32_t line = 0;  // of the history
  uint64_t taken = 0, weight = 0;
};

struct change_counts {
  uint64_t adds = 0, deletes = 0;    // as the batch says
  uint64_t present = 0, absent = 0;  // of those: additions of what is there, deletes of what is not
};

class weighted_table {
 public:
  using weights = std::map<ip_prefix, uint64_t>;

  explicit weighted_table(const prefix_table &table);

  size_t size() const { return owned_.size(); }
  const weights &owned() const { return owned_; }
  uint64_t weight_of(const ip_prefix &prefix) const;  // 0: not there

  // As a table again, one row for each prefix.
  prefix_table table() const;

  // What a batch leaves of the prefixes that it touches (0: gone); counts what it finds there.
  weights after(const history_batch &batch, change_counts &counts) const;

  // The deletes of a batch that leave their prefixes there. `after`: of the same batch.
  std::vector<held_delete> held(const history_batch &batch, const weights &after) const;

  // Why a batch is refused that deletes more weight of a prefix than it has, in words; "": it does not.
  std::string excess_in(const history_batch &batch) const;

  void take_over(const weights &after);

 private:
  weights owned_;
};

// What a change leaves of a weight.
uint64_t weight_after(uint64_t before, const history_change &change);

// Every prefix that the table ever holds, sorted.
std::vector<ip_prefix> prefixes_of_history(const prefix_table &table, const update_history &history);

}  // namespace v6tool

#endif
