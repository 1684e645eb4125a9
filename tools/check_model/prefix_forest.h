// SPDX-License-Identifier: Apache-2.0
// prefix_forest.h - prefixes arranged by containment, and longest match over them.
//
// Sorted by address, then length, prefixes stand in the preorder of their containment forest: each prefix is
// followed by all that lie inside it. One pass with a stack therefore finds every parent, and the longest match of
// an address is found by a binary search and a walk up:
//
//   2001:db8::/32   2001:db8:1::/48   2001:db8:7::/48   2001:db9::/32        address 2001:db8:3::1
//   ^ parent of both /48s ^ last one that does not begin after the address: it does not cover it; its parent does
//
// The last prefix E that begins at or before the address is inside every prefix that covers the address (both begin
// at or before E, and end after it), so the covering ones are all among E and its ancestors.
#ifndef PREFIX_FOREST_H
#define PREFIX_FOREST_H

#include <cstdint>
#include <span>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

class prefix_forest {
 public:
  static constexpr uint32_t none = UINT32_MAX;

  prefix_forest() = default;

  // Prefixes in any order; they are named by their position here. Of equal ones the first contains the others.
  explicit prefix_forest(std::span<const ip_prefix> prefixes);

  uint32_t size() const { return static_cast<uint32_t>(sorted_.size()); }

  // The longest other prefix that contains this one.
  uint32_t parent(uint32_t index) const { return parents_[index]; }
  const std::vector<uint32_t> &parents() const { return parents_; }

  // The longest prefix that covers an address.
  uint32_t longest_match(ip_key address) const;

  // How many others contain each prefix, by position.
  std::vector<uint32_t> depths() const;

  // How many prefixes have others inside them.
  uint32_t count_inner() const;

  // A prefix that stands there twice, none if all differ.
  uint32_t first_duplicate() const;

  // All positions in preorder: by address, then by length.
  const std::vector<uint32_t> &preorder() const { return order_; }

 private:
  std::vector<ip_prefix> sorted_;
  std::vector<uint32_t> order_;          // position of sorted_[i]
  std::vector<uint32_t> sorted_parent_;  // index into sorted_
  std::vector<uint32_t> parents_;        // by position, as a position
};

}  // namespace v6tool

#endif
