// SPDX-License-Identifier: Apache-2.0
// plan_fixture.h - tables for plans, written as text or made at random.
#ifndef PLAN_FIXTURE_H
#define PLAN_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "plan.h"
#include "plan_simulation.h"
#include "prefix_text.h"

namespace v6tool {

inline first_stage_row row(const std::string &text, uint64_t result) {
  first_stage_row made;
  const std::string problem = parse_prefix(text, made.prefix);
  EXPECT_EQ(problem, "") << text;
  made.result = result;
  return made;
}

// "insert 2001:db8::/32 at 5", "move ::/0 from 3 to 5", "remove ... at 2 early"
inline std::string text_of(const plan_step &step) {
  std::string text = std::string(step_name(step.kind)) + " " + format_prefix(step.row.prefix);
  text += step.kind == step_kind::move ? " from " + std::to_string(step.from) + " to " : " at ";
  text += std::to_string(step.slot);
  return step.early ? text + " early" : text;
}

inline std::vector<std::string> texts_of(const hardware_plan &plan) {
  std::vector<std::string> texts;
  for (const plan_step &step : plan.steps) {
    texts.push_back(text_of(step));
  }
  return texts;
}

using rows = std::vector<first_stage_row>;

// Few bits and any length up to them: deep chains, crowded siblings.
inline rows random_table(std::mt19937 &random, uint32_t most_rows, unsigned bits) {
  std::map<ip_prefix, uint64_t> table;
  for (uint32_t n = static_cast<uint32_t>(random() % (most_rows + 1)); n > 0; --n) {
    ip_prefix prefix;
    prefix.length = static_cast<uint8_t>(random() % (bits + 1));
    prefix.key = masked({uint64_t{random()} << 32, 0}, prefix.length);
    table[prefix] = random() % 3;
  }
  rows made;
  for (const auto &[prefix, result] : table) {
    made.push_back({prefix, result});
  }
  std::shuffle(made.begin(), made.end(), random);
  return made;
}

// Some rows gone, some changed, some new.
inline rows changed(std::mt19937 &random, const rows &table, unsigned bits) {
  std::map<ip_prefix, uint64_t> result;
  for (const first_stage_row &r : random_table(random, static_cast<uint32_t>(table.size() / 3 + 1), bits)) {
    result[r.prefix] = r.result;
  }
  for (const first_stage_row &r : table) {
    if (random() % 4 != 0) {
      result[r.prefix] = random() % 4 != 0 ? r.result : r.result + 10;
    }
  }
  rows made;
  for (const auto &[prefix, value] : result) {
    made.push_back({prefix, value});
  }
  return made;
}

}  // namespace v6tool

#endif
