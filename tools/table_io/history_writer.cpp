// SPDX-License-Identifier: Apache-2.0
#include "history_writer.h"

#include <algorithm>
#include <map>

#include "prefix_text.h"

namespace v6tool {

namespace {

struct weight_pair {
  uint64_t before = 0;
  uint64_t after = 0;
};

void append_change(history_batch &changes, const ip_prefix &prefix, bool add, uint64_t weight) {
  for (uint64_t left = weight; left != 0;) {
    const auto part = static_cast<uint32_t>(std::min<uint64_t>(left, UINT32_MAX));
    changes.push_back({prefix, part, add, 0});
    left -= part;
  }
}

}  // namespace

std::string format_history(const update_history &history) {
  std::string text;
  for (const history_batch &batch : history.batches) {
    for (const history_change &change : batch) {
      text += change.add ? '+' : '-';
      text += format_prefix(change.prefix);
      text += change.weight == 1 ? "" : ' ' + std::to_string(change.weight);
      text += '\n';
    }
    text += "---\n";
  }
  return text;
}

history_batch difference_of_tables(const prefix_table &old_table, const prefix_table &new_table) {
  std::map<ip_prefix, weight_pair> weights;
  for (const table_row &row : old_table.rows) {
    weights[row.prefix].before += row.weight;
  }
  for (const table_row &row : new_table.rows) {
    weights[row.prefix].after += row.weight;
  }
  history_batch changes;
  for (const auto &[prefix, weight] : weights) {
    const bool add = weight.after > weight.before;
    append_change(changes, prefix, add, add ? weight.after - weight.before : weight.before - weight.after);
  }
  return changes;
}

}  // namespace v6tool
