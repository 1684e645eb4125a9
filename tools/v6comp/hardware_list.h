// SPDX-License-Identifier: Apache-2.0
// hardware_list.h - the library's update list, kept for a first-stage table.
//
// The list compares the last, partial byte of a prefix by its low bits, and of a compressed address only the first 7
// bytes. Both are kept from doing harm here: prefixes are stored with the bits of the partial byte moved to its low
// end, and the eighth byte is compared on top.
#ifndef HARDWARE_LIST_H
#define HARDWARE_LIST_H

#include <cstdint>
#include <memory>
#include <vector>

#include "plan.h"
#include "zel_v6comp.h"

namespace v6tool {

struct pending_counts {
  uint32_t deletes = 0;
  uint32_t updates = 0;
  uint32_t eighth_byte = 0;  // of the updates: seen only by the eighth byte
  uint32_t inserts = 0;
};

class hardware_list {
 public:
  hardware_list() : list_(std::make_unique<tm_incr_update_list>()) {}

  // Compare the list with a table, and mark what has to be done. Throws when the table has more rows than the list.
  pending_counts plan(const std::vector<first_stage_row> &rows);

  // Everything that was marked is in hardware now.
  void confirm(const pending_counts &pending);

  uint32_t size() const { return list_->count; }

 private:
  std::unique_ptr<tm_incr_update_list> list_;
};

}  // namespace v6tool

#endif
