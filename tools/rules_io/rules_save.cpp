// SPDX-License-Identifier: Apache-2.0
// Rules as ip6tables-save prints them: `*table`, `:CHAIN POLICY [packets:bytes]`, `-A CHAIN option value ...`,
// `COMMIT`.
#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "prefix_text.h"
#include "rule_terms.h"
#include "rules_formats.h"
#include "text_words.h"

namespace v6tool {

namespace {

// Words of a line; what stands in double quotes is one, with \ before quotes inside it. Nothing when a quote stays
// open.
std::optional<std::vector<std::string>> split_words(std::string_view line) {
  std::vector<std::string> words;
  bool quoted = false;
  bool inside = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (!quoted && blanks.find(c) != std::string_view::npos) {
      inside = false;
      continue;
    }
    if (!inside) {
      words.emplace_back();
      inside = true;
    }
    if (c == '"') {
      quoted = !quoted;
    } else if (c == '\\' && quoted && i + 1 < line.size()) {
      words.back() += line[++i];
    } else {
      words.back() += c;
    }
  }
  return quoted ? std::nullopt : std::optional(words);
}

std::vector<std::string_view> split_at_commas(std::string_view text) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t comma = text.find(',');
    parts.push_back(text.substr(0, comma));
    if (comma == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(comma + 1);
  }
}

// One `-A` line, option by option.
class saved_rule {
 public:
  saved_rule(const std::vector<std::string> &words, const rules_options &options) : words_(words), options_(options) {}

  // The words behind the chain's name. False: the rule does nothing to packets (it counts, it logs).
  bool read(chain_rule &rule) {
    bool acts = false;
    while (fault_.empty() && next_ < words_.size()) {
      const std::string &option = words_[next_++];
      if (option == "-j" || option == "--jump" || option == "-g" || option == "--goto") {
        acts = take_target(option == "-g" || option == "--goto", rule);
        break;  // what follows are the target's own options
      }
      take_option(option, rule);
    }
    if (fault_.empty() && acts) {
      fault_ = multiply_out(terms_, rule.matches);
    }
    rule.fault = fault_;
    return acts || !fault_.empty();
  }

 private:
  std::string value() {
    if (next_ == words_.size()) {
      fault_ = words_.back() + ": no value behind it";
      return "";
    }
    return words_[next_++];
  }

  bool take_target(bool go_to, chain_rule &rule) {
    const std::string target = value();
    constexpr std::pair<const char *, rule_verdict> verdicts[] = {
        {"ACCEPT", rule_verdict::accept}, {"DROP", rule_verdict::drop}, {"REJECT", rule_verdict::reject}};
    for (const auto &[word, verdict] : verdicts) {
      if (target == word) {
        rule.verdict = verdict;
        return true;
      }
    }
    if (target == "RETURN") {
      rule.action = chain_action::leave;
      return true;
    }
    for (const char *silent : {"LOG", "NFLOG", "TRACE", "AUDIT"}) {
      if (target == silent) {
        return false;
      }
    }
    rule.action = go_to ? chain_action::go_to : chain_action::jump;
    rule.target = target;
    return true;
  }

  void take_option(const std::string &option, chain_rule &rule) {
    if (option == "!") {
      fault_ = "a negation; write the opposite rule before it";
    } else if (option == "-s" || option == "--source") {
      take_prefixes(terms_.sources);
    } else if (option == "-d" || option == "--destination") {
      take_prefixes(terms_.destinations);
    } else if (option == "-p" || option == "--protocol") {
      take_protocol();
    } else if (option == "--sport" || option == "--source-port" || option == "--sports" || option == "--source-ports") {
      take_ports(terms_.source_ports);
    } else if (option == "--dport" || option == "--destination-port" || option == "--dports" ||
               option == "--destination-ports") {
      take_ports(terms_.destination_ports);
    } else if (option == "--icmpv6-type") {
      fault_ = narrow_icmp_type(value(), terms_);
    } else if (option == "--comment") {
      rule.name = value();
    } else if (option == "-m" || option == "--match") {
      take_module();
    } else if (option == "-i" || option == "--in-interface" || option == "-o" || option == "--out-interface") {
      fault_ = "it asks for an interface, which no prefix tells";
    } else {
      fault_ = printable(option) + ": this option has no counterpart in a ternary entry";
    }
  }

  void take_module() {
    const std::string module = value();
    for (const char *known : {"tcp", "udp", "sctp", "icmp6", "icmpv6", "multiport", "comment"}) {
      if (module == known) {
        return;
      }
    }
    if (fault_.empty()) {
      fault_ = module == "conntrack" || module == "state"
                   ? "it asks for the state of a connection, which no entry keeps"
                   : "-m " + printable(module) + ": this match has no counterpart in a ternary entry";
    }
  }

