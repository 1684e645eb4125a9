// SPDX-License-Identifier: Apache-2.0
#include "acl_check.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "prefix_forest.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

std::array<ip_key, 4> edges_of(const ip_prefix &prefix) {
  const ip_key first = first_address(prefix);
  const ip_key last = last_address(prefix);
  return {first, last, previous_key(first), next_key(last)};
}

std::array<uint16_t, 4> edges_of(port_range range) {
  return {range.first, range.last, static_cast<uint16_t>(range.first - 1), static_cast<uint16_t>(range.last + 1)};
}

// Keys that lie in a code's interval, by binary search.
size_t count_beginning_with(const std::vector<uint64_t> &sorted_keys, narrow_code code) {
  const auto first = std::lower_bound(sorted_keys.begin(), sorted_keys.end(), code.code);
  const auto last = std::upper_bound(first, sorted_keys.end(), code.code | ~mask_of(code));
  return static_cast<size_t>(last - first);
}

// Rows are in preorder: what Q contains stands behind it without a gap. If all of those keys begin with Q's code, and
// as many keys as those do so in the whole table, then no other does.
std::string codes_fault(const acl_table &table) {
  const std::vector<acl_row> &rows = table.rows();
  std::vector<uint64_t> keys;
  keys.reserve(rows.size());
  for (const acl_row &row : rows) {
    keys.push_back(row.key);
  }
  std::sort(keys.begin(), keys.end());
  for (size_t q = 0; q < rows.size(); ++q) {
    size_t p = q;
    for (; p < rows.size() && contains(rows[q].prefix, rows[p].prefix); ++p) {
      if (!begins_with(rows[p].key, rows[q].code)) {
        return fmt::format("{}: the key of {} does not begin with the code of {}, which contains it", table.what(),
                           format_prefix(rows[p].prefix), format_prefix(rows[q].prefix));
      }
    }
    if (count_beginning_with(keys, rows[q].code) != p - q) {
      return fmt::format("{}: the code of {} begins keys of prefixes outside it", table.what(),
                         format_prefix(rows[q].prefix));
    }
  }
  return "";
}

std::string lookups_fault(const acl_table &table, uint64_t &addresses) {
  std::vector<ip_prefix> prefixes;
  for (const acl_row &row : table.rows()) {
    prefixes.push_back(row.prefix);
  }
  const prefix_forest forest(prefixes);
  for (const ip_prefix &prefix : prefixes) {
    for (const ip_key address : edges_of(prefix)) {
      ++addresses;
      const acl_row found = table.lookup(address);
      const acl_row &expected = table.rows()[forest.longest_match(address)];
      if (found.prefix != expected.prefix || found.key != expected.key) {
        return fmt::format("{}: {} belongs to {} and is told the key of {}", table.what(), format_address(address),
                           format_prefix(expected.prefix), format_prefix(found.prefix));
      }
    }
  }
  return "";
}

class packet_check {
 public:
  packet_check(const rule_set &set, const acl_tables &tables, const std::vector<rule_entry> &entries)
      : set_(set), tables_(tables), entries_(entries) {}

  bool probe(const rule_packet &packet) {
    const narrow_packet narrow = {tables_.sources.lookup(packet.source).key,
                                  tables_.destinations.lookup(packet.destination).key, packet.protocol,
                                  packet.source_port, packet.destination_port};
    const auto decides =
        std::find_if(entries_.begin(), entries_.end(), [&](const rule_entry &entry) { return matches(entry, narrow); });
    const size_t expected = deciding_rule(set_, packet);
    ++packets_;
    if (decides != entries_.end() && decides->rule == expected) {
      return true;
    }
    counterexample_ = fmt::format("{} to {}, protocol {}, ports {} and {}: {} decides, and of the entries {}",
                                  format_address(packet.source), format_address(packet.destination), packet.protocol,
                                  packet.source_port, packet.destination_port, name_of(expected),
                                  decides == entries_.end() ? "none" : "that of " + name_of(decides->rule));
    return false;
  }

  uint64_t packets() const { return packets_; }
  const std::string &counterexample() const { return counterexample_; }

 private:
  std::string name_of(size_t rule) const {
    return rule == set_.rules.size() ? "the default" : "the rule at " + set_.name + ':' + set_.rules[rule].place;
  }

  const rule_set &set_;
  const acl_tables &tables_;
  const std::vector<rule_entry> &entries_;
  uint64_t packets_ = 0;
  std::string counterexample_;
};

constexpr uint64_t corners_of_a_rule = uint64_t{4} * 4 * 2 * 4 * 4;

// Corner `n` of a rule: which edge of each field is in the digits of n.
rule_packet corner(const rule_match &match, uint64_t n) {
  const uint8_t own = match.protocol.value_or(protocol_tcp);
  const uint8_t other = own == protocol_udp ? protocol_tcp : protocol_udp;
  return {edges_of(match.source)[n % 4], edges_of(match.destination)[n / 4 % 4], n / 16 % 2 == 0 ? own : other,
          edges_of(match.source_ports)[n / 32 % 4], edges_of(match.destination_ports)[n / 128 % 4]};
}

bool corners_are_right(packet_check &check, const rule_set &set, uint64_t most) {
  const uint64_t all = set.rules.size() * corners_of_a_rule;
  // A step without the factor 2 meets every kind of corner.
  const uint64_t step = all <= most ? 1 : (all / std::max<uint64_t>(most, 1) + 1) | 1;
  for (uint64_t n = 0; n < all; n += step) {
    if (!check.probe(corner(set.rules[n / corners_of_a_rule].match, n % corners_of_a_rule))) {
      return false;
    }
  }
  return true;
}

// Each field from a rule of its own.
bool random_packets_are_right(packet_check &check, const rule_set &set, const acl_probes &probes) {
  std::mt19937_64 random(probes.seed);
  const auto any_corner = [&] {
    return corner(set.rules[random() % set.rules.size()].match, random() % corners_of_a_rule);
  };
  for (uint64_t i = 0; i < probes.random && !set.rules.empty(); ++i) {
    const rule_packet ports = any_corner();
    if (!check.probe({any_corner().source, any_corner().destination, ports.protocol, ports.source_port,
                      ports.destination_port})) {
      return false;
    }
  }
  return true;
}

}  // namespace

acl_verdict check_acl(const rule_set &set, const acl_tables &tables, const std::vector<rule_entry> &entries,
                      const acl_probes &probes) {
  acl_verdict verdict;
  verdict.all_corners = set.rules.size() * corners_of_a_rule;
  for (const acl_table *table : {&tables.sources, &tables.destinations}) {
    verdict.counterexample = codes_fault(*table);
    if (verdict.counterexample.empty()) {
      verdict.counterexample = lookups_fault(*table, verdict.addresses);
    }
    if (!verdict.counterexample.empty()) {
      return verdict;
    }
  }
  packet_check check(set, tables, entries);
  const bool corners_right = corners_are_right(check, set, probes.corners);
  verdict.corners = check.packets();
  if (corners_right) {
    random_packets_are_right(check, set, probes);
  }
  verdict.counterexample = check.counterexample();
  verdict.packets = check.packets();
  return verdict;
}

}  // namespace v6tool
