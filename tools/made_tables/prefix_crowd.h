// SPDX-License-Identifier: Apache-2.0
// prefix_crowd.h - prefixes among which others find a place to order.
#ifndef PREFIX_CROWD_H
#define PREFIX_CROWD_H

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "fixed_random.h"
#include "prefix_value.h"
#include "prefix_wishes.h"

namespace v6tool {

class prefix_crowd {
 public:
  // New prefixes lie inside `within`.
  explicit prefix_crowd(const ip_prefix &within) : within_(within) {}

  size_t size() const { return places_.size(); }
  bool holds(const ip_prefix &prefix) const { return places_.contains(prefix); }
  bool is_nested(const ip_prefix &prefix) const;  // inside another one

  // Is the block before it, of the same length, there too?
  bool is_clustered(const ip_prefix &prefix) const;

  void insert(const ip_prefix &prefix);
  void erase(const ip_prefix &prefix);  // one that is there

  // Any of them; there must be one.
  ip_prefix any(fixed_random &random) const;

  // A place as wished: new, nested or not, clustered or not, and such that no other prefix becomes clustered by it.
  // Nothing when none is found in many attempts. It is not inserted.
  std::optional<ip_prefix> find_place(const prefix_wish &wish, fixed_random &random) const;

  std::vector<ip_prefix> sorted() const;

 private:
  std::optional<ip_prefix> propose(const prefix_wish &wish, fixed_random &random) const;
  std::optional<ip_prefix> any_shorter(uint8_t length, fixed_random &random) const;

  ip_prefix within_;
  std::map<ip_prefix, size_t> places_;  // and where they stand in by_length_
  std::array<std::vector<ip_prefix>, 129> by_length_;
};

// The block of the same length next to a prefix; nothing at the end of all addresses.
std::optional<ip_prefix> block_after(const ip_prefix &prefix);
std::optional<ip_prefix> block_before(const ip_prefix &prefix);

}  // namespace v6tool

#endif
