// SPDX-License-Identifier: Apache-2.0
#include "weighted_table.h"

#include <fmt/core.h>

#include <algorithm>

#include "prefix_text.h"

namespace v6tool {

namespace {

// Follows a batch change by change. `visit` is told of each with the weight before it.
template <class Visit>
weighted_table::weights follow(const weighted_table &table, const history_batch &batch, Visit visit) {
  weighted_table::weights touched;
  for (const history_change &change : batch) {
    const auto [at, is_first] = touched.try_emplace(change.prefix, 0);
    if (is_first) {
      at->second = table.weight_of(change.prefix);
    }
    visit(change, at->second);
    at->second = weight_after(at->second, change);
  }
  return touched;
}

}  // namespace

uint64_t weight_after(uint64_t before, const history_change &change) {
  return change.add ? before + change.weight : before - std::min<uint64_t>(before, change.weight);
}

weighted_table::weighted_table(const prefix_table &table) {
  for (const table_row &row : table.rows) {
    owned_[row.prefix] += row.weight;
  }
}

uint64_t weighted_table::weight_of(const ip_prefix &prefix) const {
  const auto found = owned_.find(prefix);
  return found == owned_.end() ? 0 : found->second;
}

prefix_table weighted_table::table() const {
  prefix_table result;
  result.rows.reserve(owned_.size());
  for (const auto &[prefix, weight] : owned_) {
    result.rows.push_back({prefix, static_cast<uint32_t>(weight), 0});  // compatible mode keeps 16 bits of a sum
  }
  return result;
}

weighted_table::weights weighted_table::after(const history_batch &batch, change_counts &counts) const {
  return follow(*this, batch, [&](const history_change &change, uint64_t before) {
    ++(change.add ? counts.adds : counts.deletes);
    counts.present += change.add && before != 0 ? 1 : 0;
    counts.absent += !change.add && before == 0 ? 1 : 0;
  });
}

std::vector<held_delete> weighted_table::held(const history_batch &batch, const weights &after) const {
  std::vector<held_delete> held;
  follow(*this, batch, [&](const history_change &change, uint64_t before) {
    if (!change.add && before > change.weight && after.at(change.prefix) != 0) {
      held.push_back({change.prefix, change.line, change.weight, before});
    }
  });
  return held;
}

std::string weighted_table::excess_in(const history_batch &batch) const {
  std::string reason;
  follow(*this, batch, [&](const history_change &change, uint64_t before) {
    if (reason.empty() && !change.add && before != 0 && change.weight > before) {
      reason = fmt::format("{} would be deleted with a weight of {}, it has {}", format_prefix(change.prefix),
                           change.weight, before);
    }
  });
  return reason;
}

void weighted_table::take_over(const weights &after) {
  for (const auto &[prefix, weight] : after) {
    if (weight == 0) {
      owned_.erase(prefix);
    } else {
      owned_[prefix] = weight;
    }
  }
}

std::vector<ip_prefix> prefixes_of_history(const prefix_table &table, const update_history &history) {
  prefix_table all = table;
  for (const history_batch &batch : history.batches) {
    for (const history_change &change : batch) {
      all.rows.push_back({change.prefix, 1, 0});
    }
  }
  return distinct_prefixes(all);
}

}  // namespace v6tool
