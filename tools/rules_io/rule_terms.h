// SPDX-License-Identifier: Apache-2.0
// rule_terms.h - what one line of rules asks for, while it is read: alternatives for each field, and what they multiply
// out to.
#ifndef RULE_TERMS_H
#define RULE_TERMS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rule_value.h"

namespace v6tool {

// Alternatives for one field; nothing = any. Asking twice leaves what both ask for.
template <class Value>
using alternatives = std::optional<std::vector<Value>>;

struct rule_terms {
  alternatives<ip_prefix> sources;
  alternatives<ip_prefix> destinations;
  alternatives<uint8_t> protocols;
  alternatives<port_range> source_ports;
  alternatives<port_range> destination_ports;
};

void narrow(alternatives<ip_prefix> &field, const std::vector<ip_prefix> &values);
void narrow(alternatives<uint8_t> &field, const std::vector<uint8_t> &values);
void narrow(alternatives<port_range> &field, const std::vector<port_range> &values);

// What both match; nothing when no packet does.
std::optional<rule_match> both(const rule_match &a, const rule_match &b);

// One match for each combination: none when no packet can match. Returns what is wrong in words, "" when it is good.
std::string multiply_out(const rule_terms &terms, std::vector<rule_match> &matches);

// The readers of values return what is wrong in words, "" when the text is good.

// A prefix, or an address alone.
std::string parse_rule_prefix(std::string_view text, bool clear_host_bits, ip_prefix &prefix);
// A name or a number.
std::string parse_protocol(std::string_view text, uint8_t &protocol);
// N, or two with `separator` between them.
std::string parse_ports(std::string_view text, char separator, port_range &range);
// A type, by number or name, or `type/code` by numbers; it narrows protocol and ports.
std::string narrow_icmp_type(std::string_view text, rule_terms &terms);

// The fewest prefixes that make up the addresses from first to last.
std::vector<ip_prefix> prefixes_between(ip_key first, ip_key last);

}  // namespace v6tool

#endif
