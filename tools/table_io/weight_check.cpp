// SPDX-License-Identifier: Apache-2.0
#include "weight_check.h"

#include <algorithm>
#include <map>
#include <set>

#include "prefix_text.h"

namespace v6tool {

namespace {

using weight_sums = std::map<ip_prefix, uint64_t>;

struct sum_place {
  uint64_t sum = 0;
  uint32_t line = 0;  // of the last row that it is made of
};

std::string place(const std::string &name, uint32_t line) { return name + ':' + std::to_string(line) + ": "; }

void add_fault(const std::string &name, uint32_t line, const ip_prefix &prefix, uint64_t sum, read_report &report) {
  const bool with_default = prefix.length == 0;
  report.faults.add(place(name, line) + format_prefix(prefix) + ": its weights add up to " + std::to_string(sum) +
                    (with_default ? ", and the library's own 1 makes that" : ",") +
                    " a multiple of 65536: the library would take the prefix for an anchor, and it would never "
                    "reach hardware");
}

// No sum can reach the modulus when all weights together do not: then nobody has to look at single prefixes.
bool any_sum_can_wrap(uint64_t all_weights) { return all_weights + 1 >= weight_modulus; }

uint64_t all_weights(const prefix_table &table) {
  uint64_t sum = 0;
  for (const table_row &row : table.rows) {
    sum += row.weight;
  }
  return sum;
}

uint64_t changed_weight(uint64_t before, const history_change &change) {
  return change.add ? before + change.weight : before - std::min<uint64_t>(before, change.weight);
}

}  // namespace

bool passes_for_anchor(const ip_prefix &prefix, uint64_t weight) {
  return weight != 0 && (weight + (prefix.length == 0 ? 1 : 0)) % weight_modulus == 0;
}

// Columns of other meaning are full of numbers above 1, or have numbers that are too large to count references.
void warn_of_weights(const prefix_table &table, read_report &report) {
  size_t above_1 = 0;
  const table_row *first = nullptr;
  const table_row *largest = nullptr;
  for (const table_row &row : table.rows) {
    if (row.weight > 1) {
      ++above_1;
      first = first == nullptr ? &row : first;
      largest = largest == nullptr || row.weight > largest->weight ? &row : largest;
    }
  }
  if (first == nullptr) {
    return;
  }
  const std::string advice =
      "; weights count references to a prefix: if these numbers are something else, AS numbers "
      "say, take them out";
  if (2 * above_1 > table.rows.size()) {
    report.warnings.add(place(table.name, first->line) + "the second column is read as weights, and " +
                        std::to_string(above_1) + " of " + std::to_string(table.rows.size()) + " are above 1" + advice);
  } else if (largest->weight >= weight_modulus) {
    report.warnings.add(place(table.name, largest->line) + std::to_string(largest->weight) + " is read as a weight" +
                        advice);
  }
}

bool check_weights(const prefix_table &table, read_report &report) {
  if (!any_sum_can_wrap(all_weights(table))) {
    return true;
  }
  std::map<ip_prefix, sum_place> sums;
  for (const table_row &row : table.rows) {
    sum_place &at = sums[row.prefix];
    at = {at.sum + row.weight, row.line};
  }
  bool good = true;
  for (const table_row &row : table.rows) {
    const sum_place &at = sums.at(row.prefix);
    if (at.line == row.line && passes_for_anchor(row.prefix, at.sum)) {
      add_fault(table.name, row.line, row.prefix, at.sum, report);
      good = false;
    }
  }
  return good;
}

bool check_weights(const prefix_table &table, const update_history &history, read_report &report) {
  uint64_t most = all_weights(table);
  for (const history_batch &batch : history.batches) {
    for (const history_change &change : batch) {
      most += change.add ? change.weight : 0;
    }
  }
  if (!any_sum_can_wrap(most)) {
    return true;
  }
  weight_sums sums;
  for (const table_row &row : table.rows) {
    sums[row.prefix] += row.weight;
  }
  bool good = true;
  for (const history_batch &batch : history.batches) {
    for (const history_change &change : batch) {
      uint64_t &sum = sums[change.prefix];
      sum = changed_weight(sum, change);
    }
    std::set<ip_prefix> told;
    for (auto change = batch.rbegin(); change != batch.rend(); ++change) {  // the last line that names a prefix
      const uint64_t sum = sums.at(change->prefix);
      if (passes_for_anchor(change->prefix, sum) && told.insert(change->prefix).second) {
        add_fault(history.name, change->line, change->prefix, sum, report);
        good = false;
      }
    }
  }
  return good;
}

}  // namespace v6tool
