// SPDX-License-Identifier: Apache-2.0
// Rules as `nft -j list ruleset` prints them: one object `nftables`, an array of objects of one member each, whose name
// says what it is: `chain`, `set`, `rule`.
#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "prefix_text.h"
#include "rule_terms.h"
#include "rules_formats.h"

namespace v6tool {

namespace {

using nlohmann::json;

std::string text_of(const json &object, const char *name) {
  const auto found = object.is_object() ? object.find(name) : object.end();
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

const json *member(const json &object, const char *name) {
  const auto found = object.is_object() ? object.find(name) : object.end();
  return found == object.end() ? nullptr : &*found;
}

// A string or a whole number as text.
std::string scalar_text(const json &value) {
  return value.is_string() ? value.get<std::string>() : value.is_number_unsigned() ? value.dump() : "";
}

std::string key_of(const std::string &family, const std::string &table, const std::string &name) {
  return family + ' ' + table + ' ' + name;
}

using set_book = std::map<std::string, const json *>;  // elements, by key

// What an expression compares with: single values, each a scalar, a prefix or a range. Sets are opened, named ones too.
std::string open_sets(const json &right, const set_book &sets, const std::string &scope, std::vector<json> &values) {
  const json *elements = member(right, "set");
  if (right.is_string() && right.get_ref<const std::string &>().starts_with('@')) {
    const auto found = sets.find(scope + right.get_ref<const std::string &>().substr(1));
    if (found == sets.end() || found->second == nullptr) {
      return printable(right.get<std::string>()) + ": no such set, or one without elements";
    }
    elements = found->second;
  }
  if (elements == nullptr) {
    const json *element = member(right, "elem");
    const json *inner = element == nullptr ? nullptr : member(*element, "val");
    values.push_back(inner == nullptr ? right : *inner);
    return "";
  }
  const json list = elements->is_array() ? *elements : json::array({*elements});
  for (const json &each : list) {
    if (const std::string fault = open_sets(each, {}, scope, values); !fault.empty()) {
      return fault;
    }
  }
  return "";
}

std::string prefixes_of(const json &value, const rules_options &options, std::vector<ip_prefix> &prefixes) {
  ip_prefix prefix;
  if (const json *parts = member(value, "prefix")) {
    const json *length = member(*parts, "len");
    const std::string text = text_of(*parts, "addr") + '/' + (length == nullptr ? "" : scalar_text(*length));
    const std::string fault = parse_rule_prefix(text, options.clear_host_bits, prefix);
    prefixes.push_back(prefix);
    return fault;
  }
  if (const json *ends = member(value, "range"); ends != nullptr && ends->is_array() && ends->size() == 2) {
    ip_key first;
    ip_key last;
    if (!parse_address(scalar_text((*ends)[0]), first) || !parse_address(scalar_text((*ends)[1]), last) ||
        last < first) {
      return printable(value.dump()) + ": not a range of addresses";
    }
    const std::vector<ip_prefix> covered = prefixes_between(first, last);
    prefixes.insert(prefixes.end(), covered.begin(), covered.end());
    return "";
  }
  const std::string fault = parse_rule_prefix(scalar_text(value), options.clear_host_bits, prefix);
  prefixes.push_back(prefix);
  return fault;
}

std::string ports_of(const json &value, port_range &range) {
  if (const json *ends = member(value, "range"); ends != nullptr && ends->is_array() && ends->size() == 2) {
    return parse_ports(scalar_text((*ends)[0]) + '-' + scalar_text((*ends)[1]), '-', range);
  }
  const std::string text = scalar_text(value);
  return text.find('-') == std::string::npos ? parse_ports(text, '-', range) : printable(text) + ": not a port";
}

// One rule, statement by statement.
class nft_rule {
 public:
  nft_rule(const rules_options &options, const set_book &sets, std::string scope)
      : options_(options), sets_(sets), scope_(std::move(scope)) {}

  // False: the rule does nothing to IPv6 packets. `foreign` then tells whether it is for others.
  bool read(const json &expressions, chain_rule &rule, bool &foreign) {
    bool acts = false;
    for (const json &statement : expressions) {
      if (!statement.is_object() || statement.size() != 1) {
        fault_ = printable(statement.dump()) + ": not a statement";
      }
      if (!fault_.empty() || acts || foreign_) {
        break;
      }
      acts = take_statement(statement.begin().key(), statement.begin().value(), rule);
    }
    foreign = foreign_;
    if (foreign_) {
      return false;
    }
    if (fault_.empty() && acts) {
      fault_ = multiply_out(terms_, rule.matches);
    }
    rule.fault = fault_;
    return acts || !fault_.empty();
  }

 private:
  // True when the statement decides where packets go.
  bool take_statement(const std::string &name, const json &value, chain_rule &rule) {
    if (name == "match") {
      take_match(value);
      return false;
    }
    if (name == "accept" || name == "drop" || name == "reject") {
      rule.verdict = name == "accept" ? rule_verdict::accept
                     : name == "drop" ? rule_verdict::drop
                                      : rule_verdict::reject;
      return true;
    }
    if (name == "jump" || name == "goto") {
      rule.action = name == "jump" ? chain_action::jump : chain_action::go_to;
      rule.target = scope_ + text_of(value, "target");
      return true;
    }
    if (name == "return") {
      rule.action = chain_action::leave;
      return true;
    }
    if (name != "counter" && name != "log" && name != "continue") {
      fault_ = "statement `" + printable(name) + "` has no counterpart in a ternary entry";
    }
    return false;
  }

  void take_match(const json &match) {
    const json *left = member(match, "left");
    const json *right = member(match, "right");
    const std::string op = text_of(match, "op");
    if (left == nullptr || right == nullptr) {
      fault_ = "a match without two sides";
    } else if (op != "==" && op != "in") {
      fault_ = op == "!=" ? "a negation; write the opposite rule before it"
                          : "comparison `" + printable(op) + "` has no counterpart in a ternary entry";
    } else if (const json *payload = member(*left, "payload"); payload != nullptr) {
      take_values(text_of(*payload, "protocol"), text_of(*payload, "field"), *right);
    } else if (const json *meta = member(*left, "meta"); meta != nullptr) {
      take_values("meta", text_of(*meta, "key"), *right);
    } else if (member(*left, "ct") != nullptr) {
      fault_ = "it asks for the state of a connection, which no entry keeps";
    } else {
      fault_ = printable(left->dump()) + ": this match has no counterpart in a ternary entry";
    }
  }

  void take_values(const std::string &protocol, const std::string &field, const json &right) {
    std::vector<json> values;
    fault_ = open_sets(right, sets_, scope_, values);
    if (!fault_.empty()) {
      return;
    }
    if (protocol == "ip" || protocol == "icmp" || protocol == "arp") {
      foreign_ = true;
    } else if (protocol == "ip6" && (field == "saddr" || field == "daddr")) {
      take_prefixes(field == "saddr" ? terms_.sources : terms_.destinations, values);
    } else if ((protocol == "meta" && field == "l4proto") || (protocol == "ip6" && field == "nexthdr")) {
      take_protocols(values);
    } else if (protocol == "meta" && (field == "nfproto" || field == "protocol")) {
      take_family(values);
    } else if (field == "sport" || field == "dport") {
      take_ports(protocol, field == "sport" ? terms_.source_ports : terms_.destination_ports, values);
    } else if (protocol == "icmpv6" && field == "type") {
      take_icmp_type(values);
    } else if (field == "iif" || field == "iifname" || field == "oif" || field == "oifname") {
      fault_ = "it asks for an interface, which no prefix tells";
    } else {
      fault_ = "`" + printable(protocol + ' ' + field) + "` has no counterpart in a ternary entry";
    }
  }

  void take_prefixes(alternatives<ip_prefix> &field, const std::vector<json> &values) {
    std::vector<ip_prefix> prefixes;
    for (const json &value : values) {
      if (fault_.empty()) {
        fault_ = prefixes_of(value, options_, prefixes);
      }
    }
    narrow(field, prefixes);
  }

  void take_protocols(const std::vector<json> &values) {
    std::vector<uint8_t> protocols;
    for (const json &value : values) {
      uint8_t protocol = 0;
      if (fault_.empty()) {
        fault_ = parse_protocol(scalar_text(value), protocol);
      }
      protocols.push_back(protocol);
    }
    narrow(terms_.protocols, protocols);
  }

  void take_family(const std::vector<json> &values) {
    foreign_ =
        std::none_of(values.begin(), values.end(), [](const json &value) { return value == "ipv6" || value == "ip6"; });
  }

  void take_ports(const std::string &protocol, alternatives<port_range> &field, const std::vector<json> &values) {
    if (protocol != "th") {
      uint8_t number = 0;
      fault_ = parse_protocol(protocol, number);
      narrow(terms_.protocols, {number});
    }
    std::vector<port_range> ranges;
    for (const json &value : values) {
      port_range range;
      if (fault_.empty()) {
        fault_ = ports_of(value, range);
      }
      ranges.push_back(range);
    }
    narrow(field, ranges);
  }

  void take_icmp_type(const std::vector<json> &values) {
    rule_terms all;
    all.source_ports.emplace();
    for (const json &value : values) {
      rule_terms one;
      if (fault_.empty()) {
        fault_ = narrow_icmp_type(scalar_text(value), one);
      }
      if (fault_.empty()) {
        all.source_ports->push_back(one.source_ports->front());
      }
    }
    narrow(terms_.protocols, {protocol_icmpv6});
    narrow(terms_.source_ports, *all.source_ports);
  }

  const rules_options &options_;
  const set_book &sets_;
  const std::string scope_;  // what keys of this rule's table begin with
  rule_terms terms_;
  std::string fault_;
  bool foreign_ = false;
};

class nft_reader {
 public:
  nft_reader(const rules_options &options, const rule_set &set, read_report &report, chain_book &book)
      : options_(options), set_(set), report_(report), book_(book) {}

  void read(const json &items) {
    for (const json &item : items) {
      if (const json *chain = member(item, "chain")) {
        take_chain(*chain);
      }
      if (const json *set = member(item, "set"); set != nullptr && is_ours(*set)) {
        sets_[key_in(*set, text_of(*set, "name"))] = member(*set, "elem");
      }
    }
    for (const json &item : items) {
      if (const json *rule = member(item, "rule"); rule != nullptr && is_ours(*rule)) {
        take_rule(*rule);
      }
    }
  }

 private:
  static bool is_ours(const json &object) {
    const std::string family = text_of(object, "family");
    return family == "ip6" || family == "inet";
  }

  static std::string key_in(const json &object, const std::string &name) {
    return key_of(text_of(object, "family"), text_of(object, "table"), name);
  }

  void take_chain(const json &object) {
    if (!is_ours(object)) {
      return;
    }
    const std::string name = text_of(object, "name");
    rule_chain &chain = book_.chains[key_in(object, name)];
    chain.name = text_of(object, "table") + '/' + name;
    chain.is_base = member(object, "hook") != nullptr;
    chain.forwards = text_of(object, "hook") == "forward" && text_of(object, "type") != "nat";
    if (chain.is_base) {
      chain.policy = text_of(object, "policy") == "drop" ? rule_verdict::drop : rule_verdict::accept;
    }
  }

  void take_rule(const json &object) {
    const std::string name = text_of(object, "chain");
    const auto chain = book_.chains.find(key_in(object, name));
    const json *expressions = member(object, "expr");
    const json *handle = member(object, "handle");
    chain_rule rule;
    rule.place = name + (handle == nullptr ? "" : " handle " + scalar_text(*handle));
    rule.name = text_of(object, "comment");
    if (chain == book_.chains.end() || expressions == nullptr || !expressions->is_array()) {
      report_.faults.add(set_.name + ':' + rule.place +
                         (chain == book_.chains.end() ? ": a rule of no chain" : ": a rule without statements"));
      return;
    }
    bool foreign = false;
    if (nft_rule(options_, sets_, key_in(object, "")).read(*expressions, rule, foreign)) {
      chain->second.rules.push_back(std::move(rule));
    }
    book_.other_families += foreign ? 1 : 0;
  }

  const rules_options &options_;
  const rule_set &set_;
  read_report &report_;
  chain_book &book_;
  set_book sets_;
};

// Brackets open at once, outside of strings: the parser recurses, and nothing that is meant nests deeper.
bool nests_too_deep(std::string_view content) {
  constexpr size_t most = 64;
  size_t depth = 0;
  bool quoted = false;
  for (size_t i = 0; i < content.size(); ++i) {
    const char c = content[i];
    if (quoted) {
      i += c == '\\' ? 1 : 0;
      quoted = c != '"';
    } else if (c == '"') {
      quoted = true;
    } else if (c == '[' || c == '{') {
      if (++depth > most) {
        return true;
      }
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

size_t line_of(std::string_view content, size_t byte) {
  const std::string_view before = content.substr(0, std::min(byte, content.size()));
  return 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
}

}  // namespace

chain_book read_nft_chains(std::string_view content, const rules_options &options, const rule_set &set,
                           read_report &report) {
  chain_book book;
  if (nests_too_deep(content)) {
    report.faults.add(set.name + ": JSON that nests deeper than 64 levels");
    return book;
  }
  json document;
  try {
    document = json::parse(content);
  } catch (const json::parse_error &error) {
    report.faults.add(set.name + ':' + std::to_string(line_of(content, error.byte)) + ": not JSON");
    return book;
  } catch (const json::out_of_range &) {
    report.faults.add(set.name + ": JSON with a number that is too large for any rule");
    return book;
  }
  const json *items = member(document, "nftables");
  if (items == nullptr || !items->is_array()) {
    report.faults.add(set.name + ": not what `nft -j list ruleset` prints: there is no array `nftables`");
  } else {
    nft_reader(options, set, report, book).read(*items);
  }
  return book;
}

}  // namespace v6tool
