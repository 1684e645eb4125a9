// SPDX-License-Identifier: Apache-2.0
#include "update_rounds.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "library_use.h"

namespace v6bench {

namespace {

constexpr int rehearsals = 3;

bool apply(const v6tool::ip_prefix *first, size_t n, change what) { return request(first, n, what).run() == 0; }

// Candidates that are added and removed one by one, in this order.
prefix_list accepted_alone(const request &table, const prefix_list &candidates) {
  load(table);
  prefix_list accepted;
  for (const v6tool::ip_prefix &prefix : candidates) {
    if (!apply(&prefix, 1, change::add)) {
      load(table);
      for (const v6tool::ip_prefix &before : accepted) {
        apply(&before, 1, change::add);
      }
      continue;
    }
    accepted.push_back(prefix);
  }
  return accepted;
}

struct refusal {
  size_t batch;  // the first batch that was refused, or the number of batches
  change what;
};

// A round as it is measured: all batches added, then all removed.
refusal first_refused(const prefix_list &changes, size_t batch) {
  const size_t n_batches = changes.size() / batch;
  for (const change what : {change::add, change::remove}) {
    for (size_t i = 0; i < n_batches; ++i) {
      if (!apply(&changes[i * batch], batch, what)) {
        return {i, what};
      }
    }
  }
  return {n_batches, change::add};
}

refusal first_refused_of_rounds(const request &table, const prefix_list &changes, size_t batch) {
  load(table);
  refusal first = {changes.size() / batch, change::add};
  for (int round = 0; round < rehearsals && first.batch == changes.size() / batch; ++round) {
    first = first_refused(changes, batch);
  }
  return first;
}

bool accepted_with(const request &table, const prefix_list &changes, size_t batch, size_t at, size_t n) {
  load(table);
  for (size_t i = 0; i < at; ++i) {
    apply(&changes[i * batch], batch, change::add);
  }
  return apply(&changes[at * batch], n, change::add);
}

// Drop the prefix with which the batch is first refused; the whole batch, when it is not the additions alone.
void drop_from_batch(const request &table, prefix_list &changes, size_t batch, refusal at) {
  const auto first = changes.begin() + static_cast<std::ptrdiff_t>(at.batch * batch);
  if (at.what == change::remove || accepted_with(table, changes, batch, at.batch, batch)) {
    changes.erase(first, first + static_cast<std::ptrdiff_t>(batch));
    return;
  }
  size_t accepted = 0;
  size_t refused = batch;
  while (refused - accepted > 1) {
    const size_t n = accepted + (refused - accepted) / 2;
    (accepted_with(table, changes, batch, at.batch, n) ? accepted : refused) = n;
  }
  changes.erase(first + static_cast<std::ptrdiff_t>(refused - 1));
}

update_set search(size_t n, size_t most, size_t batch) {
  split_table split = real_table_with_others(n, most + most / 2);
  const request table(split.table);
  prefix_list candidates = accepted_alone(table, split.others);
  update_set set = {std::move(split.table), {}};
  for (;;) {
    const size_t wanted = std::min(most, candidates.size()) / batch * batch;
    set.changes.assign(candidates.begin(), candidates.begin() + static_cast<std::ptrdiff_t>(wanted));
    const refusal at = first_refused_of_rounds(table, set.changes, batch);
    if (at.batch == wanted / batch) {
      return set;
    }
    drop_from_batch(table, candidates, batch, at);
  }
}

}  // namespace

const update_set &find_updates(size_t n, size_t most, size_t batch) {
  static std::map<std::tuple<size_t, size_t, size_t, uint32_t, uint32_t>, update_set> found;
  const auto key = std::make_tuple(n, most, batch, zel_v6comp_safe_updates(), zel_v6comp_room());
  auto at = found.find(key);
  if (at == found.end()) {
    at = found.emplace(key, search(n, most, batch)).first;
  }
  return at->second;
}

}  // namespace v6bench
