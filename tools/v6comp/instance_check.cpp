// SPDX-License-Identifier: Apache-2.0
#include "instance_check.h"

#include <fmt/core.h>

#include <optional>
#include <utility>

#include "dump_check.h"
#include "prefix_text.h"

namespace v6tool {

instance_check::instance_check(const engine_view &view, const stored_prefixes &stored) : view_(view), stored_(stored) {
  rows_.reserve(stored.prefixes.size());
  for (const ip_prefix &prefix : stored.prefixes) {
    const std::optional<translation> result = view.translate(prefix);
    if (!result) {
      fail("the library does not find " + format_prefix(prefix) + ", which it was given");
      return;
    }
    rows_.push_back({prefix, result->code, result->address});
  }
}

bool instance_check::fail(std::string counterexample) {
  counterexample_ = std::move(counterexample);
  return false;
}

bool instance_check::codes_are_right() {
  if (rows_.size() == stored_.prefixes.size()) {
    counterexample_ = containment_counterexample(rows_);
  }
  return counterexample_.empty();
}

bool instance_check::dump_is_right() {
  std::vector<ip_prefix> dumped;
  for (const dump_row &row : view_.dump()) {
    const uint32_t at = stored_.find(row.prefix);
    if (at != prefix_forest::none && row.result != translation{rows_[at].code, rows_[at].address}) {
      return fail(format_prefix(row.prefix) + ": the dump gives other results than the lookup");
    }
    dumped.push_back(row.prefix);
  }
  counterexample_ = dump_counterexample(std::move(dumped), stored_);
  return counterexample_.empty();
}

bool instance_check::probe(ip_key address) {
  ++lookups_;
  const std::optional<address_answer> found = view_.find(address);
  const uint32_t expected = stored_.forest.longest_match(address);
  if (!found) {
    return fail(format_address(address) + ": the lookup finds nothing");
  }
  const compressed_row &row = rows_[expected];
  if (found->match != row.original) {
    return fail(format_address(address) + ": the lookup finds " + format_prefix(found->match) +
                ", the longest match is " + format_prefix(row.original));
  }
  if (found->result.code != row.code || found->result.address != row.address) {
    return fail(format_address(address) + ": the lookup gives other results than that of " +
                format_prefix(row.original));
  }
  return true;
}

bool instance_check::edges_are_right() {
  for (const ip_prefix &prefix : stored_.prefixes) {
    const ip_key first = first_address(prefix);
    const ip_key last = last_address(prefix);
    for (const ip_key address : {previous_key(first), first, last, next_key(last)}) {
      if (!probe(address)) {
        return false;
      }
    }
  }
  return true;
}

bool instance_check::is_right() {
  if (!codes_are_right() || !dump_is_right() || !edges_are_right()) {
    return false;
  }
  return view_.count_stored() == stored_.prefixes.size() ||
         fail(fmt::format("the library stores {} prefixes, {} are expected", view_.count_stored(),
                          stored_.prefixes.size()));
}

std::vector<ip_prefix> instance_check::codes() const {
  std::vector<ip_prefix> codes;
  codes.reserve(rows_.size());
  for (const compressed_row &row : rows_) {
    codes.push_back(row.code);
  }
  return codes;
}

}  // namespace v6tool
