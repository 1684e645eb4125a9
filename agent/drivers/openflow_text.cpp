// SPDX-License-Identifier: Apache-2.0
#include "openflow_text.h"

#include <fmt/format.h>

#include <map>
#include <optional>

#include "number_text.h"
#include "prefix_text.h"

namespace v6agent {

namespace {

constexpr int source_table = 0;
constexpr int destination_table = 1;
constexpr int rule_table = 2;
constexpr uint32_t default_priority = 32768;  // what a flow without the word has
constexpr const char *permit_actions = "output:NXM_NX_REG4[0..15]";

enum : uint16_t { protocol_tcp = 6, protocol_udp = 17, protocol_icmpv6 = 58, protocol_sctp = 132 };

// The names of a protocol and of the two fields where ports stand; ICMPv6 has its type and its code there.
struct protocol_words {
  uint16_t protocol;
  const char *name;
  const char *source;
  const char *destination;
};
constexpr protocol_words known_protocols[] = {{protocol_tcp, "tcp6", "tp_src", "tp_dst"},
                                              {protocol_udp, "udp6", "tp_src", "tp_dst"},
                                              {protocol_sctp, "sctp6", "tp_src", "tp_dst"},
                                              {protocol_icmpv6, "icmp6", "icmp_type", "icmp_code"}};

std::string lookup_match(const lookup_place &place) {
  const bool is_source = place.table == side::source;
  std::string text =
      fmt::format("table={},priority={},ipv6", is_source ? source_table : destination_table, place.prefix.length + 1);
  if (place.prefix.length != 0) {
    text += fmt::format(",{}={}", is_source ? "ipv6_src" : "ipv6_dst", v6tool::format_prefix(place.prefix));
  }
  return text;
}

std::string lookup_actions(const lookup_place &place, const lookup_value &value) {
  return place.table == side::source ? fmt::format("set_field:{:#x}->xreg0,goto_table:{}", value.key, destination_table)
                                     : fmt::format("set_field:{:#x}->xreg1,set_field:{}->reg4,goto_table:{}", value.key,
                                                   value.egress, rule_table);
}

std::string port_match_text(const protocol_words &words, const char *field, const port_match &port) {
  if (port.mask == 0) {
    return "";
  }
  return words.protocol == protocol_icmpv6 ? fmt::format(",{}={}", field, port.value)
                                           : fmt::format(",{}={:#x}/{:#x}", field, port.value, port.mask);
}

std::string packet_text(const packet_match &packet) {
  for (const protocol_words &words : known_protocols) {
    if (words.protocol == packet.protocol) {
      return words.name + port_match_text(words, words.source, packet.source_port) +
             port_match_text(words, words.destination, packet.destination_port);
    }
  }
  return packet.protocol == any_protocol ? "ipv6" : fmt::format("ipv6,nw_proto={}", packet.protocol);
}

std::string code_text(const char *field, const code_match &match) {
  return match.length == 0 ? "" : fmt::format(",{}={:#x}/{:#x}", field, match.code, mask_of(match));
}

std::string rule_match(const rule_place &place) {
  return fmt::format("table={},priority={},{}{}{}", rule_table, place.rank, packet_text(place.packet),
                     code_text("xreg0", place.source), code_text("xreg1", place.destination));
}

// The words of a flow: names, and values where there are any.
using flow_words = std::map<std::string_view, std::string_view>;

flow_words words_of(std::string_view match) {
  flow_words words;
  while (!match.empty()) {
    const size_t end = match.find(',');
    std::string_view word = match.substr(0, end);
    match = end == std::string_view::npos ? "" : match.substr(end + 1);
    word.remove_prefix(std::min(word.find_first_not_of(' '), word.size()));
    const size_t equals = word.find('=');
    words.emplace(word.substr(0, equals), equals == std::string_view::npos ? "" : word.substr(equals + 1));
  }
  return words;
}

// Takes a word out. None: it is not there.
std::optional<std::string_view> take(flow_words &words, std::string_view name) {
  const auto at = words.find(name);
  if (at == words.end()) {
    return std::nullopt;
  }
  const std::string_view value = at->second;
  words.erase(at);
  return value;
}

// Takes a number out, `fallback` when it is not there. False: it is none.
template <class Number>
bool take_number(flow_words &words, std::string_view name, Number fallback, Number &out) {
  const auto text = take(words, name);
  out = fallback;
  return !text || parse_number(*text, out);
}

// `value` or `value/mask`.
template <class Number>
bool take_masked(flow_words &words, std::string_view name, Number &value, Number &mask) {
  const auto text = take(words, name);
  value = 0;
  mask = 0;
  if (!text) {
    return true;
  }
  const size_t slash = text->find('/');
  mask = static_cast<Number>(~Number{0});
  return parse_number(text->substr(0, slash), value) &&
         (slash == std::string_view::npos || parse_number(text->substr(slash + 1), mask));
}

// A 64-bit register under a mask of leading ones, as its two halves.
bool take_code(flow_words &words, std::string_view upper, std::string_view lower, code_match &match) {
  uint32_t values[2];
  uint32_t masks[2];
  if (!take_masked(words, upper, values[0], masks[0]) || !take_masked(words, lower, values[1], masks[1])) {
    return false;
  }
  const uint64_t mask = uint64_t{masks[0]} << 32 | masks[1];
  match.code = uint64_t{values[0]} << 32 | values[1];
  match.length = static_cast<uint8_t>(std::countl_one(mask));
  return mask == mask_of(match) && (match.code & ~mask) == 0;
}

bool take_packet(flow_words &words, packet_match &packet) {
  for (const protocol_words &known : known_protocols) {
    if (take(words, known.name)) {
      packet.protocol = known.protocol;
      return take_masked(words, known.source, packet.source_port.value, packet.source_port.mask) &&
             take_masked(words, known.destination, packet.destination_port.value, packet.destination_port.mask);
    }
  }
  return take(words, "ipv6").has_value() && take_number(words, "nw_proto", any_protocol, packet.protocol);
}

bool read_rule(flow_words &words, uint32_t priority, std::string_view actions, switch_write &write) {
  write.kind = write_kind::put_rule;
  write.rule.rank = static_cast<uint16_t>(priority);
  write.action = actions == permit_actions ? rule_action::permit : rule_action::deny;
  return priority <= UINT16_MAX && (actions == permit_actions || actions == "drop") &&
         take_packet(words, write.rule.packet) && take_code(words, "reg0", "reg1", write.rule.source) &&
         take_code(words, "reg2", "reg3", write.rule.destination);
}

// Takes `before NUMBER after` off the front of a text.
template <class Number>
bool take_between(std::string_view &text, std::string_view before, std::string_view after, Number &number) {
  const size_t end = text.find(after);
  if (!text.starts_with(before) || end == std::string_view::npos || end < before.size()) {
    return false;
  }
  const std::string_view digits = text.substr(before.size(), end - before.size());
  text.remove_prefix(end + after.size());
  return parse_number(digits, number);
}

bool read_lookup(flow_words &words, side table, uint32_t priority, std::string_view actions, switch_write &write) {
  write.kind = write_kind::put_lookup;
  write.lookup.table = table;
  const auto address = take(words, table == side::source ? "ipv6_src" : "ipv6_dst");
  if (!take(words, "ipv6")) {
    return false;
  }
  if (address) {
    const bool is_host = address->find('/') == std::string_view::npos;
    if (!v6tool::parse_prefix(is_host ? std::string(*address) + "/128" : std::string(*address), write.lookup.prefix)
             .empty()) {
      return false;
    }
  }
  if (priority != write.lookup.prefix.length + 1U) {
    return false;
  }
  if (table == side::source) {
    return take_between(actions, "set_field:", "->xreg0,", write.value.key) && actions == "goto_table:1";
  }
  return take_between(actions, "set_field:", "->xreg1,", write.value.key) &&
         take_between(actions, "set_field:", "->reg4,", write.value.egress) && actions == "goto_table:2";
}

}  // namespace

std::string flow_line(const switch_write &write) {
  switch (write.kind) {
    case write_kind::put_lookup:
      return fmt::format("add cookie={:#x},{},actions={}", flow_cookie, lookup_match(write.lookup),
                         lookup_actions(write.lookup, write.value));
    case write_kind::remove_lookup:
      return fmt::format("delete_strict {}", lookup_match(write.lookup));
    case write_kind::put_rule:
      return fmt::format("add cookie={:#x},{},actions={}", flow_cookie, rule_match(write.rule),
                         write.action == rule_action::permit ? permit_actions : "drop");
    case write_kind::remove_rule:
      return fmt::format("delete_strict {}", rule_match(write.rule));
  }
  return "";
}

flow_reading read_flow(std::string_view line, switch_write &write, std::string &removal) {
  constexpr std::string_view before_actions = " actions=";
  const size_t split = line.find(before_actions);
  if (split == std::string_view::npos) {
    return flow_reading::foreign;
  }
  const std::string_view match = line.substr(0, split);
  const std::string_view actions = line.substr(split + before_actions.size());
  flow_words words = words_of(match);
  uint64_t cookie = 0;
  if (!take_number(words, "cookie", uint64_t{0}, cookie) || cookie != flow_cookie) {
    return flow_reading::foreign;
  }
  removal = "delete_strict " + std::string(match.substr(std::min(match.find(',') + 1, match.size())));
  uint32_t table = 0;
  uint32_t priority = 0;
  write = {};
  bool understood =
      take_number(words, "table", 0U, table) && take_number(words, "priority", default_priority, priority);
  if (table == rule_table) {
    understood = understood && read_rule(words, priority, actions, write);
  } else {
    understood = understood && table <= destination_table &&
                 read_lookup(words, static_cast<side>(table), priority, actions, write);
  }
  return understood && words.empty() ? flow_reading::own : flow_reading::not_understood;
}

}  // namespace v6agent
