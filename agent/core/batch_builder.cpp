// SPDX-License-Identifier: Apache-2.0
#include "batch_builder.h"

#include <map>
#include <set>
#include <utility>

#include "write_planner.h"

namespace v6agent {

namespace {

using changed_routes = std::map<ip_prefix, std::optional<uint32_t>>;

// The port of the longest route that covers a prefix, itself left out, when `changed` is done. 0: there is none.
uint32_t inherited_egress(const ip_prefix &prefix, const table_pair &tables, const changed_routes &changed) {
  for (int length = prefix.length - 1; length >= 0; --length) {
    const ip_prefix above{v6tool::masked(prefix.key, static_cast<unsigned>(length)), static_cast<uint8_t>(length)};
    if (const auto at = changed.find(above); at != changed.end()) {
      if (at->second) {
        return *at->second;
      }
      continue;
    }
    zel_v6comp_table_row row;
    if (tables.find(side::destination, above, row) && is_route(row.word)) {
      return egress_of(row.word);
    }
  }
  return 0;
}

// Prefixes of the policy inside changed routes, and not routes themselves when all is done.
std::set<ip_prefix> heirs_of(const changed_routes &changed, const std::set<ip_prefix> &asked_for,
                             const table_pair &tables) {
  std::set<ip_prefix> heirs;
  for (const auto &[route, egress] : changed) {
    for (auto at = asked_for.lower_bound(route); at != asked_for.end() && v6tool::contains(route, *at); ++at) {
      const auto own = changed.find(*at);
      zel_v6comp_table_row row;
      const bool will_be_route = own != changed.end() ? own->second.has_value()
                                                      : tables.find(side::destination, *at, row) && is_route(row.word);
      if (!will_be_route) {
        heirs.insert(*at);
      }
    }
  }
  return heirs;
}

struct two_operations {
  table_operation come;
  table_operation go;

  explicit two_operations(side which)
      : come{operation_kind::apply, which, {}, {}}, go{operation_kind::apply, which, {}, {}} {}

  // Unless the table has it so already.
  void add(const table_pair &tables, const ip_prefix &prefix, uint32_t word) {
    zel_v6comp_table_row row;
    if (!tables.find(come.table, prefix, row) || row.word != word) {
      come.changes.push_back(change_of(prefix, true, word));
    }
  }
  void remove(const table_pair &tables, const ip_prefix &prefix) {
    zel_v6comp_table_row row;
    if (tables.find(go.table, prefix, row)) {
      go.changes.push_back(change_of(prefix, false, 0));
    }
  }
};

void append(table_batch &batch, table_operation operation) {
  if (!operation.changes.empty()) {
    batch.push_back(std::move(operation));
  }
}

}  // namespace

table_batch batch_for_routes(std::span<const route_change> changes, const table_pair &tables,
                             const packet_policy &policy) {
  changed_routes changed;
  for (const route_change &change : changes) {
    changed.insert_or_assign(change.prefix, change.egress);
  }
  const std::set<ip_prefix> asked_for = prefixes_of(policy, side::destination);
  two_operations destination(side::destination);
  for (const auto &[prefix, egress] : changed) {
    if (egress) {
      destination.add(tables, prefix, word_of(*egress, true));
    } else if (!asked_for.contains(prefix)) {
      destination.remove(tables, prefix);
    }
  }
  for (const ip_prefix &heir : heirs_of(changed, asked_for, tables)) {
    destination.add(tables, heir, word_of(inherited_egress(heir, tables, changed), false));
  }
  table_batch batch;
  append(batch, std::move(destination.come));
  append(batch, std::move(destination.go));
  return batch;
}

table_batch batch_for_policy(const packet_policy &before, const packet_policy &after, const table_pair &tables) {
  table_batch batch;
  table_batch last;
  for (const side which : both_sides) {
    const std::set<ip_prefix> old_prefixes = prefixes_of(before, which);
    const std::set<ip_prefix> new_prefixes = prefixes_of(after, which);
    two_operations operations(which);
    for (const ip_prefix &prefix : new_prefixes) {
      zel_v6comp_table_row row;
      if (!tables.find(which, prefix, row)) {
        const uint32_t egress = which == side::destination ? inherited_egress(prefix, tables, {}) : 0;
        operations.add(tables, prefix, word_of(egress, false));
      }
    }
    for (const ip_prefix &prefix : old_prefixes) {
      zel_v6comp_table_row row;
      if (!new_prefixes.contains(prefix) && tables.find(which, prefix, row) && !is_route(row.word)) {
        operations.remove(tables, prefix);
      }
    }
    append(batch, std::move(operations.come));
    append(last, std::move(operations.go));
  }
  if (before != after) {
    batch.push_back({operation_kind::policy, side::source, {}, after});
  }
  for (table_operation &operation : last) {
    batch.push_back(std::move(operation));
  }
  return batch;
}

}  // namespace v6agent
