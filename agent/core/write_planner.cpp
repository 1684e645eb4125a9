// SPDX-License-Identifier: Apache-2.0
#include "write_planner.h"

#include <utility>

namespace v6agent {

namespace {

// Writes of one phase may share a step.
enum phase : int { codes_in = 1, keys, codes_out, words, rules };

int phase_of(uint8_t kind) {
  return kind == ZEL_V6COMP_TABLE_ADD_CODE ? codes_in : kind == ZEL_V6COMP_TABLE_REMOVE_CODE ? codes_out : keys;
}

// The places of a rule for one code of each prefix.
template <class Visit>
void visit_places(const policy_rule &rule, size_t index, const code_match &source, const code_match &destination,
                  Visit visit) {
  for (const packet_match &packet : rule.packets) {
    visit(rule_place{rank_of(index), source, destination, packet});
  }
}

}  // namespace

switch_plan way_back(const switch_plan &plan, size_t done) {
  switch_plan back;
  for (size_t i = done; i > 0; --i) {
    const auto &[writes, undo] = plan[i - 1];
    back.push_back({{undo.rbegin(), undo.rend()}, {writes.rbegin(), writes.rend()}});
  }
  return back;
}

size_t count_writes(const switch_plan &plan) {
  size_t count = 0;
  for (const planned_step &step : plan) {
    count += step.writes.size();
  }
  return count;
}

void write_planner::clear() {
  image_ = {};
  policy_.clear();
  for (const side which : both_sides) {
    rules_on_[static_cast<int>(which)].clear();
    codes_[static_cast<int>(which)].clear();
  }
  phase_ = 0;
}

void write_planner::emit(const switch_write &write, int phase, switch_plan &plan) {
  if (plan.empty() || phase != phase_ || (phase != rules && plan.back().writes.size() >= most_writes_of_a_step)) {
    plan.emplace_back();
    phase_ = phase;
  }
  planned_step &step = plan.back();
  step.writes.push_back(write);
  step.undo.push_back(apply_write(image_, write));
}

void write_planner::take_writes(side which, std::span<const zel_v6comp_table_write> writes, switch_plan &plan) {
  phase_ = 0;
  for (const zel_v6comp_table_write &write : writes) {
    const lookup_place place{which, prefix_of(write.address, write.length)};
    switch (write.kind) {
      case ZEL_V6COMP_TABLE_ADD_KEY:
        emit(put_lookup(place, {write.key, which == side::source ? 0 : egress_of(write.word)}), phase_of(write.kind),
             plan);
        break;
      case ZEL_V6COMP_TABLE_CHANGE_KEY:
        emit(put_lookup(place, {write.key, egress_held(place, write)}), phase_of(write.kind), plan);
        break;
      case ZEL_V6COMP_TABLE_REMOVE_KEY:
        emit(remove_lookup(place), phase_of(write.kind), plan);
        break;
      default:
        take_code(which, write, plan);
        break;
    }
  }
}

// A key that changes keeps its egress: that is take_words's, when all new detail is there.
uint32_t write_planner::egress_held(const lookup_place &place, const zel_v6comp_table_write &write) const {
  const auto at = image_.lookups.find(place);
  return at != image_.lookups.end() ? at->second.egress : place.table == side::source ? 0 : egress_of(write.word);
}

void write_planner::take_code(side which, const zel_v6comp_table_write &write, switch_plan &plan) {
  const int here = static_cast<int>(which);
  const ip_prefix prefix = prefix_of(write.address, write.length);
  const auto on = rules_on_[here].find(prefix);
  if (on == rules_on_[here].end()) {
    return;
  }
  const code_match code{write.code, write.code_length};
  const bool add = write.kind == ZEL_V6COMP_TABLE_ADD_CODE;
  codes &own = codes_[here][prefix];
  if (add) {
    own.push_back(code);
  } else {
    std::erase(own, code);
  }
  for (const size_t index : on->second) {
    const policy_rule &rule = policy_[index];
    for (const code_match &other : codes_of(other_side(which), prefix_of(rule, other_side(which)))) {
      const bool is_source = which == side::source;
      visit_places(rule, index, is_source ? code : other, is_source ? other : code, [&](const rule_place &place) {
        emit(add ? put_rule(place, rule.action) : remove_rule(place), phase_of(write.kind), plan);
      });
    }
  }
}

void write_planner::take_words(side which, std::span<const zel_v6comp_table_change> changes, switch_plan &plan) {
  if (which == side::source) {
    return;
  }
  phase_ = 0;
  for (const zel_v6comp_table_change &change : changes) {
    const lookup_place place{which, prefix_of(change.address, change.length)};
    const auto at = image_.lookups.find(place);
    zel_v6comp_table_row row;
    if (at == image_.lookups.end() || !tables_.find(which, place.prefix, row)) {
      continue;
    }
    if (at->second.egress != egress_of(row.word)) {
      emit(put_lookup(place, {at->second.key, egress_of(row.word)}), words, plan);
    }
  }
}

write_planner::codes write_planner::codes_of(side which, const ip_prefix &prefix) const {
  const auto &known = codes_[static_cast<int>(which)];
  if (const auto at = known.find(prefix); at != known.end()) {
    return at->second;
  }
  zel_v6comp_table_row row;
  return tables_.find(which, prefix, row) ? codes{{row.code, row.code_length}} : codes{};
}

std::map<rule_place, rule_action> write_planner::rules_wanted() const {
  std::map<rule_place, rule_action> wanted;
  for (size_t i = 0; i < policy_.size(); ++i) {
    const policy_rule &rule = policy_[i];
    for (const code_match &source : codes_of(side::source, rule.source)) {
      for (const code_match &destination : codes_of(side::destination, rule.destination)) {
        visit_places(rule, i, source, destination,
                     [&](const rule_place &place) { wanted.insert_or_assign(place, rule.action); });
      }
    }
  }
  return wanted;
}

void write_planner::take_policy(packet_policy policy, switch_plan &plan) {
  policy_ = std::move(policy);
  for (const side which : both_sides) {
    auto &on = rules_on_[static_cast<int>(which)];
    std::map<ip_prefix, codes> known;
    on.clear();
    for (size_t i = 0; i < policy_.size(); ++i) {
      const ip_prefix &prefix = prefix_of(policy_[i], which);
      on[prefix].push_back(i);
      known.try_emplace(prefix, codes_of(which, prefix));
    }
    codes_[static_cast<int>(which)] = std::move(known);
  }

  const std::map<rule_place, rule_action> wanted = rules_wanted();
  phase_ = 0;
  switch_step writes;
  for (auto rule = wanted.rbegin(); rule != wanted.rend(); ++rule) {
    const auto at = image_.rules.find(rule->first);
    if (at == image_.rules.end() || at->second != rule->second) {
      writes.push_back(put_rule(rule->first, rule->second));
    }
  }
  for (const auto &[place, action] : image_.rules) {
    if (!wanted.contains(place)) {
      writes.push_back(remove_rule(place));
    }
  }
  for (const switch_write &write : writes) {
    emit(write, rules, plan);
  }
}

}  // namespace v6agent
