// SPDX-License-Identifier: Apache-2.0
#include "rule_terms.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "prefix_text.h"
#include "rules_reader.h"

namespace v6tool {

namespace {

constexpr std::pair<std::string_view, uint8_t> protocol_names[] = {
    {"hopopt", 0},  {"tcp", 6},        {"udp", 17},   {"dccp", 33}, {"gre", 47},   {"esp", 50},     {"ah", 51},
    {"icmpv6", 58}, {"ipv6-icmp", 58}, {"icmp6", 58}, {"ospf", 89}, {"sctp", 132}, {"udplite", 136}};

constexpr std::pair<std::string_view, uint8_t> icmp_type_names[] = {
    {"destination-unreachable", 1}, {"packet-too-big", 2},
    {"time-exceeded", 3},           {"parameter-problem", 4},
    {"echo-request", 128},          {"echo-reply", 129},
    {"mld-listener-query", 130},    {"mld-listener-report", 131},
    {"mld-listener-done", 132},     {"mld-listener-reduction", 132},
    {"nd-router-solicit", 133},     {"router-solicitation", 133},
    {"nd-router-advert", 134},      {"router-advertisement", 134},
    {"nd-neighbor-solicit", 135},   {"neighbour-solicitation", 135},
    {"nd-neighbor-advert", 136},    {"neighbour-advertisement", 136},
    {"nd-redirect", 137},           {"redirect", 137},
    {"router-renumbering", 138},    {"mld2-listener-report", 143}};

// Digits alone, at most `most`.
bool parse_whole(std::string_view text, uint32_t most, uint32_t &value) {
  uint32_t number = 0;
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || at != text.data() + text.size() || error != std::errc() || number > most) {
    return false;
  }
  value = number;
  return true;
}

std::optional<ip_prefix> both_prefixes(const ip_prefix &a, const ip_prefix &b) {
  return contains(a, b) ? std::optional(b) : contains(b, a) ? std::optional(a) : std::nullopt;
}

std::optional<uint8_t> both_protocols(uint8_t a, uint8_t b) { return a == b ? std::optional(a) : std::nullopt; }

std::optional<port_range> both_ranges(port_range a, port_range b) {
  const port_range common = {std::max(a.first, b.first), std::min(a.last, b.last)};
  return common.first <= common.last ? std::optional(common) : std::nullopt;
}

template <class Value, class Both>
void narrow_by(alternatives<Value> &field, const std::vector<Value> &values, Both both_of) {
  if (!field) {
    field = values;
    return;
  }
  std::vector<Value> common;
  for (const Value &a : *field) {
    for (const Value &b : values) {
      if (const auto c = both_of(a, b); c && std::find(common.begin(), common.end(), *c) == common.end()) {
        common.push_back(*c);
      }
    }
  }
  field = std::move(common);
}

template <class Value>
std::vector<Value> values_or(const alternatives<Value> &field, const Value &any) {
  return field ? *field : std::vector<Value>{any};
}

// Ports of a protocol that has none compare one packet's field with another's.
std::string ports_fault(const rule_match &match) {
  if (is_any(match.source_ports) && is_any(match.destination_ports)) {
    return "";
  }
  if (match.protocol && has_ports(*match.protocol)) {
    return "";
  }
  if (match.protocol == protocol_icmpv6) {
    const auto single = [](port_range r) { return is_any(r) || (r.first == r.last && r.last <= UINT8_MAX); };
    return single(match.source_ports) && single(match.destination_ports)
               ? ""
               : "ranges of ICMPv6 types; write a rule for each type";
  }
  return "ports need the protocol tcp, udp or sctp";
}

}  // namespace

void narrow(alternatives<ip_prefix> &field, const std::vector<ip_prefix> &values) {
  narrow_by(field, values, both_prefixes);
}

void narrow(alternatives<uint8_t> &field, const std::vector<uint8_t> &values) {
  narrow_by(field, values, both_protocols);
}

void narrow(alternatives<port_range> &field, const std::vector<port_range> &values) {
  narrow_by(field, values, both_ranges);
}

std::optional<rule_match> both(const rule_match &a, const rule_match &b) {
  const auto source = both_prefixes(a.source, b.source);
  const auto destination = both_prefixes(a.destination, b.destination);
  const auto from = both_ranges(a.source_ports, b.source_ports);
  const auto to = both_ranges(a.destination_ports, b.destination_ports);
  if (!source || !destination || !from || !to || (a.protocol && b.protocol && a.protocol != b.protocol)) {
    return std::nullopt;
  }
  return rule_match{*source, *destination, a.protocol ? a.protocol : b.protocol, *from, *to};
}

