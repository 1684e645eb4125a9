// SPDX-License-Identifier: Apache-2.0
// stored_counts.h - what the library stores while batches come: every prefix with its two counters.
//
// The records of a batch are given in the order in which the library applies them, anchors included. Which case a
// record falls into follows from the prefixes stored at that moment.
#ifndef STORED_COUNTS_H
#define STORED_COUNTS_H

#include <array>
#include <cstdint>
#include <map>

#include "prefix_value.h"
#include "table_reader.h"

namespace v6tool {

enum class record_case : uint8_t {
  present,       // add: the prefix is stored already, its counters grow
  below_leaf,    // add: the enclosing prefix has no others inside
  beside,        // add: the enclosing prefix has others inside, none of them inside the new one
  new_level,     // add: between the enclosing prefix and others inside it
  absent,        // delete: there is nothing to take
  shared,        // delete: others still hold the prefix
  delete_leaf,   // delete: the last hold on a prefix without others inside
  delete_inner,  // delete: the last hold on a prefix with others inside, which stay
};
constexpr size_t n_record_cases = 8;

const char *case_name(record_case which);  // "present", "below_leaf", ...

using case_counts = std::array<uint64_t, n_record_cases>;

// A record of a working list. It is an anchor when its weight equals its anchor_ref.
struct working_record {
  ip_prefix prefix;
  uint32_t weight = 0;
  uint32_t anchor_ref = 0;
  bool add = true;
};

class stored_counts {
 public:
  // Deletes that find nothing that additions of the prefix itself gave are absent, as with safe updates.
  explicit stored_counts(bool safe_updates) : safe_(safe_updates) {}

  // Forget everything, and store a table as a full compression does.
  void fill(const prefix_table &table);

  record_case apply(const working_record &record);

  // The longest stored prefix that contains another one, itself left out; ::/0 for ::/0.
  ip_prefix enclosing(const ip_prefix &prefix) const;

  bool is_stored(const ip_prefix &prefix) const { return counts_.contains(prefix); }
  bool is_inner(const ip_prefix &prefix) const;  // does it have others inside?

  // Prefixes that have `prefix` as their enclosing one.
  uint32_t count_children(const ip_prefix &prefix) const;

  size_t size() const { return counts_.size(); }

 private:
  struct counters {
    uint16_t all = 0;
    uint16_t from_anchors = 0;
  };

  record_case add(const working_record &record);
  record_case remove(const working_record &record);

  bool safe_;
  std::map<ip_prefix, counters> counts_;
};

}  // namespace v6tool

#endif
