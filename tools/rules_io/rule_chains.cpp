// SPDX-License-Identifier: Apache-2.0
// A walk lists a chain's rules under a condition, the match of the jumps that led there. What is listed first decides
// first, so a packet that a called chain leaves undecided goes on to what is listed after it, as it should. Only a rule
// that leaves a chain early, and only for some of its packets, needs more: everything that they would meet afterwards
// is listed at once, under their condition, down to the policy.
#include "rule_chains.h"

#include <algorithm>
#include <set>
#include <utility>

#include "rule_terms.h"

namespace v6tool {

namespace {

// Where a called chain comes back to.
struct chain_frame {
  const rule_chain *chain;
  size_t next;
};
using chain_stack = std::vector<chain_frame>;  // the innermost last

// Bounds for what is no rule set but a trap: walks call one another, and chains that decide nothing can be walked
// 2^n times without listing a rule.
constexpr size_t most_nested = 500;
constexpr size_t most_steps = 8 * max_rules;

class chain_walk {
 public:
  chain_walk(const chain_book &book, const rules_options &options, rule_set &set, read_report &report)
      : book_(book), options_(options), set_(set), report_(report) {}

  void run(const rule_chain &base) {
    policy_ = base.policy.value_or(rule_verdict::accept);
    walk({&base, 0}, {}, {});
    set_.otherwise = policy_;
    if (skipped_.total > options_.skip_bad) {
      report_.faults = skipped_;
    } else {
      for (const std::string &text : skipped_.lines()) {
        report_.warnings.add(text + "; left out");
      }
    }
    if (gave_up()) {
      report_.faults.add(set_.name + ": when its jumps are followed there are more than " + too_many_);
    }
  }

 private:
  bool gave_up() const { return !too_many_.empty(); }

  // True when there are more than `most`, and the walk ends.
  bool exceeds(size_t count, size_t most, const char *what) {
    if (count > most && !gave_up()) {
      too_many_ = std::to_string(most) + ' ' + what;
    }
    return gave_up();
  }

  void emit(const chain_rule &rule, const rule_match &match, rule_verdict verdict) {
    if (!exceeds(set_.rules.size() + 1, max_rules, "rules")) {
      set_.rules.push_back({match, verdict, rule.place, rule.name});
    }
  }

  void reject(const chain_rule &rule, const std::string &fault) {
    if (rejected_.insert(&rule).second) {
      skipped_.add(set_.name + ':' + rule.place + ": " + fault);
    }
  }

  const rule_chain *target_of(const chain_rule &rule, const chain_stack &outer, const rule_chain &here) {
    const auto found = book_.chains.find(rule.target);
    if (found == book_.chains.end()) {
      reject(rule, "there is no chain " + rule.target);
      return nullptr;
    }
    const rule_chain *target = &found->second;
    const bool again = target == &here || std::any_of(outer.begin(), outer.end(), [target](const chain_frame &frame) {
                         return frame.chain == target;
                       });
    if (again) {
      reject(rule, "chain " + target->name + " leads back to itself");
    }
    return again ? nullptr : target;
  }

  // What packets of `match` meet when they come back from a chain that was called by the innermost of `outer`.
  void come_back(chain_stack outer, const rule_match &match, const chain_rule &why) {
    while (!outer.empty() && !gave_up()) {
      const chain_frame frame = outer.back();
      outer.pop_back();
      if (walk(frame, match, outer)) {
        return;
      }
    }
    emit(why, match, policy_);
  }

  // One match of a rule. True when no packet of the condition goes on behind the rule, in this chain or elsewhere.
  bool take(const chain_rule &rule, const rule_match &match, bool all, const chain_frame &after,
            const chain_stack &outer, bool &leaves) {
    if (rule.action == chain_action::verdict) {
      emit(rule, match, rule.verdict);
      return all;
    }
    if (rule.action != chain_action::leave) {
      const rule_chain *target = target_of(rule, outer, *after.chain);
      if (target == nullptr) {
        return false;
      }
      chain_stack inner = outer;
      // What a goto calls comes back to the end of this chain, which is where the one before takes over.
      inner.push_back(rule.action == chain_action::jump ? after : chain_frame{after.chain, after.chain->rules.size()});
      if (walk({target, 0}, match, inner)) {
        return all;
      }
      if (rule.action == chain_action::jump) {
        return false;
      }
    }
    if (all) {
      leaves = true;  // the caller goes on where it called
      return false;
    }
    come_back(outer, match, rule);
    return false;
  }

  // List a chain from a rule on, for packets of the condition. True when it decides all of them.
  bool walk(chain_frame from, const rule_match &condition, const chain_stack &outer) {
    ++nested_;
    const bool decides = !exceeds(nested_, most_nested, "chains within one another") && list(from, condition, outer);
    --nested_;
    return decides;
  }

  bool list(chain_frame from, const rule_match &condition, const chain_stack &outer) {
    for (size_t i = from.next; i < from.chain->rules.size() && !gave_up(); ++i) {
      const chain_rule &rule = from.chain->rules[i];
      if (!rule.fault.empty()) {
        reject(rule, rule.fault);
        continue;
      }
      for (const rule_match &own : rule.matches) {
        if (exceeds(++steps_, most_steps, "rules to look at")) {
          return false;
        }
        const std::optional<rule_match> match = both(condition, own);
        bool leaves = false;
        if (match && take(rule, *match, *match == condition, {from.chain, i + 1}, outer, leaves)) {
          return true;
        }
        if (leaves) {
          return false;
        }
      }
    }
    return false;
  }

  const chain_book &book_;
  const rules_options &options_;
  rule_set &set_;
  read_report &report_;
  rule_verdict policy_ = rule_verdict::accept;
  std::set<const chain_rule *> rejected_;
  message_list skipped_;
  size_t nested_ = 0;
  size_t steps_ = 0;
  std::string too_many_;  // of what; "": not given up
};

bool is_named(const std::string &key, const rule_chain &chain, const std::string &name) {
  return key == name || chain.name == name || chain.name.ends_with('/' + name);
}

}  // namespace

void flatten_chain(const chain_book &book, const std::string &key, const rules_options &options, rule_set &set,
                   read_report &report) {
  chain_walk(book, options, set, report).run(book.chains.at(key));
}

std::string choose_chain(const chain_book &book, const rules_options &options, const rule_set &set,
                         read_report &report) {
  std::vector<std::string> fitting;
  std::string names;
  for (const auto &[key, chain] : book.chains) {
    if (options.chain.empty() ? chain.forwards : is_named(key, chain, options.chain)) {
      fitting.push_back(key);
    }
    names += (names.empty() ? "" : ", ") + chain.name;
  }
  if (fitting.size() == 1) {
    return fitting.front();
  }
  const std::string wanted = options.chain.empty() ? "chain for forwarded packets" : "chain " + options.chain;
  report.faults.add(set.name + ": " + (fitting.empty() ? "no " : "more than one ") + wanted +
                    (names.empty() ? ", and no other" : "; --chain takes one of " + names));
  return "";
}

}  // namespace v6tool