std::string multiply_out(const rule_terms &terms, std::vector<rule_match> &matches) {
  const auto sources = values_or(terms.sources, {});
  const auto destinations = values_or(terms.destinations, {});
  const auto from = values_or(terms.source_ports, {});
  const auto to = values_or(terms.destination_ports, {});
  std::vector<std::optional<uint8_t>> protocols = {std::nullopt};
  if (terms.protocols) {
    protocols.assign(terms.protocols->begin(), terms.protocols->end());
  }
  const double count = static_cast<double>(sources.size()) * static_cast<double>(destinations.size()) *
                       static_cast<double>(protocols.size()) * static_cast<double>(from.size()) *
                       static_cast<double>(to.size());
  if (count > static_cast<double>(max_rules)) {
    return "its sets multiply out to more than " + std::to_string(max_rules) + " rules";
  }
  for (const ip_prefix &source : sources) {
    for (const ip_prefix &destination : destinations) {
      for (const std::optional<uint8_t> &protocol : protocols) {
        for (const port_range &source_ports : from) {
          for (const port_range &destination_ports : to) {
            matches.push_back({source, destination, protocol, source_ports, destination_ports});
            if (const std::string fault = ports_fault(matches.back()); !fault.empty()) {
              return fault;
            }
          }
        }
      }
    }
  }
  return "";
}

std::string parse_rule_prefix(std::string_view text, bool clear_host_bits, ip_prefix &prefix) {
  ip_prefix loose{{}, 128};
  std::string fault;
  if (text.find('/') == std::string_view::npos) {
    fault = parse_address(text, loose.key) ? "" : "not an IPv6 address or prefix";
  } else {
    fault = parse_loose_prefix(text, loose);
  }
  if (!fault.empty()) {
    return printable(text) + ": " + (is_ipv4_prefix(text) ? "IPv4, and rules are on IPv6" : fault);
  }
  if (clear_host_bits) {
    loose.key = masked(loose.key, loose.length);
  }
  fault = host_bits_fault(loose);
  prefix = loose;
  return fault.empty() ? "" : printable(text) + ": " + fault + " (--mask clears them)";
}

std::string parse_protocol(std::string_view text, uint8_t &protocol) {
  uint32_t number = 0;
  if (parse_whole(text, UINT8_MAX, number)) {
    protocol = static_cast<uint8_t>(number);
    return "";
  }
  const auto *named = std::find_if(std::begin(protocol_names), std::end(protocol_names),
                                   [text](const auto &entry) { return entry.first == text; });
  if (named == std::end(protocol_names)) {
    return printable(text) + ": not a protocol; a name such as tcp, or a number from 0 to 255";
  }
  protocol = named->second;
  return "";
}

std::string parse_ports(std::string_view text, char separator, port_range &range) {
  const size_t middle = text.find(separator);
  const std::string_view first_text = text.substr(0, middle);
  const std::string_view last_text = middle == std::string_view::npos ? first_text : text.substr(middle + 1);
  uint32_t first = 0;
  uint32_t last = 0;
  if (!parse_whole(first_text, UINT16_MAX, first) || !parse_whole(last_text, UINT16_MAX, last)) {
    return printable(text) + ": not a port from 0 to 65535 or two of them";
  }
  if (last < first) {
    return printable(text) + ": the last port is below the first";
  }
  range = {static_cast<uint16_t>(first), static_cast<uint16_t>(last)};
  return "";
}

std::string narrow_icmp_type(std::string_view text, rule_terms &terms) {
  const size_t slash = text.find('/');
  const auto *named = std::find_if(std::begin(icmp_type_names), std::end(icmp_type_names),
                                   [text](const auto &entry) { return entry.first == text; });
  uint32_t type = named == std::end(icmp_type_names) ? 0 : named->second;
  uint32_t code = 0;
  if (named == std::end(icmp_type_names) && !parse_whole(text.substr(0, slash), UINT8_MAX, type)) {
    return printable(text) + ": not an ICMPv6 type from 0 to 255";
  }
  if (slash != std::string_view::npos && !parse_whole(text.substr(slash + 1), UINT8_MAX, code)) {
    return printable(text) + ": not an ICMPv6 code from 0 to 255";
  }
  narrow(terms.protocols, {protocol_icmpv6});
  narrow(terms.source_ports, {{static_cast<uint16_t>(type), static_cast<uint16_t>(type)}});
  if (slash != std::string_view::npos) {
    narrow(terms.destination_ports, {{static_cast<uint16_t>(code), static_cast<uint16_t>(code)}});
  }
  return "";
}

std::vector<ip_prefix> prefixes_between(ip_key first, ip_key last) {
  std::vector<ip_prefix> prefixes;
  while (first <= last) {
    // The shortest prefix that begins at `first` and ends no later than `last`.
    uint8_t length = 128;
    while (length > 0) {
      const auto shorter = static_cast<uint8_t>(length - 1);
      if (masked(first, shorter) != first || last_address({first, shorter}) > last) {
        break;
      }
      length = shorter;
    }
    prefixes.push_back({first, length});
    first = next_key(last_address(prefixes.back()));
    if (first == ip_key{}) {  // it was the last address of all
      break;
    }
  }
  return prefixes;
}

}  // namespace v6tool
