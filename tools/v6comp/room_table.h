// SPDX-License-Identifier: Apache-2.0
// room_table.h - a table of the library (zel_v6comp_table.h) in the tool's own values, closed at its end.
#ifndef ROOM_TABLE_H
#define ROOM_TABLE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "prefix_value.h"
#include "tool_options.h"
#include "zel_v6comp_table.h"

namespace v6tool {

struct table_change {
  ip_prefix prefix;
  bool add = true;
};

// What became of a load, an apply or a compact. The writes are the table's, until its next change.
struct table_outcome : zel_v6comp_table_outcome {
  double ms = 0;  // inside the library

  bool accepted() const { return status == ZEL_V6COMP_TABLE_OK; }
  std::span<const zel_v6comp_table_write> all_writes() const { return {writes, n_writes}; }
};

class room_table {
 public:
  // Opens it in the instance that the options name. The first one starts the library, with pools for that many
  // prefixes unless --pool-elements says otherwise. Throws what went wrong, in words.
  //   move_limit   most stored prefixes that an apply may move; nothing: any number
  room_table(const common_options &options, size_t expected_prefixes, std::optional<uint32_t> move_limit = {});
  ~room_table() { zel_v6comp_table_close(table_); }
  room_table(const room_table &) = delete;
  room_table &operator=(const room_table &) = delete;

  table_outcome load(std::span<const ip_prefix> prefixes);
  table_outcome apply(std::span<const table_change> changes);
  table_outcome compact();

  // Nothing: there is none.
  std::optional<zel_v6comp_table_row> find(const ip_prefix &prefix) const;
  std::optional<zel_v6comp_table_row> lookup(ip_key address) const;

  // The key that stage 1 gives for an address, whether a prefix covers it or not.
  uint64_t translate(ip_key address) const;

  // Let lookup and translate go by the read index until the next change; without memory for it, they go by the tries.
  void index() const { zel_v6comp_table_index(table_); }

  // By address, containing prefixes first.
  std::vector<zel_v6comp_table_row> rows() const;

  zel_v6comp_table_stats_record figures() const;

  // For calls of the library.
  const zel_v6comp_table *handle() const { return table_; }

 private:
  zel_v6comp_table *table_ = nullptr;
};

// Of the library's records: rows, writes.
template <class Record>
ip_prefix code_of(const Record &record) requires requires {
  record.code_length;
}
{ return {{record.code, 0}, record.code_length}; }

}  // namespace v6tool

#endif
