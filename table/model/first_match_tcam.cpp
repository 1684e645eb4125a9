// SPDX-License-Identifier: Apache-2.0
#include "first_match_tcam.h"

namespace table_model {

namespace {

prefix prefix_of(const zel_v6comp_slot_step &step) { return {tm_key_load(step.address), step.length}; }

}  // namespace

// Does the step fit what is there?
std::string first_match_tcam::fault_of_step(const zel_v6comp_slot_step &step) const {
  const prefix p = prefix_of(step);
  if (step.slot >= slots_.size()) {
    return "no such slot";
  }
  const std::optional<entry> &there = slots_[step.slot];
  const bool is_its_own = there && there->p == p;
  if (step.kind == ZEL_V6COMP_SLOT_CLEAR) {
    return is_its_own ? "" : "cleared without being there";
  }
  if (there && !is_its_own && places_.at(there->p).size() < 2) {
    return "written over the only copy of " + text_of(there->p);
  }
  const bool is_there = places_.contains(p);
  if (step.kind == ZEL_V6COMP_SLOT_WRITE) {
    return is_there == is_its_own ? "" : "written beside another copy";
  }
  const bool is_copy =
      step.from < slots_.size() && slots_[step.from] && slots_[step.from]->p == p && slots_[step.from]->key == step.key;
  return is_copy ? "" : "moved from where it is not";
}

// A row and those around it and inside it: is it ahead, is it behind?
std::string first_match_tcam::fault_of_order(const prefix &p) const {
  const auto own = places_.find(p);
  if (own == places_.end()) {
    return "";
  }
  for (unsigned length = 0; length < p.length; ++length) {
    const auto around = places_.find(p.cut(length));
    if (around != places_.end() && *around->second.begin() < *own->second.rbegin()) {
      return "stands behind " + text_of(around->first);
    }
  }
  for (auto inside = std::next(own); inside != places_.end() && p.contains(inside->first); ++inside) {
    if (*inside->second.rbegin() > *own->second.begin()) {
      return "stands ahead of " + text_of(inside->first);
    }
  }
  return "";
}

void first_match_tcam::put(const zel_v6comp_slot_step &step) {
  std::optional<entry> &slot = slots_[step.slot];
  if (slot) {
    const auto place = places_.find(slot->p);
    place->second.erase(step.slot);
    if (place->second.empty()) {
      places_.erase(place);
    }
    slot.reset();
  }
  if (step.kind != ZEL_V6COMP_SLOT_CLEAR) {
    slot = {prefix_of(step), step.key};
    places_[slot->p].insert(step.slot);
  }
}

std::string first_match_tcam::follow(std::span<const zel_v6comp_slot_step> steps) {
  std::string first;
  for (size_t i = 0; i < steps.size(); ++i) {
    std::string fault = fault_of_step(steps[i]);
    if (steps[i].slot < slots_.size()) {
      put(steps[i]);
    }
    fault = fault.empty() ? fault_of_order(prefix_of(steps[i])) : fault;
    faults_ += fault.empty() ? 0 : 1;
    if (first.empty() && !fault.empty()) {
      first = text_of(prefix_of(steps[i])) + ": " + fault + ", after step " + std::to_string(i) + " of " +
              std::to_string(steps.size());
    }
  }
  return first;
}

std::string first_match_tcam::difference(const std::vector<zel_v6comp_table_row> &rows) const {
  if (rows.size() != places_.size()) {
    return std::to_string(rows.size()) + " rows, " + std::to_string(places_.size()) + " in slots";
  }
  for (const zel_v6comp_table_row &row : rows) {
    const prefix p = table_model::prefix_of(row);
    const auto place = places_.find(p);
    if (place == places_.end() || place->second.size() != 1 || slots_[*place->second.begin()]->key != row.key) {
      return "another slot or key for " + text_of(p);
    }
  }
  return "";
}

std::optional<uint64_t> first_match_tcam::answer(tm_key_number address) const {
  for (const std::optional<entry> &slot : slots_) {
    if (slot && slot->p.contains({address, TM_KEY_BITS})) {
      return slot->key;
    }
  }
  return std::nullopt;
}

std::set<uint32_t> first_match_tcam::slots_of(const prefix &p) const {
  const auto place = places_.find(p);
  return place == places_.end() ? std::set<uint32_t>() : place->second;
}

}  // namespace table_model
