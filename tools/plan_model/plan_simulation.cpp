// SPDX-License-Identifier: Apache-2.0
// A plan, driven through a model TCAM.
//
// The edges of all prefixes of both tables cut the address space into intervals; every interval begins at the first
// address of a prefix or just behind the last one, and all its addresses match the same prefixes. So the edges see
// whatever any address could see.
//
// Probing all of them after each step costs probes x slots x steps. A step changes one slot, though: only the probes
// under the entry that stood there or under the one that now does can notice, and of those only the probes that
// match this slot or a later one. Each probe remembers the slot that it matches; a probe that loses its slot is
// looked up again through an index of the slots by mask and key.
#include "plan_simulation.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include "model_tcam.h"
#include "prefix_forest.h"
#include "prefix_text.h"

namespace v6tool {
namespace {

using answer = std::optional<uint64_t>;

struct key_hash {
  size_t operator()(const ip_key &key) const {
    return static_cast<size_t>((key.hi ^ key.hi >> 29) * 0x9E3779B97F4A7C15 +
                               (key.lo ^ key.lo >> 31) * 0xD6E8FEB86659FD93);
  }
};

// Slots by mask and key.
class slot_index {
 public:
  void add(uint32_t slot, const tcam_entry &entry) { by_mask_[entry.mask][entry.key].insert(slot); }

  void remove(uint32_t slot, const tcam_entry &entry) {
    const auto keys = by_mask_.find(entry.mask);
    const auto slots = keys->second.find(entry.key);
    slots->second.erase(slot);
    if (slots->second.empty()) {
      keys->second.erase(slots);
    }
    if (keys->second.empty()) {
      by_mask_.erase(keys);
    }
  }

  uint32_t first_match(ip_key address) const {
    uint32_t first = model_tcam::none;
    for (const auto &[mask, keys] : by_mask_) {
      const auto slots = keys.find(address & mask);
      if (slots != keys.end()) {
        first = std::min(first, *slots->second.begin());
      }
    }
    return first;
  }

 private:
  std::map<ip_key, std::unordered_map<ip_key, std::set<uint32_t>, key_hash>> by_mask_;
};

struct probe {
  ip_key address;
  answer old_answer, new_answer;
  uint32_t slot = model_tcam::none;  // that it matches now
  bool third = false;                // is its answer neither of the two?
};

std::vector<ip_prefix> prefixes_of(std::span<const first_stage_row> rows) {
  std::vector<ip_prefix> prefixes;
  for (const first_stage_row &row : rows) {
    prefixes.push_back(row.prefix);
  }
  return prefixes;
}

answer longest_match(const prefix_forest &forest, std::span<const first_stage_row> rows, ip_key address) {
  const uint32_t row = forest.longest_match(address);
  return row == prefix_forest::none ? answer() : rows[row].result;
}

void add_edges(std::span<const first_stage_row> rows, std::vector<ip_key> &edges) {
  for (const first_stage_row &row : rows) {
    const ip_key first = first_address(row.prefix);
    const ip_key last = last_address(row.prefix);
    for (const ip_key edge : {first, last, previous_key(first), next_key(last)}) {
      edges.push_back(edge);
    }
  }
}

std::vector<probe> make_probes(std::span<const first_stage_row> old_rows, std::span<const first_stage_row> new_rows) {
  std::vector<ip_key> edges;
  add_edges(old_rows, edges);
  add_edges(new_rows, edges);
  std::sort(edges.begin(), edges.end());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  const prefix_forest old_forest(prefixes_of(old_rows));
  const prefix_forest new_forest(prefixes_of(new_rows));
  std::vector<probe> probes;
  probes.reserve(edges.size());
  for (const ip_key address : edges) {
    probes.push_back({address, longest_match(old_forest, old_rows, address),
                      longest_match(new_forest, new_rows, address), model_tcam::none, false});
  }
  return probes;
}

std::string answer_text(const answer &a) { return a ? format_code_address({*a, 0}) : "no match"; }

class simulator {
 public:
  simulator(std::span<const first_stage_row> old_rows, std::span<const uint32_t> old_layout,
            std::span<const first_stage_row> new_rows, uint32_t slots, probing how)
      : tcam_(slots), probes_(make_probes(old_rows, new_rows)), how_(how) {
    for (uint32_t i = 0; i < old_rows.size(); ++i) {
      set_slot(old_layout[i], entry_of(old_rows[i]));
    }
    for (probe &p : probes_) {
      p.slot = look_up(p.address);
    }
    result_.probes = static_cast<uint32_t>(probes_.size());
  }

