// SPDX-License-Identifier: Apache-2.0
// engine_view.h - what the library has stored in an instance, anchors and ::/0 included: questions, no changes.
//
// A table (room_table.h) speaks of the prefixes that it was given. The engine below it stores more than these, and in
// compatible mode there is no table; this is what it says itself.
#ifndef ENGINE_VIEW_H
#define ENGINE_VIEW_H

#include <cstdint>
#include <optional>
#include <vector>

#include "prefix_value.h"
#include "zel_v6comp.h"

namespace v6tool {

// What a prefix became.
struct translation {
  ip_prefix code;  // the compressed prefix, bits beyond its length cleared
  ip_key address;  // the compressed address
  bool operator==(const translation &) const = default;
};

struct address_answer {
  ip_prefix match;  // the longest stored prefix, anchors and /0 included
  translation result;
};

struct dump_row {
  ip_prefix prefix;
  translation result;
};

class engine_view {
 public:
  // Of an instance of the grid; the library has been started.
  engine_view(int32_t processor, int32_t instance) : state_(zel_v6comp_instance(processor, instance)) {}

  // Nothing: it does not store the prefix, or no stored prefix covers the address.
  std::optional<translation> translate(const ip_prefix &prefix) const;
  std::optional<address_answer> find(ip_key address) const;

  // Distinct prefixes stored, anchors and /0 included.
  uint32_t count_stored() const;

  // The library's walk of its table: prefixes of the table and /0, each after all that lie inside it.
  std::vector<dump_row> dump() const;

 private:
  tcamv6_state *state_;
};

// A record of the engine's interface.
tcamv6_prefix record_of(const ip_prefix &prefix);

// A code as the engine gives it.
ip_prefix code_of(const tcamv6_cmpr_pref &record);

}  // namespace v6tool

#endif
