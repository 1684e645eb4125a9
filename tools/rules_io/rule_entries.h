// SPDX-License-Identifier: Apache-2.0
// rule_entries.h - the ternary entries that rules become when a table has given each prefix its code.
//
//   rule     source 2001:db8::/32    destination 2001:db8:1::/48    tcp    ports 80-83
//   entry    source code, its bits   destination code, its bits     6/ff   0050/fffc
//
// Two tables give the codes, one for sources and one for destinations: an address is looked up in each (longest match,
// 128 bits), and the two keys that come out, 64 bits each, stand where the two addresses would. Where 128 + 128 bits
// were to be matched, 64 + 64 are.
#ifndef RULE_ENTRIES_H
#define RULE_ENTRIES_H

#include <cstdint>
#include <functional>
#include <vector>

#include "rule_value.h"

namespace v6tool {

// The first `bits` bits of a key; 0 bits: any key.
struct narrow_code {
  uint64_t code = 0;  // in its upper bits; the others are 0
  uint8_t bits = 0;   // 0..64
  bool operator==(const narrow_code &) const = default;
};

inline uint64_t mask_of(narrow_code code) { return code.bits == 0 ? 0 : ~uint64_t{0} << (64 - code.bits); }
inline bool begins_with(uint64_t key, narrow_code code) { return (key & mask_of(code)) == code.code; }

// Matches values whose bits under the mask are those of `value`; mask 0: any.
struct masked_port {
  uint16_t value = 0;
  uint16_t mask = 0;
  bool operator==(const masked_port &) const = default;
};

struct rule_entry {
  narrow_code source;
  narrow_code destination;
  uint8_t protocol = 0;
  uint8_t protocol_mask = 0;  // 0 or 255
  masked_port source_port;
  masked_port destination_port;
  uint32_t rule = 0;  // its index in the rule set; rules.size(): what holds when no rule matches
  rule_verdict verdict = rule_verdict::drop;
};

// What an entry is matched with.
struct narrow_packet {
  uint64_t source_key = 0;
  uint64_t destination_key = 0;
  uint8_t protocol = 0;
  uint16_t source_port = 0;
  uint16_t destination_port = 0;
};

bool matches(const rule_entry &entry, const narrow_packet &packet);

// The fewest masks that make up a range; at most 30.
std::vector<masked_port> masks_of(port_range range);

// The prefixes that a table for one side holds: those of the rules, each once, sorted, and ::/0, so that every address
// has a key.
std::vector<ip_prefix> source_prefixes(const rule_set &set);
std::vector<ip_prefix> destination_prefixes(const rule_set &set);

// All entries, the first that matches decides; the last one matches every packet. A range of ports takes an entry for
// each mask. `source_code` and `destination_code` give the codes of prefixes; they are not asked about ::/0, which is
// any key.
using code_of_prefix = std::function<narrow_code(const ip_prefix &)>;
std::vector<rule_entry> make_entries(const rule_set &set, const code_of_prefix &source_code,
                                     const code_of_prefix &destination_code);

// How many make_entries makes.
size_t count_entries(const rule_set &set);

}  // namespace v6tool

#endif
