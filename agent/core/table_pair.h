// SPDX-License-Identifier: Apache-2.0
// table_pair.h - the library's two tables: prefixes of source addresses, and of destination addresses.
#ifndef TABLE_PAIR_H
#define TABLE_PAIR_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "switch_entries.h"
#include "zel_v6comp_table.h"

namespace v6agent {

struct table_limits {
  uint32_t expected_prefixes = 262144;  // of both tables together
  uint32_t move_limit = 0;              // most prefixes that one change may move; 0 = no limit
};

// In the order of the library's figures.
constexpr const char *pool_names[ZEL_V6COMP_TABLE_POOLS] = {"tree_nodes", "tree_data", "prefix_data", "path_data",
                                                            "trie_nodes"};

class table_pair {
 public:
  // Throws std::runtime_error when the library cannot open them.
  explicit table_pair(const table_limits &limits);
  ~table_pair();
  table_pair(const table_pair &) = delete;
  table_pair &operator=(const table_pair &) = delete;

  // Empty tables again, as if the process had begun anew.
  void reset();

  // The library's answer; `outcome` has the reason and the writes.
  int32_t apply(side which, std::span<const zel_v6comp_table_change> changes, zel_v6comp_table_outcome &outcome);
  int32_t load(side which, std::span<const zel_v6comp_table_prefix> prefixes, zel_v6comp_table_outcome &outcome);
  int32_t compact(side which, zel_v6comp_table_outcome &outcome);

  bool find(side which, const ip_prefix &prefix, zel_v6comp_table_row &row) const;
  bool lookup(side which, ip_key address, zel_v6comp_table_row &row) const;
  void visit_rows(side which, const std::function<void(const zel_v6comp_table_row &)> &visit) const;
  zel_v6comp_table_stats_record figures(side which) const;

  // Would a load of these prefixes, all that the table holds, give the codes and keys that it has now? Takes the pools
  // for a third table while it tries.
  bool loads_alike(side which, std::span<const zel_v6comp_table_prefix> prefixes) const;

 private:
  zel_v6comp_table *&table(side which) { return tables_[static_cast<int>(which)]; }
  const zel_v6comp_table *table(side which) const { return tables_[static_cast<int>(which)]; }
  void open();
  void close();

  table_limits limits_;
  zel_v6comp_table *tables_[2] = {nullptr, nullptr};
};

// Records of the library as values, and back.
ip_prefix prefix_of(const uint8_t address[16], uint8_t length);
zel_v6comp_table_change change_of(const ip_prefix &prefix, bool add, uint32_t word);

}  // namespace v6agent

#endif
