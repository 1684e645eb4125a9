// SPDX-License-Identifier: Apache-2.0
// table_builder.h - what readers of formats fill: rows of a table, its faults and its warnings.
#ifndef TABLE_BUILDER_H
#define TABLE_BUILDER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "prefix_value.h"
#include "table_line.h"
#include "table_report.h"

namespace v6tool {

// What it means when a prefix stands in a file again.
enum class repeats {
  add_up,    // weights of one prefix: a row each, and a warning
  are_paths  // ways to one destination: one row
};

// How a table is to be read; table_reader.h has what a caller says.
struct build_rules {
  size_t max_rows = SIZE_MAX;
  bool clear_host_bits = false;
  size_t skip_bad = 0;    // bad lines that are left out before they make the table useless
  bool distinct = false;  // one row for each prefix in any format, its weights added up as far as 32 bits go
};

class table_builder {
 public:
  table_builder(prefix_table &table, const build_rules &rules, repeats what_repeats_are, read_report &report);

  // A prefix and perhaps a weight as a person wrote them on this line.
  void listed(uint64_t line, const listed_words &words);

  // The destination of a route, as programs write it: a prefix, an address for the route to one host, or `default`.
  // Routes of IPv4 are left out and counted.
  void route(uint64_t line, std::string_view destination);

  void destination(uint64_t line, const ip_prefix &loose);

  // A prefix read from binary data. `place` says where in the file.
  void binary(uint64_t record, const std::string &place, const ip_prefix &loose);

  void other_family() { ++left_out_; }  // a route of IPv4, VPNs and the like

  // A bad line; with skip_bad so many are only warned of.
  void bad(uint64_t line, const std::string &reason);
  void bad_at(const std::string &place, const std::string &reason);  // a place that is no line

  // The rest of the input, or all of it, is lost: no table comes out, whatever skip_bad says.
  void broken(const std::string &reason);
  void broken_at(uint64_t line, const std::string &reason);

  // True when a table came out. Nothing else may be called then.
  bool finish();

  // Bad lines, and none among them or the others that was meant to be a prefix?
  bool only_nonsense() const { return bad_.total != 0 && plausible_ == 0; }
  size_t repeated() const { return repeated_; }
  uint64_t left_out() const { return left_out_; }

 private:
  // Finds prefixes seen before: open addressing over row numbers, never more than half full.
  class row_finder {
   public:
    explicit row_finder(const std::vector<table_row> &rows) : rows_(rows), slots_(64, empty) {}
    static constexpr uint32_t empty = UINT32_MAX;
    // The slot that holds the row with this prefix, or where it would go.
    uint32_t &slot_of(const ip_prefix &prefix);
    void make_room(size_t rows);

   private:
    void grow(size_t size);
    const std::vector<table_row> &rows_;
    std::vector<uint32_t> slots_;
  };

  // A null place is the line.
  void take(uint64_t line, const std::string *place, const ip_prefix &loose, uint32_t weight);
  void add_bad(uint64_t line, const std::string &reason);
  void repeat(const table_row &earlier, const table_row &row);
  void settle_bad_lines();

  prefix_table &table_;
  const build_rules rules_;
  const repeats repeats_;
  read_report &report_;
  row_finder seen_;
  message_list bad_;
  std::vector<std::string> broken_;
  uint64_t found_ = 0;
  uint64_t plausible_ = 0;
  uint64_t ipv4_lines_ = 0;
  uint64_t left_out_ = 0;
  uint64_t masked_ = 0;
  size_t repeated_ = 0;
};

}  // namespace v6tool

#endif
