// SPDX-License-Identifier: Apache-2.0
// stored_prefixes.h - what the library stores for a table: its prefixes, their anchors, and /0.
#ifndef STORED_PREFIXES_H
#define STORED_PREFIXES_H

#include <cstdint>
#include <span>
#include <vector>

#include "prefix_forest.h"
#include "table_reader.h"

namespace v6tool {

// Why a prefix is stored.
enum class prefix_kind : uint8_t {
  table,     // it stands in the table
  anchor,    // only as a shorter cut of one that does
  default_0  // ::/0, which the library adds itself
};

const char *kind_name(prefix_kind kind);  // "table", "anchor", "default"

struct stored_prefixes {
  std::vector<ip_prefix> prefixes;  // distinct, sorted
  std::vector<prefix_kind> kinds;
  prefix_forest forest;    // positions in `prefixes`
  uint32_t n_table = 0;    // of kind table
  uint32_t n_anchors = 0;  // of kind anchor

  // Position of a prefix, prefix_forest::none if it is not stored.
  uint32_t find(const ip_prefix &prefix) const;

  // Longest prefix of kind table that covers the address.
  uint32_t longest_table_match(ip_key address) const;
};

stored_prefixes find_stored_prefixes(const prefix_table &table);

// The library cuts every longer prefix to these lengths, so that later additions find a place below them.
std::span<const uint8_t> anchor_lengths();

}  // namespace v6tool

#endif
