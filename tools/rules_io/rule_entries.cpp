// SPDX-License-Identifier: Apache-2.0
#include "rule_entries.h"

#include <algorithm>

namespace v6tool {

namespace {

bool agrees(masked_port port, uint16_t value) { return (value & port.mask) == port.value; }

std::vector<ip_prefix> side_of(const rule_set &set, ip_prefix rule_match::*side) {
  std::vector<ip_prefix> prefixes = {ip_prefix{}};
  for (const rule &each : set.rules) {
    prefixes.push_back(each.match.*side);
  }
  std::sort(prefixes.begin(), prefixes.end());
  prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
  return prefixes;
}

narrow_code code_for(const ip_prefix &prefix, const code_of_prefix &code_of) {
  return prefix.length == 0 ? narrow_code{} : code_of(prefix);
}

}  // namespace

bool matches(const rule_entry &entry, const narrow_packet &packet) {
  return begins_with(packet.source_key, entry.source) && begins_with(packet.destination_key, entry.destination) &&
         (packet.protocol & entry.protocol_mask) == entry.protocol && agrees(entry.source_port, packet.source_port) &&
         agrees(entry.destination_port, packet.destination_port);
}

std::vector<masked_port> masks_of(port_range range) {
  std::vector<masked_port> masks;
  uint32_t at = range.first;
  while (at <= range.last) {
    // The largest block of a power of two that begins here and ends within the range.
    uint32_t size = 1;
    while (at % (2 * size) == 0 && at + 2 * size - 1 <= range.last) {
      size *= 2;
    }
    masks.push_back({static_cast<uint16_t>(at), static_cast<uint16_t>(0x10000 - size)});
    at += size;
  }
  return masks;
}

std::vector<ip_prefix> source_prefixes(const rule_set &set) { return side_of(set, &rule_match::source); }

std::vector<ip_prefix> destination_prefixes(const rule_set &set) { return side_of(set, &rule_match::destination); }

std::vector<rule_entry> make_entries(const rule_set &set, const code_of_prefix &source_code,
                                     const code_of_prefix &destination_code) {
  std::vector<rule_entry> entries;
  entries.reserve(count_entries(set));
  for (size_t i = 0; i < set.rules.size(); ++i) {
    const rule_match &match = set.rules[i].match;
    rule_entry entry;
    entry.source = code_for(match.source, source_code);
    entry.destination = code_for(match.destination, destination_code);
    entry.protocol = match.protocol.value_or(0);
    entry.protocol_mask = match.protocol ? UINT8_MAX : 0;
    entry.rule = static_cast<uint32_t>(i);
    entry.verdict = set.rules[i].verdict;
    for (const masked_port source_port : masks_of(match.source_ports)) {
      for (const masked_port destination_port : masks_of(match.destination_ports)) {
        entry.source_port = source_port;
        entry.destination_port = destination_port;
        entries.push_back(entry);
      }
    }
  }
  rule_entry last;
  last.rule = static_cast<uint32_t>(set.rules.size());
  last.verdict = set.otherwise;
  entries.push_back(last);
  return entries;
}

size_t count_entries(const rule_set &set) {
  size_t count = 1;
  for (const rule &each : set.rules) {
    count += masks_of(each.match.source_ports).size() * masks_of(each.match.destination_ports).size();
  }
  return count;
}

}  // namespace v6tool
