// SPDX-License-Identifier: Apache-2.0
#include "room_check.h"

#include <utility>

#include "containment_check.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

std::vector<ip_prefix> codes_of(const std::vector<zel_v6comp_table_row> &rows) {
  std::vector<ip_prefix> codes;
  codes.reserve(rows.size());
  for (const zel_v6comp_table_row &row : rows) {
    codes.push_back(code_of(row));
  }
  return codes;
}

}  // namespace

room_check::room_check(const room_table &table, const stored_prefixes &stored)
    : table_(table), stored_(stored), rows_(table.rows()), codes_(codes_of(rows_)) {}

bool room_check::fail(std::string counterexample) {
  counterexample_ = std::move(counterexample);
  return false;
}

bool room_check::rows_are_right(const std::vector<ip_prefix> &stored_codes) {
  std::vector<compressed_row> compressed;
  compressed.reserve(rows_.size());
  for (const zel_v6comp_table_row &row : rows_) {
    const uint32_t at = stored_.find(prefix_of(row));
    if (at == prefix_forest::none || stored_.kinds[at] != prefix_kind::table) {
      return fail(format_prefix(prefix_of(row)) + ": a row of the library, and not of the table");
    }
    if (code_of(row) != stored_codes[at]) {
      return fail(format_prefix(prefix_of(row)) + ": the row has another code than the engine");
    }
    compressed.push_back({prefix_of(row), code_of(row), {row.key, 0}});
  }
  if (rows_.size() != stored_.n_table) {
    return fail("the library has " + std::to_string(rows_.size()) + " rows, the table has " +
                std::to_string(stored_.n_table));
  }
  counterexample_ = containment_counterexample(compressed);
  return counterexample_.empty();
}

bool room_check::probe(ip_key address) {
  const uint32_t expected = stored_.longest_table_match(address);
  const std::optional<zel_v6comp_table_row> found = table_.lookup(address);
  if (found.has_value() != (expected != prefix_forest::none) ||
      (found && prefix_of(*found) != stored_.prefixes[expected])) {
    return fail(format_address(address) + ": the first stage finds " +
                (found ? format_prefix(prefix_of(*found)) : "nothing") + ", the longest match is " +
                (expected == prefix_forest::none ? "nothing" : format_prefix(stored_.prefixes[expected])));
  }
  const uint64_t key = table_.translate(address);
  const uint32_t matched = codes_.longest_match({key, 0});
  const bool same = found ? matched != prefix_forest::none && prefix_of(rows_[matched]) == prefix_of(*found)
                          : matched == prefix_forest::none;
  if (!same || (found && key != found->key)) {
    return fail(
        format_address(address) + ": its key " + format_code_address({key, 0}) + " leads to " +
        (matched == prefix_forest::none ? "no code" : "the code of " + format_prefix(prefix_of(rows_[matched]))) +
        ", its longest match is " + (found ? format_prefix(prefix_of(*found)) : "nothing"));
  }
  return true;
}

bool room_check::edges_are_right() {
  for (const zel_v6comp_table_row &row : rows_) {
    const ip_key first = first_address(prefix_of(row));
    const ip_key last = last_address(prefix_of(row));
    for (const ip_key address : {previous_key(first), first, last, next_key(last)}) {
      if (!probe(address)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace v6tool
