// SPDX-License-Identifier: Apache-2.0
// first_match_tcam.h - a model of a TCAM whose first matching slot wins, which follows steps and looks at each of them.
#ifndef FIRST_MATCH_TCAM_H
#define FIRST_MATCH_TCAM_H

#include <optional>

#include "two_stage_hardware.h"
#include "zel_v6comp_plan.h"

namespace table_model {

// What it checks holds for every address, because it holds for every pair of rows: each copy of a row stands ahead of
// every copy of the rows around it. So the first match is the longest, and a row that is there is never missed.
class first_match_tcam {
 public:
  explicit first_match_tcam(uint32_t slots) : slots_(slots) {}

  // Follow the steps of one call to their end. Returns what was wrong first, or "".
  std::string follow(std::span<const zel_v6comp_slot_step> steps);

  // Does it hold exactly these rows, each once? Returns the first difference, or "".
  std::string difference(const std::vector<zel_v6comp_table_row> &rows) const;

  // What the first matching slot answers; walks the slots, as hardware would if it had the time.
  std::optional<uint64_t> answer(tm_key_number address) const;

  size_t size() const { return slots_.size(); }

  // The slots that hold a prefix.
  std::set<uint32_t> slots_of(const prefix &p) const;

  // Steps since the start after which something was wrong.
  uint64_t faults() const { return faults_; }

 private:
  struct entry {
    prefix p;
    uint64_t key = 0;
  };

  std::string fault_of_step(const zel_v6comp_slot_step &step) const;
  std::string fault_of_order(const prefix &p) const;
  void put(const zel_v6comp_slot_step &step);

  std::vector<std::optional<entry>> slots_;
  std::map<prefix, std::set<uint32_t>> places_;
  uint64_t faults_ = 0;
};

}  // namespace table_model

#endif
