// SPDX-License-Identifier: Apache-2.0
// write_planner.h - from the library's writes to those of the switch.
//
// The library says what a prefix's code and key become, and in which order. The planner knows the rules: a rule stands
// in the switch once for every pair of codes that its two prefixes have at the moment, which is one pair at rest and
// more while a prefix moves. It keeps the image of the switch as it is when all steps so far are done.
#ifndef WRITE_PLANNER_H
#define WRITE_PLANNER_H

#include <map>
#include <span>
#include <vector>

#include "packet_policy.h"
#include "switch_entries.h"
#include "table_pair.h"

namespace v6agent {

// Writes that go to the switch together, and for each of them the one that takes it back.
struct planned_step {
  switch_step writes;
  switch_step undo;  // to follow from the last to the first
};
using switch_plan = std::vector<planned_step>;

// The way back from a plan of which the first `done` steps are done.
switch_plan way_back(const switch_plan &plan, size_t done);
size_t count_writes(const switch_plan &plan);

// The word of a row: the port that packets leave by, and whether the prefix is a route itself or only a rule asks for
// it.
constexpr uint32_t most_egress = 0xffff;
constexpr uint32_t word_of(uint32_t egress, bool is_route) { return egress | (is_route ? uint32_t{1} << 31 : 0); }
constexpr uint32_t egress_of(uint32_t word) { return word & most_egress; }
constexpr bool is_route(uint32_t word) { return word >> 31 != 0; }

class write_planner {
 public:
  static constexpr size_t most_writes_of_a_step = 4096;

  explicit write_planner(const table_pair &tables) : tables_(tables) {}

  // The writes that answer a change of one table.
  void take_writes(side which, std::span<const zel_v6comp_table_write> writes, switch_plan &plan);

  // The egress of prefixes that were there already: the library keeps the words, and writes nothing. After take_writes:
  // where prefixes only came, no packet then leaves by a port that neither the old nor the new table says.
  void take_words(side which, std::span<const zel_v6comp_table_change> changes, switch_plan &plan);

  // Other rules. Both tables hold the prefixes of both policies. One step: new rules, best first, then the old ones go.
  void take_policy(packet_policy policy, switch_plan &plan);

  void clear();

  const switch_image &image() const { return image_; }
  const packet_policy &policy() const { return policy_; }

 private:
  using codes = std::vector<code_match>;  // of one prefix, in the order they came

  void emit(const switch_write &write, int phase, switch_plan &plan);
  uint32_t egress_held(const lookup_place &place, const zel_v6comp_table_write &write) const;
  void take_code(side which, const zel_v6comp_table_write &write, switch_plan &plan);
  codes codes_of(side which, const ip_prefix &prefix) const;
  std::map<rule_place, rule_action> rules_wanted() const;

  const table_pair &tables_;
  switch_image image_;
  packet_policy policy_;
  std::map<ip_prefix, std::vector<size_t>> rules_on_[2];  // indexes into policy_
  std::map<ip_prefix, codes> codes_[2];                   // of prefixes that rules ask for
  int phase_ = 0;
};

}  // namespace v6agent

#endif