  void take_prefixes(alternatives<ip_prefix> &field) {
    std::vector<ip_prefix> prefixes;
    const std::string text = value();
    for (const std::string_view part : split_at_commas(text)) {
      ip_prefix prefix;
      if (fault_.empty()) {
        fault_ = parse_rule_prefix(part, options_.clear_host_bits, prefix);
      }
      prefixes.push_back(prefix);
    }
    narrow(field, prefixes);
  }

  void take_protocol() {
    const std::string text = value();
    uint8_t protocol = 0;
    if (fault_.empty() && text != "all") {
      fault_ = parse_protocol(text, protocol);
      narrow(terms_.protocols, {protocol});
    }
  }

  void take_ports(alternatives<port_range> &field) {
    std::vector<port_range> ranges;
    const std::string text = value();
    for (const std::string_view part : split_at_commas(text)) {
      port_range range;
      if (fault_.empty()) {
        fault_ = parse_ports(part, ':', range);
      }
      ranges.push_back(range);
    }
    narrow(field, ranges);
  }

  const std::vector<std::string> &words_;
  const rules_options &options_;
  rule_terms terms_;
  std::string fault_;
  size_t next_ = 0;
};

class saved_reader {
 public:
  saved_reader(const rules_options &options, const rule_set &set, read_report &report, chain_book &book)
      : options_(options), set_(set), report_(report), book_(book) {}

  void read(std::string_view content) {
    for (number_ = 1; !content.empty(); ++number_) {
      const std::string_view line = trimmed(take_line(content));
      if (line.empty() || line.front() == '#') {
        continue;
      }
      if (line.front() == '*') {
        open_table(line.substr(1));
      } else if (line == "COMMIT") {
        in_table_ = false;
      } else if (!in_table_) {
        fail("a line outside of any table; `*filter` begins one");
      } else if (in_filter_) {
        take(line);
      }
    }
    if (in_table_) {
      report_.faults.add(set_.name + ": ends within a table, without COMMIT");
    }
  }

 private:
  void fail(const std::string &reason) {
    report_.faults.add(set_.name + ':' + std::to_string(number_) + ": " + reason);
  }

  void open_table(std::string_view name) {
    in_table_ = true;
    in_filter_ = name == "filter";
    if (!in_filter_) {
      report_.notes.push_back(set_.name + ": table " + printable(name) + " left out, it does not filter");
    }
  }

  void take(std::string_view line) {
    if (line.front() == '[') {  // counters of --counters
      line = trimmed(line.substr(std::min(line.find(']'), line.size() - 1) + 1));
    }
    if (line.starts_with(':')) {
      take_chain(line.substr(1));
      return;
    }
    const auto words = split_words(line);
    if (!words) {
      fail("a quoted text does not end on its line");
    } else if (words->size() < 2 || (words->front() != "-A" && words->front() != "--append")) {
      fail(printable(line) + ": expected `:CHAIN POLICY` or `-A CHAIN ...`");
    } else {
      take_rule(*words);
    }
  }

  void take_chain(std::string_view line) {
    const std::string name(take_word(line));
    const std::string_view policy = take_word(line);
    rule_chain &chain = book_.chains[name];
    if (!chain.name.empty()) {
      fail("chain " + printable(name) + " is declared twice");
    }
    chain.name = name;
    chain.is_base = policy != "-";
    chain.forwards = chain.is_base && name == "FORWARD";
    if (policy == "ACCEPT" || policy == "DROP") {
      chain.policy = policy == "ACCEPT" ? rule_verdict::accept : rule_verdict::drop;
    } else if (policy != "-") {
      fail(printable(policy) + ": not a policy; ACCEPT, DROP or -");
    }
  }

  void take_rule(const std::vector<std::string> &words) {
    const auto chain = book_.chains.find(words[1]);
    if (chain == book_.chains.end()) {
      fail("no chain " + printable(words[1]) + " is declared before");
      return;
    }
    const std::vector<std::string> rest(words.begin() + 2, words.end());
    chain_rule rule;
    rule.place = std::to_string(number_);
    if (saved_rule(rest, options_).read(rule)) {
      chain->second.rules.push_back(std::move(rule));
    }
  }

  const rules_options &options_;
  const rule_set &set_;
  read_report &report_;
  chain_book &book_;
  uint64_t number_ = 0;
  bool in_table_ = false;
  bool in_filter_ = false;
};

}  // namespace

chain_book read_saved_chains(std::string_view content, const rules_options &options, const rule_set &set,
                             read_report &report) {
  chain_book book;
  saved_reader(options, set, report, book).read(content);
  return book;
}

}  // namespace v6tool
