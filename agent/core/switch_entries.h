// SPDX-License-Identifier: Apache-2.0
// switch_entries.h - what a switch holds, as values: the two lookup tables, the rules, and the writes that change them.
//
//   lookup tables   longest match, one for source and one for destination addresses: prefix -> 64-bit key (and egress)
//   rule table      highest rank first, on the keys of both addresses under masks: -> permit or deny
#ifndef SWITCH_ENTRIES_H
#define SWITCH_ENTRIES_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "prefix_value.h"

namespace v6agent {

using v6tool::ip_key;
using v6tool::ip_prefix;

// Which address of a packet; also the library's instance that holds its prefixes.
enum class side : uint8_t { source = 0, destination = 1 };
constexpr side both_sides[] = {side::source, side::destination};
constexpr const char *name_of(side which) { return which == side::source ? "source" : "destination"; }
constexpr side other_side(side which) { return which == side::source ? side::destination : side::source; }

// A key matches when it begins with the upper `length` bits of `code`; the bits beyond are 0.
struct code_match {
  uint64_t code = 0;
  uint8_t length = 0;  // 0..64
  auto operator<=>(const code_match &) const = default;
};
constexpr uint64_t mask_of(const code_match &match) {
  return match.length == 0 ? 0 : ~uint64_t{0} << (64 - match.length);
}

// A port matches when (port & mask) == value; mask 0 matches every packet, with and without ports.
struct port_match {
  uint16_t value = 0;
  uint16_t mask = 0;
  auto operator<=>(const port_match &) const = default;
};

constexpr uint16_t any_protocol = 256;

// What a rule asks of a packet beside its addresses.
struct packet_match {
  uint16_t protocol = any_protocol;  // of the IPv6 header, 0..255
  port_match source_port;            // ports need the protocol 6 or 17
  port_match destination_port;
  auto operator<=>(const packet_match &) const = default;
};

enum class rule_action : uint8_t { deny = 0, permit = 1 };
constexpr const char *name_of(rule_action action) { return action == rule_action::permit ? "permit" : "deny"; }

struct lookup_place {
  side table = side::source;
  ip_prefix prefix;
  auto operator<=>(const lookup_place &) const = default;
};

struct lookup_value {
  uint64_t key = 0;
  uint32_t egress = 0;  // destinations: the port that packets leave by, 0 = none; sources: 0
  auto operator<=>(const lookup_value &) const = default;
};

struct rule_place {
  uint16_t rank = 0;  // the highest rank that matches decides
  code_match source;
  code_match destination;
  packet_match packet;
  auto operator<=>(const rule_place &) const = default;
};

// All that a switch holds.
struct switch_image {
  std::map<lookup_place, lookup_value> lookups;
  std::map<rule_place, rule_action> rules;
  bool operator==(const switch_image &) const = default;
};

enum class write_kind : uint8_t { put_lookup = 1, remove_lookup, put_rule, remove_rule };

// One entry put, whether its place held another value before or none; or removed.
struct switch_write {
  write_kind kind = write_kind::put_lookup;
  lookup_place lookup;  // put_lookup, remove_lookup
  lookup_value value;   // put_lookup
  rule_place rule;      // put_rule, remove_rule
  rule_action action = rule_action::deny;
  bool operator==(const switch_write &) const = default;
};

// Writes that may be done together.
using switch_step = std::vector<switch_write>;

switch_write put_lookup(const lookup_place &place, const lookup_value &value);
switch_write remove_lookup(const lookup_place &place);
switch_write put_rule(const rule_place &place, rule_action action);
switch_write remove_rule(const rule_place &place);

// Do a write to an image. Returns the write that takes it back; of one that changed nothing, one that changes nothing.
switch_write apply_write(switch_image &image, const switch_write &write);

// The writes from one image to another: new rules, keys (detail first), keys that go (detail last), old rules.
switch_step difference(const switch_image &from, const switch_image &to);

// Entries in which two images differ.
size_t count_differences(const switch_image &a, const switch_image &b);

}  // namespace v6agent

#endif
