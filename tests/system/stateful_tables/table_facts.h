// SPDX-License-Identifier: Apache-2.0
// table_facts.h - what a table should be: a plain map of prefixes to words, and everything else that follows from it.
#ifndef TABLE_FACTS_H
#define TABLE_FACTS_H

#include <array>
#include <map>
#include <optional>
#include <vector>

#include "two_stage_hardware.h"

namespace stateful_tables {

using table_model::prefix;
using words = std::map<prefix, uint32_t>;

struct change {
  prefix p;
  bool add = true;
  uint32_t word = 0;
};

struct change_counts {
  uint32_t added = 0, removed = 0, present = 0, absent = 0;
};

struct table_facts {
  bool is_open = false;
  bool was_open = false;
  uint32_t move_limit = 0;
  words wanted;
  std::optional<prefix> place;  // the last row of the walk
};

// Two tables, on two instances of one processor.
struct facts {
  std::array<table_facts, 2> tables;
};

words after_changes(words before, const std::vector<change> &changes);

// What an outcome should count; `after` is where the changes lead, or a load.
change_counts counts_of(const words &before, const std::vector<change> &changes, const words &after);

// By looking at every prefix. Null: none covers the address.
const words::value_type *longest_match(const words &wanted, tm_key_number address);

// The next rows of a walk, and where it stands then.
std::vector<prefix> next_rows(const words &wanted, const std::optional<prefix> &place, size_t most);

}  // namespace stateful_tables

#endif
