// SPDX-License-Identifier: Apache-2.0
// two_stage_hardware.h - a model of both stages that follows writes and looks at each of them.
#ifndef TWO_STAGE_HARDWARE_H
#define TWO_STAGE_HARDWARE_H

#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "tm_key.h"
#include "zel_v6comp_table.h"

namespace table_model {

struct prefix {
  tm_key_number address = 0;
  unsigned length = 0;
  auto operator<=>(const prefix &) const = default;
  bool contains(const prefix &other) const {
    return length <= other.length &&
           ((address ^ other.address) & tm_key_number_leading(static_cast<int32_t>(length))) == 0;
  }
  prefix cut(unsigned to) const { return {address & tm_key_number_leading(static_cast<int32_t>(to)), to}; }
};

std::string text_of(const prefix &p);
prefix prefix_of(const zel_v6comp_table_row &row);

// What it checks holds for every address, because it holds for every entry:
//   an entry's key begins with codes of prefixes around it only; with one of its own; and with one of each prefix
//   around it that both tables hold. An entry comes when all new ones inside it are there, and goes when all that are
//   to go around it are gone: so the longest match is the old or the new table's.
class two_stage_hardware {
 public:
  // Follow the writes of one change to their end. Returns what was wrong first, or "".
  std::string follow(std::span<const zel_v6comp_table_write> writes);

  // Writes since the start after which something was wrong.
  uint64_t faults() const { return faults_; }

  // The same for writes that are not safe one by one: only where they lead to.
  void follow_blindly(std::span<const zel_v6comp_table_write> writes);

  // Does it hold exactly these rows? Returns the first difference, or "".
  std::string difference(const std::vector<zel_v6comp_table_row> &rows) const;

  size_t entries() const { return keys_.size(); }

 private:
  using code = std::pair<uint64_t, unsigned>;

  struct change_of_table {
    std::set<prefix> added, removed;
  };

  static change_of_table summary(std::span<const zel_v6comp_table_write> writes);
  void put(const zel_v6comp_table_write &write);
  std::string fault_after(const zel_v6comp_table_write &write, const change_of_table &change) const;
  std::string fault_of_key(const prefix &p, uint64_t key, const change_of_table &change) const;
  std::string fault_of_match(const prefix &p, const change_of_table &change) const;
  std::string fault_of_detail(const prefix &p, const change_of_table &change) const;
  std::string fault_below(const code &c, const prefix &q, const change_of_table &change) const;
  bool matches(const prefix &rule, uint64_t key) const;

  uint64_t faults_ = 0;
  std::map<prefix, uint64_t> keys_;
  std::map<uint64_t, std::set<prefix>> by_key_;
  std::map<prefix, std::set<code>> codes_;
  std::map<code, std::set<prefix>> by_code_;
};

}  // namespace table_model

#endif
