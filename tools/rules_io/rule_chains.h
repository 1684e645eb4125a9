// SPDX-License-Identifier: Apache-2.0
// rule_chains.h - chains of rules that jump to one another, and the one list without jumps that they amount to.
#ifndef RULE_CHAINS_H
#define RULE_CHAINS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "rule_value.h"
#include "rules_reader.h"

namespace v6tool {

enum class chain_action : uint8_t {
  verdict,
  jump,   // to target; come back when it decides nothing
  go_to,  // the same, but come back to where this chain was jumped to from
  leave   // return
};

// One line of a chain. Its matches say together what it matches: sets are written out.
struct chain_rule {
  std::vector<rule_match> matches;
  chain_action action = chain_action::verdict;
  rule_verdict verdict = rule_verdict::drop;
  std::string target;  // of jump and go_to: a chain's key
  std::string place;
  std::string name;
  std::string fault;  // "" = good; matters only when the rule is reached
};

struct rule_chain {
  std::string name;                    // for messages
  bool is_base = false;                // packets begin here
  bool forwards = false;               // a base chain for packets that pass through
  std::optional<rule_verdict> policy;  // of a base chain
  std::vector<chain_rule> rules;
};

struct chain_book {
  std::map<std::string, rule_chain> chains;  // by key
  uint64_t other_families = 0;               // rules that match no IPv6 packet
};

// The list of what the chain of this key and all that it leads to do, into set and report.
void flatten_chain(const chain_book &book, const std::string &key, const rules_options &options, rule_set &set,
                   read_report &report);

// The key of the chain that the options name. "" when there is none or no single one: the report says so.
std::string choose_chain(const chain_book &book, const rules_options &options, const rule_set &set,
                         read_report &report);

}  // namespace v6tool

#endif
