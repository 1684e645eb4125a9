// SPDX-License-Identifier: Apache-2.0
// agent_fixture.h - what tests of the agent share: a folder of their own, a switch in memory that can be told to
// refuse, random batches, and a check of an image by brute force.
#ifndef AGENT_FIXTURE_H
#define AGENT_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "batch_journal.h"
#include "prefix_text.h"
#include "switch_driver.h"
#include "switch_engine.h"

namespace v6agent {

inline ip_prefix operator""_p(const char *text, size_t length) {
  ip_prefix prefix;
  EXPECT_EQ(v6tool::parse_prefix({text, length}, prefix), "");
  return prefix;
}

inline ip_key operator""_a(const char *text, size_t length) {
  ip_key address;
  EXPECT_TRUE(v6tool::parse_address({text, length}, address));
  return address;
}

// A folder that goes with the test.
class scratch_folder {
 public:
  scratch_folder();
  ~scratch_folder();
  scratch_folder(const scratch_folder &) = delete;
  scratch_folder &operator=(const scratch_folder &) = delete;
  std::string file(const std::string &name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

class memory_driver final : public switch_driver {
 public:
  driver_answer write(const switch_step &step) override {
    const size_t here = steps++;
    const driver_answer answer = before_step(here);
    if (answer.status == driver_status::done) {
      for (const switch_write &write : step) {
        apply_write(held, write);
        after_write(write);
      }
      writes += step.size();
    }
    return answer;
  }
  driver_answer read(switch_image &image) override {
    ++readings;
    image = held;
    return reading;
  }
  driver_answer count(std::optional<size_t> &entries) override {
    entries = counts ? std::optional(held.lookups.size() + held.rules.size()) : std::nullopt;
    return reading;
  }

  switch_image held;
  driver_answer reading;
  bool counts = true;
  size_t readings = 0;
  size_t steps = 0;
  size_t writes = 0;
  std::function<driver_answer(size_t step)> before_step = [](size_t) { return driver_answer{}; };
  std::function<void(const switch_write &)> after_write = [](const switch_write &) {};
};

// What a packet meets.
struct verdict {
  rule_action action = rule_action::deny;
  uint32_t egress = 0;
  auto operator<=>(const verdict &) const = default;
};

// By the image of a switch: longest matches, then the rule of the highest rank. None: an address meets no entry.
std::optional<verdict> verdict_of(const switch_image &image, ip_key source, ip_key destination);

// By prefixes and rules of 128 bits: the first rule that covers both, the longest route.
verdict verdict_of(const packet_policy &policy, const std::map<ip_prefix, uint32_t> &routes, ip_key source,
                   ip_key destination);

policy_rule rule_on(const ip_prefix &source, const ip_prefix &destination, rule_action action);

table_operation adding(side table, const std::vector<ip_prefix> &prefixes, uint32_t word = 0);
table_operation removing(side table, const std::vector<ip_prefix> &prefixes);

// Batches that anybody can make again: batch `number` changes some of the 400 prefixes that nest under 2001:db8::/32.
// Batch 0 also puts a policy in force.
table_batch random_batch(uint32_t number);

}  // namespace v6agent

#endif
