// SPDX-License-Identifier: Apache-2.0
#include "agent_fixture.h"

#include <unistd.h>

#include <cstdlib>

namespace v6agent {

scratch_folder::scratch_folder() {
  // In memory where that is possible: hundreds of journals wait for their disk otherwise.
  const bool in_memory = access("/dev/shm", W_OK) == 0;
  std::string name = (in_memory ? "/dev/shm" : std::filesystem::temp_directory_path().string()) + "/v6agent.XXXXXX";
  EXPECT_NE(mkdtemp(name.data()), nullptr);
  path_ = name;
}

scratch_folder::~scratch_folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

namespace {

const lookup_value *longest(const switch_image &image, side table, ip_key address) {
  const lookup_value *best = nullptr;
  unsigned length = 0;
  for (const auto &[place, value] : image.lookups) {
    if (place.table == table && v6tool::covers(place.prefix, address) &&
        (best == nullptr || place.prefix.length >= length)) {
      best = &value;
      length = place.prefix.length;
    }
  }
  return best;
}

bool begins(uint64_t key, const code_match &match) { return (key & mask_of(match)) == match.code; }

}  // namespace

std::optional<verdict> verdict_of(const switch_image &image, ip_key source, ip_key destination) {
  const lookup_value *from = longest(image, side::source, source);
  const lookup_value *to = longest(image, side::destination, destination);
  if (from == nullptr || to == nullptr) {
    return std::nullopt;
  }
  for (auto rule = image.rules.rbegin(); rule != image.rules.rend(); ++rule) {
    if (begins(from->key, rule->first.source) && begins(to->key, rule->first.destination)) {
      return verdict{rule->second, to->egress};
    }
  }
  return std::nullopt;
}

verdict verdict_of(const packet_policy &policy, const std::map<ip_prefix, uint32_t> &routes, ip_key source,
                   ip_key destination) {
  verdict result;
  for (const policy_rule &rule : policy) {
    if (v6tool::covers(rule.source, source) && v6tool::covers(rule.destination, destination)) {
      result.action = rule.action;
      break;
    }
  }
  int length = -1;
  for (const auto &[prefix, egress] : routes) {
    if (prefix.length > length && v6tool::covers(prefix, destination)) {
      result.egress = egress;
      length = prefix.length;
    }
  }
  return result;
}

policy_rule rule_on(const ip_prefix &source, const ip_prefix &destination, rule_action action) {
  return {source, destination, {packet_match{}}, action};
}

table_operation adding(side table, const std::vector<ip_prefix> &prefixes, uint32_t word) {
  table_operation operation{operation_kind::apply, table, {}, {}};
  for (const ip_prefix &prefix : prefixes) {
    operation.changes.push_back(change_of(prefix, true, word));
  }
  return operation;
}

table_operation removing(side table, const std::vector<ip_prefix> &prefixes) {
  table_operation operation{operation_kind::apply, table, {}, {}};
  for (const ip_prefix &prefix : prefixes) {
    operation.changes.push_back(change_of(prefix, false, 0));
  }
  return operation;
}

namespace {

// The 400: /40 to /64 in steps of 3 bits, on few branches, so that they nest.
ip_prefix nth_prefix(std::mt19937 &random) {
  const unsigned length = 40 + 3 * static_cast<unsigned>(random() % 9);
  const uint64_t branch = random() % 48;
  const ip_key address{0x20010db800000000 | (branch * 0x9e3779b9 & 0xffffffff), 0};
  return {v6tool::masked(address, length), static_cast<uint8_t>(length)};
}

}  // namespace

table_batch random_batch(uint32_t number) {
  std::mt19937 random(number * 7919 + 1);
  table_batch batch;
  if (number == 0) {
    packet_policy policy{rule_on("2001:db8::/32"_p, ip_prefix{}, rule_action::permit),
                         rule_on(ip_prefix{}, "2001:db8::/32"_p, rule_action::deny),
                         rule_on(ip_prefix{}, ip_prefix{}, rule_action::permit)};
    for (const side which : both_sides) {
      const std::set<ip_prefix> prefixes = prefixes_of(policy, which);
      batch.push_back(adding(which, {prefixes.begin(), prefixes.end()}));
    }
    batch.push_back({operation_kind::policy, side::source, {}, policy});
    return batch;
  }
  for (const side which : both_sides) {
    table_operation come{operation_kind::apply, which, {}, {}};
    table_operation go = come;
    for (unsigned i = 0; i < 12; ++i) {
      const bool add = random() % 3 != 0;
      const auto egress = static_cast<uint32_t>(random() % 8);
      (add ? come : go).changes.push_back(change_of(nth_prefix(random), add, word_of(egress, true)));
    }
    batch.push_back(std::move(come));
    batch.push_back(std::move(go));
  }
  return batch;
}

}  // namespace v6agent