  simulation_result run(std::span<const first_stage_row> new_rows, const hardware_plan &plan) {
    for (const plan_step &step : plan.steps) {
      apply(step);
      ++result_.steps;
      result_.third_answers += third_now_;
    }
    result_.arrived = stands_as_planned(new_rows, plan.layout) &&
                      std::all_of(probes_.begin(), probes_.end(),
                                  [this](const probe &p) { return answer_at(p.slot) == p.new_answer; });
    return result_;
  }

 private:
  static tcam_entry entry_of(const first_stage_row &row) {
    return {row.prefix.key, leading_ones(row.prefix.length), row.result};
  }

  void apply(const plan_step &step) {
    const std::optional<tcam_entry> before = tcam_.at(step.slot);
    switch (step.kind) {
      case step_kind::remove:
        set_slot(step.slot, std::nullopt);
        break;
      case step_kind::move:
        set_slot(step.slot, tcam_.at(step.from));
        break;
      case step_kind::update:
      case step_kind::insert:
        set_slot(step.slot, entry_of(step.row));
        break;
    }
    if (how_ == probing::all) {
      for (probe &p : probes_) {
        p.slot = look_up(p.address);
        judge(p, step);
      }
      return;
    }
    if (before) {
      for_probes_under(*before, [&](probe &p) {
        if (p.slot == step.slot) {
          p.slot = look_up(p.address);
          judge(p, step);
        }
      });
    }
    if (tcam_.at(step.slot)) {
      for_probes_under(*tcam_.at(step.slot), [&](probe &p) {
        if (p.slot > step.slot) {
          p.slot = step.slot;
          judge(p, step);
        }
      });
    }
  }

  void set_slot(uint32_t slot, const std::optional<tcam_entry> &entry) {
    const std::optional<tcam_entry> before = tcam_.at(slot);
    if (before) {
      index_.remove(slot, *before);
    }
    if (entry) {
      index_.add(slot, *entry);
      tcam_.write(slot, *entry);
    } else {
      tcam_.invalidate(slot);
    }
  }

  template <typename Action>
  void for_probes_under(const tcam_entry &entry, Action action) {
    const auto before = [](const probe &p, ip_key address) { return p.address < address; };
    const ip_key last = entry.key | ~entry.mask;
    for (auto p = std::lower_bound(probes_.begin(), probes_.end(), entry.key, before);
         p != probes_.end() && p->address <= last; ++p) {
      action(*p);
    }
  }

  uint32_t look_up(ip_key address) {
    ++result_.looked_up;
    return how_ == probing::all ? tcam_.first_match(address) : index_.first_match(address);
  }

  answer answer_at(uint32_t slot) const { return slot == model_tcam::none ? answer() : tcam_.at(slot)->result; }

  void judge(probe &p, const plan_step &step) {
    const answer now = answer_at(p.slot);
    const bool third = now != p.old_answer && now != p.new_answer;
    if (third != p.third) {
      third ? ++third_now_ : --third_now_;
      p.third = third;
    }
    if (third && result_.first_fault.empty()) {
      result_.first_fault = "step " + std::to_string(result_.steps + 1) + " (" + std::string(step_name(step.kind)) +
                            " " + format_prefix(step.row.prefix) + "): " + format_address(p.address) + " gets " +
                            answer_text(now) + ", old " + answer_text(p.old_answer) + ", new " +
                            answer_text(p.new_answer);
    }
  }

  bool stands_as_planned(std::span<const first_stage_row> new_rows, std::span<const uint32_t> layout) const {
    uint32_t used = 0;
    for (uint32_t slot = 0; slot < tcam_.size(); ++slot) {
      used += tcam_.at(slot) ? 1 : 0;
    }
    if (used != new_rows.size() || layout.size() != new_rows.size()) {
      return false;
    }
    for (uint32_t i = 0; i < new_rows.size(); ++i) {
      const std::optional<tcam_entry> &entry = tcam_.at(layout[i]);
      if (!entry || entry->key != new_rows[i].prefix.key || entry->mask != leading_ones(new_rows[i].prefix.length) ||
          entry->result != new_rows[i].result) {
        return false;
      }
    }
    return true;
  }

  model_tcam tcam_;
  slot_index index_;
  std::vector<probe> probes_;
  probing how_;
  uint64_t third_now_ = 0;
  simulation_result result_;
};

}  // namespace

simulation_result simulate_plan(std::span<const first_stage_row> old_rows, std::span<const uint32_t> old_layout,
                                std::span<const first_stage_row> new_rows, uint32_t slots, const hardware_plan &plan,
                                probing how) {
  simulator run(old_rows, old_layout, new_rows, slots, how);
  return run.run(new_rows, plan);
}

}  // namespace v6tool
