// SPDX-License-Identifier: Apache-2.0
// Shortest first takes a request per length. The anchors of a new prefix (its cuts at 32, 48, 64 and 96 bits) would
// still come after it, being shorter records of the same request; so those that are new are sent ahead, as records of
// weight 0: such a record stands for an anchor and holds nothing.
#include "batch_policy.h"

#include <algorithm>
#include <map>
#include <set>

#include "stored_prefixes.h"

namespace v6tool {

namespace {

request_rows_list in_one(std::span<const request_row> batch) { return {{batch.begin(), batch.end()}}; }

void append_deletes(std::span<const request_row> batch, request_rows_list &requests) {
  std::vector<request_row> deletes;
  std::copy_if(batch.begin(), batch.end(), std::back_inserter(deletes), [](const request_row &r) { return !r.add; });
  if (!deletes.empty()) {
    requests.push_back(std::move(deletes));
  }
}

void append_deletes_first(std::span<const request_row> batch, request_rows_list &requests) {
  append_deletes(batch, requests);
  std::vector<request_row> adds;
  std::copy_if(batch.begin(), batch.end(), std::back_inserter(adds), [](const request_row &r) { return r.add; });
  if (!adds.empty()) {
    requests.push_back(std::move(adds));
  }
}

void append_shortest_first(std::span<const request_row> batch, request_rows_list &requests) {
  append_deletes(batch, requests);
  std::map<uint8_t, std::vector<request_row>> by_length;
  std::set<ip_prefix> anchors;
  for (const request_row &row : batch) {
    if (!row.add) {
      continue;
    }
    by_length[row.prefix.length].push_back(row);
    for (const uint8_t length : anchor_lengths()) {
      const ip_prefix anchor = {masked(row.prefix.key, length), length};
      if (row.prefix.length > length && anchors.insert(anchor).second) {
        by_length[length].push_back({anchor, 0, true});
      }
    }
  }
  for (auto &[length, rows] : by_length) {
    requests.push_back(std::move(rows));
  }
}

// A delete that follows an addition of the same prefix must not overtake it: there the batch is cut.
template <class Append>
request_rows_list in_parts(std::span<const request_row> batch, Append append) {
  request_rows_list requests;
  std::set<ip_prefix> added;
  size_t begin = 0;
  for (size_t i = 0; i < batch.size(); ++i) {
    if (batch[i].add) {
      added.insert(batch[i].prefix);
    } else if (added.contains(batch[i].prefix)) {
      append(batch.subspan(begin, i - begin), requests);
      added.clear();
      begin = i;
    }
  }
  append(batch.subspan(begin), requests);
  return requests;
}

request_rows_list deletes_first(std::span<const request_row> batch) { return in_parts(batch, append_deletes_first); }
request_rows_list shortest_first(std::span<const request_row> batch) { return in_parts(batch, append_shortest_first); }

constexpr batch_policy policies[] = {
    {"plain", in_one, nullptr},
    {"deletes-first", deletes_first, nullptr},
    {"split", in_one, shortest_first},
    {"shortest-first", shortest_first, nullptr},
};

}  // namespace

const batch_policy *find_policy(const std::string &name) {
  const auto *found =
      std::find_if(std::begin(policies), std::end(policies), [&](const batch_policy &p) { return p.name == name; });
  return found == std::end(policies) ? nullptr : found;
}

const batch_policy &default_policy() { return *find_policy("shortest-first"); }

std::string policy_names() {
  std::string names;
  for (const batch_policy &p : policies) {
    names += names.empty() ? "" : "|";
    names += p.name;
  }
  return names;
}

std::vector<request_row> rows_of_batch(const history_batch &batch) {
  std::vector<request_row> rows;
  rows.reserve(batch.size());
  for (const history_change &change : batch) {
    rows.push_back({change.prefix, change.weight, change.add});
  }
  return rows;
}

}  // namespace v6tool
