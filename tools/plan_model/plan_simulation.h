// SPDX-License-Identifier: Apache-2.0
// plan_simulation.h - drive a plan through a model TCAM and look for answers that nobody ordered.
#ifndef PLAN_SIMULATION_H
#define PLAN_SIMULATION_H

#include <cstdint>
#include <span>
#include <string>

#include "plan.h"

namespace v6tool {

struct simulation_result {
  uint32_t probes = 0;         // addresses watched: first, last and both neighbours of every prefix of both tables
  uint32_t steps = 0;          // steps applied
  uint64_t looked_up = 0;      // lookups in the model
  uint64_t third_answers = 0;  // probes, summed over the steps, whose answer neither table gives
  bool arrived = false;        // all probes end with the new table's answer
  std::string first_fault;     // the first third answer, in words; "" when there is none
};

enum class probing : uint8_t {
  affected,  // after each step, look up only the probes whose answer the step can have changed
  all        // after each step, look up every probe by walking the slots
};

// Between two neighbouring edges of prefixes all addresses have the same answers, so the probes miss nothing.
simulation_result simulate_plan(std::span<const first_stage_row> old_rows, std::span<const uint32_t> old_layout,
                                std::span<const first_stage_row> new_rows, uint32_t slots, const hardware_plan &plan,
                                probing how = probing::affected);

}  // namespace v6tool

#endif
