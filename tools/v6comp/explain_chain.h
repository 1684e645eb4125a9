// SPDX-License-Identifier: Apache-2.0
// explain_chain.h - a prefix and all that is stored around it: what each one's code is made of.
//
// A code begins with the code of the prefix next around; the bits behind that are the prefix's own, which tell it from
// its siblings and from the dummy: the place that the prefix around keeps for addresses of its own, whose code is its
// key.
#ifndef EXPLAIN_CHAIN_H
#define EXPLAIN_CHAIN_H

#include <cstdint>
#include <string>
#include <vector>

#include "engine_view.h"
#include "stored_prefixes.h"

namespace v6tool {

struct chain_link {
  ip_prefix prefix;
  prefix_kind kind = prefix_kind::table;
  ip_prefix code;           // compressed prefix
  ip_key key;               // compressed address: the dummy's place when others lie inside
  uint32_t depth = 0;       // stored prefixes around it
  uint32_t own_bits = 0;    // of the code, behind that of the prefix around
  uint32_t tight_bits = 0;  // fewest own bits that leave room for all siblings and the dummy
  uint32_t need_bits = 0;   // that everything inside takes, packed tightly
  uint32_t siblings = 0;    // other stored prefixes next inside the one around
  uint32_t branches = 0;    // points at which its path parts from those of siblings
  bool has_dummy = false;   // others lie inside

  // Most bits that its code may have: one more, and what lies inside would not fit behind it.
  uint32_t limit() const { return need_bits >= 64 ? 0 : 64 - need_bits; }
  uint32_t headroom() const { return code.length >= limit() ? 0 : limit() - code.length; }
  bool is_tight() const { return own_bits <= tight_bits; }
  bool is_path() const { return branches != 0 && (own_bits == branches || own_bits == branches + 1); }
};

// From ::/0 down to the longest stored prefix that contains this one.
std::vector<chain_link> explain_chain(const stored_prefixes &stored, const engine_view &view, const ip_prefix &prefix);

// Why its code is as long as it is, in words.
std::string reason_of(const chain_link &link);

}  // namespace v6tool

#endif
